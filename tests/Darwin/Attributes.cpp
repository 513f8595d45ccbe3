// Extended attributes as getxattr(2) and setxattr(2) of Darwin have them: six arguments, and no
// name spaces. They take the place of the C library's.
#include "scripts/lib/macos/include/sys/xattr.h"

#include <cerrno>
#include <string>

extern "C" {
int lsetxattr(const char* path, const char* name, const void* value, size_t size, int flags);
ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size);
}

/// setxattr(2); getxattr(2) below. Other positions and options than the layer's are refused.
int setxattr(const char* path, const char* name, const void* value, size_t size, uint32_t position,
             int options) {
  if (position == 0 && options == XATTR_NOFOLLOW)
    return ::lsetxattr(path, ("user." + std::string(name)).c_str(), value, size, 0);
  errno = EINVAL;
  return -1;
}

ssize_t getxattr(const char* path, const char* name, void* value, size_t size, uint32_t position,
                 int options) {
  if (position == 0 && options == XATTR_NOFOLLOW)
    return ::lgetxattr(path, ("user." + std::string(name)).c_str(), value, size);
  errno = EINVAL;
  return -1;
}
