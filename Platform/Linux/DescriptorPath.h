#pragma once

#include <string>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Returns a path that names the open file or directory `descriptor`, for system calls that take
/// only paths (proc(5)). Short, and right even after the file was renamed. Valid in this process
/// while the descriptor is open.
inline std::string pathOf(const OwnedDescriptor& descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor.number());
}

}  // namespace corvane::Platform
