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

#include "simulation/Generator.h"
#include "simulation/System/Fiber.h"
#include "simulation/System/FileSystem.h"
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
  std::function<bool()> isReady;  // of one that is blocked
  Time deadline;
};

/// A simulated process. What a run does to it is set here; calls are counted from 1.
struct Process {
  pid_t id = 0;
  pid_t parent = 0;
  std::string name;  // for people
  std::string executable;
  std::map<int, std::shared_ptr<OpenFile>> descriptors;
  std::weak_ptr<OpenFile> lastPipeWriter;  // what a child that it forks reports with
  std::vector<std::unique_ptr<Thread>> threads;
  std::uint64_t calls = 0;
  std::uint64_t diesAt = 0;     // the call at which it is killed
  std::uint64_t failsFrom = 0;  // the first call that may fail; one does
  std::string_view failsOnly;   // its name; empty: any
  bool isStopped = false;
  bool hasEnded = false;
  bool wasKilled = false;
  std::size_t leftOpen = 0;  // descriptors, at its end
  std::string stopReason;    // of a hard stop
};

/// Sees what processes do to files and sockets, as it happens.
class Watcher {
 public:
  virtual ~Watcher() = default;
  /// A process is about to go on.
  virtual void resumes(Process& /*process*/) {}
  /// `name` is the last part of a path that was to be opened, there or not.
  virtual void opens(Process& /*process*/, const std::string& /*name*/) {}
  /// The first thread of a process is about to wait in `call`.
  virtual void blocks(Process& /*process*/, std::string_view /*call*/) {}
  virtual void reads(Process& /*process*/, const Inode& /*file*/) {}
  /// Before `bytes` are written into a file. `isCut`: the process dies before all are written.
  virtual void writes(Process& /*process*/, const Inode& /*file*/, std::string_view /*bytes*/,
                      bool /*isCut*/) {}
  /// Before a file is cut off at `size`.
  virtual void cuts(Process& /*process*/, const Inode& /*file*/, std::size_t /*size*/) {}
  virtual void unlocks(Process& /*process*/, const Inode& /*file*/) {}
  virtual void sends(Process& /*process*/, const Socket& /*to*/, std::string_view /*text*/) {}
  /// A notification that a full queue refuses for now.
  virtual void refuses(Process& /*process*/) {}
  virtual void receives(Process& /*process*/, std::string_view /*text*/) {}
  /// A process that has forked to start a program; what is written to `report` is the errno of a
  /// start that failed, and that it is closed says that the program runs.
  virtual void launches(Process& /*process*/, std::shared_ptr<OpenFile> /*report*/) {}
  virtual void fails(Process& /*process*/, std::string_view /*call*/) {}
  virtual void ends(Process& /*process*/) {}
};

/// The simulated system: processes, their threads, time. What processes ask of it comes through
/// Calls.
class Kernel {
 public:
  /// A thread is interrupted at one in `interruptions` calls, to go on when it is chosen again.
  Kernel(Generator& random, Watcher& watcher, std::uint64_t interruptions);
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;
  ~Kernel() = default;

  std::shared_ptr<Process> start(const std::string& name, const std::string& executable,
                                 pid_t parent, std::map<int, std::shared_ptr<OpenFile>> streams,
                                 std::function<void()> body);
  void startThread(std::function<void()> body);
  /// SIGKILL. Nothing for one that has ended.
  void kill(Process& process);
  [[nodiscard]] bool isThere(pid_t process) const { return processes_.contains(process); }
  [[nodiscard]] std::shared_ptr<Process> find(pid_t process) const;
  /// The socket that a process receives with; nothing if it has none.
  [[nodiscard]] Socket* socketOf(pid_t process) const;

  /// Lets one of the threads that can run go on until it waits or is interrupted. False if there is
  /// none.
  bool step();
  /// When the first thread that waits goes on by itself.
  [[nodiscard]] std::optional<Time> nextDeadline() const;

  [[nodiscard]] Time now() const { return now_; }
  void advanceTo(Time time) { now_ = std::max(now_, time); }
  [[nodiscard]] std::chrono::system_clock::time_point wallNow() const;
  void moveWallClock(std::chrono::seconds by) { wallOffset_ += by; }
  [[nodiscard]] std::timespec coarseTime() const;

  FileSystem& files() { return files_; }
  Generator& random() { return random_; }
  Watcher& watcher() { return watcher_; }

  /// From here on: for the calls of the process that runs.
  [[nodiscard]] Process& current() const { return running_->process; }
  [[nodiscard]] bool isRunning() const { return running_ != nullptr; }
  [[nodiscard]] std::uint64_t currentThread() const { return running_ ? running_->number : 0; }
  /// The beginning of a call: it may be interrupted, and the process may die here. Returns one of
  /// `errors` if the call is to fail, else 0.
  int enter(std::string_view call, std::string_view subject = {},
            std::initializer_list<int> errors = {});
  /// True when the process is to die at this call, after half of it.
  [[nodiscard]] bool diesHere() const { return current().diesAt == current().calls; }
  /// Blocks in `call` until `isReady` or until `deadline`.
  void block(std::string_view call, std::function<bool()> isReady, Time deadline);
  int addDescriptor(std::shared_ptr<OpenFile> file, int least = 0) const;
  void closeDescriptor(int descriptor);
  [[noreturn]] void die(std::string reason);

  /// Whether notifications of different names may overtake one another, as they may where the
  /// system has notifications of its own.
  bool reorders = false;

  /// Called for each call, as text, if set.
  std::function<void(std::string_view)> trace;
  /// A digest of all calls so far: equal runs have equal ones.
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
