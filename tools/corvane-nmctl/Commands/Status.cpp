#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/Ways.h"

namespace corvane::Nmctl::Commands {
namespace {

using namespace std::chrono_literals;

using Observers = std::vector<Platform::NotificationObserver>;

constexpr auto patience = 200ms;

std::string waiting(const ExchangeFileFacts& file) {
  if (!file.problem.empty()) return file.problem;
  if (file.isLocked) return "in use";
  if (file.isDamaged) return "damaged";
  return file.records ? std::to_string(*file.records) : "?";
}

std::optional<LinkEnds> endsAmong(const std::optional<Observers>& observers) {
  if (!observers) return std::nullopt;
  return linkEndsAmong(*observers);
}

/// Replies to hosts that have ended are one row. Without `ends` it is unknown which those are.
void printFiles(Output& output, const std::vector<ExchangeFileFacts>& files,
                const std::optional<LinkEnds>& ends) {
  std::vector<std::vector<std::string>> rows;
  std::size_t left = 0;
  std::uint64_t leftBytes = 0;
  for (const ExchangeFileFacts& file : files) {
    if (ends && isLeftReply(file.name, *ends) && file.problem.empty() && !file.isLocked) {
      ++left;
      leftBytes += file.size;
    } else {
      rows.push_back({printable(file.name), std::to_string(file.size), waiting(file)});
    }
  }
  if (left > 0)
    rows.push_back(
        {"left of hosts that have ended: " + std::to_string(left), std::to_string(leftBytes), ""});
  if (rows.empty()) {
    output.line("no exchange files");
  } else {
    output.table({"exchange file", "bytes", "waiting"}, rows);
  }
}

void print(Output& output, const std::vector<ExchangeFileFacts>& files,
           const std::optional<Observers>& observers) {
  printFiles(output, files, endsAmong(observers));
  if (!observers) return;
  std::vector<std::vector<std::string>> rows;
  std::map<std::string, std::string> processes;
  for (const auto& [name, process, isGone] : *observers) {
    std::string& list = processes[name];
    list += (list.empty() ? "" : ", ") + std::to_string(process) + (isGone ? " (gone)" : "");
  }
  rows.reserve(processes.size());
  for (const auto& [name, list] : processes) rows.push_back({printable(name), list});
  if (rows.empty()) {
    output.line("nobody observes anything");
  } else {
    output.table({"notification", "observed by process"}, rows);
  }
}

JsonObject jsonOf(const std::vector<ExchangeFileFacts>& files,
                  const std::optional<Observers>& observers) {
  const auto ends = endsAmong(observers);
  boost::json::array list;
  for (const ExchangeFileFacts& file : files) {
    JsonObject object{{"name", file.name},
                      {"bytes", file.size},
                      {"isLocked", file.isLocked},
                      {"isDamaged", file.isDamaged}};
    object["isLeft"] = ends ? JsonValue(isLeftReply(file.name, *ends)) : JsonValue();
    object["waiting"] = file.records ? JsonValue(*file.records) : JsonValue();
    if (!file.problem.empty()) object["problem"] = file.problem;
    list.push_back(std::move(object));
  }
  boost::json::array who;
  for (const auto& [name, process, isGone] : observers.value_or(Observers()))
    who.push_back({{"notification", name}, {"process", process}, {"isGone", isGone}});
  return {{"exchangeFiles", list}, {"observers", who}};
}

void run(Context& context) {
  const Container container = findContainer();
  if (container.fault) {
    if (context.output.isJson()) context.output.json({{"problem", container.fault->cause}});
    return fail(context, container.fault->cause);
  }
  boost::json::array problems;
  for (const Way way : {Way::applications, Way::notifications, Way::data}) {
    const auto fault = faultOf(way, container.path);
    if (!fault) continue;
    problems.emplace_back(fault->cause);
    fail(context, fault->cause);
  }
  const auto instances = runningInstances(container.path);
  const bool isKnown = instances && !faultOf(Way::applications, container.path);
  const bool isRunning = isKnown && *instances > 0;
  const auto files = exchangeFilesIn(container.path, patience);
  const auto listed = Platform::notificationObservers(container.path);
  if (!listed) {
    problems.emplace_back(listed.failure().text);
    fail(context, listed.failure().text);
  }
  const auto observers = listed ? std::optional(listed.value()) : std::nullopt;
  if (context.output.isJson()) {
    JsonObject object = jsonOf(files, observers);
    object["isApplicationRunning"] = isKnown ? JsonValue(isRunning) : JsonValue();
    if (!problems.empty()) object["problems"] = problems;
    object["container"] = container.path;
    return context.output.json(object);
  }
  context.output.line("shared folder     " + printable(container.path));
  const char* state = isRunning ? "runs" : "does not run";
  context.output.line(std::string("main application  ") + (isKnown ? state : "can't be seen"));
  print(context.output, files, observers);
}

}  // namespace

void addStatus(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "status", "Show the link to the main application as it is now, without touching it");
  command.callback([&context] { run(context); });
}

}  // namespace corvane::Nmctl::Commands
