#include "SharedComponents/GroupContainer.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "Platform/File.h"
#include "Platform/GroupSettings.h"
#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

GroupContainer::GroupContainer(Result<std::string> folder, std::string groupIdentifier,
                               std::string mainAppIdentifier)
    : folder_(folder ? std::optional(folder.value()) : std::nullopt),
      folderFailure_(folder ? "" : folder.failure().text),
      groupIdentifier_(std::move(groupIdentifier)),
      mainAppIdentifier_(std::move(mainAppIdentifier)) {}

const std::optional<std::string>& GroupContainer::logsUrl() {
  return madeFolder(logs_, "Logs/" + mainAppIdentifier_, "logsUrl", "logs");
}

const std::optional<std::string>& GroupContainer::dataUrl() {
  return madeFolder(data_, "Data", "dataUrl", "data");
}

Result<Done> GroupContainer::pickUpLogLevel(VCLLogger& logger) const {
  const auto settings = Platform::GroupSettings::open(requiredContainer(), groupIdentifier_);
  if (!settings) {
    return Failure{settings.failure().cause,
                   "the group settings cannot be opened: " + settings.failure().text};
  }
  const std::int64_t level = settings->integer(logLevelKey);
  if (level == 0) return Done{};
  if (level < 0 || level > std::numeric_limits<std::uint32_t>::max()) {
    return Failure{
        FailureCause::malformed,
        "the group setting DefaultsKeyLogLevel is out of range: " + std::to_string(level)};
  }
  logger.modifyLogLevel(static_cast<std::uint32_t>(level));
  return Done{};
}

const std::optional<std::string>& GroupContainer::madeFolder(Folder& folder,
                                                             const std::string& component,
                                                             const char* property,
                                                             const char* purpose) {
  if (std::exchange(folder.isTried, true)) return folder.path;
  const auto outcome = Platform::makeDirectories(requiredContainer(), component);
  if (outcome) {
    folder.path = requiredContainer() + "/" + component;
  } else {
    folder.failure = outcome.failure().text;
    VCLogCError({"SharedComponents/SharedResources", property}, "Can't create group %s folder: %@",
                purpose, folder.failure);
  }
  return folder.path;
}

const std::string& GroupContainer::requiredContainer() const {
  if (!folder_)
    Platform::hardStop("the shared container of " + groupIdentifier_ +
                       " can't be used: " + folderFailure_);
  return *folder_;
}

}  // namespace corvane
