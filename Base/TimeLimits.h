#pragma once

#include <chrono>

/// The time limits of the shipped host, all measured on the monotonic clock. Objects that wait get
/// their limit as an argument, so that tests can pass shorter ones.
namespace corvane::TimeLimits {

/// One turn of the main loop; the end of input begins the last one.
inline constexpr std::chrono::milliseconds runLoopSlice{5000};

/// After the end of input: how long the browser may read nothing of a reply that is being written.
/// As long as it keeps reading, it gets the whole reply; a browser that has stopped is not waited
/// for.
inline constexpr std::chrono::milliseconds lastRead{250};

/// How long to wait for the notification by which the main application announces its reply.
inline constexpr std::chrono::milliseconds reply{3000};

/// How long to wait until the main application announces its state, after it was started or asked
/// to change it.
inline constexpr std::chrono::milliseconds appState{300'000};

/// How long the process waits at its end until queued log lines are written: enough for a healthy
/// disk, and too short for the user of a browser that quits to notice.
inline constexpr std::chrono::milliseconds lastLogLines{100};

}  // namespace corvane::TimeLimits
