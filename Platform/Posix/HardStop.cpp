#include "Platform/HardStop.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <exception>
#include <span>

#include "Platform/NonBlockingOutput.h"
#include "Platform/Posix/CrashReports.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// Writes "corvane-nm: stopped: `why`" to standard error unless that would block. The line is cut
/// to PIPE_BUF bytes, which a pipe accepts completely or not at all.
void writeToStandardError(std::string_view why) {
  constexpr std::string_view start = "corvane-nm: stopped: ";
  std::array<char, PIPE_BUF> line = {};
  auto* end = std::copy(start.begin(), start.end(), line.begin());
  end = std::copy_n(why.begin(), std::min(why.size(), line.size() - start.size() - 1), end);
  *end++ = '\n';
  // Best effort: standard error may be closed.
  (void)NonBlockingOutput(STDERR_FILENO).write(std::as_bytes(std::span(line.begin(), end)));
}

/// Runs `step`, which may throw std::bad_alloc.
template <class Step>
void ignoringExceptions(Step step) {
  try {
    step();
  } catch (...) {  // the next step may still succeed
  }
}

/// The handler of std::terminate, which is called for an uncaught exception.
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
  // First, so that a failure in the steps below can neither leave a core file nor call this again.
  suppressCrashReports();
  std::set_terminate(dieWithoutReport);
  // Writing to a closed pipe or to a terminal of other processes must not end the process earlier.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGTTOU, SIG_IGN);
  ignoringExceptions([&] { SystemLog::write(SystemLog::Severity::error, why); });
  ignoringExceptions([&] { writeToStandardError(why); });
  dieWithoutReport();
}

void stopHardOnUncaughtExceptions() {
  std::set_terminate(stopForException);
}

}  // namespace corvane::Platform
