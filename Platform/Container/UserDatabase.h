#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

/// Reading the files of the user database (passwd(5), nsswitch.conf(5)).
namespace corvane::Platform::UserDatabase {

enum class Sources {
  fileOnly,   ///< /etc/passwd has all users
  fileFirst,  ///< others are asked for users that /etc/passwd does not have
  others,     ///< others are asked first, or even if /etc/passwd has the user
};

/// Where users come from, by the text of nsswitch.conf. An empty one means the file only.
Sources sourcesIn(std::string_view configuration);

/// The home directory of `user` in `text`, lines in the form of /etc/passwd. Empty if the entry has
/// no absolute path; nothing if there is no entry. Lines that are no entries are skipped.
std::optional<std::string> homeIn(std::string_view text, uid_t user);

}  // namespace corvane::Platform::UserDatabase
