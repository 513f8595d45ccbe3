#include "tools/corvane-main-app/OnlyInstance.h"

#include <chrono>
#include <memory>
#include <semaphore>

#include "SharedComponents/Configuration.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {

using Platform::File;

namespace {

Result<File> openLock(const std::string& containerFolder) {
  if (auto made = Platform::makeFolders(containerFolder, "Library"); !made) return made.failure();
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

bool haveStateAnnounced(Platform::NotificationCenter& center) {
  constexpr std::chrono::seconds longestWait{2};
  const auto announced = std::make_shared<std::counting_semaphore<>>(0);
  const std::string name = notificationName("appState");
  if (!center.observe(name, [announced] { announced->release(); })) return false;
  center.post(notificationName("ready"));
  const bool wasAnnounced = announced->try_acquire_for(longestWait);
  center.stopObserving(name);
  return wasAnnounced;
}

}  // namespace corvane::MainApp
