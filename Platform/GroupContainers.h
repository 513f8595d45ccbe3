#pragma once

#include <string>

#include "Base/Result.h"

namespace corvane::Platform::GroupContainers {

/// The directory that the programs of application group `identifier` share, without a final slash.
/// Fails when this user has none or when it can't be looked at; the text says which. Safe from any
/// thread.
///
/// On Linux it must be a directory of the effective user that no other user may write to; the user
/// database, never the environment, says where it lies. Never makes it. Blocks for up to 5 s if a
/// name service must be asked.
///
/// On macOS the system says where it lies, and for whom: it names one to every program outside a
/// sandbox, whether or not it exists. What is named is used, and made when it is missing; if it
/// can't be made, what is made in it fails.
Result<std::string> directoryOf(const std::string& identifier);

}  // namespace corvane::Platform::GroupContainers
