#include "tools/corvane-main-app/OnlyInstance.h"

#include <chrono>

#include "SharedComponents/Configuration.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {

using Platform::File;

namespace {

Result<File> openLock(const std::string& containerFolder) {
  if (auto made = Platform::makeDirectories(containerFolder, "Library"); !made)
    return made.failure();
  return File::open(
      containerFolder + "/Library/" + std::string(Configuration::MainAppBundleIdentifier) + ".lock",
      File::Access::readWrite);
}

}  // namespace

Result<std::optional<OnlyInstance>> OnlyInstance::claim(const std::string& containerFolder) {
  auto file = openLock(containerFolder);
  if (!file) return file.failure();
  const auto locked = file->tryLock();
  if (locked) return std::optional(OnlyInstance(std::move(file).value()));
  if (locked.failure().cause != FailureCause::wouldBlock) return locked.failure();
  return std::optional<OnlyInstance>();
}

Result<std::optional<OnlyInstance>> OnlyInstance::await(const std::string& containerFolder) {
  auto file = openLock(containerFolder);
  if (!file) return file.failure();
  if (const auto locked = file->waitLock(); !locked) return locked.failure();
  return std::optional(OnlyInstance(std::move(file).value()));
}

bool haveStateAnnounced(Platform::EventLoop& loop, Platform::NotificationCenter& center) {
  constexpr std::chrono::seconds longestWait{2};
  const std::string name = notificationName("appState");
  bool wasAnnounced = false;
  const auto announced = [&] {
    center.stopObserving(name);  // the first one ends the turn
    wasAnnounced = true;
    loop.endTurn();
  };
  if (!center.observe(name, announced)) {
    center.stopObserving(name);  // otherwise a retry could call it after the return
    return false;
  }
  center.post(notificationName("ready"));
  loop.turnUntil(Platform::EventLoop::now() + longestWait);
  center.stopObserving(name);
  return wasAnnounced;
}

}  // namespace corvane::MainApp
