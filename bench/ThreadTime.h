#pragma once

#include <ctime>

namespace corvane::bench {

/// Processor time that this thread has used so far, in seconds: for work that waits for nobody it
/// says the same as a clock, without what others do to the processor meanwhile.
inline double threadTime() {
  std::timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace corvane::bench
