#pragma once

#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// The kernel of the current run, for the substitutes of platform functions.
extern Kernel* runningKernel;

}  // namespace corvane::Simulation
