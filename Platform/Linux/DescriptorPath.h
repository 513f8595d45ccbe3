#pragma once

#include <string>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// A path to what `descriptor` stands for: short, and true even after a renaming.
inline std::string pathOf(const OwnedDescriptor& descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor.number());
}

}  // namespace corvane::Platform
