#include "Platform/ProcessInfo.h"

#include <CoreFoundation/CoreFoundation.h>
#include <libproc.h>

#include <array>
#include <cerrno>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::ProcessInfo {
namespace {

/// Of the bundle around the executable, or of the property list that is linked into it.
std::string bundleIdentifier() {
  const CFBundleRef bundle = CFBundleGetMainBundle();
  const CFStringRef identifier = bundle == nullptr ? nullptr : CFBundleGetIdentifier(bundle);
  std::array<char, 1024> text = {};
  const bool isGiven =
      identifier != nullptr &&
      CFStringGetCString(identifier, text.data(), CFIndex{text.size()}, kCFStringEncodingUTF8) != 0;
  return isGiven ? text.data() : "";
}

}  // namespace

Result<std::string> executablePath(pid_t processIdentifier) {
  const std::string operation = "proc_pidpath of " + std::to_string(processIdentifier);
  if (processIdentifier <= 0) return Failure{FailureCause::notFound, operation + ": no process"};
  std::array<char, PROC_PIDPATHINFO_MAXSIZE> path = {};
  errno = 0;  // an empty path is no error to the system
  const int length = ::proc_pidpath(processIdentifier, path.data(), path.size());
  if (length <= 0 && errno == ENAMETOOLONG)
    return Failure{FailureCause::malformed, operation + ": the path is too long"};
  if (length <= 0) return failureFromErrno(operation);
  return std::string(path.data(), static_cast<std::size_t>(length));
}

pid_t parent() {
  return systemCalls().getppid();
}

std::string applicationName() {
  std::string name = bundleIdentifier();
  if (!name.empty()) return name;
  const auto path = executablePath(systemCalls().getpid());
  return path ? path.value().substr(path.value().find_last_of('/') + 1) : "";
}

}  // namespace corvane::Platform::ProcessInfo
