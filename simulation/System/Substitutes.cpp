#include "simulation/System/Substitutes.h"

#include <string>
#include <string_view>

#include "Platform/HardStop.h"
#include "Platform/Heap.h"
#include "Platform/SystemLog.h"

// Substitutes for platform functions that bypass SystemCalls. The linker prefers these definitions
// because the platform layer is a static library.

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
