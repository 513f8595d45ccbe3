#include <cstdio>
#include <exception>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/CommandLine.h"

int main(int count, char** arguments) {
  if (!corvane::Platform::fillStandardStreams()) return 1;
  try {
    corvane::Nmctl::Context context;
    context.surroundings = corvane::Nmctl::Surroundings::ofThisProcess();
    return corvane::Nmctl::run(count, arguments, context);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "corvane-nmctl: %s\n", exception.what());
    return 1;
  }
}
