#pragma once

#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "Base/Result.h"
#include "Platform/Linux/EventThread.h"
#include "Platform/Linux/NotificationFolders.h"
#include "Platform/Linux/NotificationSocket.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Posix/NotificationCallbacks.h"

namespace corvane::Platform {

/// One socket and one thread serve all names. The thread takes no lock that anybody holds while
/// posting: so nobody who posts ever waits, through it, for a socket that it must empty.
class NotificationCenter::Implementation {
 public:
  explicit Implementation(std::string containerFolder);
  ~Implementation();
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool observe(const std::string& name, Callback callback);
  void stopObserving(const std::string& name);
  void post(const std::string& name) const;
  void withdraw();

  /// The thread that receives; it runs from the first name that is observed to `withdraw`. Whatever
  /// else the process must hear of may be received there too.
  EventThread& thread() { return thread_; }

 private:
  Result<Done> listen(const std::string& name);
  Result<Done> openSocket(const std::string& name);
  void receive();

  const std::string containerFolder_;
  NotificationCallbacks callbacks_;

  std::mutex
      setupMutex_;  // guards what this process has in the file system, and the life of the thread
  std::optional<NotificationFolders> folders_;
  std::optional<NotificationSocket> socket_;  // read by the thread alone, from its start to its end
  std::string socketName_;
  std::set<std::string> linkedNames_;
  bool isWithdrawn_ = false;
  EventThread thread_;
};

}  // namespace corvane::Platform
