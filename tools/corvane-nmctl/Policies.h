#pragma once

#include <string>

#include "tools/corvane-nmctl/Browsers.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// What an administrator has laid down for a browser, as far as it concerns the host. Firefox has
/// no such policy.
struct Policies {
  bool forbidHost = false;       ///< NativeMessagingBlocklist, and no NativeMessagingAllowlist
  bool forbidUserLevel = false;  ///< NativeMessagingUserLevelHosts is false
  std::string hostFile;          ///< the file that says so, each
  std::string userLevelFile;
};

/// Reads the policies of `browser`: all files *.json of its folders, of which the last by name
/// counts where several say something. What this user may not read the browser may not either.
Policies policiesOf(const Browser& browser, const Surroundings& surroundings);

}  // namespace corvane::Nmctl
