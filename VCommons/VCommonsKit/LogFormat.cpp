#include "VCommons/VCommonsKit/LogFormat.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Base/Unicode.h"

namespace corvane {
namespace {

using Kind = LogArgument::Kind;

constexpr std::size_t widestField = 200;

/// How many bytes of a value are logged, counted before control characters are made visible. Longer
/// than any real address; longer values would push other lines out of the size-limited log files.
constexpr std::size_t longestValue = std::size_t{16} << 10;

constexpr std::string_view nothing = "(null)";

/// A conversion: what is between "%" and its letter, and the letter.
struct Conversion {
  std::string flags;
  std::size_t width = 0;
  std::optional<std::size_t> precision;
  char letter = '\0';
};

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

std::string pointerText(std::uint64_t address) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(address));
  return text.data();
}

/// The shortest of the usual forms that reads back as the same number.
std::string realText(double value) {
  std::array<char, 40> text{};
  for (const int digits : {15, 16, 17}) {
    std::snprintf(text.data(), text.size(), "%.*g", digits, value);
    if (std::strtod(text.data(), nullptr) == value) break;
  }
  return text.data();
}

/// The text form of an argument that is no string, object or list.
std::string plainText(const LogArgument& argument) {
  switch (argument.kind()) {
    case Kind::signedInteger:
      return std::to_string(static_cast<std::int64_t>(argument.bits()));
    case Kind::unsignedInteger:
      return std::to_string(argument.bits());
    case Kind::real:
      return realText(argument.real());
    case Kind::boolean:
      return argument.bits() != 0 ? "true" : "false";
    case Kind::pointer:
      if (argument.pointer() == nullptr) break;
      return pointerText(reinterpret_cast<std::uintptr_t>(argument.pointer()));
    default:
      break;
  }
  return std::string(nothing);
}

void append(TruncatedText& text, const LogArgument& argument) {
  switch (argument.kind()) {
    case Kind::text:
      text += argument.text();
      break;
    case Kind::object:
      argument.describe(text);
      break;
    case Kind::list: {
      std::string_view before = "(";
      for (const auto& element : argument.list()) {
        text += std::exchange(before, ", ");
        append(text, element);
      }
      text += argument.list().empty() ? "()" : ")";
      break;
    }
    default:
      text += plainText(argument);
  }
}

std::string visible(TruncatedText text) {
  std::string result;
  Unicode::appendVisible(result, std::move(text).take());
  return result;
}

/// The text form of any argument: what "%@" prints.
std::string naturalText(const LogArgument& argument) {
  TruncatedText text(longestValue);
  append(text, argument);
  return visible(std::move(text));
}

bool isWhole(Kind kind) {
  return kind == Kind::signedInteger || kind == Kind::unsignedInteger || kind == Kind::boolean;
}

/// The bits of an integer as an unsigned number of its own size, or the address of a pointer.
std::uint64_t unsignedValue(const LogArgument& argument) {
  if (argument.kind() == Kind::pointer) return reinterpret_cast<std::uintptr_t>(argument.pointer());
  if (argument.width() >= sizeof(std::uint64_t)) return argument.bits();
  return argument.bits() & ((std::uint64_t{1} << (argument.width() * 8)) - 1);
}

/// Prints one number with snprintf. The format is made here and suits the type of `value`.
template <class T>
std::string printed(const Conversion& conversion, std::string_view length, char letter, T value) {
  constexpr std::size_t longestNumber = 320;  // 1.8e308 written out
  std::array<char, longestNumber + 2 * widestField> text{};
  const std::string format = "%" + conversion.flags + "*.*" + std::string(length) + letter;
  const int precision =
      conversion.precision ? static_cast<int>(std::min(*conversion.precision, widestField)) : -1;
  std::snprintf(text.data(), text.size(), format.c_str(), static_cast<int>(conversion.width),
                precision, value);
  return text.data();
}

std::string padded(const Conversion& conversion, std::string text) {
  if (text.size() >= conversion.width) return text;
  const bool isLeft = conversion.flags.find('-') != std::string::npos;
  text.insert(isLeft ? text.size() : 0, conversion.width - text.size(), ' ');
  return text;
}

std::string integerText(const Conversion& conversion, const LogArgument& argument) {
  const bool isSigned = conversion.letter == 'd' || conversion.letter == 'i';
  if (isSigned && argument.kind() == Kind::signedInteger) {
    return printed(conversion, "ll", 'd', static_cast<long long>(argument.bits()));
  }
  const char letter = isSigned ? 'u' : conversion.letter;
  return printed(conversion, "ll", letter,
                 static_cast<unsigned long long>(unsignedValue(argument)));
}

std::string stringText(const Conversion& conversion, const LogArgument& argument) {
  if (argument.kind() != Kind::text || !conversion.precision) return naturalText(argument);
  TruncatedText text(longestValue);
  text += argument.text().substr(0, *conversion.precision);
  return visible(std::move(text));
}

std::string characterText(std::uint64_t codePoint) {
  std::string character;
  Unicode::append(character, static_cast<char32_t>(std::min<std::uint64_t>(codePoint, 0x10FFFF)));
  std::string text;
  Unicode::appendVisible(text, character);
  return text;
}

