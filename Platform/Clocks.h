#pragma once

#include <chrono>

namespace corvane::Platform {

/// The time on the monotonic clock, which all deadlines and time limits here refer to. It never
/// jumps. On macOS it includes the time that the machine sleeps, on Linux it does not. Thread-safe.
std::chrono::steady_clock::time_point steadyNow();

/// The time of day, for time stamps and ages of files. It jumps when the clock is set, so it must
/// not be used for deadlines. Thread-safe.
std::chrono::system_clock::time_point wallNow();

}  // namespace corvane::Platform
