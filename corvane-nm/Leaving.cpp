#include "corvane-nm/Leaving.h"

#include <unistd.h>

#include <atomic>

#include "SharedComponents/SharedResources.h"
#include "VCommons/VCLLogger.h"
#include "corvane-nm/TimeLimits.h"

namespace corvane::Leaving {
namespace {

std::atomic<bool> hasBegun{false};

}  // namespace

void prepare() {
  while (hasBegun.exchange(true)) ::pause();
  VCLLogger::singleton().flushWithin(TimeLimits::lastLogLines);
  SharedResources::withdraw();
}

void leaveNow() {
  prepare();
  ::_exit(0);
}

}  // namespace corvane::Leaving
