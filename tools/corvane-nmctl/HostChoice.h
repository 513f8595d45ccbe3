#pragma once

#include <string>
#include <vector>

#include "Base/Result.h"
#include "tools/corvane-nmctl/Lookup.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// A host, and how it is to be started.
struct HostChoice {
  std::string path;
  std::vector<std::string> arguments;
  std::string reason;  ///< for people: whose it is
};

/// What `browser` hands to the host that it has found.
std::vector<std::string> argumentsFor(const Browser& browser, const Lookup& found);

/// The host that the browser of this name would start; without a name, that of the first browser
/// that is installed here and finds one; when none does, the one that belongs to this program.
/// Fails, and says what fixes it, when the browser that is named finds none.
Result<HostChoice> chooseHost(const std::string& browser, const Surroundings& surroundings);

/// The host `path`, started as Chromium would.
HostChoice hostAt(const std::string& path);

}  // namespace corvane::Nmctl
