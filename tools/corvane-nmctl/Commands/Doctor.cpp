#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <iostream>
#include <memory>
#include <vector>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Examination.h"
#include "tools/corvane-nmctl/Fixes.h"

namespace corvane::Nmctl::Commands {
namespace {

constexpr const char* stateNames[] = {"good", "wrong", "note"};

void print(Output& output, const Finding& finding) {
  constexpr Output::Mark marks[] = {Output::Mark::good, Output::Mark::bad, Output::Mark::note};
  output.marked(finding.isConsequence ? Output::Mark::note : marks[static_cast<int>(finding.state)],
                finding.subject + ": " + printable(finding.cause));
  if (!finding.fix.empty()) output.line("    " + printable(finding.fix));
}

bool confirms(Output& output, const std::string& command) {
  output.prompt("run " + printable(command) + " ? [y/N] ");
  output.flush();
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "yes";
}

/// Runs the commands that people confirm. Returns whether any was run.
bool fix(Context& context, const Findings& findings) {
  bool isAnyRun = false;
  for (const std::string& command : Fixes::commandsFor(findings)) {
    if (!confirms(context.output, command)) continue;
    isAnyRun = true;
    if (!Fixes::run(command)) Output::complain("that failed: " + printable(command));
  }
  return isAnyRun;
}

void run(Context& context, const Selection& selection, bool fixes) {
  if (fixes && context.output.isJson())
    return misuse(context, "--fix asks, and so does not go with --json");
  std::vector<ManifestFormat> formats;
  for (const std::string& name : selection.browsers) formats.push_back(findBrowser(name)->format);
  if (!selection.extension.empty() && !formats.empty() &&
      !isUsable(context, selection.extension, formats))
    return;
  Platform::ignoreSignalsOfWrites();
  Findings findings = examineAll(selection, context.surroundings);
  if (!context.output.isJson()) {
    for (const Finding& finding : merged(findings)) print(context.output, finding);
    if (fixes && fix(context, findings)) {
      context.output.line("\nafter that:");
      findings = examineAll(selection, context.surroundings);
      for (const Finding& finding : merged(findings)) print(context.output, finding);
    }
  }
  if (!isAllWell(findings)) context.status = 1;
  if (!context.output.isJson()) return;
  boost::json::array list;
  for (const Finding& finding : findings)
    list.push_back({{"code", finding.code.name()},
                    {"subject", finding.subject},
                    {"state", stateNames[static_cast<int>(finding.state)]},
                    {"isConsequence", finding.isConsequence},
                    {"cause", finding.cause},
                    {"fix", orNull(finding.fix)},
                    {"milliseconds", finding.delay ? JsonValue(finding.delay->count()) : nullptr}});
  context.result = JsonObject{{"findings", list}};
}

}  // namespace

void addDoctor(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "doctor", "Find out what is wrong with each browser and with the link, and how to fix it");
  const auto selection = std::make_shared<Selection>();
  command
      .add_option("--browser", selection->browsers,
                  "only this browser, also when it is not found here")
      ->allow_extra_args(false)
      ->check(isBrowser);
  command
      .add_option("--extension", selection->extension,
                  "whether this extension may start the host, by its identifier, instead of ours")
      ->check(isIdentifier);
  const auto fixes = std::make_shared<bool>(false);
  command.add_flag("--fix", *fixes,
                   "offer to run each command that fixes something, and examine all again");
  command.callback([&context, selection, fixes] { run(context, *selection, *fixes); });
}

}  // namespace corvane::Nmctl::Commands
