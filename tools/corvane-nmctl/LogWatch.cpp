#include "tools/corvane-nmctl/LogWatch.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tools/corvane-nmctl/Waking.h"

namespace corvane::Nmctl {

using Platform::FileEvent;
using Platform::FileWatch;

LogWatch::LogWatch(std::string base, std::string folder)
    : base_(std::move(base)), folder_(std::move(folder)), folderWatch_([this](FileEvent event) {
        if (event == FileEvent::deleted) isFolderGone_ = true;
        Waking::wake();
      }) {}

std::string LogWatch::deepestFolder() const {
  std::string path = folder_;
  while (path.size() > base_.size() && ::access(path.c_str(), F_OK) != 0)
    path.resize(path.rfind('/'));
  return path;
}

Result<Done> LogWatch::updateFolder() {
  for (std::string wanted = deepestFolder(); isFolderGone_.exchange(false) || wanted != watched_;
       wanted = deepestFolder()) {
    watched_.clear();
    if (auto started = folderWatch_.start(wanted); started)
      watched_ = wanted;
    else if (started.failure().cause != FailureCause::notFound || wanted == base_)
      return started;
  }
  return Done{};
}

Result<Done> LogWatch::update(const std::vector<std::string>& files) {
  for (auto watch = fileWatches_.begin(); watch != fileWatches_.end();) {
    const bool isWanted = std::find(files.begin(), files.end(), watch->first) != files.end();
    watch = isWanted ? std::next(watch) : fileWatches_.erase(watch);
  }
  for (const std::string& file : files) {
    if (fileWatches_.count(file) != 0) continue;
    auto watch = std::make_unique<FileWatch>([](FileEvent) { Waking::wake(); });
    auto started = watch->start(file);
    if (!started && started.failure().cause != FailureCause::notFound) return started;
    if (started) fileWatches_.emplace(file, std::move(watch));
  }
  return updateFolder();
}

}  // namespace corvane::Nmctl
