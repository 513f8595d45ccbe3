#pragma once

#include <string>
#include <vector>

#include "tools/corvane-nmctl/Finding.h"

/// The fixes that the doctor can make itself: those findings name a command for.
namespace corvane::Nmctl::Fixes {

/// The commands that fix what is wrong, each once, in the order of the findings.
std::vector<std::string> commandsFor(const Findings& findings);

/// Runs `command` with the shell; "corvane-nmctl" in it is this program. Its output goes to that of
/// this process. Returns whether it ended with status 0.
bool run(const std::string& command);

}  // namespace corvane::Nmctl::Fixes
