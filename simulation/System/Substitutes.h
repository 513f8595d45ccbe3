#pragma once

#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// The kernel whose processes run, for what replaces parts of the platform layer.
extern Kernel* runningKernel;

}  // namespace corvane::Simulation
