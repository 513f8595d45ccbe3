#pragma once

#include <optional>
#include <string>

#include "Base/Result.h"
#include "VCommons/VCommonsKit/VCLLogger.h"

namespace corvane {

/// The group container, the directory that the host and the main application share; the two
/// directories in it that both use; and the group's settings. Each of the two is created at most
/// once, on first use; the outcome, even a failure, is kept for the life of the object. Not
/// thread-safe.
class GroupContainer {
 public:
  /// The group setting that holds the log level.
  static constexpr char logLevelKey[] = "DefaultsKeyLogLevel";

  /// `folder` is the container's path, or why it can't be used. The identifiers name the group (and
  /// its settings) and the main application (and the directory of its logs). Touches no file.
  GroupContainer(Result<std::string> folder, std::string groupIdentifier,
                 std::string mainAppIdentifier);

  /// The container's path, or nothing if it can't be used.
  [[nodiscard]] const std::optional<std::string>& url() const { return folder_; }

  /// The path of "Logs/" and the main application's identifier in the container; creates what is
  /// missing of it. Nothing, after an error line, if it can't be created. Ends the process if there
  /// is no container.
  const std::optional<std::string>& logsUrl();

  /// Why `logsUrl` returned nothing; "" if it succeeded or was not called yet.
  [[nodiscard]] const std::string& logsFailure() const { return logs_.failure; }

  /// The path of "Data", the directory of the exchange files; otherwise as `logsUrl`.
  const std::optional<std::string>& dataUrl();

  /// Sets `logger` to the log level in the group's settings, which the main application writes; a
  /// level of 0 or none is ignored. Reads the settings at each call. Fails, with the level
  /// unchanged, if they can't be read or the level does not fit in 32 unsigned bits. Ends the
  /// process if there is no container.
  Result<Done> pickUpLogLevel(VCLLogger& logger) const;

 private:
  struct Folder {
    bool isTried = false;
    std::optional<std::string> path;
    std::string failure;
  };
  const std::optional<std::string>& madeFolder(Folder& folder, const std::string& component,
                                               const char* property, const char* purpose);
  [[nodiscard]] const std::string& requiredContainer() const;

  const std::optional<std::string> folder_;
  const std::string folderFailure_;  // why there is no container
  const std::string groupIdentifier_;
  const std::string mainAppIdentifier_;
  Folder logs_;
  Folder data_;
};

}  // namespace corvane
