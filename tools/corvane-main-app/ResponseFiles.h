#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "Base/Result.h"

namespace corvane::MainApp {

/// The files from which hosts take their replies: one for each host, made with the first reply to
/// it. Main thread only.
class ResponseFiles {
 public:
  explicit ResponseFiles(std::string dataFolder) : dataFolder_(std::move(dataFolder)) {}

  /// Puts `archive`, a reply, behind what the file of `id` (isUsableIdentifier) holds.
  /// Waits for the file's lock as long as that takes. It is there as a whole or, after a failure,
  /// not at all; `noSpace` when file or archive are beyond the limits.
  Result<Done> append(const std::string& id, const std::string& archive);

  /// Removes the files that have not changed for 24 hours, but none of which somebody has the lock.
  void removeOld(std::chrono::system_clock::time_point now) const;

 private:
  const std::string dataFolder_;
};

}  // namespace corvane::MainApp
