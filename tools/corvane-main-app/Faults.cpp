#include "tools/corvane-main-app/Faults.h"

#include <array>
#include <utility>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-main-app/Vocabulary.h"
#include "tools/corvane-main-app/Words.h"

namespace corvane::MainApp {
namespace {

using Kind = Fault::Kind;

constexpr std::array<std::pair<std::string_view, Kind>, 9> kinds = {{
    {"silent", Kind::silent},
    {"late", Kind::late},
    {"name", Kind::name},
    {"id", Kind::id},
    {"file", Kind::file},
    {"error", Kind::error},
    {"string-error", Kind::stringError},
    {"wrong-type", Kind::wrongType},
    {"no-result", Kind::noResult},
}};

std::optional<Kind> kindOf(std::string_view word) {
  for (const auto& [name, kind] : kinds)
    if (name == word) return kind;
  return std::nullopt;
}

Failure malformed(std::string text) {
  return {FailureCause::malformed, std::move(text)};
}

/// Reads "command=NAME" and "times=N" off the front of `text` into `fault`.
Result<Done> takeConditions(std::string_view& text, Fault& fault) {
  for (;;) {
    std::string_view rest = text;
    const std::string_view word = takeWord(rest);
    if (word.starts_with("command=")) {
      fault.command = word.substr(word.find('=') + 1);
      if (!ExtensionBrowserApiConstants::commandFromRawValue(fault.command))
        return malformed("no such command: " + fault.command);
    } else if (word.starts_with("times=")) {
      fault.left = integerFrom(word.substr(word.find('=') + 1));
      if (fault.left.value_or(0) < 1) return malformed("times= needs a positive number");
    } else {
      return Done{};
    }
    text = rest;
  }
}

/// Reads `argument` as what the kind of `fault` asks for.
Result<Done> readArgument(std::string_view argument, Fault& fault) {
  switch (fault.kind) {
    case Kind::late: {
      const auto milliseconds = integerFrom(argument);
      if (milliseconds.value_or(-1) < 0) return malformed("late needs a number of milliseconds");
      fault.number = *milliseconds;
      return Done{};
    }
    case Kind::file:
      if (!isUsableIdentifier(std::string(argument))) return malformed("no identifier of a host");
      break;
    case Kind::name:
    case Kind::id:
      if (argument.empty()) return malformed("a text is missing");
      break;
    case Kind::error:
    case Kind::stringError:
      if (argument.empty()) argument = "The application was told to refuse.";
      break;
    default:
      if (!argument.empty()) return malformed("too much: " + std::string(argument));
  }
  fault.text = argument;
  return Done{};
}

}  // namespace

Result<Done> Faults::add(std::string_view text) {
  if (text == "none") {
    faults_.clear();
    return Done{};
  }
  const std::string_view word = takeWord(text);
  const std::optional<Kind> kind = kindOf(word);
  if (!kind) return malformed("no such fault: " + std::string(word));
  Fault fault;
  fault.kind = *kind;
  if (auto read = takeConditions(text, fault); !read) return read;
  if (auto read = readArgument(text, fault); !read) return read;
  faults_.push_back(std::move(fault));
  return Done{};
}

std::vector<Fault> Faults::takeFor(const std::string& command) {
  std::vector<Fault> taken;
  for (Fault& fault : faults_) {
    if (!fault.command.empty() && fault.command != command) continue;
    taken.push_back(fault);
    if (fault.left) --*fault.left;
  }
  std::erase_if(faults_, [](const Fault& fault) { return fault.left == 0; });
  return taken;
}

}  // namespace corvane::MainApp
