#include "Platform/FileAttributes.h"

#include <sys/xattr.h>

#include <cerrno>

#include "Platform/File.h"

namespace corvane::Platform::FileAttributes {

Result<Done> mark(const std::string& path, const std::string& name) {
  if (::setxattr(path.c_str(), name.c_str(), "", 0, 0, XATTR_NOFOLLOW) != 0)
    return failureFromErrno("setxattr", path);
  return Done{};
}

Result<bool> isMarked(const std::string& path, const std::string& name) {
  if (::getxattr(path.c_str(), name.c_str(), nullptr, 0, 0, XATTR_NOFOLLOW) >= 0) return true;
  if (errno == ENOATTR || errno == ENOTSUP) return false;
  return failureFromErrno("getxattr", path);
}

}  // namespace corvane::Platform::FileAttributes
