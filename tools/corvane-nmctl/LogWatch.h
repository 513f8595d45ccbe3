#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/FileEvents.h"

namespace corvane::Nmctl {

/// Wakes (tools/corvane-nmctl/Waking.h) whenever a folder of logs or a file in it changes, also
/// when the folder is made or replaced after the start. One thread.
class LogWatch {
 public:
  /// `base` exists, `folder` is somewhere below it.
  LogWatch(std::string base, std::string folder);

  /// Watches what there is now: the folder or, while that is missing, the one in which the next
  /// folder on the way to it will appear; and these files of it, others no more. Look for changes
  /// after it: what came before may wake nobody. Fails when the system watches no more folders.
  Result<Done> update(const std::vector<std::string>& files);

 private:
  Result<Done> updateFolder();
  [[nodiscard]] std::string deepestFolder() const;

  const std::string base_;
  const std::string folder_;
  std::string watched_;  // the folder; "": none
  std::atomic<bool> isFolderGone_ = false;
  Platform::FileWatch folderWatch_;
  std::map<std::string, std::unique_ptr<Platform::FileWatch>> fileWatches_;  // by path
};

}  // namespace corvane::Nmctl
