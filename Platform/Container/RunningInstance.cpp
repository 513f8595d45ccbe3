#include "Platform/Container/RunningInstance.h"

#include <poll.h>

#include <cerrno>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {

using ApplicationRegistry::Lock;

RunningInstance::RunningInstance(pid_t process)
    : process_(linuxCalls().pidfdOpen(process)), wasGone_(!process_ && errno == ESRCH) {}

std::optional<RunningInstance> RunningInstance::find(const OwnedDescriptor& folder,
                                                     const std::string& name) {
  const auto process = ProcessFileName::processOf(name);
  if (!process) return std::nullopt;
  // The process before the lock: if it ends from here on and another one gets its identifier, it is
  // still this one that is asked.
  RunningInstance instance(*process);
  instance.file_ = ApplicationRegistry::openFile(folder, name);
  if (!instance.file_) return std::nullopt;  // errno says why
  const bool isLocked = ApplicationRegistry::lockOf(instance.file_) == Lock::held;
  if (!isLocked || instance.hasProcessEnded()) return std::nullopt;
  return instance;
}

bool RunningInstance::hasEnded() const {
  return hasProcessEnded() || ApplicationRegistry::lockOf(file_) == Lock::free;
}

bool RunningInstance::hasProcessEnded() const {
  if (!process_) return wasGone_;
  pollfd ended = {process_.number(), POLLIN, 0};
  return systemCalls().poll(&ended, 1, 0) > 0;
}

}  // namespace corvane::Platform
