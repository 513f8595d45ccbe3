#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Json.h"
#include "Base/Result.h"

namespace corvane::Nmctl {

/// A host that runs, started as a browser starts it: its folder as the working folder, the
/// environment of this process, pipes as its standard streams, the signal of a broken pipe as it is
/// by default. Speaks frames with it. One thread; the process must ignore the signal of a broken
/// pipe. The end of the object kills a host that still runs. What the host leaves in the shared
/// folder, the file with the last replies to it, is removed.
class HostProcess {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts `path` with these arguments behind its own path. Fails when the system can't run it.
  static Result<HostProcess> start(const std::string& path, std::vector<std::string> arguments);

  HostProcess(HostProcess&& other) noexcept;
  HostProcess& operator=(HostProcess&& other) noexcept;
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;
  ~HostProcess();

  /// Writes one frame. False when the host does not read any more.
  [[nodiscard]] bool send(const JsonObject& message) const;

  /// The next message. Fails with `wouldBlock` when none is there at `end`, with `notFound` when
  /// the host has closed its output instead, and with `malformed` when what it wrote is no frame
  /// that a browser takes; the text then shows how it begins.
  Result<JsonObject> receive(Clock::time_point end);

  /// Ends its input, upon which it should end.
  void closeInput();

  /// Its exit status as wait(2) gives it; nothing when it still runs at `end`.
  std::optional<int> waitForEnd(Clock::time_point end);

  /// What it wrote to standard error so far, at most the first 64 KiB.
  [[nodiscard]] const std::string& errors() const { return errors_; }

  /// By which to wait for messages, together with other things: its standard output.
  [[nodiscard]] int output() const { return output_; }

 private:
  HostProcess() = default;

  void noteReplyFile();
  [[nodiscard]] Result<std::optional<JsonObject>> takeFrame();
  bool fill(Clock::time_point end);
  void drainErrors();

  pid_t process_ = -1;  // -1 once it was waited for
  int input_ = -1;      // this end of its standard streams
  int output_ = -1;
  int errorOutput_ = -1;
  std::string replyFile_;  // known only while the host lives; "": none
  std::string unread_;
  std::string errors_;
};

/// Which of a process's ends `status` tells: "exit status 3", "signal 6".
std::string describedEnd(int status);

}  // namespace corvane::Nmctl
