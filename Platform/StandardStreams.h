#pragma once

#include "Base/Result.h"

namespace corvane::Platform {

/// The two descriptors through which the browser and this process exchange messages. Both stay open
/// until the process ends.
struct BrowserDescriptors {
  int input;   ///< standard input
  int output;  ///< a copy of the original standard output; no child process inherits it
};

/// Opens /dev/null on each of the descriptors 0 to 2 that is closed, so that no file that is opened
/// later gets its number and with it the output of other code. Fails if the system has no
/// descriptor left. Call it before any other thread is started.
Result<Done> fillStandardStreams();

/// Reserves the browser's descriptors for the caller: does what `fillStandardStreams` does, moves
/// the original standard output to a new descriptor, and redirects descriptor 1 to standard error.
/// So no print of any library can ever get between two messages. The first thing that the process
/// does, and only once. Fails if the system has no descriptor left.
Result<BrowserDescriptors> claimStandardStreams();

/// From now on a write to a pipe without a reader, or beyond the largest file size allowed, fails
/// instead of ending the process by SIGPIPE or SIGXFSZ. Child processes inherit that; one that
/// needs the default must reset it.
void ignoreSignalsOfWrites();

}  // namespace corvane::Platform
