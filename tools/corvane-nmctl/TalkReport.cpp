#include "tools/corvane-nmctl/TalkReport.h"

#include <array>
#include <boost/json/serialize.hpp>
#include <cstdio>
#include <utility>
#include <vector>

#include "tools/corvane-nmctl/LineEditor.h"
#include "tools/corvane-nmctl/RequestHelp.h"

namespace corvane::Nmctl {

using RequestProcessing::BrowserCommand;
using RequestProcessing::browserCommands;

namespace {

constexpr char indent[] = "    ";

std::string textOf(const JsonValue& value) {
  if (const auto* text = value.if_string()) return printable(std::string_view(*text));
  return printable(boost::json::serialize(value));
}

std::string member(const JsonObject& object, const char* key) {
  const JsonValue* const value = object.if_contains(key);
  return value == nullptr ? "" : textOf(*value);
}

std::string inMilliseconds(TalkReport::Duration duration) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f ms", duration.count());
  return text.data();
}

/// The application as the host saw it: "running, protection on, locale en, looked at …".
std::string stateIn(const JsonObject& message) {
  const JsonObject* const state = findObject(message, "appState");
  if (state == nullptr) return "";
  const auto says = [&](const char* key) {
    const bool* const flag = findBool(*state, key);
    return flag != nullptr && *flag;
  };
  std::string text = says("isRunning") ? "running" : "not running";
  text += says("isProtectionEnabled") ? ", protection on" : ", protection off";
  return text + ", locale " + member(*state, "locale") + ", looked at " +
         member(*state, "lastCheckTime");
}

bool isOk(const JsonObject& message) {
  const auto* const result = findString(message, "result");
  return result != nullptr && *result == "ok";
}

std::string errorIn(const JsonObject& message) {
  if (isOk(message)) return "";
  const std::string data = member(message, "data");
  return ": " + member(message, "result") + (data.empty() ? "" : ", " + data);
}

}  // namespace

TalkReport::TalkReport(Output& output, LineEditor* editor) : output_(output), editor_(editor) {}

void TalkReport::event(const char* name, const JsonObject& object) {
  JsonObject whole{{"event", name}};
  whole.insert(object.begin(), object.end());
  output_.json(whole);
}

void TalkReport::prompt() {
  if (editor_ != nullptr) editor_->show();
}

void TalkReport::hidePrompt() {
  if (editor_ != nullptr) editor_->hide();
}

void TalkReport::endPrompt() {
  if (editor_ != nullptr) editor_->stop();
}

void TalkReport::details(const JsonObject& message) {
  if (const JsonObject* const parameters = findObject(message, "parameters"))
    for (const auto& entry : *parameters)
      output_.line(indent + printable(std::string_view(entry.key())) + "  " +
                   textOf(entry.value()));
  if (const std::string state = stateIn(message); !state.empty())
    output_.line(Output::Tone::faint, indent + state);
}

void TalkReport::started(const HostChoice& host) {
  if (output_.isJson()) {
    const boost::json::array arguments(host.arguments.begin(), host.arguments.end());
    return event("start", {{"host", host.path}, {"arguments", arguments}});
  }
  if (editor_ == nullptr) return;
  output_.line(Output::Tone::faint, printable(host.path) + " (" + host.reason +
                                        "); \"help\" shows what to type, Ctrl-D ends");
}

void TalkReport::reply(const std::string& type, const std::string& id, Duration duration,
                       const JsonObject& message) {
  if (output_.isJson())
    return event("reply",
                 {{"type", type},
                  {"id", id},
                  {"milliseconds", std::chrono::round<std::chrono::milliseconds>(duration).count()},
                  {"message", message}});
  hidePrompt();
  output_.marked(
      isOk(message) ? Output::Mark::good : Output::Mark::bad,
      printable(type) + " (" + printable(id) + "), " + inMilliseconds(duration) + errorIn(message));
  details(message);
}

void TalkReport::push(const JsonObject& message) {
  if (output_.isJson()) return event("push", {{"message", message}});
  hidePrompt();
  output_.marked(Output::Mark::note, "the host says unasked" + errorIn(message));
  details(message);
}

void TalkReport::stray(const JsonObject& message) {
  if (output_.isJson()) return event("stray", {{"message", message}});
  hidePrompt();
  output_.marked(Output::Mark::note,
                 "an unexpected answer: " + printable(boost::json::serialize(message)));
}

void TalkReport::unanswered(const std::string& type, const std::string& id,
                            const std::string& why) {
  if (output_.isJson()) return event("unanswered", {{"type", type}, {"id", id}, {"reason", why}});
  hidePrompt();
  output_.marked(Output::Mark::bad, printable(type) + " (" + printable(id) + "): no answer " + why);
}

void TalkReport::refused(const std::string& why) {
  if (output_.isJson()) event("refused", {{"reason", why}});
  hidePrompt();
  Output::complain(why);
}

void TalkReport::note(const std::string& what) {
  if (output_.isJson()) return event("note", {{"text", what}});
  hidePrompt();
  output_.marked(Output::Mark::note, what);
}

void TalkReport::ended(const std::string& how) {
  if (output_.isJson()) return event("end", {{"reason", how}});
  hidePrompt();
  output_.marked(Output::Mark::bad, "the host " + printable(how));
}

void TalkReport::help() {
  if (output_.isJson()) {
    JsonObject commands;
    for (const BrowserCommand& command : browserCommands) commands[command.type] = usageOf(command);
    return event("help", {{"commands", commands}});
  }
  hidePrompt();
  std::vector<std::vector<std::string>> rows;
  rows.reserve(browserCommands.size());
  for (const BrowserCommand& command : browserCommands)
    rows.push_back(
        {std::string(command.type), usageOf(command), std::string(purposeOf(command.id))});
  output_.table({"command", "parameters", "to"}, rows);
  output_.line(
      "\nA value with blanks stands in quotes; key:='[1, 2]' takes any JSON; a line that begins\n"
      "with { is sent as it is. \"wait\" waits for all answers, \"quit\" ends.");
}

}  // namespace corvane::Nmctl
