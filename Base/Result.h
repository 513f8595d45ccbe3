#pragma once

#include <string>
#include <utility>
#include <variant>

// Base/ holds what every other directory may use and what depends on none of them: results, bytes,
// strings, JSON, property lists, and the values that requests are made of. Nothing in it calls the
// operating system or starts a thread.

namespace corvane {

/// The vocabulary of failure of the whole program: why an operation failed, as far as callers
/// branch on it. `Failure::text` has the details. Above Platform/ nothing in the host looks at
/// error numbers: the platform layer maps each error number to one of these in a single place
/// (Platform::failureFrom).
enum class FailureCause {
  notFound,       ///< the thing named does not exist
  alreadyExists,  ///< the thing to create exists
  notPermitted,   ///< the system forbids it or does not offer it
  noSpace,        ///< disk, quota or file size limit
  wouldBlock,     ///< another holder has the lock, or there is no data or room right now
  disconnected,   ///< no process has the other end open
  malformed,      ///< the input breaks its format or exceeds a limit
  other,          ///< anything else; details only in the text
};

/// A failure as a value: a cause for callers to branch on, and a text for the log ("open:
/// Permission denied"). Self-contained; may be copied, stored and passed between threads.
struct Failure {
  FailureCause cause = FailureCause::other;
  std::string text;  ///< for the log: which operation failed, on what, and the system's reason

  /// The text; log lines print it for "%@".
  [[nodiscard]] const std::string& description() const { return text; }
};

/// Either a value or a failure; what a function returns that can fail because of the system or of
/// its input. A caller cannot ignore it by accident (`[[nodiscard]]`). `T` is any type except
/// Failure, `Done` if there is nothing to return. As thread-safe as `T`.
///
///   auto file = File::open(path, File::Access::read);
///   if (!file) return file.failure();  // passes the failure on to our own caller
///   use(file.value());
template <class T>
class [[nodiscard]] Result {
 public:
  // Implicit on purpose: `return value;` and `return Failure{...};` both read as what they are.
  Result(T value) : content_(std::move(value)) {}            // NOLINT(google-explicit-constructor)
  Result(Failure failure) : content_(std::move(failure)) {}  // NOLINT(google-explicit-constructor)

  /// True if there is a value, false if there is a failure.
  explicit operator bool() const { return content_.index() == 0; }

  /// The value, as a reference that lives as long as this result; an rvalue moves it out. Asking a
  /// failed result for it is a programming error and throws std::bad_variant_access.
  [[nodiscard]] T& value() & { return std::get<0>(content_); }
  [[nodiscard]] const T& value() const& { return std::get<0>(content_); }
  [[nodiscard]] T&& value() && { return std::get<0>(std::move(content_)); }
  [[nodiscard]] T& operator*() { return value(); }
  [[nodiscard]] const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  /// The failure. Throws likewise if there is none.
  [[nodiscard]] const Failure& failure() const { return std::get<1>(content_); }

 private:
  std::variant<T, Failure> content_;
};

/// The value of an operation that has nothing to return: `return Done{};` means success.
using Done = std::monostate;

}  // namespace corvane
