#include "Platform/HardStop.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "Platform/SystemLog.h"

namespace corvane::Platform {

void hardStop(std::string_view why) {
  const std::string line = "corvane-nm: stopped: " + std::string(why) + "\n";
  // Standard error may be gone; there is nobody else to tell.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
  SystemLog::write(SystemLog::Severity::error, std::string_view(line).substr(0, line.size() - 1));
  const rlimit noCore = {0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  ::signal(SIGABRT, SIG_DFL);
  std::abort();
}

}  // namespace corvane::Platform
