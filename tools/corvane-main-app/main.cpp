#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Platform/Clocks.h"
#include "Platform/StandardStreams.h"
#include "tools/corvane-main-app/Application.h"
#include "tools/corvane-main-app/ErrorOutput.h"
#include "tools/corvane-main-app/Options.h"
#include "tools/corvane-main-app/Output.h"

namespace corvane::MainApp {
namespace {

int runProgram(const std::vector<std::string>& arguments) {
  const auto start = Platform::steadyNow();
  const auto streams = Platform::claimStandardStreams();
  if (!streams) return refuse("the standard streams can't be set up");
  Platform::ignoreSignalsOfWrites();
  const auto options = readOptions(arguments);
  if (!options) return fail("usage", options.failure());
  if (options->asksForHelp) {
    Output(streams->output, false).line(usage);
    return 0;
  }
  return run(options.value(), *streams, start);
}

}  // namespace
}  // namespace corvane::MainApp

int main(int count, char** arguments) {
  try {
    return corvane::MainApp::runProgram({arguments + 1, arguments + count});
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "corvane-main-app: %s\n", exception.what());
    return 1;
  }
}
