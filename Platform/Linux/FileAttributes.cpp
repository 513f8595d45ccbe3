#include "Platform/FileAttributes.h"

#include "Platform/Linux/LinuxCalls.h"

namespace corvane::Platform::FileAttributes {
namespace {

/// Programs may set attributes of their own in this name space only; xattr(7).
std::string attributeName(const std::string& name) {
  return "user." + name;
}

}  // namespace

bool mark(const std::string& path, const std::string& name) {
  return linuxCalls().setAttribute(path.c_str(), attributeName(name).c_str()) == 0;
}

bool isMarked(const std::string& path, const std::string& name) {
  return linuxCalls().getAttribute(path.c_str(), attributeName(name).c_str()) >= 0;
}

}  // namespace corvane::Platform::FileAttributes
