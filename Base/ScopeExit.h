#pragma once

#include <optional>
#include <utility>

namespace corvane {

/// Calls a function on destruction, however the scope is left. Captured by a callback, it runs when
/// the callback is destroyed, whether or not that was ever called. Moved, never copied. The
/// function runs on the thread that destroys this object; everything it refers to must still exist
/// then.
template <class F>
class [[nodiscard]] ScopeExit {
 public:
  /// Takes over `function`. It is called once, without arguments, and must not throw: an exception
  /// that leaves a destructor ends the process.
  explicit ScopeExit(F function) : function_(std::move(function)) {}
  /// Takes over the call; `other` calls nothing any more.
  ScopeExit(ScopeExit&& other) noexcept : function_(std::exchange(other.function_, std::nullopt)) {}
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;
  ScopeExit& operator=(ScopeExit&&) = delete;
  ~ScopeExit() {
    if (function_) (*function_)();
  }

 private:
  std::optional<F> function_;  // nothing once moved from
};

}  // namespace corvane
