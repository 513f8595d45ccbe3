#pragma once

#include <optional>
#include <string>

#include "Base/Result.h"
#include "VCommons/VCLLogger.h"

namespace corvane {

/// The folder that host and main application share, the two folders in it that both use, and the
/// settings. Each folder is derived and made at most once, on first use; the outcome, also a
/// failure, stands for the life of the object. One thread at a time.
class GroupContainer {
 public:
  /// The group setting that holds the log level.
  static constexpr char logLevelKey[] = "DefaultsKeyLogLevel";

  /// `folder`: the container, or why it can't be used. The identifiers name the group (and so
  /// its settings) and the main application (and so the logs folder).
  GroupContainer(Result<std::string> folder, std::string groupIdentifier,
                 std::string mainAppIdentifier);

  /// The container, or nothing when the system gives none.
  [[nodiscard]] const std::optional<std::string>& url() const { return folder_; }

  /// "Logs/" and the main application's identifier inside the container, made when missing.
  /// Nothing, with an error line, when it cannot be made. Without a container the process stops.
  const std::optional<std::string>& logsUrl();

  /// Why `logsUrl` gave nothing; "" when it gave something or was not asked yet.
  [[nodiscard]] const std::string& logsFailure() const { return logs_.failure; }

  /// "Data", the folder of the exchange files; the same rules.
  const std::optional<std::string>& dataUrl();

  /// Sets `logger` to the log level that the main application has stored; 0 or none leaves it
  /// unchanged. Reads the settings at each call. Fails, with the level unchanged, if they can't be
  /// read or if the level does not fit in 32 unsigned bits. Stops the process if there is no
  /// container.
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
  const std::string folderFailure_;  // why there is no folder
  const std::string groupIdentifier_;
  const std::string mainAppIdentifier_;
  Folder logs_;
  Folder data_;
};

}  // namespace corvane
