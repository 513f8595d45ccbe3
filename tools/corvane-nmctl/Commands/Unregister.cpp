#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "tools/corvane-nmctl/Commands/Commands.h"

namespace corvane::Nmctl::Commands {
namespace {

void run(Context& context, const Selection& selection) {
  const auto places = placesOf(selection, context.surroundings, Level::user);
  if (!places) return misuse(context, places.failure().text);
  boost::json::array removed;
  for (const Place& place : places.value()) {
    const auto outcome = unregisterAt(place, context.surroundings);
    if (!outcome) {
      // What is somebody else's is no failure of ours where it was not asked for by name.
      if (outcome.failure().cause == FailureCause::alreadyExists && selection.browsers.empty())
        Output::complain(outcome.failure().text);
      else
        fail(context, Code("unregistration-failed"), outcome.failure().text);
      continue;
    }
    if (!outcome.value()) continue;
    removed.emplace_back(place.path());
    if (!context.output.isJson())
      context.output.marked(Output::Mark::good,
                            place.titles() + ": removed " + printable(place.path()));
  }
  context.result = JsonObject{{"removed", removed}};
  if (!context.output.isJson() && removed.empty() && context.status == 0)
    context.output.line("nothing was registered");
}

}  // namespace

void addUnregister(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "unregister", "Remove this user's manifests of the host, and nothing else");
  const auto selection = std::make_shared<Selection>();
  addSelection(command, *selection);
  command.callback([&context, selection] { run(context, *selection); });
}

}  // namespace corvane::Nmctl::Commands
