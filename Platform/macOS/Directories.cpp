#include "Platform/Directories.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Directories {

/// All at once, through a copy of the descriptor, which shares its position.
Result<std::vector<std::string>> nextEntries(const OwnedDescriptor& directory) {
  const int copy = systemCalls().fcntl(directory.number(), F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return failureFromErrno("read a directory");
  std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(copy), ::closedir);
  if (!listing) {
    const Failure failure = failureFromErrno("read a directory");
    systemCalls().close(copy);
    return failure;
  }
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(listing.get());
    if (entry == nullptr && errno != 0) return failureFromErrno("read a directory");
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  // Nothing says where closedir(3) leaves the position.
  const off_t end = systemCalls().lseek(directory.number(), 0, SEEK_CUR);
  listing.reset();
  if (end < 0 || systemCalls().lseek(directory.number(), end, SEEK_SET) < 0)
    return failureFromErrno("read a directory");
  return names;
}

}  // namespace corvane::Platform::Directories
