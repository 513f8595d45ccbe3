#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Policies.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// Where a browser's look for the host ends.
struct Lookup {
  bool isUsers = false;      ///< whether the manifest is the user's, not the system's
  std::string manifestPath;  ///< the manifest that it takes; "" when there is none
  std::string hostPath;      ///< the program that it would start
  std::string extension;     ///< that the browser would start it for, as manifests allow one
  std::vector<std::string> others = {};  ///< what the manifest allows beside that one and ours
  std::string renewal;         ///< what fixes it when that program is not the host as it should be
  std::optional<Fault> fault;  ///< why it starts none
};

/// Looks for the host as `browser` does for the extension of this identifier, or for ours when it
/// is empty or none of such a browser: the user's folders before the system's, policies obeyed.
/// Chromium and its like take the first manifest that there is, whether or not it is any good;
/// Firefox goes on to the next when one is not.
Lookup lookUp(const Browser& browser, const Policies& policies, const Surroundings& surroundings,
              const std::string& identifier = {});

/// Why the program `path` can't be started, as far as that shows from outside. `renewal` is the
/// fix where it has to be another one.
std::optional<Fault> programFault(const std::string& path, const std::string& renewal);

}  // namespace corvane::Nmctl
