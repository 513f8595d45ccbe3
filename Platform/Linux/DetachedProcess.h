#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// How to run a program that is started only for its output.
struct OutputOptions {
  int standardOutput;          ///< descriptor that becomes its standard output; above 2
  std::chrono::seconds limit;  ///< then SIGALRM ends it; at least 1 s
};

/// Finds the executable of `program`. A name without a slash is searched for in /usr/local/bin,
/// /usr/bin and /bin and must be executable; anything else is returned as it is, whether or not it
/// exists. Fails with `notFound`, or with the reason why the one found can't be executed.
Result<std::string> programPath(const std::string& program);

/// Starts a program in a session of its own that is no child of this process, so that
/// signals to this one and its end do not reach it. It gets default signal actions, an empty signal
/// mask, /dev/null as its standard streams, no other descriptors, the working directory `directory`
/// and the environment of this process. With `output` it gets that standard output and time limit
/// and an empty environment. `arguments` begins with the program, which `programPath` finds.
///
/// Returns a descriptor that becomes readable when it is known whether the program could be
/// executed; pass it to `outcomeOf`. Fails if the program isn't found or the system starts no more
/// processes. Blocks for two forks. Thread-safe.
Result<OwnedDescriptor> startDetached(const std::vector<std::string>& arguments,
                                      const std::string& directory,
                                      std::optional<OutputOptions> output = std::nullopt);

/// Succeeds if the program was executed; otherwise fails with the reason. Blocks until that is
/// known. `start` is a result of `startDetached`, to be passed once.
Result<Done> outcomeOf(const OwnedDescriptor& start);

}  // namespace corvane::Platform
