#include "Platform/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>

#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Folders {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Adds the next piece of a listing to `names`; false at its end, or when it can't be read.
bool addEntries(const OwnedDescriptor& folder, std::vector<std::string>& names) {
  alignas(dirent64) std::array<char, 4096> buffer = {};
  const ssize_t filled = linuxCalls().getdents(folder.number(), buffer.data(), buffer.size());
  if (filled <= 0) return false;
  for (std::size_t at = 0; at < static_cast<std::size_t>(filled);) {
    const auto* const entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
    at += entry->d_reclen;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return true;
}

}  // namespace

OwnedDescriptor open(const OwnedDescriptor& folder, const std::string& name) {
  return OwnedDescriptor(systemCalls().openat(folder.number(), name.c_str(), folderFlags));
}

OwnedDescriptor open(const std::string& path) {
  return OwnedDescriptor(systemCalls().open(path.c_str(), folderFlags));
}

std::vector<std::string> entries(const OwnedDescriptor& folder) {
  std::vector<std::string> names;
  systemCalls().lseek(folder.number(), 0, SEEK_SET);
  while (addEntries(folder, names)) continue;
  return names;
}

std::vector<std::string> nextEntries(const OwnedDescriptor& folder) {
  std::vector<std::string> names;
  while (names.empty() && addEntries(folder, names)) continue;
  return names;
}

bool isVisibleName(std::string_view name) {
  constexpr std::size_t longest = 255;
  return !name.empty() && name.size() <= longest && name.front() != '.' &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace corvane::Platform::Folders
