#pragma once

#include <string>
#include <utility>
#include <variant>

namespace corvane {

/// Why an operation did not succeed, as far as a caller decides by it; the text says the rest.
enum class FailureCause {
  notFound,       ///< the thing named does not exist
  alreadyExists,  ///< the thing to be made exists
  notPermitted,   ///< the system forbids it
  noSpace,        ///< disk, quota or file size limit
  wouldBlock,     ///< somebody else holds it
  disconnected,   ///< the other end is gone
  malformed,      ///< the bytes are not what they should be
  other,
};

/// A failure as a value: a cause to decide by, and a text for the log ("open: Permission denied").
struct Failure {
  FailureCause cause = FailureCause::other;
  std::string text;

  /// The text; what "%@" prints.
  [[nodiscard]] const std::string& description() const { return text; }
};

/// Either a value or a failure. Asking for the one that is not there is a programming error and
/// throws.
template <class T>
class [[nodiscard]] Result {
 public:
  // Implicit on purpose: `return value;` and `return Failure{...};` both read as what they are.
  Result(T value) : content_(std::move(value)) {}            // NOLINT(google-explicit-constructor)
  Result(Failure failure) : content_(std::move(failure)) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return content_.index() == 0; }

  [[nodiscard]] T& value() & { return std::get<0>(content_); }
  [[nodiscard]] const T& value() const& { return std::get<0>(content_); }
  [[nodiscard]] T&& value() && { return std::get<0>(std::move(content_)); }
  [[nodiscard]] T& operator*() { return value(); }
  [[nodiscard]] const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  [[nodiscard]] const Failure& failure() const { return std::get<1>(content_); }

 private:
  std::variant<T, Failure> content_;
};

/// What an operation without a value yields on success: `return Done{};`.
using Done = std::monostate;

}  // namespace corvane
