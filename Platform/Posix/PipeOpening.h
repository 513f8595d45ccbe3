#pragma once

namespace corvane::Platform {

/// Opens the pipe `descriptor` a second time, for writing, with O_NONBLOCK and close-on-exec. The
/// flags apply to the new opening only, not to those who share `descriptor`. Returns a descriptor
/// that the caller must close, or -1 if the system can't do that. Never blocks.
int openPipeForWriting(int descriptor);

}  // namespace corvane::Platform
