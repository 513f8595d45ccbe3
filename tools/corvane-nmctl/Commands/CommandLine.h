#pragma once

#include "tools/corvane-nmctl/Commands/Commands.h"

namespace corvane::Nmctl {

/// Runs the command that the command line names, with the surroundings and the output of
/// `context`, and gives the exit status: 0 when all is well, 1 when something failed or was found
/// wrong, 2 when the command line makes no sense. Main thread only.
int run(int count, const char* const* arguments, Context& context);

}  // namespace corvane::Nmctl
