#include "Platform/Posix/CrashReports.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace corvane::Platform {

void suppressCrashReports() {
  const rlimit noCore = {0, 0};
  ::setrlimit(RLIMIT_CORE, &noCore);
}

/// Not by SIGABRT: the system reports every crash, and a process can't decline that. SIGKILL is no
/// crash.
void dieWithoutReport() {
  ::kill(::getpid(), SIGKILL);
  for (;;) ::pause();
}

}  // namespace corvane::Platform
