#include "tools/corvane-nmctl/TypedRequest.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"
#include "tools/corvane-nmctl/Nearest.h"

namespace corvane::Nmctl {

using RequestProcessing::BrowserCommand;
using RequestProcessing::RequiredParameter;

namespace {

constexpr std::string_view blanks = " \t\r";

Failure refusal(std::string why) {
  return Failure{FailureCause::malformed, std::move(why)};
}

/// Takes `count` characters off the front of `text`.
std::string_view taken(std::string_view& text, std::size_t count) {
  const std::string_view front = text.substr(0, count);
  text.remove_prefix(front.size());
  return front;
}

void skipBlanks(std::string_view& rest) {
  taken(rest, std::min(rest.find_first_not_of(blanks), rest.size()));
}

/// A value as it was typed.
struct Value {
  std::string text;
  bool isQuoted = false;
};

Result<Value> takeQuoted(std::string_view& rest) {
  const char quote = taken(rest, 1).front();
  Value value{{}, true};
  while (!rest.empty()) {
    char next = taken(rest, 1).front();
    if (next == quote) {
      if (rest.empty() || blanks.find(rest.front()) != std::string_view::npos) return value;
      return refusal("a blank must follow the closing quote before: " + std::string(rest));
    }
    const bool isEscaped =
        quote == '"' && next == '\\' && (rest.starts_with('"') || rest.starts_with('\\'));
    if (isEscaped) next = taken(rest, 1).front();
    value.text += next;
  }
  return refusal("the closing quote is missing");
}

Result<Value> takeValue(std::string_view& rest) {
  if (rest.starts_with('"') || rest.starts_with('\'')) return takeQuoted(rest);
  return Value{std::string(taken(rest, std::min(rest.find_first_of(blanks), rest.size()))), false};
}

/// Any JSON value; the parser takes none but objects and arrays at the top.
Result<JsonValue> jsonValue(const std::string& text) {
  auto parsed = parseJson("[" + text + "]");
  if (!parsed) return refusal("no JSON: " + text + " (" + parsed.failure().text + ")");
  auto& array = parsed->as_array();
  if (array.size() != 1) return refusal("not one JSON value: " + text);
  return JsonValue(std::move(array.front()));
}

JsonValue plainValue(const Value& value, const RequiredParameter* known) {
  const std::string& text = value.text;
  const bool isText =
      value.isQuoted || (known != nullptr && known->kind == RequiredParameter::Kind::text);
  if (!isText) {
    if (text == "true" || text == "false") return text == "true";
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && stop == end) return number;
  }
  return JsonValue(text);
}

const RequiredParameter* findParameter(const BrowserCommand& command, std::string_view name) {
  const auto found = std::find_if(command.parameters.begin(), command.parameters.end(),
                                  [&](const RequiredParameter& one) { return one.name() == name; });
  return found == command.parameters.end() ? nullptr : &*found;
}

/// Takes "key=value" or "key:=json".
Result<Done> takeParameter(std::string_view& rest, const BrowserCommand& command,
                           JsonObject& parameters) {
  const std::size_t end = rest.find_first_of(" \t\r=");
  if (end == 0 || end == std::string_view::npos || rest[end] != '=')
    return refusal("not of the form key=value: " + std::string(rest.substr(0, end)));
  std::string_view key = taken(rest, end);
  taken(rest, 1);
  const bool isJson = key.ends_with(':');
  if (isJson) key.remove_suffix(1);
  const auto value = takeValue(rest);
  if (!value) return value.failure();
  if (!isJson) {
    parameters[key] = plainValue(value.value(), findParameter(command, key));
    return Done{};
  }
  auto json = jsonValue(value->text);
  if (!json) return json.failure();
  parameters[key] = std::move(json.value());
  return Done{};
}

}  // namespace

Result<JsonObject> typedRequest(std::string_view line, const std::string& id) {
  std::string_view rest = line;
  skipBlanks(rest);
  if (rest.starts_with('{')) {
    auto value = parseJson(rest);
    if (!value) return refusal("no JSON object: " + value.failure().text);
    return std::move(value->as_object());
  }
  const std::string_view type = taken(rest, std::min(rest.find_first_of(blanks), rest.size()));
  const BrowserCommand* const command = RequestProcessing::findBrowserCommand(type);
  if (command == nullptr)
    return refusal("no such command: " + std::string(type) +
                   didYouMean(type, RequestProcessing::browserCommands,
                              [](const BrowserCommand& one) { return one.type; }) +
                   " (try: help)");
  JsonObject parameters;
  for (skipBlanks(rest); !rest.empty(); skipBlanks(rest))
    if (auto done = takeParameter(rest, *command, parameters); !done) return done.failure();
  if (command->id == RequestProcessing::CommandId::init && parameters.empty())
    parameters["apiVersion"] = "1";  // the only one there is
  JsonObject message{{"type", JsonValue(type)}, {"id", id}};
  if (!parameters.empty()) message["parameters"] = std::move(parameters);
  return message;
}

}  // namespace corvane::Nmctl
