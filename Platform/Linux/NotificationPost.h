#pragma once

#include <string>

#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {

/// Sends `name` to every socket in `folder`, the folder of that notification, and removes the
/// sockets of processes that are gone; what is no socket stays. An observer whose queue is full is
/// waited for: all of these together and for at most 100 ms, so that one that stands still holds
/// nobody up for long; it then misses the notification. True when a dead socket was removed, and
/// the folder may be empty now. Safe from any thread.
bool postNotification(const OwnedDescriptor& folder, const std::string& name);

}  // namespace corvane::Platform
