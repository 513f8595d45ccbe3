#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Container/NotificationDirectory.h"
#include "Platform/File.h"
#include "tools/corvane-nmctl/Registry.h"

namespace corvane::Nmctl::MainAppCheck {

using Clock = std::chrono::steady_clock;

/// How long a host waits for a reply.
extern const std::chrono::milliseconds replyLimit;

/// Whether anything lies in the file `path`.
bool holdsAnything(const std::string& path);

/// The names in `folder`. Ends the examination, as `notShown`, when they can't be read.
std::vector<std::string> entriesOf(const Result<Platform::OwnedDescriptor>& folder);

/// The container with a running application, in which hosts are played, and all that waits there.
/// Whatever waits ends the examination, with `notShown`, when people want the program to end. One
/// thread.
class Bench {
 public:
  /// `wakings`: what Waking::begin gave. Fails when no socket can be had in the container.
  static Result<Bench> make(const std::string& container, const Instance& instance, int wakings);

  [[nodiscard]] const std::string& container() const { return container_; }
  [[nodiscard]] std::string dataFolder() const { return container_ + "/Data"; }
  [[nodiscard]] std::string requestFile() const;
  [[nodiscard]] std::string responseFile(const std::string& id) const;
  [[nodiscard]] const Platform::NotificationDirectory& notifications() const { return folders_; }
  [[nodiscard]] const Instance& instance() const { return instance_; }

  /// Goes on with `instance`, which was started in place of the one before.
  void attach(const Instance& instance) {
    instance_ = instance;
    triesLeft_ = mostTries;
  }

  /// Whether the instance that ran in the beginning, or was attached last, still does.
  [[nodiscard]] bool isRunning() const;

  /// Whether a plain request was answered well when it was last tried.
  bool isAnswering();
  /// Lets `isAnswering` try again: twice, as one that stood still may go on.
  void doubt() { triesLeft_ = mostTries; }

  /// Waits until `descriptor` (below 0: nothing) can be read; false when `end` came before.
  bool wait(int descriptor, Clock::time_point end) const;
  void waitUntil(Clock::time_point end) const { wait(-1, end); }

  /// The file `path`, opened and locked. Ends as `broken` when the application holds the lock for
  /// longer than any host waits, and as `notShown` when somebody else does or the file can't be
  /// opened.
  [[nodiscard]] Platform::File locked(const std::string& path, Platform::File::Access access) const;

  /// Appends `bytes` to `file`, which is locked. Ends as `notShown`, with the file as it was, when
  /// it is full or does not take them whole.
  static void appendTo(Platform::File& file, std::string_view bytes);
  /// Likewise to the request file, under its lock.
  void append(std::string_view bytes) const;
  /// Likewise, once nobody else's requests lie there, so that what is wrong with `bytes` is nobody
  /// else's loss.
  void appendAlone(std::string_view bytes) const;
  /// Waits until the request file is empty; false when it is not within `replyLimit`.
  [[nodiscard]] bool awaitTaken() const;

  /// Posts the notification of the main application that `word` stands for. Blocks for at most
  /// 100 ms while observers with full queues still have to get it.
  void post(const std::string& word) const;
  static std::string notificationName(const std::string& word);

  /// Takes note that a reply to the host `id`, asked for at `sent`, may still come when that host
  /// is gone: `leave` sees to its file then.
  void expectLate(const std::string& id, Clock::time_point sent) { late_[id] = sent; }

  /// Does `task` whether or not people want the program to end. What ends an examination ends the
  /// task only; `what` is then among what is left behind.
  void seeTo(const std::string& what, const std::function<void()>& task);

  /// The last thing: removes what late replies have left. Says what could not be set back.
  std::vector<std::string> leave();

 private:
  static constexpr int mostTries = 2;

  Bench(std::string container, Instance instance, int wakings,
        Platform::NotificationDirectory folders);

  std::string container_;
  Instance instance_;
  int wakings_;
  Platform::NotificationDirectory folders_;
  int triesLeft_ = mostTries;  // to have a plain request answered; more than that: one was
  std::vector<std::string> leftBehind_;
  std::map<std::string, Clock::time_point> late_;  // hosts: when each sent its last request
  bool isInterruptible_ = true;
};

/// Does something when the examination is over, however it ends (Bench::seeTo). Of use in one
/// block.
class Afterwards {
 public:
  Afterwards(Bench& bench, std::string what, std::function<void()> task)
      : bench_(bench), what_(std::move(what)), task_(std::move(task)) {}
  ~Afterwards() { bench_.seeTo(what_, task_); }
  Afterwards(const Afterwards&) = delete;
  Afterwards& operator=(const Afterwards&) = delete;

 private:
  Bench& bench_;
  const std::string what_;
  const std::function<void()> task_;
};

}  // namespace corvane::Nmctl::MainAppCheck
