#pragma once

namespace corvane::Platform {

/// Opens the pipe `descriptor` a second time, for writing, so that the result has flags of its own:
/// O_NONBLOCK and close-on-exec. -1 where the system can't do that. The caller closes the result.
int openPipeForWriting(int descriptor);

}  // namespace corvane::Platform
