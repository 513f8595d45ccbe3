#include "Platform/Directories.h"

#include <fcntl.h>
#include <unistd.h>

#include <iterator>
#include <utility>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Directories {
namespace {

Result<OwnedDescriptor> openBelow(int directory, const std::string& name) {
  auto opened = openAt(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (opened || opened.failure().cause != FailureCause::notPermitted) return opened;
  // macOS reports a symbolic link as ELOOP, Linux as ENOTDIR.
  struct stat status = {};
  if (systemCalls().fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISLNK(status.st_mode))
    return Failure{FailureCause::notFound, name + " is a symbolic link"};
  return opened;
}

}  // namespace

Result<OwnedDescriptor> open(const OwnedDescriptor& directory, const std::string& name) {
  return openBelow(directory.number(), name);
}

Result<OwnedDescriptor> open(const std::string& path) {
  return openBelow(AT_FDCWD, path);
}

Result<std::vector<std::string>> entries(const OwnedDescriptor& directory) {
  if (systemCalls().lseek(directory.number(), 0, SEEK_SET) < 0)
    return failureFromErrno("read a directory");
  std::vector<std::string> names;
  for (;;) {
    auto next = nextEntries(directory);
    if (!next) return next.failure();
    if (next->empty()) return names;
    names.insert(names.end(), std::make_move_iterator(next->begin()),
                 std::make_move_iterator(next->end()));
  }
}

bool isVisibleName(std::string_view name) {
  constexpr std::size_t longest = 255;
  return !name.empty() && name.size() <= longest && name.front() != '.' &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace corvane::Platform::Directories
