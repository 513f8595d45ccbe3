#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "Base/TruncatedText.h"

namespace corvane {

/// One argument of a log format, by reference: it must not outlive the value that it was made from,
/// which is an argument of the log call. Cheap to make and to copy; allocates nothing.
///
/// Takes integers, enumerations (as their integers), reals, booleans, strings, pointers, optionals
/// of these, objects with `appendDescription(TruncatedText&)` or `description()`, and callables
/// without arguments that return a string. Anything else does not compile. Objects and callables
/// are asked for their text only when a message is really written.
class LogArgument {
 public:
  /// What the argument holds, and so which of the functions below may be called.
  enum class Kind {
    absent,  ///< an empty optional or a null `const char*`
    signedInteger,
    unsignedInteger,
    real,
    boolean,
    text,
    pointer,
    object,  ///< something that describes itself
    list
  };

  /// Refers to `value`; chooses the kind by its type.
  template <class T>
  requires(!std::same_as<T, LogArgument>) explicit LogArgument(const T& value) { set(value); }
  /// A list as a single argument. Refers to `values`, which must outlive it.
  explicit LogArgument(std::span<const LogArgument> values)
      : kind_(Kind::list), size_(values.size()), address_(values.data()) {}

  [[nodiscard]] Kind kind() const { return kind_; }

  /// Kinds signedInteger, unsignedInteger and boolean: the number, sign-extended to 64 bits in
  /// two's complement.
  [[nodiscard]] std::uint64_t bits() const { return bits_; }
  /// The size in bytes of the integer type that `bits` came from.
  [[nodiscard]] std::size_t width() const { return size_; }
  /// Kind real.
  [[nodiscard]] double real() const { return std::bit_cast<double>(bits_); }
  /// Kind pointer; may be null.
  [[nodiscard]] const void* pointer() const { return address_; }
  /// Kind text: a view of the caller's string.
  [[nodiscard]] std::string_view text() const {
    return {static_cast<const char*>(address_), size_};
  }
  /// Kind list: the elements, which may be lists, too.
  [[nodiscard]] std::span<const LogArgument> list() const {
    return {static_cast<const LogArgument*>(address_), size_};
  }
  /// Kind object: appends its description to `text`, which keeps as much as it has room for.
  void describe(TruncatedText& text) const { describe_(address_, text); }

 private:
  template <class T>
  void set(const T& value);
  void setText(std::string_view text) {
    kind_ = Kind::text;
    address_ = text.data();
    size_ = text.size();
  }

  Kind kind_ = Kind::absent;
  std::size_t size_ = 0;  // of an integer in bytes, of a string in bytes, of a list in elements
  const void* address_ = nullptr;  // of a pointer: its value; otherwise of what is referred to
  std::uint64_t bits_ = 0;         // of a real, too
  void (*describe_)(const void*, TruncatedText&) = nullptr;  // knows the type at `address_`
};

namespace detail {
template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

/// An object whose description may be long: it appends it piece by piece to a string with a limit.
template <class T>
concept AppendsDescription = requires(const T& value, TruncatedText& text) {
  value.appendDescription(text);
};
/// An object that returns its description; `appendDescription` is preferred if it has both.
template <class T>
concept Describable = requires(const T& value) {
  { value.description() } -> std::convertible_to<std::string_view>;
};
/// A callable that makes a string which is too costly to make for a suppressed message.
template <class T>
concept TextCallable = requires(const T& value) {
  { value() } -> std::convertible_to<std::string_view>;
};
}  // namespace detail

template <class T>
void LogArgument::set(const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    kind_ = Kind::boolean;
    size_ = 1;
    bits_ = value ? 1 : 0;
  } else if constexpr (std::is_enum_v<T>) {
    set(static_cast<std::underlying_type_t<T>>(value));
  } else if constexpr (std::is_signed_v<T> && std::is_integral_v<T>) {
    kind_ = Kind::signedInteger;
    size_ = sizeof(T);
    bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
  } else if constexpr (std::is_integral_v<T>) {
    kind_ = Kind::unsignedInteger;
    size_ = sizeof(T);
    bits_ = value;
  } else if constexpr (std::is_floating_point_v<T>) {
    kind_ = Kind::real;
    bits_ = std::bit_cast<std::uint64_t>(static_cast<double>(value));
  } else if constexpr (detail::isOptional<T>) {
    if (value) set(*value);
  } else if constexpr (std::is_null_pointer_v<T>) {
    kind_ = Kind::pointer;
  } else if constexpr (std::is_convertible_v<const T&, const char*>) {
    const char* const text = value;
    if (text != nullptr) setText(text);
  } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
    setText(value);
  } else if constexpr (std::is_pointer_v<T>) {
    kind_ = Kind::pointer;
    address_ = value;
  } else {
    static_assert(
        detail::AppendsDescription<T> || detail::Describable<T> || detail::TextCallable<T>,
        "no text form for the log");
    kind_ = Kind::object;
    address_ = &value;
    describe_ = [](const void* object, TruncatedText& text) {
      const T& described = *static_cast<const T*>(object);
      if constexpr (detail::AppendsDescription<T>) {
        described.appendDescription(text);
      } else if constexpr (detail::Describable<T>) {
        text += described.description();
      } else {
        text += described();
      }
    };
  }
}

/// Returns `format` with its conversions replaced by `arguments`: the conversions of printf
/// (https://pubs.opengroup.org/onlinepubs/9699919799/functions/fprintf.html), "%1$@" for arguments
/// by number, and "%@" for the text form of any argument. Unlike printf it is defined for any
/// format and any arguments:
///
/// - an argument knows its own type and size, so length modifiers are read and ignored;
/// - an argument that does not suit its conversion is printed in its text form;
/// - a missing argument and an empty optional print "(null)";
/// - "%n" and unknown conversions are copied to the result unchanged;
/// - widths, and the precisions of numbers, are limited to 200;
/// - the text of one argument, or of a whole list, is truncated to 16 KiB (TruncatedText), counted
///   before control characters are made visible;
/// - control characters in the text of an argument are made visible (Unicode::appendVisible);
/// - control characters in the format itself are not changed.
///
/// The text form: integers in decimal, reals with 15 to 17 significant digits, as few as read back
/// as the same number, "true" and "false", addresses as "0x…", null pointers as "(null)", lists as
/// "(1, two)". Thread-safe.
std::string formatLogText(std::string_view format, std::span<const LogArgument> arguments);

}  // namespace corvane
