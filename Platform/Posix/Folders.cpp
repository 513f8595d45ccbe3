#include "Platform/Folders.h"

#include <fcntl.h>
#include <unistd.h>

#include <iterator>
#include <utility>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Folders {

Result<OwnedDescriptor> open(const OwnedDescriptor& folder, const std::string& name) {
  return openAt(folder.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

Result<OwnedDescriptor> open(const std::string& path) {
  return openAt(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

Result<std::vector<std::string>> entries(const OwnedDescriptor& folder) {
  if (systemCalls().lseek(folder.number(), 0, SEEK_SET) < 0)
    return failureFromErrno("read a directory");
  std::vector<std::string> names;
  for (;;) {
    auto next = nextEntries(folder);
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

}  // namespace corvane::Platform::Folders
