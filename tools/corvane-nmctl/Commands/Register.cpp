#include "tools/corvane-nmctl/Commands/Register.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <memory>

#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Lookup.h"
#include "tools/corvane-nmctl/ManifestCheck.h"

namespace corvane::Nmctl::Commands {
namespace {

struct RegisterOptions {
  Selection selection;
  bool isPlan = false;
  std::string hostPath;
  std::vector<std::string> extensions;
  JsonObject json = {};  ///< what is told beside the registrations
};

void printOthers(Output& output, const Plan& plan) {
  for (const std::string& other : plan.others)
    output.line("    it also allows " + printable(other));
}

void printPlan(Output& output, const Place& place, const Plan& plan) {
  output.heading(place.titles());
  if (plan.files.empty())
    output.line("nothing: " + printable(place.path()) + " is as it should be");
  if (!plan.aside.empty())
    output.line("move the damaged " + printable(place.path()) + " to " + printable(plan.aside));
  for (const std::string& folder : plan.folders)
    output.line("folder " + printable(folder) + ", mode " + octal(plan.folderMode));
  for (const auto& [path, text, mode] : plan.files) {
    output.line("file " + printable(path) + ", mode " + octal(mode) + ", " +
                std::to_string(text.size()) + " bytes:");
    output.line(text.substr(0, text.size() - 1));  // `line` writes the last line feed
  }
  printOthers(output, plan);
}

JsonObject jsonOf(const Place& place, const Plan& plan) {
  boost::json::array folders;
  for (const std::string& folder : plan.folders)
    folders.push_back({{"path", folder}, {"mode", octal(plan.folderMode)}});
  boost::json::array files;
  for (const auto& [path, text, mode] : plan.files)
    files.push_back({{"path", path}, {"mode", octal(mode)}, {"text", text}});
  JsonObject object{
      {"browsers", place.titles()}, {"path", place.path()}, {"folders", folders}, {"files", files}};
  if (!plan.aside.empty()) object["movedTo"] = plan.aside;
  object["others"] = boost::json::array(plan.others.begin(), plan.others.end());
  return object;
}

void printDone(Output& output, const Place& place, const Plan& plan) {
  output.marked(Output::Mark::good, place.titles() + ": " + printable(place.path()) +
                                        (plan.files.empty() ? " was there already" : ""));
  printAside(output, plan);
  printOthers(output, plan);
}

/// Without a choice: the browsers that are installed here outside a sandbox.
Result<Selection> selectionFor(const RegisterOptions& options, const Surroundings& surroundings) {
  const Selection& given = options.selection;
  if (!given.browsers.empty() || !given.folder.empty()) return given;
  Selection found;
  for (const Browser& browser : browsers())
    if (installationOf(browser, surroundings).isNative) found.browsers.emplace_back(browser.name);
  if (found.browsers.empty())
    return Failure{FailureCause::notFound, "no browser was found here; name one with --browser"};
  return found;
}

/// An identifier that none of the places can allow, or nullptr.
const std::string* unusable(const std::vector<std::string>& extensions,
                            const std::vector<Place>& places) {
  for (const std::string& identifier : extensions)
    if (std::none_of(places.begin(), places.end(), [&](const Place& place) {
          return allowanceOf(place.format, identifier).has_value();
        }))
      return &identifier;
  return nullptr;
}

void run(Context& context, const RegisterOptions& options) {
  if (!options.hostPath.empty()) context.surroundings.hostPath = options.hostPath;
  if (const auto fault = programFault(context.surroundings.hostPath, "install the package again"))
    return fail(context, fault->cause + "; " + fault->mend);
  const auto selection = selectionFor(options, context.surroundings);
  if (!selection) return fail(context, selection.failure().text);
  const auto places = placesOf(selection.value(), context.surroundings, Level::user);
  if (!places) return misuse(context, places.failure().text);
  if (const std::string* identifier = unusable(options.extensions, places.value()))
    return misuse(context, "none of these browsers has extensions like " + *identifier);
  boost::json::array done;
  for (const Place& place : places.value()) {
    const auto plan = planFor(place, context.surroundings, options.extensions);
    if (!plan) {
      fail(context, plan.failure().text);
      continue;
    }
    if (!options.isPlan) {
      if (const auto outcome = carryOut(plan.value(), place); !outcome) {
        fail(context, outcome.failure().text);
        continue;
      }
    }
    done.push_back(jsonOf(place, plan.value()));
    if (context.output.isJson()) continue;
    (options.isPlan ? printPlan : printDone)(context.output, place, plan.value());
  }
  if (!context.output.isJson()) return;
  JsonObject told = options.json;
  told[options.isPlan ? "plan" : "registered"] = done;
  context.output.json(told);
}

}  // namespace

void registerHost(Context& context, const Selection& selection,
                  const std::vector<std::string>& extensions, const JsonObject& json) {
  RegisterOptions options = {selection, false, {}, {}, json};
  const auto chosen = selectionFor(options, context.surroundings);
  const auto places =
      chosen ? placesOf(chosen.value(), context.surroundings, Level::user) : chosen.failure();
  for (const std::string& identifier : extensions)
    if (places && unusable({identifier}, places.value()) == nullptr)
      options.extensions.push_back(identifier);
  run(context, options);
}

void addRegister(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "register", "Let this user's browsers start the host: write its manifest for each");
  const auto options = std::make_shared<RegisterOptions>();
  addSelection(command, options->selection);
  command.add_flag("--plan", options->isPlan, "only show what would be written, to the byte");
  command.add_option("--host", options->hostPath, "the host to register, by its full path")
      ->check([](const std::string& path) -> std::string {
        if (!path.starts_with('/')) return "the path must be a full one";
        return isHostFile(path) ? "" : "the host must be called corvane-nm";
      });
  command
      .add_option("--extension", options->extensions,
                  "also let this extension start the host, by its identifier; may be repeated")
      ->allow_extra_args(false)
      ->check(isIdentifier);
  command.callback([&context, options] { run(context, *options); });
}

}  // namespace corvane::Nmctl::Commands
