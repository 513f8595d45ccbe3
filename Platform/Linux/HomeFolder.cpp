#include "Platform/Linux/HomeFolder.h"

#include <pwd.h>

#include <cerrno>
#include <vector>

namespace corvane::Platform {

std::optional<std::string> homeFolderOf(uid_t user) {
  constexpr std::size_t longestRecord = std::size_t{1} << 20;
  std::vector<char> buffer(1024);
  passwd record = {};
  passwd* found = nullptr;
  int error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  while (error == EINTR || (error == ERANGE && buffer.size() < longestRecord)) {
    if (error == ERANGE) buffer.resize(2 * buffer.size());
    error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  }
  if (error != 0 || found == nullptr || record.pw_dir == nullptr || record.pw_dir[0] != '/') {
    return std::nullopt;
  }
  return record.pw_dir;
}

}  // namespace corvane::Platform
