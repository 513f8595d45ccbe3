#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <map>
#include <optional>
#include <vector>

#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/LinkStatus.h"

namespace corvane::Nmctl::Commands {
namespace {

using Rows = std::vector<std::vector<std::string>>;

std::string waiting(const ExchangeFileFacts& file) {
  if (!file.problem.empty()) return file.problem;
  if (file.isLocked) {
    std::string text = "locked";
    for (const pid_t holder : file.lockHolders) text += " by " + describedProcess(holder);
    return text;
  }
  if (file.isDamaged) return "damaged";
  return file.records ? std::to_string(*file.records) : "?";
}

std::string ageIn(const LinkProcess& one) {
  if (one.isGone) return "gone";
  return one.age ? shownAge(*one.age) : "?";
}

void printApplication(Output& output, const LinkStatus& status) {
  std::string text = "main application  ";
  if (!status.isApplicationRunning)
    text += "can't be seen";
  else
    text += *status.isApplicationRunning ? "runs" : "does not run";
  for (const LinkProcess& one : status.applications)
    text += ", " + describedProcess(one.process) + " for " + ageIn(one);
  output.line(printable(text));
}

void printHosts(Output& output, const LinkStatus& status) {
  if (!status.observers) return output.line("hosts             can't be seen");
  Rows rows;
  for (const LinkProcess& host : status.hosts)
    rows.push_back({std::to_string(host.process), ageIn(host),
                    host.replyFile.empty() ? "none yet" : printable(host.replyFile)});
  if (rows.empty()) return output.line("hosts             none");
  output.table({"process of host", "runs for", "file of replies"}, rows);
}

/// Replies to hosts that have ended are one row.
void printFiles(Output& output, const LinkStatus& status) {
  Rows rows;
  std::size_t left = 0;
  std::uint64_t leftBytes = 0;
  for (const ExchangeFileFacts& file : status.files) {
    if (status.isLeft(file) == true && file.problem.empty() && !file.isLocked) {
      ++left;
      leftBytes += file.size;
    } else {
      rows.push_back({printable(file.name), std::to_string(file.size), printable(waiting(file))});
    }
  }
  if (left > 0)
    rows.push_back(
        {"left of hosts that have ended: " + std::to_string(left), std::to_string(leftBytes), ""});
  if (rows.empty()) return output.line("no exchange files");
  output.table({"exchange file", "bytes", "waiting"}, rows);
}

void printObservers(Output& output, const LinkStatus& status) {
  if (!status.observers) return;
  std::map<std::string, std::string> processes;
  for (const auto& [name, process, isGone] : *status.observers) {
    std::string& list = processes[name];
    list += (list.empty() ? "" : ", ") + std::to_string(process) + (isGone ? " (gone)" : "");
  }
  Rows rows;
  rows.reserve(processes.size());
  for (const auto& [name, list] : processes) rows.push_back({printable(name), list});
  if (rows.empty()) return output.line("no process observes anything");
  output.table({"notification", "observed by process"}, rows);
}

JsonObject jsonOf(const LinkProcess& one) {
  return {{"process", one.process}, {"seconds", one.age ? JsonValue(one.age->count()) : nullptr}};
}

JsonObject jsonOf(const ExchangeFileFacts& file, std::optional<bool> isLeft) {
  return {{"name", file.name},
          {"bytes", file.size},
          {"waiting", file.records ? JsonValue(*file.records) : nullptr},
          {"isLocked", file.isLocked},
          {"lockHolders", boost::json::array(file.lockHolders.begin(), file.lockHolders.end())},
          {"isDamaged", file.isDamaged},
          {"isLeft", isLeft ? JsonValue(*isLeft) : nullptr},
          {"problem", orNull(file.problem)}};
}

JsonObject jsonOf(const LinkStatus& status) {
  boost::json::array applications;
  for (const LinkProcess& one : status.applications) applications.push_back(jsonOf(one));
  boost::json::array hosts;
  for (const LinkProcess& one : status.hosts) {
    JsonObject host = jsonOf(one);
    host["isGone"] = one.isGone;
    host["replyFile"] = orNull(one.replyFile);
    hosts.push_back(std::move(host));
  }
  boost::json::array observers;
  for (const auto& [name, process, isGone] :
       status.observers.value_or(std::vector<Platform::NotificationObserver>()))
    observers.push_back({{"notification", name}, {"process", process}, {"isGone", isGone}});
  boost::json::array files;
  for (const ExchangeFileFacts& file : status.files)
    files.push_back(jsonOf(file, status.isLeft(file)));
  const auto& isRunning = status.isApplicationRunning;
  return {{"isApplicationRunning", isRunning ? JsonValue(*isRunning) : nullptr},
          {"applications", applications},
          {"hosts", status.observers ? JsonValue(hosts) : nullptr},
          {"observers", status.observers ? JsonValue(observers) : nullptr},
          {"exchangeFiles", files}};
}

void run(Context& context) {
  const Container container = findContainer();
  if (container.fault) return fail(context, *container.fault);
  const LinkStatus status = linkStatusOf(container.path);
  for (const Fault& problem : status.problems) fail(context, problem);
  context.result = jsonOf(status);
  context.result->emplace("container", container.path);
  if (context.output.isJson()) return;
  context.output.line("shared folder     " + printable(container.path));
  printApplication(context.output, status);
  printHosts(context.output, status);
  printFiles(context.output, status);
  printObservers(context.output, status);
}

}  // namespace

void addStatus(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "status", "Show the link to the main application as it is now, without touching it");
  command.callback([&context] { run(context); });
}

}  // namespace corvane::Nmctl::Commands
