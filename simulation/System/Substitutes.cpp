#include "simulation/System/Substitutes.h"

#include <string>
#include <string_view>

#include "Platform/HardStop.h"
#include "Platform/Heap.h"
#include "Platform/SystemLog.h"

// In place of the sources of these names, whose system calls are not the kernel's: those of the
// platform layer are in a library, from which the linker takes only what is missing.

namespace corvane::Simulation {

Kernel* runningKernel = nullptr;

}  // namespace corvane::Simulation

namespace corvane::Platform {

using Simulation::runningKernel;

void hardStop(std::string_view why) {
  runningKernel->die(std::string(why));
}

void SystemLog::write(Severity /*severity*/, std::string_view text) {
  if (runningKernel != nullptr && runningKernel->trace)
    runningKernel->trace("system log: " + std::string(text));
}

/// All simulated processes share the heap.
void returnFreeMemory() {}

}  // namespace corvane::Platform
