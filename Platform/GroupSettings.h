#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Base/Result.h"

namespace corvane::Platform {

/// The settings that the programs of one application group share, read only, as they stood when
/// opened. (On macOS the system may give those of the moment when it is asked.)
class GroupSettings {
 public:
  /// Opens the settings of group `groupIdentifier`, which on Linux are a file in
  /// `containerDirectory`. Settings never written are empty; a store that can't be read or makes no
  /// sense is a failure.
  static Result<GroupSettings> open(const std::string& containerDirectory,
                                    const std::string& groupIdentifier);

  /// The setting `key` as an integer: a boolean counts as 0 or 1, a real loses its fraction, a text
  /// counts by the decimal number that it begins with; 0 when it is absent or of another kind.
  /// Values beyond 64 signed bits are given as the nearest one that fits.
  [[nodiscard]] std::int64_t integer(const std::string& key) const;

 private:
  struct Store;
  explicit GroupSettings(std::shared_ptr<const Store> store) : store_(std::move(store)) {}
  std::shared_ptr<const Store> store_;
};

}  // namespace corvane::Platform
