#pragma once

#include <cstdint>
#include <functional>

#include "simulation/World.h"

namespace corvane::Simulation {

/// Makes one run in a child process. A crash or a hang of that is a violation.
Outcome runApart(const Plan& plan);

/// Makes one run in this process.
Outcome runHere(const Plan& plan);

/// Makes runs with the seeds from `first` on, in one child process per processor, for `seconds`,
/// and at most `maximumRuns` unless that is 0. Calls `failed` for each run with a violation, and
/// starts no more if it returns false. Returns the sum of all reports.
Report runMany(std::uint64_t first, double seconds, std::uint64_t maximumRuns,
               const std::function<bool(const Plan&, const Outcome&)>& failed);

/// Returns `plan`, which has a violation, with fewer actions if one remains then.
Plan shortened(Plan plan);

}  // namespace corvane::Simulation
