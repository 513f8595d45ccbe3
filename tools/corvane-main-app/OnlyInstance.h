#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/File.h"
#include "Platform/NotificationCenter.h"

namespace corvane::MainApp {

/// That no other instance of the application runs in a container: held with a file lock, so that it
/// ends with the object or with the process.
class OnlyInstance {
 public:
  /// Nothing when another instance runs, or is starting or ending.
  static Result<std::optional<OnlyInstance>> claim(const std::string& containerFolder);

  /// Waits for an instance that is ending to be gone.
  static Result<std::optional<OnlyInstance>> await(const std::string& containerFolder);

 private:
  explicit OnlyInstance(Platform::File file) : file_(std::move(file)) {}

  Platform::File file_;
};

/// Asks the instance that runs to announce its state, by `ready`, and turns `loop`, which is that
/// of `center`, until it has: for 2 s at most. False when it has not done so.
bool haveStateAnnounced(Platform::EventLoop& loop, Platform::NotificationCenter& center);

}  // namespace corvane::MainApp
