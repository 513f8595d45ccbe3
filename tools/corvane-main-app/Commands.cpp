#include "tools/corvane-main-app/Commands.h"

#include <utility>

#include "tools/corvane-main-app/Words.h"

namespace corvane::MainApp {
namespace {

Failure refused(const std::string& text) {
  return {FailureCause::malformed, text};
}

}  // namespace

void Commands::run(std::string_view line) {
  const auto outcome = outcomeOf(line);
  surroundings_.output.line(outcome ? "ok" : "error " + outcome.failure().description());
}

Result<Done> Commands::outcomeOf(std::string_view line) {
  const std::string_view word = takeWord(line);
  if (word == "fault") return surroundings_.faults.add(line);
  if (word == "protection") return protection(line);
  if (word == "rule") return rule(line);
  if (word == "level") return setLevel(line);
  if (!line.empty()) return refused("too much: " + std::string(line));
  if (word == "state") {
    printState();
  } else if (word == "announce") {
    surroundings_.announcer.changedHere();
  } else if (word == "quit") {
    surroundings_.loop.endTurn();
  } else {
    return refused("no such command: " + std::string(word));
  }
  return Done{};
}

Result<Done> Commands::protection(std::string_view argument) {
  if (argument != "on" && argument != "off") return refused("protection on or protection off");
  surroundings_.state.setProtection(argument == "on");
  surroundings_.announcer.changedHere();
  return Done{};
}

Result<Done> Commands::rule(std::string_view argument) {
  const std::string_view action = takeWord(argument);
  const std::string text(argument);
  if (text.empty() || (action != "add" && action != "remove"))
    return refused("rule add TEXT or rule remove TEXT");
  if (action == "add") {
    surroundings_.state.addRule(text);
  } else if (!surroundings_.state.removeRule(text)) {
    return refused("there is no such rule");
  }
  surroundings_.announcer.changedHere();
  return Done{};
}

Result<Done> Commands::setLevel(std::string_view argument) {
  const auto level = integerFrom(argument);
  if (!level) return refused("level needs a number");
  return level_.set(*level);
}

void Commands::printState() {
  JsonObject state = surroundings_.state.description();
  state["level"] = level_.get();
  state["exchange"] = exchange_.counts();
  state["announced"] = surroundings_.announcer.count();
  surroundings_.output.json({{"state", std::move(state)}});
}

}  // namespace corvane::MainApp
