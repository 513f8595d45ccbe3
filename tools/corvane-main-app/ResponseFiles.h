#pragma once

#include <chrono>
#include <string>

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "tools/corvane-main-app/Faults.h"
#include "tools/corvane-main-app/LockedFile.h"

namespace corvane::MainApp {

/// The files from which hosts take their replies: one for each host, made with the first reply to
/// it. Main thread only.
class ResponseFiles {
 public:
  /// `faults` must outlive it.
  ResponseFiles(std::string dataFolder, const Faults& faults)
      : dataFolder_(std::move(dataFolder)), faults_(faults) {}

  /// Puts `archive`, a reply to `command`, behind what the file of `id` (isUsableIdentifier) holds.
  /// Waits for the file's lock as long as that takes. It is there as a whole or, after a failure,
  /// not at all; `noSpace` when file or archive are beyond the limits.
  Result<Done> append(const std::string& id, const std::string& command,
                      const std::string& archive);

  /// Removes the files that have not changed for 24 hours, but none of which somebody has the lock.
  void removeOld(std::chrono::system_clock::time_point now) const;

 private:
  Result<Done> write(LockedFile& locked, const std::string& command, ByteView archive);

  const std::string dataFolder_;
  const Faults& faults_;
};

}  // namespace corvane::MainApp
