#pragma once

#include <optional>
#include <utility>

namespace corvane {

/// Calls a function once, when it is destroyed. A callback that owns one so tells its own end,
/// whether it was called or not. Moved, never copied; what has been moved from calls nothing.
template <class F>
class [[nodiscard]] AtEnd {
 public:
  explicit AtEnd(F function) : function_(std::move(function)) {}
  AtEnd(AtEnd&& other) noexcept : function_(std::exchange(other.function_, std::nullopt)) {}
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;
  AtEnd& operator=(AtEnd&&) = delete;
  ~AtEnd() {
    if (function_) (*function_)();
  }

 private:
  std::optional<F> function_;
};

}  // namespace corvane
