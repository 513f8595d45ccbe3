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

/// One value for a log format. Small and borrowed: it lives no longer than what it was made from,
/// which is the log call's own argument. Takes integers, reals, booleans, texts, pointers,
/// optionals of these, objects with `description()`, and callables without arguments that return a
/// text; the last two are asked for their text only when a message is really written.
class LogArgument {
 public:
  enum class Kind {
    absent,
    signedInteger,
    unsignedInteger,
    real,
    boolean,
    text,
    pointer,
    object,
    list
  };

  template <class T>
  requires(!std::same_as<T, LogArgument>) explicit LogArgument(const T& value) { set(value); }
  /// A list as a single value; `values` stay where they are.
  explicit LogArgument(std::span<const LogArgument> values)
      : kind_(Kind::list), size_(values.size()), address_(values.data()) {}

  [[nodiscard]] Kind kind() const { return kind_; }

  /// The number under the kinds signedInteger, unsignedInteger and boolean; signed ones as two's
  /// complement.
  [[nodiscard]] std::uint64_t bits() const { return bits_; }
  /// Bytes of the integer type that `bits` came from.
  [[nodiscard]] std::size_t width() const { return size_; }
  [[nodiscard]] double real() const { return std::bit_cast<double>(bits_); }
  [[nodiscard]] const void* pointer() const { return address_; }
  [[nodiscard]] std::string_view text() const {
    return {static_cast<const char*>(address_), size_};
  }
  [[nodiscard]] std::span<const LogArgument> list() const {
    return {static_cast<const LogArgument*>(address_), size_};
  }
  /// Kind object: appends its text.
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
  std::size_t size_ = 0;
  const void* address_ = nullptr;
  std::uint64_t bits_ = 0;  // of a real, too
  void (*describe_)(const void*, TruncatedText&) = nullptr;
};

namespace detail {
template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

/// An object whose description may be long, and is appended to a truncated text.
template <class T>
concept AppendsDescription = requires(const T& value, TruncatedText& text) {
  value.appendDescription(text);
};
template <class T>
concept Describable = requires(const T& value) {
  { value.description() } -> std::convertible_to<std::string_view>;
};
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

/// `format` with its conversions replaced by `arguments`: the conversions of printf
/// (https://pubs.opengroup.org/onlinepubs/9699919799/functions/fprintf.html), "%1$@" for arguments
/// by number, and "%@" for the text form of any argument. It differs where printf leaves a caller
/// no way out:
///
/// - an argument knows its own type and size, so length modifiers are read and ignored;
/// - an argument that does not suit its conversion is printed in its text form;
/// - a missing argument and an empty optional print "(null)";
/// - "%n" and unknown conversions stand as they are;
/// - widths and precisions of numbers end at 200;
/// - the text of an argument, a list included, is truncated to 16 KiB (TruncatedText), counted
///   before control characters are made visible;
/// - control characters in the text of an argument are made visible (Unicode::appendVisible);
/// - those of the format stay.
///
/// Well defined for any format and any arguments. Safe from any thread.
std::string formatLogText(std::string_view format, std::span<const LogArgument> arguments);

}  // namespace corvane
