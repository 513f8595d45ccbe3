#pragma once

#include <chrono>

namespace corvane::Platform {

/// The time on the monotonic clock, by which deadlines are judged. Time that the machine sleeps
/// counts on macOS, not on Linux. Thread-safe.
std::chrono::steady_clock::time_point steadyNow();

/// The time of day. It may jump forward or back when the clock is set. Thread-safe.
std::chrono::system_clock::time_point wallNow();

}  // namespace corvane::Platform
