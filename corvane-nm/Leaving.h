#pragma once

/// The end of the process. Queues may still be busy and threads may still be waiting; nothing of
/// theirs is destroyed, so that leaving is safe at any moment.
namespace corvane::Leaving {

/// Does what the process owes before it ends: lets a record that is being written get whole (for at
/// most TimeLimits::lastAppend), writes out queued log lines (TimeLimits::lastLogLines) and takes
/// away what it left in the container. Only the first caller returns, then to end the process; any
/// other thread waits here for that.
void prepare();

/// Ends the process with status 0 at once, from any thread, unless it is being ended already.
void leaveNow();

}  // namespace corvane::Leaving
