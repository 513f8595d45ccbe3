#include "VCommons/VCommonsKit/VCLLogger.h"

#include <utility>

#include "Platform/ProcessInfo.h"
#include "VCommons/Logging/DDOSLogger.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

constexpr auto infoLevel = static_cast<std::uint32_t>(DDLogLevel::info);
constexpr auto debugLevel = static_cast<std::uint32_t>(DDLogLevel::debug);

}  // namespace

VCLLogger::VCLLogger(Dependencies dependencies) : dependencies_(std::move(dependencies)) {
  ddLogLevel = infoLevel;
}

VCLLogger& VCLLogger::singleton() {
  static auto& logger = *new VCLLogger(
      {DDLog::shared(), Platform::ProcessInfo::applicationName(), DDOSLogger::sharedInstance()});
  return logger;
}

void VCLLogger::initLogger(const std::string& folder) {
  std::call_once(once_, [&] {
    DDLogFileManager manager(folder, dependencies_.applicationName,
                             dependencies_.limits.maximumNumberOfLogFiles);
    fileLogger_ = std::make_shared<DDFileLogger>(std::move(manager), dependencies_.limits,
                                                 dependencies_.clock);
    dependencies_.dispatcher.addLogger(fileLogger_);
    if (dependencies_.osLogger) dependencies_.dispatcher.addLogger(dependencies_.osLogger);
    initialized_ = true;
  });
}

void VCLLogger::modifyLogLevel(std::uint32_t level) {
  if (!initialized_) return;
  dependencies_.dispatcher.loggingQueue().async([this, level] {
    fileLogger_->rollLogFile();
    changeLevel(level);
  });
}

void VCLLogger::changeLevel(std::uint32_t level) {
  std::vector<Observer> observers;  // called without the lock, so that they may add observers
  {
    const std::lock_guard lock(observersMutex_);
    observers = observers_;
  }
  for (const auto& observer : observers) {
    if (observer.willChange) observer.willChange();
  }
  ddLogLevel = level;
  for (const auto& observer : observers) {
    if (observer.didChange) observer.didChange();
  }
}

std::uint32_t VCLLogger::logLevel() const {
  return ddLogLevel == debugLevel ? debugLevel : infoLevel;
}

void VCLLogger::addObserver(const std::string& key, Observer observer) {
  if (key != "logLevel") return;
  const std::lock_guard lock(observersMutex_);
  observers_.push_back(std::move(observer));
}

void VCLLogger::flush() {
  dependencies_.dispatcher.flushLog();
}

bool VCLLogger::flushWithin(std::chrono::milliseconds limit) {
  return dependencies_.dispatcher.flushLogWithin(limit);
}

std::shared_ptr<DDFileLogger> VCLLogger::fileLogger() const {
  return initialized_ ? fileLogger_ : nullptr;
}

}  // namespace corvane
