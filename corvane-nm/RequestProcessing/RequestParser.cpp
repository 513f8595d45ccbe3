#include "corvane-nm/RequestProcessing/RequestParser.h"

#include <boost/json/basic_parser_impl.hpp>
#include <string>
#include <utility>

#include "Base/Json.h"
#include "Base/Unicode.h"
#include "corvane-nm/RequestProcessing/RequestBuilder.h"

namespace corvane::RequestProcessing {
namespace {

namespace json = boost::json;

constexpr std::size_t escapeLength = 6;  // of "\ud800"

json::parse_options options() {
  json::parse_options options;
  options.max_depth = maximumJsonDepth;
  options.allow_invalid_utf8 =
      true;  // checked before unpaired surrogates, which are not UTF-8, are put in
  return options;
}

/// The length in bytes of the multi-byte UTF-8 character that begins with `first`; 0 if none does.
std::size_t characterLength(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC2 || byte > 0xF4) return 0;
  return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

/// An escape sequence at a backslash: an unpaired surrogate, any other, or undecided because the
/// text ends too early.
struct Escape {
  enum class Kind { any, unpairedSurrogate, undecided };
  Kind kind = Kind::any;
  std::size_t length = 2;  // in bytes, at least; of a pair of surrogates both
  char32_t unit = 0;
};

/// Examines the escape at `at`. It can be undecided only if more text follows (`goesOn`).
Escape escapeAt(std::string_view text, std::size_t at, bool goesOn) {
  const std::size_t length = text.size() - at;
  if (goesOn && (length < 2 || (text[at + 1] == 'u' && length < escapeLength)))
    return {Escape::Kind::undecided};
  const auto unit = jsonUnitEscape(text, at);
  if (!unit || !Unicode::isSurrogate(*unit)) return {};
  if (Unicode::isLeadingSurrogate(*unit)) {
    if (goesOn && length < 2 * escapeLength) return {Escape::Kind::undecided};
    const auto next = jsonUnitEscape(text, at + escapeLength);
    if (next && Unicode::isTrailingSurrogate(*next)) return {Escape::Kind::any, 2 * escapeLength};
  }
  return {Escape::Kind::unpairedSurrogate, escapeLength, *unit};
}

}  // namespace

struct RequestParser::State {
  json::basic_parser<RequestBuilder> parser{options()};
  json::error_code error = {};
  std::string cutOff = {};  // the end of the last piece: an incomplete character or escape

  void write(std::string_view text, bool isLast);
  void parse(std::string_view text, bool isDecided, bool isLast);
  void give(std::string_view text, bool isLast);
};

RequestParser::RequestParser() : state_(std::make_unique<State>()) {}

RequestParser::~RequestParser() = default;

void RequestParser::write(std::string_view piece, bool isLast) {
  if (state_->error) return;
  if (state_->cutOff.empty()) return state_->write(piece, isLast);
  const std::string text = std::exchange(state_->cutOff, {}).append(piece);
  state_->write(text, isLast);
}

Result<std::optional<Request>> RequestParser::finish() {
  const json::error_code error = std::exchange(state_->error, {});
  auto request = state_->parser.handler().request();
  state_->parser.handler() = {};
  state_->parser.reset();
  state_->cutOff.clear();
  if (error) request = Failure{FailureCause::malformed, error.message()};
  return request;
}

/// Parses `text` up to and including the first byte that is not UTF-8. The parser gets that byte,
/// too, so that its own reason to reject the text there takes precedence.
void RequestParser::State::write(std::string_view text, bool isLast) {
  const std::size_t length = Unicode::wellFormedLength(text, Unicode::Surrogates::refused);
  const std::string_view rest = text.substr(length);
  if (rest.empty()) return parse(text, isLast, isLast);
  const bool isCutOff = rest.size() < characterLength(rest.front());
  if (isCutOff && !isLast) {
    parse(text.substr(0, length), false, false);
    cutOff += rest;
    return;
  }
  parse(text.substr(0, length + 1), true, false);
  if (!error)
    error = json::make_error_code(isCutOff ? json::error::incomplete : json::error::syntax);
}

/// Passes `text` to the parser, with escapes of unpaired surrogates, which it would reject,
/// replaced by their encoding (Base/Unicode.h). `isDecided` means that an escape at the end is
/// complete.
void RequestParser::State::parse(std::string_view text, bool isDecided, bool isLast) {
  std::string replaced;
  std::size_t given = 0;  // how much of `text` is in `replaced`
  for (std::size_t at = 0; (at = text.find('\\', at)) != std::string_view::npos;) {
    const Escape escape = escapeAt(text, at, !isDecided);
    if (escape.kind == Escape::Kind::undecided) {
      cutOff = text.substr(at);
      text = text.substr(0, at);
      break;
    }
    if (escape.kind == Escape::Kind::unpairedSurrogate) {
      replaced += text.substr(given, at - given);
      Unicode::append(replaced, escape.unit);
      given = at + escape.length;
    }
    at += escape.length;
  }
  if (given == 0) return give(text, isLast);
  replaced += text.substr(given);
  give(replaced, isLast);
}

void RequestParser::State::give(std::string_view text, bool isLast) {
  if (error) return;
  const std::size_t count = parser.write_some(!isLast, text.data(), text.size(), error);
  if (!error && count < text.size()) error = json::make_error_code(json::error::extra_data);
}

}  // namespace corvane::RequestProcessing
