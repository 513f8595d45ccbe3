#include "corvane-nm/RequestProcessing/CallerApplication.h"

#include "Platform/HardStop.h"
#include "Platform/ProcessInfo.h"
#include "VCommons/VCSSystemUtils.h"

namespace corvane::RequestProcessing {
namespace {

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

}  // namespace

CallerApplication::CallerApplication()
    : process_(Platform::ProcessInfo::parent()), path_(VCSSystemUtils::execPathForPid(process_)) {}

const std::string& CallerApplication::name(const Platform::RunningApplications& applications) {
  if (!name_) name_ = find(applications);
  return *name_;
}

std::string CallerApplication::find(const Platform::RunningApplications& applications) const {
  if (const auto application = applications.applicationOf(process_)) {
    if (application->bundleIdentifier) return *application->bundleIdentifier;
    if (application->executablePath) return lastComponent(*application->executablePath);
  }
  if (!path_) Platform::hardStop("the executable of the calling browser cannot be found");
  return lastComponent(*path_);
}

}  // namespace corvane::RequestProcessing
