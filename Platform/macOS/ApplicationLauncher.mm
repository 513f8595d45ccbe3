#include "Platform/ApplicationLauncher.h"

#import <AppKit/AppKit.h>

#include <memory>
#include <mutex>
#include <utility>

#include "Base/TimeLimits.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {
namespace {

/// Posts to the loop from the system's threads. The system may answer after the limit, when the
/// loop may be gone: so the connection is closed when the launch has ended. Thread-safe.
class LoopConnection {
 public:
  explicit LoopConnection(EventLoop& loop) : loop_(&loop) {}

  void post(EventLoop::Task task) {
    const std::lock_guard lock(mutex_);
    if (loop_ != nullptr) loop_->post(std::move(task));
  }

  void close() {
    const std::lock_guard lock(mutex_);
    loop_ = nullptr;
  }

 private:
  std::mutex mutex_;
  EventLoop* _Nullable loop_;
};

/// A launch that waits for the system's answer. Owned by the timer of its limit, or by what the
/// loop runs; on the loop's thread only.
class Launch {
 public:
  Launch(EventLoop& loop, UniqueFunction<void(bool isStarted)> answer)
      : connection_(std::make_shared<LoopConnection>(loop)), answer_(std::move(answer)) {}
  ~Launch() { connection_->close(); }
  Launch(const Launch&) = delete;
  Launch& operator=(const Launch&) = delete;

  void setLimit(EventLoop::Registration limit) { limit_ = std::move(limit); }

  /// Answers; a no-op when it has answered before.
  void finish(bool isStarted) {
    limit_ = {};
    if (auto answer = std::exchange(answer_, {})) answer(isStarted);
  }

  [[nodiscard]] std::shared_ptr<LoopConnection> connection() const { return connection_; }

 private:
  const std::shared_ptr<LoopConnection> connection_;
  UniqueFunction<void(bool isStarted)> answer_;
  EventLoop::Registration limit_;
};

NSURL* _Nullable urlOf(const std::string& bundleIdentifier) {
  NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
  if (identifier == nil) return nil;
  return [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:identifier];
}

}  // namespace

void ApplicationLauncher::launch(EventLoop& loop, const std::string& bundleIdentifier,
                                 UniqueFunction<void(bool isStarted)> answer) {
  @autoreleasepool {
    NSURL* application = urlOf(bundleIdentifier);
    if (application == nil)
      return loop.post([answer = std::move(answer)]() mutable { answer(false); });
    const auto launch = std::make_shared<Launch>(loop, std::move(answer));
    launch->setLimit(
        loop.at(EventLoop::now() + TimeLimits::appState, [launch] { launch->finish(false); }));
    const auto connection = launch->connection();
    const std::weak_ptr<Launch> pending = launch;
    // A failure is an answer, not a dialog that delays the answer until it is closed.
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.promptsUserIfNeeded = NO;
    [NSWorkspace.sharedWorkspace
        openApplicationAtURL:application
               configuration:configuration
           completionHandler:^(NSRunningApplication* _Nullable started, NSError* _Nullable) {
             connection->post([pending, isStarted = started != nil] {
               if (const auto launch = pending.lock()) launch->finish(isStarted);
             });
           }];
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
