#include "Platform/ApplicationLauncher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "Base/Bytes.h"
#include "Platform/Container/DesktopEntry.h"
#include "Platform/Container/HomeDirectory.h"
#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/Linux/DetachedProcess.h"
#include "Platform/Posix/PendingLaunch.h"
#include "Platform/SystemCalls.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

constexpr std::size_t largestEntry = std::size_t{1} << 20;

void logFailure(const std::string& what, const Failure& why) {
  SystemLog::write(SystemLog::Severity::error, what + " was not started: " + why.text);
}

/// Returns the command line in the desktop entry `entry`, which was opened as `path`.
Result<std::vector<std::string>> argumentsIn(File entry, const std::string& path) {
  const auto bytes = entry.readAll(largestEntry);
  if (!bytes) return bytes.failure();
  auto arguments = DesktopEntry::commandLine(textOf(bytes.value()), path);
  if (!arguments) return Failure{FailureCause::malformed, path + " names no program"};
  return std::move(*arguments);
}

/// Returns the command line of the application, from the first of its desktop entries that can be
/// opened; the user's own comes before those of the system.
Result<std::vector<std::string>> argumentsOf(const std::string& bundleIdentifier,
                                             const std::string& home) {
  if (!Directories::isVisibleName(bundleIdentifier))
    return Failure{FailureCause::malformed, "not a name for an application"};
  Failure why = {FailureCause::notFound, "it has no desktop entry"};
  for (const std::string& directory :
       {home + "/.local/share/applications/", std::string("/usr/local/share/applications/"),
        std::string("/usr/share/applications/")}) {
    const std::string path = directory + bundleIdentifier + ".desktop";
    // Through links, because an application in another place may link its entry.
    auto entry = File::open(path, File::Access::readThroughLinks);
    if (entry) return argumentsIn(std::move(entry).value(), path);
    const FailureCause cause = entry.failure().cause;
    if (cause == FailureCause::notFound) continue;
    why = entry.failure();
    if (cause != FailureCause::notPermitted) return why;  // must not fall back to another entry
  }
  return why;
}

Result<OwnedDescriptor> start(const std::string& bundleIdentifier) {
  const auto home = homeDirectoryOf(::geteuid());
  if (!home) return home.failure();
  const auto arguments = argumentsOf(bundleIdentifier, home.value());
  if (!arguments) return arguments.failure();
  return startDetached(arguments.value(), home.value());
}

}  // namespace

Result<Done> ApplicationLauncher::check(const std::string& bundleIdentifier) {
  const auto home = homeDirectoryOf(::geteuid());
  if (!home) return home.failure();
  const auto arguments = argumentsOf(bundleIdentifier, home.value());
  if (!arguments) return arguments.failure();
  const auto program = programPath(arguments.value().front());
  if (!program) return program.failure();
  const std::string path = (program->starts_with('/') ? "" : home.value() + "/") + program.value();
  if (systemCalls().access(path.c_str(), X_OK) != 0) return failureFromErrno("execute", path);
  struct stat status = {};
  if (systemCalls().stat(path.c_str(), &status) != 0) return failureFromErrno("stat", path);
  if (!S_ISREG(status.st_mode)) return Failure{FailureCause::malformed, path + " is no program"};
  return Done{};
}

void ApplicationLauncher::launch(EventLoop& loop, const std::string& bundleIdentifier,
                                 UniqueFunction<void(bool isStarted)> answer) {
  auto outcome = start(bundleIdentifier);
  if (!outcome) {
    logFailure(bundleIdentifier, outcome.failure());
    return loop.post([answer = std::move(answer)]() mutable { answer(false); });
  }
  const auto launch = PendingLaunch::begin(loop, std::move(answer));
  const int descriptor = outcome->number();
  launch->keep(loop.onReadable(
      descriptor, [launch, application = bundleIdentifier, outcome = std::move(*outcome)] {
        const auto started = outcomeOf(outcome);
        if (!started) logFailure(application, started.failure());
        launch->finish(static_cast<bool>(started));
      }));
}

}  // namespace corvane::Platform
