#include "Platform/ProcessInfo.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string_view>

#include "Platform/SystemCalls.h"

namespace corvane::Platform::ProcessInfo {
namespace {

/// What the system puts behind the path of an executable that was deleted or replaced.
constexpr std::string_view deletedMark = " (deleted)";

bool exists(const std::string& path) {
  struct stat status = {};
  return systemCalls().lstat(path.c_str(), &status) == 0;
}

}  // namespace

std::optional<std::string> executablePath(pid_t processIdentifier) {
  if (processIdentifier <= 0) return std::nullopt;
  std::array<char, 4096> buffer = {};
  const std::string link = "/proc/" + std::to_string(processIdentifier) + "/exe";
  const ssize_t length = systemCalls().readlink(link.c_str(), buffer.data(), buffer.size());
  if (length <= 0 || static_cast<std::size_t>(length) == buffer.size()) return std::nullopt;
  std::string path(buffer.data(), static_cast<std::size_t>(length));
  if (path.ends_with(deletedMark) && !exists(path)) path.resize(path.size() - deletedMark.size());
  return path;
}

pid_t parent() {
  return ::getppid();
}

std::string applicationName() {
  const auto path = executablePath(::getpid());
  return path ? path->substr(path->find_last_of('/') + 1) : "";
}

}  // namespace corvane::Platform::ProcessInfo
