#pragma once

#include <optional>
#include <string>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Policies.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// Where a browser's look for the host ends.
struct Lookup {
  std::string manifestPath;    ///< the manifest that it takes; "" when there is none
  std::string hostPath;        ///< the program that it would start
  std::string renewal;         ///< what mends it when that program is not the host as it should be
  std::optional<Fault> fault;  ///< why it starts none
};

/// Looks for the host as `browser` does: the user's folders before the system's, policies obeyed.
/// Chromium and its like take the first manifest that there is, whether or not it is any good;
/// Firefox goes on to the next when one is not.
Lookup lookUp(const Browser& browser, const Policies& policies, const Surroundings& surroundings);

/// Why the program `path` can't be started, as far as that shows from outside. `renewal` is the
/// mend where it has to be another one.
std::optional<Fault> programFault(const std::string& path, const std::string& renewal);

}  // namespace corvane::Nmctl