std::string realConversion(const Conversion& conversion, const LogArgument& argument) {
  double value = argument.kind() == Kind::real ? argument.real() : 0;
  if (argument.kind() == Kind::signedInteger) {
    value = static_cast<double>(static_cast<std::int64_t>(argument.bits()));
  } else if (isWhole(argument.kind())) {
    value = static_cast<double>(argument.bits());
  }
  return printed(conversion, "", conversion.letter, value);
}

/// Prints an argument by its conversion, or in its text form if the conversion does not suit it.
std::string converted(const Conversion& conversion, const LogArgument& argument) {
  const bool whole = isWhole(argument.kind());
  const bool wholeOrPointer = whole || argument.kind() == Kind::pointer;
  switch (conversion.letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
      if (wholeOrPointer) return integerText(conversion, argument);
      break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      if (whole || argument.kind() == Kind::real) return realConversion(conversion, argument);
      break;
    case 'p':
      if (wholeOrPointer) return padded(conversion, pointerText(unsignedValue(argument)));
      break;
    case 'c':
    case 'C':
      if (whole) return padded(conversion, characterText(unsignedValue(argument)));
      break;
    default:
      return padded(conversion, stringText(conversion, argument));
  }
  return padded(conversion, naturalText(argument));
}

/// One pass over a format from its first to its last character.
class Formatter {
 public:
  Formatter(std::string_view format, std::span<const LogArgument> arguments)
      : format_(format), arguments_(arguments) {}

  std::string run() {
    std::string text;
    for (;;) {
      const std::size_t percent = std::min(format_.find('%', at_), format_.size());
      text += format_.substr(at_, percent - at_);
      at_ = percent;
      if (at_ == format_.size()) return text;
      convert(text);
    }
  }

 private:
  [[nodiscard]] char peek() const { return at_ < format_.size() ? format_[at_] : '\0'; }
  bool take(char character) {
    if (peek() != character) return false;
    ++at_;
    return true;
  }

  /// Reads digits, if there are any, as a number; 0 if there are none, at most 1,000,000.
  std::size_t number() {
    std::size_t value = 0;
    for (; isDigit(peek()); ++at_) {
      value = std::min<std::size_t>(value * 10 + static_cast<std::size_t>(peek() - '0'), 1000000);
    }
    return value;
  }

  const LogArgument* next() {
    return nextArgument_ < arguments_.size() ? &arguments_[nextArgument_++] : nullptr;
  }

  /// Reads a width or a precision: digits, or "*" for the next argument, which may be negative.
  std::int64_t fieldSize() {
    if (!take('*')) return static_cast<std::int64_t>(number());
    const LogArgument* const argument = next();
    if (argument == nullptr || !isWhole(argument->kind())) return 0;
    return std::clamp<std::int64_t>(static_cast<std::int64_t>(argument->bits()), -1000000, 1000000);
  }

  void readFlags(Conversion& conversion) {
    constexpr std::string_view known = "-+ #0";
    for (; (peek() != 0 && known.find(peek()) != std::string_view::npos) || peek() == '\''; ++at_) {
      if (peek() != '\'' && conversion.flags.find(peek()) == std::string::npos)
        conversion.flags += peek();
    }
  }

  /// Reads the "1$" of "%1$@": returns the number, or 0, with nothing consumed, if there is none.
  std::size_t readArgumentNumber() {
    const std::size_t begin = at_;
    const std::size_t position = number();
    if (position > 0 && take('$')) return position;
    at_ = begin;
    return 0;
  }

  Conversion readConversion() {
    Conversion conversion;
    readFlags(conversion);
    const std::int64_t width = fieldSize();
    if (width < 0) conversion.flags += '-';
    conversion.width = std::min(static_cast<std::size_t>(std::abs(width)), widestField);
    if (take('.')) {
      const std::int64_t precision = fieldSize();
      if (precision >= 0) conversion.precision = static_cast<std::size_t>(precision);
    }
    constexpr std::string_view lengths = "hlqjztL";
    while (at_ < format_.size() && lengths.find(peek()) != std::string_view::npos) ++at_;
    conversion.letter = peek();
    return conversion;
  }

  /// Reads the conversion that begins at the present "%" and appends its text.
  void convert(std::string& text) {
    const std::size_t begin = at_++;
    const std::size_t position = readArgumentNumber();
    const Conversion conversion = readConversion();
    constexpr std::string_view letters = "@diuoxXeEfFgGaApcCsS";
    if (take('%')) {
      text += '%';
      return;
    }
    if (at_ == format_.size() || letters.find(conversion.letter) == std::string_view::npos) {
      text += format_.substr(begin, at_ - begin);
      return;
    }
    ++at_;
    const LogArgument* argument = nullptr;
    if (position == 0) {
      argument = next();
    } else if (position <= arguments_.size()) {
      argument = &arguments_[position - 1];
    }
    text += argument != nullptr ? converted(conversion, *argument) : std::string(nothing);
  }

  const std::string_view format_;
  const std::span<const LogArgument> arguments_;
  std::size_t at_ = 0;
  std::size_t nextArgument_ = 0;
};

}  // namespace

std::string formatLogText(std::string_view format, std::span<const LogArgument> arguments) {
  return Formatter(format, arguments).run();
}

}  // namespace corvane
