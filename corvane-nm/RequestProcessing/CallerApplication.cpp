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

std::string CallerApplication::name(const Platform::RunningApplications& applications) {
  if (name_) return *name_;
  if (!path_)
    path_ = VCSSystemUtils::execPathForPid(process_);  // the system may have failed before
  const auto application = applications.applicationOf(process_);
  std::string name = nameOf(application ? application.value() : std::nullopt);
  if (application) name_ = name;  // otherwise the next call looks it up again
  return name;
}

std::string CallerApplication::nameOf(
    const std::optional<Platform::RunningApplication>& application) const {
  if (application) {
    if (application->bundleIdentifier) return *application->bundleIdentifier;
    if (application->executablePath) return lastComponent(*application->executablePath);
  }
  if (!path_) Platform::hardStop("the executable of the calling browser cannot be found");
  return lastComponent(*path_);
}

}  // namespace corvane::RequestProcessing
