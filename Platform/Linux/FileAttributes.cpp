#include "Platform/FileAttributes.h"

#include <sys/xattr.h>

namespace corvane::Platform::FileAttributes {
namespace {

/// Programs may set attributes of their own in this name space only; xattr(7).
std::string attributeName(const std::string& name) {
  return "user." + name;
}

}  // namespace

bool mark(const std::string& path, const std::string& name) {
  return ::lsetxattr(path.c_str(), attributeName(name).c_str(), "", 0, 0) == 0;
}

bool isMarked(const std::string& path, const std::string& name) {
  return ::lgetxattr(path.c_str(), attributeName(name).c_str(), nullptr, 0) >= 0;
}

}  // namespace corvane::Platform::FileAttributes
