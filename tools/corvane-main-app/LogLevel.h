#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/NotificationCenter.h"

namespace corvane::MainApp {

/// The log level of the hosts, which the application keeps for them in the group settings. Main
/// thread only.
class LogLevel {
 public:
  /// `center` must outlive this object.
  LogLevel(std::string containerFolder, Platform::NotificationCenter& center)
      : containerFolder_(std::move(containerFolder)), center_(center) {}

  /// Writes settings that hold the level alone in the place of those that are there, then posts
  /// `appReconfig`. After a failure the old ones stand.
  Result<Done> set(std::int64_t level);

  /// The level as a host would read it, 0 when there is none.
  [[nodiscard]] std::int64_t get() const;

 private:
  const std::string containerFolder_;
  Platform::NotificationCenter& center_;
};

}  // namespace corvane::MainApp
