#pragma once

#include "Base/Result.h"

/// Waiting for several things at once, the wish of people to end the program among them. Needs a
/// process that waits on one thread.
namespace corvane::Nmctl::Waking {

/// From now on the signals with which people end programs (SIGINT, SIGTERM, SIGHUP) wake instead of
/// ending the process; the second time one ends it. Gives a descriptor of this namespace's that can
/// be read after every waking, to be waited for with poll(2). Once per process.
Result<int> begin();

/// Wakes. Safe from any thread; nothing before `begin`.
void wake();

/// Forgets the wakings so far.
void settle();

/// Whether one of the signals has come.
bool isInterrupted();

}  // namespace corvane::Nmctl::Waking
