#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <memory>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Examination.h"

namespace corvane::Nmctl::Commands {
namespace {

constexpr const char* stateNames[] = {"good", "wrong", "note"};

void print(Output& output, const Finding& finding) {
  constexpr Output::Mark marks[] = {Output::Mark::good, Output::Mark::bad, Output::Mark::note};
  output.marked(finding.isConsequence ? Output::Mark::note : marks[static_cast<int>(finding.state)],
                finding.subject + ": " + printable(finding.cause));
  if (!finding.mend.empty()) output.line("    " + printable(finding.mend));
}

/// One for each cause: those of several browsers that one step mends become one.
Findings merged(const Findings& findings) {
  Findings result;
  for (const Finding& finding : findings) {
    const auto same = std::find_if(result.begin(), result.end(), [&finding](const Finding& one) {
      return one.state == Finding::State::wrong && one.state == finding.state &&
             one.cause == finding.cause && one.mend == finding.mend;
    });
    if (same == result.end())
      result.push_back(finding);
    else
      same->subject += ", " + finding.subject;
  }
  return result;
}

void run(Context& context, const Selection& selection) {
  Platform::ignoreSignalsOfWrites();
  const Findings findings = examineAll(selection, context.surroundings);
  if (!isAllWell(findings)) context.status = 1;
  if (!context.output.isJson()) {
    for (const Finding& finding : merged(findings)) print(context.output, finding);
    return;
  }
  boost::json::array list;
  for (const Finding& finding : findings)
    list.push_back({{"subject", finding.subject},
                    {"state", stateNames[static_cast<int>(finding.state)]},
                    {"isConsequence", finding.isConsequence},
                    {"cause", finding.cause},
                    {"mend", finding.mend}});
  context.output.json({{"isAllWell", context.status == 0}, {"findings", list}});
}

}  // namespace

void addDoctor(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "doctor", "Find out what is wrong with each browser and with the link, and what mends it");
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
  command.callback([&context, selection] { run(context, *selection); });
}

}  // namespace corvane::Nmctl::Commands
