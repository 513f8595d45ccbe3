#include "Platform/HardStop.h"

#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>

#include "Platform/SystemCalls.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

iovec piece(std::string_view text) {
  return {const_cast<char*>(text.data()), text.size()};
}

/// What std::terminate does: an exception that nobody catches, or no memory for one.
[[noreturn]] void stopForException() {
  if (const std::exception_ptr exception = std::current_exception()) {
    try {
      std::rethrow_exception(exception);
    } catch (const std::exception& error) {
      hardStop(error.what());
    } catch (...) {
      hardStop("an unknown exception");
    }
  }
  hardStop("std::terminate was called");
}

}  // namespace

void hardStop(std::string_view why) {
  // First of all, so that nothing below, should it fail, can leave a core file or come back here.
  const rlimit noCore = {0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  std::set_terminate(std::abort);
  ::signal(SIGABRT, SIG_DFL);

  const iovec line[] = {piece("corvane-nm: stopped: "), piece(why), piece("\n")};
  // Standard error may be gone; there is nobody else to tell.
  [[maybe_unused]] const ssize_t written = systemCalls().writev(STDERR_FILENO, line, 3);
  SystemLog::write(SystemLog::Severity::error, why);
  std::abort();
}

void stopHardOnUncaughtExceptions() {
  std::set_terminate(stopForException);
}

}  // namespace corvane::Platform
