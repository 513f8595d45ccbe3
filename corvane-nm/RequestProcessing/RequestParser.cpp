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

json::parse_options strictly() {
  json::parse_options options;
  options.max_depth = maximumJsonDepth;
  return options;
}

/// What stands at a backslash, as far as unpaired surrogates are concerned.
struct Escape {
  enum class Kind { any, unpairedSurrogate, undecided };
  Kind kind = Kind::any;
  std::size_t length = 2;  // at least; of a pair of surrogates both
  char32_t unit = 0;
};

/// The escape at `at`; it is undecided when `text` ends too early, and goes on.
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
  json::basic_parser<RequestBuilder> parser{strictly()};
  json::error_code error = {};
  std::string cutEscape = {};  // the end of the last piece, if it can't be told yet

  void write(std::string_view text, bool isLast);
  void give(std::string_view text, bool isLast);
  void giveSurrogate(char32_t unit);
};

RequestParser::RequestParser() : state_(std::make_unique<State>()) {}

RequestParser::~RequestParser() = default;

void RequestParser::write(std::string_view piece, bool isLast) {
  if (state_->cutEscape.empty()) return state_->write(piece, isLast);
  const std::string text = std::exchange(state_->cutEscape, {}).append(piece);
  state_->write(text, isLast);
}

Result<std::optional<Request>> RequestParser::finish() {
  const json::error_code error = std::exchange(state_->error, {});
  auto request = error ? Failure{FailureCause::malformed, error.message()}
                       : state_->parser.handler().request();
  state_->parser.handler() = {};
  state_->parser.reset();
  state_->cutEscape.clear();
  return request;
}

/// Gives the parser all of it, but for unpaired surrogates, which it refuses.
void RequestParser::State::write(std::string_view text, bool isLast) {
  std::size_t at = 0;
  while (!error && (at = text.find('\\', at)) != std::string_view::npos) {
    const Escape escape = escapeAt(text, at, !isLast);
    if (escape.kind == Escape::Kind::undecided) {
      cutEscape = text.substr(at);
      return give(text.substr(0, at), false);
    }
    at += escape.length;
    if (escape.kind == Escape::Kind::unpairedSurrogate) {
      give(text.substr(0, at - escape.length), false);
      giveSurrogate(escape.unit);
      text.remove_prefix(at);
      at = 0;
    }
  }
  give(text, isLast);
}

void RequestParser::State::give(std::string_view text, bool isLast) {
  if (error) return;
  const std::size_t count = parser.write_some(!isLast, text.data(), text.size(), error);
  if (!error && count < text.size()) error = json::make_error_code(json::error::extra_data);
}

/// In its place the parser gets the escape of U+FFFD, alone, so that its handler knows it.
void RequestParser::State::giveSurrogate(char32_t unit) {
  parser.handler().replaceNextEscape(unit);
  give("\\ufffd", false);
  parser.handler().replaceNextEscape(std::nullopt);
}

}  // namespace corvane::RequestProcessing
