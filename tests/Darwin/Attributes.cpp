// Extended attributes as getxattr(2) and setxattr(2) of Darwin have them: six arguments, and no
// name spaces. They take the place of the C library's.
#include "scripts/lib/macos/include/sys/xattr.h"

#include <cerrno>
#include <string>

extern "C" {
int lsetxattr(const char* path, const char* name, const void* value, size_t size, int flags);
ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size);
}

namespace {

/// What the layer does not use, the stand-in has not.
bool isSupported(uint32_t position, int options) {
  if (position == 0 && options == XATTR_NOFOLLOW) return true;
  errno = EINVAL;
  return false;
}

}  // namespace

/// setxattr(2).
int setxattr(const char* path, const char* name, const void* value, size_t size, uint32_t position,
             int options) {
  if (!isSupported(position, options)) return -1;
  return ::lsetxattr(path, ("user." + std::string(name)).c_str(), value, size, 0);
}

/// getxattr(2).
ssize_t getxattr(const char* path, const char* name, void* value, size_t size, uint32_t position,
                 int options) {
  if (!isSupported(position, options)) return -1;
  return ::lgetxattr(path, ("user." + std::string(name)).c_str(), value, size);
}
