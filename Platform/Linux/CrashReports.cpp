#include "Platform/Posix/CrashReports.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>

namespace corvane::Platform {

void suppressCrashReports() {
  const rlimit noCore = {0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
  // A crash handler that receives core dumps through a pipe (core(5)) ignores that limit.
  ::prctl(PR_SET_DUMPABLE, 0);
}

void dieWithoutReport() {
  ::signal(SIGABRT, SIG_DFL);
  std::abort();
}

}  // namespace corvane::Platform
