#pragma once

#include <optional>
#include <utility>

namespace corvane {

/// Calls a function once, on destruction. Owned by a callback, it runs whether or not the callback
/// was called. Moved, never copied; a moved-from object does nothing. Runs on the thread that
/// destroys it; the function must not throw.
template <class F>
class [[nodiscard]] ScopeExit {
 public:
  explicit ScopeExit(F function) : function_(std::move(function)) {}
  ScopeExit(ScopeExit&& other) noexcept : function_(std::exchange(other.function_, std::nullopt)) {}
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;
  ScopeExit& operator=(ScopeExit&&) = delete;
  ~ScopeExit() {
    if (function_) (*function_)();
  }

 private:
  std::optional<F> function_;
};

}  // namespace corvane
