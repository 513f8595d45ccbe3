#include "corvane-nm/RequestProcessing/CallerApplication.h"

#include "Platform/HardStop.h"
#include "Platform/ProcessInfo.h"
#include "VCommons/VCSSystemUtils.h"

namespace corvane::RequestProcessing {
namespace {

std::string nameOfParent() {
  const auto path = VCSSystemUtils::execPathForPid(Platform::ProcessInfo::parent());
  if (!path) Platform::hardStop("the executable of the calling browser cannot be found");
  return path->substr(path->find_last_of('/') + 1);
}

}  // namespace

const std::string& callerApplicationName() {
  static const auto& name = *new std::string(nameOfParent());
  return name;
}

}  // namespace corvane::RequestProcessing
