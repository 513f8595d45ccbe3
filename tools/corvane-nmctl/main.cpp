#include <cstdio>
#include <exception>

#include "tools/corvane-nmctl/CommandLine.h"

int main(int count, char** arguments) {
  try {
    corvane::Nmctl::Context context{corvane::Nmctl::Surroundings::ofThisProcess(),
                                    corvane::Nmctl::Output()};
    return corvane::Nmctl::run(count, arguments, context);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "corvane-nmctl: %s\n", exception.what());
    return 1;
  }
}
