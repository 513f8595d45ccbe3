#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace corvane::Platform {

/// The home folder of `user` as the user database has it, or nothing. Never $HOME: sandboxes change
/// the environment of what a browser starts, and the main application must be met all the same.
/// Safe from any thread.
std::optional<std::string> homeFolderOf(uid_t user);

}  // namespace corvane::Platform
