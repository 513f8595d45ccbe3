#include "tools/corvane-nmctl/MainAppCheck/StartedApplication.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "Platform/File.h"
#include "tools/corvane-nmctl/Waking.h"

namespace corvane::Nmctl::MainAppCheck {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto longestStart = 10s;
constexpr auto longestEnd = 5s;

void waitBeforeNextLook() {
  constexpr int milliseconds = 20;
  ::poll(nullptr, 0, milliseconds);
}

/// The child's part: becomes the shell, in a session of its own, so that a Ctrl-C that is meant for
/// the check does not reach it.
[[noreturn]] void becomeShell(const char* command) {
  ::setsid();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) (void)std::signal(signal, SIG_DFL);
  const int none = ::open("/dev/null", O_RDWR);
  ::dup2(none, STDIN_FILENO);
  ::dup2(none, STDOUT_FILENO);
  ::execl("/bin/sh", "sh", "-c", command, nullptr);
  ::_exit(127);
}

}  // namespace

Result<Instance> StartedApplication::start(const std::string& container) {
  end();
  process_ = ::fork();
  if (process_ < 0) return Platform::failureFromErrno("fork");
  if (process_ == 0) becomeShell(command_.c_str());
  return awaitRegistration(container);
}

Result<Instance> StartedApplication::awaitRegistration(const std::string& container) {
  const auto limit = Clock::now() + longestStart;
  while (Clock::now() < limit && !Waking::isInterrupted()) {
    const Registry registry = registryIn(container);
    if (!registry.running.empty()) return registry.running.front();
    if (hasEnded()) return Failure{FailureCause::other, "it ended before it was registered"};
    waitBeforeNextLook();
  }
  return Failure{FailureCause::other, "it was not registered within 10 s"};
}

/// Also collects the process.
bool StartedApplication::hasEnded() {
  if (process_ < 0) return true;
  if (::waitpid(process_, nullptr, WNOHANG) == 0) return false;
  process_ = -1;
  return true;
}

void StartedApplication::end() {
  if (process_ < 0) return;
  const pid_t group = process_;
  ::kill(-group, SIGTERM);
  for (const auto limit = Clock::now() + longestEnd; !hasEnded() && Clock::now() < limit;)
    waitBeforeNextLook();
  ::kill(-group, SIGKILL);  // what is left of it, if anything is
  if (process_ >= 0) ::waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace corvane::Nmctl::MainAppCheck
