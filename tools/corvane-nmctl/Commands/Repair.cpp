#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Lookup.h"

namespace corvane::Nmctl::Commands {
namespace {

bool isBroken(const Place& place, const Surroundings& surroundings) {
  const auto state = lookAt(place, surroundings).state;
  return state == FoundManifest::State::outdated || state == FoundManifest::State::damaged;
}

void repair(Context& context, const Selection& selection, bool isOfSystem) {
  const auto level = isOfSystem ? Level::all : Level::user;
  const auto places = placesOf(selection, context.surroundings, level);
  if (!places) return misuse(context, places.failure().text);
  boost::json::array repaired;
  for (const Place& place : places.value()) {
    if (!isBroken(place, context.surroundings)) continue;
    if (const auto fault = programFault(context.surroundings.hostPath, "install the package again"))
      return fail(context, *fault);
    const auto plan = planFor(place, context.surroundings);
    if (!plan) {
      fail(context, Code("registration-failed"), plan.failure().text);
      continue;
    }
    if (const auto outcome = carryOut(plan.value(), place); !outcome) {
      fail(context, Code("registration-failed"), outcome.failure().text);
      continue;
    }
    repaired.emplace_back(place.path());
    if (context.output.isJson()) continue;
    context.output.marked(Output::Mark::good,
                          place.titles() + ": rewrote " + printable(place.path()));
    printAside(context.output, plan.value());
  }
  context.result = JsonObject{{"repaired", repaired}};
  if (!context.output.isJson() && repaired.empty() && context.status == 0)
    context.output.line("nothing to repair");
}

}  // namespace

void addRepair(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "repair",
      "Rewrite those of this user's manifests that browsers reject or that name a missing host");
  const auto selection = std::make_shared<Selection>();
  addSelection(command, *selection);
  const auto isOfSystem = std::make_shared<bool>(false);
  command.add_flag("--system", *isOfSystem, "also those that the system holds for all users");
  command.callback([&context, selection, isOfSystem] { repair(context, *selection, *isOfSystem); });
}

}  // namespace corvane::Nmctl::Commands
