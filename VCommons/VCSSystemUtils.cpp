#include "VCommons/VCSSystemUtils.h"

#include "Platform/ProcessInfo.h"

namespace corvane {

std::optional<std::string> VCSSystemUtils::execPathForPid(std::int32_t pid) {
  return Platform::ProcessInfo::executablePath(pid);
}

}  // namespace corvane
