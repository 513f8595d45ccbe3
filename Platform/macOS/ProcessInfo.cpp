#include "Platform/ProcessInfo.h"

#include <CoreFoundation/CoreFoundation.h>
#include <libproc.h>
#include <unistd.h>

#include <array>

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

std::optional<std::string> executablePath(pid_t processIdentifier) {
  if (processIdentifier <= 0) return std::nullopt;
  std::array<char, PROC_PIDPATHINFO_MAXSIZE> path = {};
  const int length = ::proc_pidpath(processIdentifier, path.data(), path.size());
  if (length <= 0) return std::nullopt;
  return std::string(path.data(), static_cast<std::size_t>(length));
}

pid_t parent() {
  return ::getppid();
}

std::string applicationName() {
  std::string name = bundleIdentifier();
  if (!name.empty()) return name;
  const auto path = executablePath(::getpid());
  return path ? path->substr(path->find_last_of('/') + 1) : "";
}

}  // namespace corvane::Platform::ProcessInfo
