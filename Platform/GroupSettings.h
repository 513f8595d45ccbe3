#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Base/Result.h"

namespace corvane::Platform {

/// The settings that the programs of one application group share, read-only. On Linux a snapshot of
/// the moment of `open`; on macOS the system may return later values. Cheap to copy: copies share
/// one immutable store. Thread-safe.
class GroupSettings {
 public:
  /// Opens the settings of group `groupIdentifier`. On Linux they are a binary property list of at
  /// most 16 MiB, "Library/Preferences/<group>.plist" in `containerDirectory`; elsewhere the system
  /// keeps them and `containerDirectory` is not used. Settings that were never written count as
  /// empty. Fails if the file can't be read or is not a property list with a dictionary at its top.
  static Result<GroupSettings> open(const std::string& containerDirectory,
                                    const std::string& groupIdentifier);

  /// Returns the setting `key` as an integer: a boolean as 0 or 1, a real without its fraction, a
  /// string as the decimal number at its beginning, anything else and a missing setting as 0.
  /// Values out of range become the nearest 64-bit signed integer. Never fails.
  [[nodiscard]] std::int64_t integer(const std::string& key) const;

 private:
  struct Store;
  explicit GroupSettings(std::shared_ptr<const Store> store) : store_(std::move(store)) {}
  std::shared_ptr<const Store> store_;
};

}  // namespace corvane::Platform
