#include "Platform/Clocks.h"

#include "Platform/SystemCalls.h"

namespace corvane::Platform {

std::chrono::steady_clock::time_point steadyNow() {
  return systemCalls().steadyNow();
}

std::chrono::system_clock::time_point wallNow() {
  return systemCalls().wallNow();
}

}  // namespace corvane::Platform
