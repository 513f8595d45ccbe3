#include "corvane-nm/Leaving.h"

#include <unistd.h>

#include <atomic>

#include "Base/TimeLimits.h"
#include "SharedComponents/SharedResources.h"
#include "VCommons/VCLLogger.h"

namespace corvane::Leaving {
namespace {

std::atomic<bool> hasBegun{false};

}  // namespace

void prepare() {
  while (hasBegun.exchange(true)) ::pause();
  SharedResources::stopAppending(TimeLimits::lastAppend);
  VCLLogger::singleton().flushWithin(TimeLimits::lastLogLines);
  SharedResources::withdraw();
}

void leaveNow() {
  prepare();
  ::_exit(0);
}

}  // namespace corvane::Leaving
