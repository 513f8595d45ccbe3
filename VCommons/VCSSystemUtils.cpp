#include "VCommons/VCSSystemUtils.h"

#include <utility>

#include "Platform/ProcessInfo.h"

namespace corvane {

std::optional<std::string> VCSSystemUtils::execPathForPid(std::int32_t pid) {
  auto path = Platform::ProcessInfo::executablePath(pid);
  if (!path) return std::nullopt;
  return std::move(path).value();
}

}  // namespace corvane
