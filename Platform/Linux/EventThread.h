#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Base/Result.h"
#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {

/// One thread that waits for many descriptors and calls, one after another, the handlers of those
/// from which something can be read. While a handler runs no other one does: it must only look and
/// queue, never wait.
class EventThread {
 public:
  using Handler = std::function<void()>;

  /// `name` is what debuggers show. Starts nothing yet.
  explicit EventThread(std::string name);
  ~EventThread();
  EventThread(const EventThread&) = delete;
  EventThread& operator=(const EventThread&) = delete;

  /// Starts the thread, unless it runs. Not beside or after `stop`.
  Result<Done> start();

  /// Ends the thread: no handler runs after the return. Never from a handler.
  void stop();

  /// From now on calls `handler` whenever `descriptor`, which stays the caller's, can be read:
  /// again and again while something is left there; now and then without need. Only between `start`
  /// and `stop`; safe from any thread, handlers included.
  Result<Done> add(int descriptor, Handler handler);

  /// Forgets `descriptor`; to be called before it is closed. Waits for no handler: one that was
  /// due may still run, and finds nothing to read. Safe from any thread, handlers included.
  void remove(int descriptor);

 private:
  void run();
  void call(int descriptor);

  const std::string name_;
  OwnedDescriptor all_;   // the set of descriptors that the system waits for
  OwnedDescriptor wake_;  // in that set; written to once, by `stop`
  std::thread thread_;
  std::atomic<bool> isEnding_ = false;

  std::mutex mutex_;  // guards the handlers; nobody holds it during a system call
  std::map<int, std::shared_ptr<const Handler>> handlers_;  // by descriptor
};

}  // namespace corvane::Platform
