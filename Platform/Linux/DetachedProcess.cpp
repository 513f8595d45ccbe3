#include "Platform/Linux/DetachedProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// Where programs are that an entry names without a folder.
constexpr const char* programFolders[] = {"/usr/local/bin/", "/usr/bin/", "/bin/"};

std::string pathOf(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  for (const char* folder : programFolders) {
    std::string path = folder + program;
    if (systemCalls().access(path.c_str(), X_OK) == 0) return path;
  }
  return "";
}

// From here on: what runs between fork and exec, where other threads may have left any lock taken.
// System calls only.

void resetSignals() {
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

/// Leaves descriptors 0 to 2 on /dev/null and `kept`, which closes when the program starts.
bool resetDescriptors(int kept) {
  const int null = ::open("/dev/null", O_RDWR);
  if (null < 0) return false;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::dup2(null, stream) < 0) return false;
  }
  const auto first = static_cast<unsigned>(STDERR_FILENO + 1);
  const auto apart = static_cast<unsigned>(kept);
  return (apart == first || ::close_range(first, apart - 1, 0) == 0) &&
         ::close_range(apart + 1, UINT_MAX, 0) == 0;
}

[[noreturn]] void becomeProgram(const char* path, char* const* arguments, const char* folder,
                                int report) {
  resetSignals();
  if (resetDescriptors(report) && ::chdir(folder) == 0) ::execv(path, arguments);
  const int error = errno;
  [[maybe_unused]] const ssize_t told = ::write(report, &error, sizeof error);
  ::_exit(127);
}

}  // namespace

OwnedDescriptor startDetached(const std::vector<std::string>& arguments,
                              const std::string& folder) {
  const std::string path = arguments.empty() ? "" : pathOf(arguments.front());
  if (path.empty()) return {};
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);

  int ends[2] = {-1, -1};
  if (linuxCalls().pipe2(ends, O_CLOEXEC) != 0) return {};
  OwnedDescriptor outcome(ends[0]);
  const OwnedDescriptor report(ends[1]);
  const pid_t child = systemCalls().fork();
  if (child < 0) return {};
  if (child == 0) {  // its own child has no parent left once it has ended
    ::setsid();
    const pid_t grandchild = systemCalls().fork();
    if (grandchild == 0)
      becomeProgram(path.c_str(), pointers.data(), folder.c_str(), report.number());
    ::_exit(grandchild < 0 ? 1 : 0);
  }
  int status = 0;
  while (systemCalls().waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return status == 0 ? std::move(outcome) : OwnedDescriptor();
}

bool hasStarted(const OwnedDescriptor& outcome) {
  int error = 0;
  ssize_t count = 0;
  do {
    count = systemCalls().read(outcome.number(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count == 0;  // the pipe closed by itself: the program runs
}

}  // namespace corvane::Platform
