#pragma once

#include <sys/stat.h>

#include <chrono>

namespace corvane::Platform {

/// The time of the last write in `status`; the member has another name on each system.
std::chrono::system_clock::time_point changeTime(const struct stat& status);

}  // namespace corvane::Platform
