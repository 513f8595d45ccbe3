#include "Platform/NotificationCenter.h"

#include <notify.h>

#include <utility>

#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"
#include "Platform/macOS/NotificationCenterImplementation.h"

namespace corvane::Platform {

NotificationCenter::Implementation::~Implementation() {
  withdraw();
}

bool NotificationCenter::Implementation::observe(const std::string& name, Callback callback) {
  std::uint32_t status = NOTIFY_STATUS_INVALID_NAME;
  if (isNotificationName(name)) {
    const std::lock_guard lock(setupMutex_);
    if (isWithdrawn_) return false;
    callbacks_->set(name, std::move(callback));
    if (tokens_.contains(name)) return true;
    // Copies: a block keeps of a reference nothing but the address.
    const auto callbacks = callbacks_;
    const std::string observed = name;
    int token = 0;
    status = notify_register_dispatch(name.c_str(), &token, queue_.queue(), ^(int) {
      callbacks->deliver(observed);
    });
    if (status == NOTIFY_STATUS_OK) {
      tokens_[name] = token;
      return true;
    }
    callbacks_->remove(name);
  }
  report(name, status);
  return false;
}

void NotificationCenter::Implementation::report(const std::string& name, std::uint32_t status) {
  SystemLog::write(SystemLog::Severity::error,
                   "cannot observe \"" + name + "\": notify(3) says " + std::to_string(status));
}

void NotificationCenter::Implementation::stopObserving(const std::string& name) {
  callbacks_->remove(name);
  callbacks_->awaitEnd(name);
}

void NotificationCenter::Implementation::withdraw() {
  const std::lock_guard lock(setupMutex_);
  isWithdrawn_ = true;
  for (const auto& [name, token] : tokens_) {
    callbacks_->remove(name);
    notify_cancel(token);
  }
  tokens_.clear();
  queue_.end();
}

NotificationCenter::NotificationCenter(std::string /*containerFolder*/)
    : implementation_(std::make_unique<Implementation>()) {}

NotificationCenter::~NotificationCenter() = default;

bool NotificationCenter::observe(const std::string& name, Callback callback) {
  return implementation_->observe(name, std::move(callback));
}

void NotificationCenter::stopObserving(const std::string& name) {
  implementation_->stopObserving(name);
}

void NotificationCenter::post(const std::string& name) {
  if (isNotificationName(name)) notify_post(name.c_str());
}

void NotificationCenter::withdraw() {
  implementation_->withdraw();
}

}  // namespace corvane::Platform
