#include "Platform/Container/RunningInstance.h"

#include <poll.h>

#include <cerrno>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/File.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {

using ApplicationRegistry::Lock;

namespace {

/// Opens a descriptor of the process `identifier`; returns an empty one if the system gives no
/// access to processes.
Result<OwnedDescriptor> openProcess(pid_t identifier) {
  OwnedDescriptor process(linuxCalls().pidfdOpen(identifier));
  if (process) return process;
  if (errno == EINVAL)  // the number of a thread, or of a group whose leader has ended
    return Failure{FailureCause::notFound, "pidfd_open: not a process"};
  Failure failure = failureFromErrno("pidfd_open");
  if (failure.cause == FailureCause::notPermitted) return process;
  return failure;
}

/// No instance if `failure` says that something does not exist.
Result<std::optional<RunningInstance>> unlessMissing(const Failure& failure) {
  if (failure.cause == FailureCause::notFound) return std::optional<RunningInstance>();
  return failure;
}

}  // namespace

Result<std::optional<RunningInstance>> RunningInstance::find(const OwnedDescriptor& directory,
                                                             const std::string& name) {
  using Found = std::optional<RunningInstance>;
  const auto identifier = ProcessFileName::processOf(name);
  if (!identifier) return Found();
  // The process before the lock: if it ends after this and another process gets its identifier, the
  // descriptor still refers to the one that ended.
  auto process = openProcess(*identifier);
  if (!process) return unlessMissing(process.failure());
  auto file = ApplicationRegistry::openFile(directory, name);
  if (!file) return unlessMissing(file.failure());
  const auto lock = ApplicationRegistry::lockOf(file.value());
  if (!lock) return lock.failure();
  RunningInstance instance(std::move(process).value(), std::move(file).value());
  if (lock.value() != Lock::held) return Found();
  const auto hasEnded = instance.hasProcessEnded();
  if (!hasEnded) return hasEnded.failure();
  if (*hasEnded) return Found();
  return Found(std::move(instance));
}

bool RunningInstance::hasEnded() const {
  const auto hasEnded = hasProcessEnded();
  if (hasEnded && *hasEnded) return true;
  const auto lock = ApplicationRegistry::lockOf(file_);
  return lock && lock.value() == Lock::free;
}

Result<bool> RunningInstance::hasProcessEnded() const {
  if (!process_) return false;
  pollfd ended = {process_.number(), POLLIN, 0};
  int count = 0;
  do {
    count = systemCalls().poll(&ended, 1, 0);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return failureFromErrno("poll");
  return count > 0;
}

}  // namespace corvane::Platform
