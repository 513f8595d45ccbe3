#include "Platform/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Folders {

/// All at once, through a copy of the descriptor, which shares its position.
Result<std::vector<std::string>> nextEntries(const OwnedDescriptor& folder) {
  const int copy = systemCalls().fcntl(folder.number(), F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return failureFromErrno("read a directory");
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(copy), ::closedir);
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
    if (entry == nullptr) return names;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

}  // namespace corvane::Platform::Folders
