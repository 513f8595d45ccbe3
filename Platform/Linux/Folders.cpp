#include "Platform/Linux/Folders.h"

#include <fcntl.h>

#include <filesystem>
#include <system_error>

namespace corvane::Platform::Folders {
namespace {

constexpr int folderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

}  // namespace

OwnedDescriptor open(const OwnedDescriptor& folder, const std::string& name) {
  return OwnedDescriptor(::openat(folder.number(), name.c_str(), folderFlags));
}

OwnedDescriptor open(const std::string& path) {
  return OwnedDescriptor(::open(path.c_str(), folderFlags));
}

std::vector<std::string> entries(const OwnedDescriptor& folder) {
  std::vector<std::string> names;
  std::error_code error;
  // A path that ends in a slash is looked into; without it the link in /proc would be looked at.
  std::filesystem::directory_iterator at(folder.path() + "/", error);
  for (; !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
    names.push_back(at->path().filename().string());
  }
  return names;
}

bool isVisibleName(std::string_view name) {
  constexpr std::size_t longest = 255;
  return !name.empty() && name.size() <= longest && name.front() != '.' &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace corvane::Platform::Folders
