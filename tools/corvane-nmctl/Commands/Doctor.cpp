#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Examination.h"

namespace corvane::Nmctl::Commands {
namespace {

constexpr const char* stateNames[] = {"good", "wrong", "note"};

void print(Output& output, const Finding& finding) {
  constexpr Output::Mark marks[] = {Output::Mark::good, Output::Mark::bad, Output::Mark::note};
  output.marked(marks[static_cast<int>(finding.state)],
                finding.subject + ": " + printable(finding.cause));
  if (!finding.mend.empty()) output.line("    " + printable(finding.mend));
}

void run(Context& context, const std::vector<std::string>& names) {
  for (const std::string& name : names)
    if (findBrowser(name) == nullptr) return fail(context, "no browser is called " + name);
  Platform::ignoreSignalsOfWrites();
  const Findings findings = examineAll({names, {}}, context.surroundings);
  if (!isAllWell(findings)) context.status = 1;
  if (!context.output.isJson()) {
    for (const Finding& finding : findings) print(context.output, finding);
    return;
  }
  boost::json::array list;
  for (const Finding& finding : findings)
    list.push_back({{"subject", finding.subject},
                    {"state", stateNames[static_cast<int>(finding.state)]},
                    {"cause", finding.cause},
                    {"mend", finding.mend}});
  context.output.json({{"isAllWell", context.status == 0}, {"findings", list}});
}

}  // namespace

void addDoctor(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "doctor", "Find out what is wrong with each browser and with the link, and what mends it");
  const auto names = std::make_shared<std::vector<std::string>>();
  command.add_option("--browser", *names, "only this browser, also when it is not found here")
      ->allow_extra_args(false);
  command.callback([&context, names] { run(context, *names); });
}

}  // namespace corvane::Nmctl::Commands
