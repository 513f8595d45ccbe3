#include "Platform/Linux/DetachedProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

#include "Platform/File.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// Searched for programs that are named without a directory.
constexpr const char* programDirectories[] = {"/usr/local/bin/", "/usr/bin/", "/bin/"};

// The functions from here on run between fork and exec. Another thread may have held any lock at
// the fork, so they may only make system calls.

void resetSignals() {
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

/// Redirects descriptors 0 to 2 to /dev/null, but 1 to `output` unless that is negative, and closes
/// all others except `kept`, which is close-on-exec.
bool resetDescriptors(int kept, int output) {
  const int null = ::open("/dev/null", O_RDWR);
  if (null < 0) return false;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::dup2(null, stream) < 0) return false;
  }
  if (output >= 0 && ::dup2(output, STDOUT_FILENO) < 0) return false;
  const auto first = static_cast<unsigned>(STDERR_FILENO + 1);
  const auto apart = static_cast<unsigned>(kept);
  return (apart == first || ::close_range(first, apart - 1, 0) == 0) &&
         ::close_range(apart + 1, UINT_MAX, 0) == 0;
}

[[noreturn]] void endWithErrno(int report) {
  const int error = errno;
  [[maybe_unused]] const ssize_t written = ::write(report, &error, sizeof error);
  ::_exit(127);
}

struct Program {
  const char* path = nullptr;
  char* const* arguments = nullptr;
  const char* directory = nullptr;
  std::optional<OutputOptions> output;
};

[[noreturn]] void become(const Program& program, int report) {
  resetSignals();
  const int output = program.output ? program.output->standardOutput : -1;
  if (resetDescriptors(report, output) && ::chdir(program.directory) == 0) {
    char* const nothing[] = {nullptr};
    if (program.output) ::alarm(static_cast<unsigned>(program.output->limit.count()));
    ::execve(program.path, program.arguments, program.output ? nothing : environ);
  }
  endWithErrno(report);
}

}  // namespace

Result<std::string> programPath(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  Failure why = {FailureCause::notFound, "there is no program " + program};
  for (const char* directory : programDirectories) {
    std::string path = directory + program;
    if (systemCalls().access(path.c_str(), X_OK) == 0) return path;
    Failure failure = failureFromErrno("access");
    if (failure.cause != FailureCause::notFound) why = std::move(failure);
  }
  return why;
}

Result<OwnedDescriptor> startDetached(const std::vector<std::string>& arguments,
                                      const std::string& directory,
                                      std::optional<OutputOptions> output) {
  const auto path = programPath(arguments.empty() ? "" : arguments.front());
  if (!path) return path.failure();
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);

  int ends[2] = {-1, -1};
  if (linuxCalls().pipe2(ends, O_CLOEXEC) != 0) return failureFromErrno("pipe");
  OwnedDescriptor outcome(ends[0]);
  const OwnedDescriptor report(ends[1]);
  const pid_t child = systemCalls().fork();
  if (child < 0) return failureFromErrno("fork");
  if (child == 0) {  // forks again and exits, so that the program is no descendant of this process
    ::setsid();
    const pid_t grandchild = systemCalls().fork();
    if (grandchild < 0) endWithErrno(report.number());
    if (grandchild == 0)
      become({path.value().c_str(), pointers.data(), directory.c_str(), output}, report.number());
    ::_exit(0);
  }
  // The status is not used: the system keeps none if SIGCHLD is ignored.
  while (systemCalls().waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
  return outcome;
}

Result<Done> outcomeOf(const OwnedDescriptor& start) {
  int error = 0;
  ssize_t count = 0;
  do {
    count = systemCalls().read(start.number(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  if (count == 0) return Done{};  // exec closed the pipe: the program is running
  if (count > 0) errno = error;
  return failureFromErrno(count > 0 ? "start the program" : "read the outcome");
}

}  // namespace corvane::Platform
