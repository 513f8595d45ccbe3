#include "Platform/ProcessInfo.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::ProcessInfo {
namespace {

/// The kernel appends this to the path of an executable that was deleted or replaced.
constexpr std::string_view deletedMark = " (deleted)";

/// A failure counts as no: hardly any real file name ends with the mark.
bool exists(const std::string& path) {
  struct stat status = {};
  return systemCalls().lstat(path.c_str(), &status) == 0;
}

}  // namespace

Result<std::string> executablePath(pid_t processIdentifier) {
  const std::string link = "/proc/" + std::to_string(processIdentifier) + "/exe";
  if (processIdentifier <= 0) return Failure{FailureCause::notFound, "no process: " + link};
  std::array<char, 4096> buffer = {};
  ssize_t length = 0;
  do {
    length = systemCalls().readlink(link.c_str(), buffer.data(), buffer.size());
  } while (length < 0 && errno == EINTR);
  if (length < 0 && errno != ENAMETOOLONG) return failureFromErrno("readlink", link);
  if (length < 0 || static_cast<std::size_t>(length) == buffer.size())
    return Failure{FailureCause::malformed, "the path is too long: " + link};
  std::string path(buffer.data(), static_cast<std::size_t>(length));
  if (path.ends_with(deletedMark) && !exists(path)) path.resize(path.size() - deletedMark.size());
  return path;
}

pid_t parent() {
  return systemCalls().getppid();
}

std::string applicationName() {
  const auto path = executablePath(systemCalls().getpid());
  return path ? path.value().substr(path.value().find_last_of('/') + 1) : "";
}

}  // namespace corvane::Platform::ProcessInfo
