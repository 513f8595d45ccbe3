#pragma once

#include <string>

#include "Base/Result.h"

namespace corvane::Platform::GroupContainers {

/// The folder that the programs of application group `identifier` share, without a final slash.
/// Fails when this user has none or when it can't be looked at; the text says which. On Linux it
/// must be a folder of the effective user that no other user may write to; the user database, never
/// the environment, says where it lies. Never makes it. Blocks for up to 5 s if a name service must
/// be asked. Safe from any thread.
Result<std::string> folderOf(const std::string& identifier);

/// Where that folder lies or would lie, whether or not there is one and whatever it is. Fails
/// when `homeFolder` does and when `identifier` is no name for a folder. Blocks as `folderOf` does.
/// Safe from any thread.
Result<std::string> placeOf(const std::string& identifier);

/// The home folder of the effective user, as the user database has it. Fails with `notFound` when
/// it has none, with another cause when it can't be read or a name service does not find the user.
/// Blocks as `folderOf` does. Safe from any thread.
Result<std::string> homeFolder();

}  // namespace corvane::Platform::GroupContainers
