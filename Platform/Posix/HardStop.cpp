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
/// to what a pipe takes as a whole or not at all.
void tellStandardError(std::string_view why) {
  constexpr std::string_view start = "corvane-nm: stopped: ";
  std::array<char, PIPE_BUF> line = {};
  auto* end = std::copy(start.begin(), start.end(), line.begin());
  end = std::copy_n(why.begin(), std::min(why.size(), line.size() - start.size() - 1), end);
  *end++ = '\n';
  // Best effort: standard error may be closed.
  (void)NonBlockingOutput(STDERR_FILENO).write(std::as_bytes(std::span(line.begin(), end)));
}

/// Runs `step`, which may find that there is no memory.
template <class Step>
void whateverFails(Step step) {
  try {
    step();
  } catch (...) {  // the other step may still succeed
  }
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
  suppressCrashReports();
  std::set_terminate(dieWithoutReport);
  // A reader that is gone and a terminal that belongs to others are no reason to end otherwise.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGTTOU, SIG_IGN);
  whateverFails([&] { SystemLog::write(SystemLog::Severity::error, why); });
  whateverFails([&] { tellStandardError(why); });
  dieWithoutReport();
}

void stopHardOnUncaughtExceptions() {
  std::set_terminate(stopForException);
}

}  // namespace corvane::Platform
