#pragma once

#include <optional>
#include <string>

namespace corvane::Platform::GroupContainers {

/// The folder that the programs of application group `identifier` share, without a final slash, or
/// nothing when this user has none. On Linux it must be a folder of the effective user that nobody
/// else may write to; the user database, never the environment, says where it lies. Never makes it.
/// Safe from any thread.
std::optional<std::string> folderOf(const std::string& identifier);

/// Where that folder lies or would lie, whether or not there is one and whatever it is; nothing
/// when the user has no home folder or `identifier` is no name for a folder. Safe from any thread.
std::optional<std::string> placeOf(const std::string& identifier);

/// The home folder of the effective user, as the user database has it. Safe from any thread.
std::optional<std::string> homeFolder();

}  // namespace corvane::Platform::GroupContainers
