#include "Platform/Directories.h"

#include <dirent.h>

#include <array>
#include <cstddef>

#include "Platform/File.h"
#include "Platform/Linux/LinuxCalls.h"

namespace corvane::Platform::Directories {

Result<std::vector<std::string>> nextEntries(const OwnedDescriptor& directory) {
  alignas(dirent64) std::array<char, 4096> buffer = {};
  std::vector<std::string> names;
  while (names.empty()) {
    const ssize_t filled = linuxCalls().getdents(directory.number(), buffer.data(), buffer.size());
    if (filled < 0) return failureFromErrno("read a directory");
    if (filled == 0) break;
    for (std::size_t at = 0; at < static_cast<std::size_t>(filled);) {
      const auto* const entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
      at += entry->d_reclen;
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") names.emplace_back(name);
    }
  }
  return names;
}

}  // namespace corvane::Platform::Directories
