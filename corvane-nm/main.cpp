#include <string>

#include "Base/TimeLimits.h"
#include "Platform/HardStop.h"
#include "Platform/Heap.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/SharedResources.h"
#include "VCommons/VCommonsKit/VCLLogger.h"
#include "corvane-nm/Host.h"

namespace corvane {
namespace {

void startLogging(SharedResources& shared) {
  VCLLogger& logger = VCLLogger::singleton();
  const auto& logs = shared.logsUrl();
  if (!logs) Platform::hardStop("the shared logs folder is unavailable: " + shared.logsFailure());
  logger.initLogger(*logs + "/corvane-nm");
}

}  // namespace
}  // namespace corvane

/// Reads neither arguments nor the environment. Lives until the browser closes standard input.
int main() {
  using namespace corvane;  // NOLINT(google-build-using-namespace)
  Platform::shareOneHeap();
  const auto browser = Platform::claimStandardStreams();
  Platform::stopHardOnUncaughtExceptions();
  if (!browser)
    Platform::hardStop("the standard streams cannot be set up: " + browser.failure().text);
  Platform::ignoreSignalsOfWrites();
  // Never destroyed, so that returning while requests are pending is safe. Static, so that leak
  // checkers can reach it.
  static auto& host = *new Host(*browser);
  startLogging(host.shared);
  host.run();
  VCLLogger::singleton().flushWithin(TimeLimits::lastLogLines);
  host.shared.withdraw();
  return 0;
}
