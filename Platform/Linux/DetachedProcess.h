#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// How a program runs that is only started for what it prints.
struct OutputOptions {
  int standardOutput;          ///< becomes its standard output; not one of 0 to 2
  std::chrono::seconds limit;  ///< after which SIGALRM ends it; at least 1
};

/// The path of `program`: one without a slash is looked for where the system keeps programs, and
/// must be executable; one with a slash is its own path, whatever is there.
Result<std::string> programPath(const std::string& program);

/// Starts a program in a session of its own, as no child of this process: default signals, empty
/// signal mask, standard streams on /dev/null, no other descriptor, working directory `directory`,
/// the environment of this process. If `output` is given, standard output and a time limit are as
/// it says, and the environment is empty. `arguments` begins with the program, which is found as
/// `programPath` does.
///
/// Returns a descriptor that becomes readable when the outcome is known; pass it to `outcomeOf`.
Result<OwnedDescriptor> startDetached(const std::vector<std::string>& arguments,
                                      const std::string& directory,
                                      std::optional<OutputOptions> output = std::nullopt);

/// Succeeds if the program is running. Blocks until that is known.
Result<Done> outcomeOf(const OwnedDescriptor& start);

}  // namespace corvane::Platform
