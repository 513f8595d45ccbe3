#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"
#include "tools/corvane-nmctl/Registry.h"

namespace corvane::Nmctl::MainAppCheck {

/// The main application as a process of the check's own, which can be started again after its end.
/// One thread.
class StartedApplication {
 public:
  /// `command` is a command line for /bin/sh; nothing is started yet.
  explicit StartedApplication(std::string command) : command_(std::move(command)) {}
  /// Ends what was started: by SIGTERM, and by SIGKILL if that takes longer than 5 s.
  ~StartedApplication() { end(); }
  StartedApplication(const StartedApplication&) = delete;
  StartedApplication& operator=(const StartedApplication&) = delete;

  /// Ends what was started before, starts the command, and waits until an instance is registered in
  /// `container`, which need not exist before. Fails if that takes longer than 10 s, if the command
  /// ends before, or if people want the program to end.
  Result<Instance> start(const std::string& container);

 private:
  Result<Instance> awaitRegistration(const std::string& container);
  bool hasEnded();
  void end();

  const std::string command_;
  pid_t process_ = -1;  // of the shell, and its process group; -1: none
};

}  // namespace corvane::Nmctl::MainAppCheck
