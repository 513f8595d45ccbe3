#include "SharedComponents/SharedResources.h"

#include <atomic>
#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/GroupContainers.h"
#include "Platform/HardStop.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/GroupContainer.h"
#include "VCommons/VCLLogger.h"

namespace corvane {
namespace {

GroupContainer& container() {
  static auto& container = *new GroupContainer(
      Platform::GroupContainers::folderOf(Configuration::AppGroupIdentifier),
      Configuration::AppGroupIdentifier, Configuration::MainAppBundleIdentifier);
  return container;
}

const std::string& containerFolder() {
  const std::optional<std::string>& folder = container().url();
  if (!folder) Platform::hardStop("there is no shared container");
  return *folder;
}

DispatchQueue& sharedResourcesQueue() {
  static auto& queue = *new DispatchQueue("SharedResourcesQueue");
  return queue;
}

DispatchQueue& requestsQueue() {
  static auto& queue = *new DispatchQueue("SharedResourcesQueue.Requests");
  return queue;
}

std::atomic<bool> centerIsUsed{false};

Platform::NotificationCenter& notificationCenter() {
  static auto& center = *new Platform::NotificationCenter(containerFolder());
  centerIsUsed = true;
  return center;
}

std::atomic<bool> exchangeIsUsed{false};

std::string dataFolder() {
  const std::optional<std::string>& folder = container().dataUrl();
  if (!folder) Platform::hardStop("the shared data folder is unavailable");
  return *folder;
}

}  // namespace

const std::optional<std::string>& SharedResources::url() {
  return container().url();
}
const std::optional<std::string>& SharedResources::logsUrl() {
  return container().logsUrl();
}
const std::optional<std::string>& SharedResources::dataUrl() {
  return container().dataUrl();
}

const std::string& SharedResources::logsFailure() {
  return container().logsFailure();
}

void SharedResources::pickUpLogLevel() {
  container().pickUpLogLevel(VCLLogger::singleton());
}

void SharedResources::pickUpChangedLogLevel() {
  container().pickUpChangedLogLevel(VCLLogger::singleton());
}

ExchangeBuffer& SharedResources::exchangeBuffer() {
  static auto& buffer = *new ExchangeBuffer(dataFolder, sharedResourcesQueue());
  exchangeIsUsed = true;
  return buffer;
}

RequestSignalling& SharedResources::signalling() {
  static auto& signalling =
      *new RequestSignalling(notificationCenter(), {sharedResourcesQueue(), requestsQueue()},
                             Configuration::MainAppBundleIdentifier, TimeLimits::reply);
  return signalling;
}

void SharedResources::setHandler(RequestResponseName name, Handler handler) {
  signalling().setHandler(name, std::move(handler));
}

SharedResources::Handler SharedResources::handler(RequestResponseName name) {
  return signalling().handler(name);
}

void SharedResources::async(DispatchQueue::Task task) {
  sharedResourcesQueue().async(std::move(task));
}

void SharedResources::suspend() {
  sharedResourcesQueue().suspend();
}

void SharedResources::resume() {
  sharedResourcesQueue().resume();
}

Platform::RunningApplications& SharedResources::runningApplications() {
  static auto& applications =
      *new Platform::RunningApplications(containerFolder(), notificationCenter());
  return applications;
}

void SharedResources::stopAppending(std::chrono::milliseconds limit) {
  if (exchangeIsUsed) exchangeBuffer().stopAppending(limit);
}

void SharedResources::withdraw() {
  if (centerIsUsed) notificationCenter().withdraw();
}

}  // namespace corvane
