#include "Platform/FileAttributes.h"

#include <sys/xattr.h>

namespace corvane::Platform::FileAttributes {

bool mark(const std::string& path, const std::string& name) {
  return ::setxattr(path.c_str(), name.c_str(), "", 0, 0, XATTR_NOFOLLOW) == 0;
}

bool isMarked(const std::string& path, const std::string& name) {
  return ::getxattr(path.c_str(), name.c_str(), nullptr, 0, 0, XATTR_NOFOLLOW) >= 0;
}

}  // namespace corvane::Platform::FileAttributes
