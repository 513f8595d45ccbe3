#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace corvane {

template <class Signature>
class UniqueFunction;

/// A callable that is owned once and moved, never copied, so that it may capture what cannot be
/// copied (a reply that must be given exactly once). Callables up to five words live in place,
/// without an allocation. The language's own `std::move_only_function` comes with C++23. Calling an
/// empty one is a programming error. Not safe for concurrent use, like any other value.
template <class R, class... Args>
class UniqueFunction<R(Args...)> {
 public:
  UniqueFunction() = default;

  template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, UniqueFunction> &&
                                              std::is_invocable_r_v<R, std::decay_t<F>&, Args...>>>
  // A lambda is passed as it is.
  // NOLINTNEXTLINE(google-explicit-constructor,bugprone-forwarding-reference-overload)
  UniqueFunction(F&& callable) {
    using Callable = std::decay_t<F>;
    if constexpr (fitsInPlace<Callable>) {
      ::new (static_cast<void*>(storage_)) Callable(std::forward<F>(callable));
      operations_ = &inPlaceOperations<Callable>;
    } else {
      ::new (static_cast<void*>(storage_)) Callable*(new Callable(std::forward<F>(callable)));
      operations_ = &heapOperations<Callable>;
    }
  }

  UniqueFunction(UniqueFunction&& other) noexcept { takeFrom(other); }
  UniqueFunction& operator=(UniqueFunction&& other) noexcept {
    if (this != &other) {
      reset();
      takeFrom(other);
    }
    return *this;
  }
  UniqueFunction(const UniqueFunction&) = delete;
  UniqueFunction& operator=(const UniqueFunction&) = delete;
  ~UniqueFunction() { reset(); }

  explicit operator bool() const { return operations_ != nullptr; }

  R operator()(Args... args) { return operations_->call(storage_, std::forward<Args>(args)...); }

 private:
  struct Operations {
    R (*call)(void* storage, Args&&... args);
    void (*move)(void* from, void* to) noexcept;  // leaves `from` destroyed
    void (*destroy)(void* storage) noexcept;
  };

  static constexpr std::size_t capacity = 5 * sizeof(void*);

  template <class F>
  static constexpr bool fitsInPlace = [] {
    constexpr bool fits = sizeof(F) <= capacity && std::alignment_of_v<F> <= sizeof(void*);
    return fits && std::is_nothrow_move_constructible_v<F>;
  }();

  template <class F>
  static constexpr Operations inPlaceOperations{
      [](void* storage, Args&&... args) -> R {
        return (*static_cast<F*>(storage))(std::forward<Args>(args)...);
      },
      [](void* from, void* to) noexcept {
        ::new (to) F(std::move(*static_cast<F*>(from)));
        static_cast<F*>(from)->~F();
      },
      [](void* storage) noexcept { static_cast<F*>(storage)->~F(); }};

  template <class F>
  static constexpr Operations heapOperations{
      [](void* storage, Args&&... args) -> R {
        return (**static_cast<F**>(storage))(std::forward<Args>(args)...);
      },
      [](void* from, void* to) noexcept { ::new (to) F*(*static_cast<F**>(from)); },
      [](void* storage) noexcept { delete *static_cast<F**>(storage); }};

  void takeFrom(UniqueFunction& other) noexcept {
    operations_ = std::exchange(other.operations_, nullptr);
    if (operations_ != nullptr) operations_->move(other.storage_, storage_);
  }

  void reset() noexcept {
    if (operations_ != nullptr) std::exchange(operations_, nullptr)->destroy(storage_);
  }

  const Operations* operations_ = nullptr;
  alignas(void*) unsigned char storage_[capacity];
};

}  // namespace corvane
