#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "simulation/World.h"

namespace corvane::Simulation {

/// Makes one run in a process of its own, so that a crash of what is simulated is an outcome as
/// well and that nothing of one run lasts into the next.
Outcome runApart(const Plan& plan);

/// Makes one run in this process.
Outcome runHere(const Plan& plan);

/// Makes runs with the seeds from `first` on, side by side, until `seconds` have passed or, unless
/// it is 0, `maximumRuns` were made; calls `failed` for each that breaks a promise. Returns what
/// happened in all of them.
Report runMany(std::uint64_t first, double seconds, std::uint64_t maximumRuns,
               const std::function<bool(const Plan&, const Outcome&)>& failed);

/// A plan that breaks a promise as `plan` does, in fewer steps if there is such a one.
Plan shortened(Plan plan);

}  // namespace corvane::Simulation
