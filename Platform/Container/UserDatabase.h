#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

/// Parses the files of the user database (passwd(5), nsswitch.conf(5)); reads none itself.
/// Thread-safe.
namespace corvane::Platform::UserDatabase {

/// Which sources have to be asked for a user.
enum class Sources {
  fileOnly,   ///< /etc/passwd has all users
  fileFirst,  ///< others are asked for users that /etc/passwd does not have
  others,     ///< others are asked first, or even if /etc/passwd has the user
};

/// Returns the sources of users according to `configuration`, the content of nsswitch.conf; the
/// file only if that is empty.
Sources sourcesIn(std::string_view configuration);

/// Returns the home directory of `user` according to `text`, lines in the format of /etc/passwd: ""
/// if the entry of the user has no absolute path there, nothing if there is no entry. The first
/// entry counts; invalid lines are skipped.
std::optional<std::string> homeIn(std::string_view text, uid_t user);

}  // namespace corvane::Platform::UserDatabase
