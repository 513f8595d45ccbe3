// Stand-in for <sys/xattr.h>, declared from getxattr(2) and setxattr(2): only what Platform/macOS
// uses.
#pragma once
#include <stdint.h>
#include <sys/types.h>

#define XATTR_NOFOLLOW 0x0001

__BEGIN_DECLS
ssize_t getxattr(const char *path, const char *name, void *value, size_t size,
                 uint32_t position, int options);
int setxattr(const char *path, const char *name, const void *value, size_t size,
             uint32_t position, int options);
__END_DECLS
