#pragma once

#include <chrono>

/// The time limits of the shipped host, all on the monotonic clock. What waits is handed its limit,
/// so that a test may wait for less.
namespace corvane::TimeLimits {

/// One turn of the main loop; the end of input begins the last one.
inline constexpr std::chrono::milliseconds runLoopSlice{5000};

/// How long after the end of input the browser may read nothing of a reply that is pending: one
/// that reads gets it whole, one that does not is not waited for.
inline constexpr std::chrono::milliseconds lastRead{250};

/// How long the main application may take to say that its reply is there.
inline constexpr std::chrono::milliseconds reply{3000};

/// How long the main application may take to announce its state, after it was started or told to
/// change it.
inline constexpr std::chrono::milliseconds appState{300'000};

/// How long the process, when it leaves, waits for log lines that are queued: long enough for a
/// healthy disk, short enough that a browser that quits does not notice.
inline constexpr std::chrono::milliseconds lastLogLines{100};

}  // namespace corvane::TimeLimits
