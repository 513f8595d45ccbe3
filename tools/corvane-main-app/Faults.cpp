#include "tools/corvane-main-app/Faults.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-main-app/Vocabulary.h"
#include "tools/corvane-main-app/Words.h"

namespace corvane::MainApp {
namespace {

using Kind = Fault::Kind;

constexpr std::array<std::pair<std::string_view, Kind>, 10> kinds = {{
    {"silent", Kind::silent},
    {"late", Kind::late},
    {"name", Kind::name},
    {"id", Kind::id},
    {"file", Kind::file},
    {"error", Kind::error},
    {"string-error", Kind::stringError},
    {"wrong-type", Kind::wrongType},
    {"no-result", Kind::noResult},
    {"die", Kind::die},
}};

constexpr std::array<std::pair<std::string_view, Step>, 10> steps = {{
    {"after-lock", Step::afterLock},
    {"after-read", Step::afterRead},
    {"after-truncate", Step::afterTruncate},
    {"after-unlock", Step::afterUnlock},
    {"reply-opened", Step::replyOpened},
    {"reply-locked", Step::replyLocked},
    {"reply-half", Step::replyHalf},
    {"reply-written", Step::replyWritten},
    {"reply-unlocked", Step::replyUnlocked},
    {"reply-posted", Step::replyPosted},
}};

template <class Table>
auto lookUp(const Table& table, std::string_view word) -> decltype(&table.front().second) {
  const auto found = std::find_if(table.begin(), table.end(),
                                  [word](const auto& row) { return row.first == word; });
  return found == table.end() ? nullptr : &found->second;
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

Result<Done> checkDeath(const Fault& fault) {
  if (fault.left) return malformed("times= makes no sense for a death");
  if (fault.step < Step::replyOpened && !fault.command.empty())
    return malformed("at that step the command is not known yet");
  return Done{};
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
    case Kind::die: {
      const Step* step = lookUp(steps, argument);
      if (step == nullptr) return malformed("no such step: " + std::string(argument));
      fault.step = *step;
      return checkDeath(fault);
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
  const Kind* kind = lookUp(kinds, word);
  if (kind == nullptr) return malformed("no such fault: " + std::string(word));
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
    if (fault.kind == Kind::die || (!fault.command.empty() && fault.command != command)) continue;
    taken.push_back(fault);
    if (fault.left) --*fault.left;
  }
  std::erase_if(faults_, [](const Fault& fault) { return fault.left == 0; });
  return taken;
}

bool Faults::diesAt(Step step, const std::string& command) const {
  return std::any_of(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.kind == Kind::die && fault.step == step &&
           (fault.command.empty() || fault.command == command);
  });
}

void Faults::reach(Step step, const std::string& command) const {
  if (diesAt(step, command)) die();
}

void die() {
  std::raise(SIGKILL);
  std::abort();  // never reached
}

}  // namespace corvane::MainApp
