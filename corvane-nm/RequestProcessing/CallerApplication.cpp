#include "corvane-nm/RequestProcessing/CallerApplication.h"

#include "Platform/HardStop.h"
#include "Platform/ProcessInfo.h"
#include "VCommons/VCSSystemUtils.h"

namespace corvane::RequestProcessing {
namespace {

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

std::string nameOfParent(const Platform::RunningApplications& applications) {
  const pid_t parent = Platform::ProcessInfo::parent();
  if (const auto application = applications.applicationOf(parent)) {
    if (application->bundleIdentifier) return *application->bundleIdentifier;
    if (application->executablePath) return lastComponent(*application->executablePath);
  }
  const auto path = VCSSystemUtils::execPathForPid(parent);
  if (!path) Platform::hardStop("the executable of the calling browser cannot be found");
  return lastComponent(*path);
}

}  // namespace

const std::string& callerApplicationName(const Platform::RunningApplications& applications) {
  static const auto& name = *new std::string(nameOfParent(applications));
  return name;
}

}  // namespace corvane::RequestProcessing
