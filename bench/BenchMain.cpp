// corvane-bench: the parts of the link to the main application, each beside a floor where there is
// one: the same system calls and nothing else. That of "SUBJECT" is named "SUBJECT/floor".
// Files and sockets lie below the current folder, or in /dev/shm. Takes the options of Google
// Benchmark.

#include <benchmark/benchmark.h>

#include "VCommons/VCommonsKit/VCLog.h"

int main(int argumentCount, char** arguments) {
  corvane::ddLogLevel = static_cast<std::uint64_t>(corvane::DDLogLevel::info);  // as it is shipped
  benchmark::Initialize(&argumentCount, arguments);
  if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
