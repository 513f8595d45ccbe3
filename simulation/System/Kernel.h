#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/System/Fiber.h"
#include "simulation/System/FileSystem.h"
#include "simulation/System/Generator.h"
#include "simulation/System/Objects.h"

namespace corvane::Simulation {

using Time = std::chrono::steady_clock::time_point;
using std::chrono::microseconds;

struct Process;

/// A thread of a simulated process.
struct Thread {
  Thread(Process& process, std::uint64_t number, std::function<void()> body)
      : process(process), number(number), fiber(std::move(body)) {}

  Process& process;
  const std::uint64_t number;
  Fiber fiber;
  bool isBlocked = false;
  std::function<bool()> isReady;  // of a blocked thread
  Time deadline;
};

/// A simulated process, with the faults that are planned for it. Calls are counted from 1.
struct Process {
  pid_t id = 0;
  pid_t parent = 0;
  std::string name;  // for messages
  std::map<int, std::shared_ptr<OpenFile>> descriptors;
  std::weak_ptr<OpenFile> lastPipeWriter;  // the pipe of the next forked child
  std::vector<std::unique_ptr<Thread>> threads;
  std::uint64_t calls = 0;
  std::uint64_t diesAt = 0;     // the number of the call at which it is killed; 0: none
  std::uint64_t failsFrom = 0;  // from this call on the next possible one fails; 0: none
  std::string_view failsOnly;   // only a call of this name; empty: any
  bool isStopped = false;
  bool hasEnded = false;
  bool wasKilled = false;
  std::size_t leftOpen = 0;  // descriptors open at its end
  std::string stopReason;    // why it stopped hard; empty: it did not
};

/// Receives the events of a kernel, synchronously.
class Watcher {
 public:
  virtual ~Watcher() = default;
  /// A process is about to run.
  virtual void resumes(Process& /*process*/) {}
  /// An attempt to open a path whose last component is `name`.
  virtual void opens(Process& /*process*/, const std::string& /*name*/) {}
  /// The first thread of a process is about to block in `call`.
  virtual void blocks(Process& /*process*/, std::string_view /*call*/) {}
  virtual void reads(Process& /*process*/, const Inode& /*file*/) {}
  /// Before `bytes` are written to a file. `isCut`: the process dies during the write.
  virtual void writes(Process& /*process*/, const Inode& /*file*/, std::string_view /*bytes*/,
                      bool /*isCut*/) {}
  /// Before a file is truncated to `size`.
  virtual void cuts(Process& /*process*/, const Inode& /*file*/, std::size_t /*size*/) {}
  virtual void unlocks(Process& /*process*/, const Inode& /*file*/) {}
  virtual void sends() {}
  /// A send failed because the receiver's queue is full.
  virtual void refuses(Process& /*process*/) {}
  virtual void receives(Process& /*process*/, std::string_view /*text*/) {}
  /// A process forked to start a program. To report a failure, write an errno value to `report`; to
  /// report success, just close it.
  virtual void launches(Process& /*process*/, std::shared_ptr<OpenFile> /*report*/) {}
  virtual void fails(Process& /*process*/, std::string_view /*call*/) {}
  virtual void ends(Process& /*process*/) {}
};

/// The simulated kernel: processes, their threads, the clocks and the scheduler.
class Kernel {
 public:
  /// One in `interruptions` system calls lets other threads run first; none if it is 0.
  Kernel(Generator& random, Watcher& watcher, std::uint64_t interruptions);
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;
  ~Kernel() = default;

  std::shared_ptr<Process> start(const std::string& name, pid_t parent,
                                 std::map<int, std::shared_ptr<OpenFile>> streams,
                                 std::function<void()> body);
  void startThread(std::function<void()> body);
  /// Ends `process` as SIGKILL does. A no-op if it has ended.
  void kill(Process& process);
  [[nodiscard]] bool isThere(pid_t process) const { return processes_.contains(process); }
  [[nodiscard]] std::shared_ptr<Process> find(pid_t process) const;
  /// The socket with which a process receives notifications, or nullptr.
  [[nodiscard]] Socket* socketOf(pid_t process) const;

  /// Runs a random runnable thread until it blocks or is interrupted. Returns false if there is
  /// none.
  bool step();
  /// The earliest deadline of a blocked thread.
  [[nodiscard]] std::optional<Time> nextDeadline() const;

  [[nodiscard]] Time now() const { return now_; }
  void advanceTo(Time time) { now_ = std::max(now_, time); }
  [[nodiscard]] std::chrono::system_clock::time_point wallNow() const;
  void moveWallClock(std::chrono::seconds by) { wallOffset_ += by; }
  [[nodiscard]] std::timespec coarseTime() const;

  FileSystem& files() { return files_; }
  Generator& random() { return random_; }
  Watcher& watcher() { return watcher_; }

  /// The running process. From here on everything is for its system calls.
  [[nodiscard]] Process& current() const { return running_->process; }
  [[nodiscard]] bool isRunning() const { return running_ != nullptr; }
  [[nodiscard]] std::uint64_t currentThread() const { return running_ ? running_->number : 0; }
  /// Must begin each system call: advances the clock, and may switch to other threads or kill the
  /// process. Returns one of `errors` if the call is to fail, otherwise 0.
  int enter(std::string_view call, std::string_view subject = {},
            std::initializer_list<int> errors = {});
  /// Whether the process is to be killed during this call.
  [[nodiscard]] bool diesHere() const { return current().diesAt == current().calls; }
  /// Blocks the running thread in `call` until `isReady` returns true or `deadline` has passed.
  void block(std::string_view call, std::function<bool()> isReady, Time deadline);
  int addDescriptor(std::shared_ptr<OpenFile> file, int least = 0) const;
  void closeDescriptor(int descriptor);
  [[noreturn]] void die(std::string reason);

  /// Whether notifications of different names may be received in another order than sent, as on
  /// systems with a notification service of their own.
  bool reorders = false;

  /// Receives each system call as a line, if set.
  std::function<void(std::string_view)> trace;
  /// A digest of all system calls so far. Equal runs have equal digests.
  [[nodiscard]] std::uint64_t digest() const { return digest_; }
  [[nodiscard]] std::uint64_t callCount() const { return callCount_; }

 private:
  void run(Thread& thread);
  void end(Process& process);
  void reap();
  void note(std::string_view call, std::string_view subject);

  Generator& random_;
  Watcher& watcher_;
  const std::uint64_t interruptions_;
  Time now_{std::chrono::hours(1)};
  std::chrono::seconds wallOffset_{1'700'000'000};
  FileSystem files_;
  std::map<pid_t, std::shared_ptr<Process>> processes_;
  pid_t lastProcess_ = 1000;
  std::uint64_t lastThread_ = 0;
  Thread* running_ = nullptr;
  std::vector<Thread*> runnable_;  // kept for its memory
  std::uint64_t digest_ = 0;
  std::uint64_t callCount_ = 0;
};

}  // namespace corvane::Simulation
