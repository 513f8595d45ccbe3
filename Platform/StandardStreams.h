#pragma once

#include "Base/Result.h"

namespace corvane::Platform {

/// The two descriptors on which the browser speaks with this process.
struct BrowserDescriptors {
  int input;   ///< standard input
  int output;  ///< what standard output was; no child process inherits it
};

/// Fills descriptors 0 to 2 that are closed with /dev/null, so that no file that is opened later
/// gets their numbers. Fails when the system has no descriptor left for it.
Result<Done> fillStandardStreams();

/// Takes the browser's descriptors for the caller alone, as the first thing a process does: fills
/// descriptors 0 to 2 that are closed with /dev/null, keeps the real standard output on a
/// descriptor of its own, and points descriptor 1 at standard error, so that no stray print can
/// ever break a frame. Fails when the system has no descriptor left for it.
Result<BrowserDescriptors> claimStandardStreams();

/// From now on a write that the system refuses (to a reader that is gone, beyond the largest file)
/// fails instead of ending the process. Child processes that are to have the default must set it.
void ignoreSignalsOfWrites();

}  // namespace corvane::Platform
