#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace corvane {

/// Declared for function types only, as UniqueFunction<R(Args...)>.
template <class Signature>
class UniqueFunction;

/// A callable that is moved, never copied, so that it may capture move-only objects, such as a
/// reply that must be given exactly once. The type of all tasks and one-time callbacks here; the
/// standard's std::move_only_function comes only with C++23.
///
/// Owns the callable and everything that it captures, and destroys them with itself, called or not;
/// so a callback that is dropped uncalled releases what it captured. May be called more than once
/// if the callable allows it. Moving one that lives on the heap moves only a pointer.
///
/// Callables of up to five words that move without throwing are stored in place, so the usual
/// lambda costs no allocation; larger ones are allocated, which may throw std::bad_alloc. Not
/// thread-safe, but may be handed over to another thread and called there.
template <class R, class... Args>
class UniqueFunction<R(Args...)> {
 public:
  /// Empty; must not be called until a callable is assigned.
  UniqueFunction() = default;

  /// Takes over `callable`, anything that can be called with `Args` and whose result converts to
  /// `R`. Implicit, so that a lambda can be passed where this type is expected.
  template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, UniqueFunction> &&
                                              std::is_invocable_r_v<R, std::decay_t<F>&, Args...>>>
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

  /// Moving leaves `other` empty. Assigning destroys the callable that was held before.
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

  /// False if empty.
  explicit operator bool() const { return operations_ != nullptr; }

  /// Calls the callable; exceptions pass through. Calling an empty function is undefined. The
  /// callable must not destroy or replace this object while it runs.
  R operator()(Args... args) { return operations_->call(storage_, std::forward<Args>(args)...); }

 private:
  // What differs between types of callables, as a table that all functions of one type share.
  struct Operations {
    R (*call)(void* storage, Args&&... args);
    void (*move)(void* from, void* to) noexcept;  // leaves `from` destroyed
    void (*destroy)(void* storage) noexcept;
  };

  static constexpr std::size_t capacity = 5 * sizeof(void*);  // bytes for a callable in place

  // Moving must not throw, because the move operations of this class are noexcept.
  template <class F>
  static constexpr bool fitsInPlace = [] {
    constexpr bool fits = sizeof(F) <= capacity && std::alignment_of_v<F> <= sizeof(void*);
    return fits && std::is_nothrow_move_constructible_v<F>;
  }();

  // The storage holds the callable itself.
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

  // The storage holds an owning pointer to the callable.
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

  const Operations* operations_ = nullptr;  // null if empty
  alignas(void*) unsigned char storage_[capacity];
};

}  // namespace corvane
