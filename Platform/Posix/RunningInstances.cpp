#include "Platform/Posix/RunningInstances.h"

namespace corvane::Platform {

void RunningInstances::update(const ProcessSet& found,
                              const std::function<void(int instances)>& changed) {
  for (auto at = known_.begin(); at != known_.end();) {
    if (found.contains(*at)) {
      ++at;
      continue;
    }
    at = known_.erase(at);
    changed(count());
  }
  for (const pid_t process : found) {
    if (known_.insert(process).second) changed(count());
  }
}

}  // namespace corvane::Platform
