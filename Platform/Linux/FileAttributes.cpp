#include "Platform/FileAttributes.h"

#include <cerrno>

#include "Platform/File.h"
#include "Platform/Linux/LinuxCalls.h"

namespace corvane::Platform::FileAttributes {
namespace {

/// Programs may set extended attributes only in the namespace "user"; xattr(7).
std::string attributeName(const std::string& name) {
  return "user." + name;
}

}  // namespace

Result<Done> mark(const std::string& path, const std::string& name) {
  const std::string attribute = attributeName(name);
  if (linuxCalls().setAttribute(path.c_str(), attribute.c_str()) != 0)
    return failureFromErrno("setxattr", path);
  return Done{};
}

Result<bool> isMarked(const std::string& path, const std::string& name) {
  const std::string attribute = attributeName(name);
  if (linuxCalls().getAttribute(path.c_str(), attribute.c_str()) >= 0) return true;
  if (errno == ENODATA || errno == ENOTSUP) return false;
  return failureFromErrno("getxattr", path);
}

}  // namespace corvane::Platform::FileAttributes
