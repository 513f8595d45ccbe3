#include "tools/corvane-nmctl/Commands/Register.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
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
  return {{"browsers", namesOf(place)},
          {"path", place.path()},
          {"folders", folders},
          {"files", files},
          {"movedTo", orNull(plan.aside)},
          {"others", boost::json::array(plan.others.begin(), plan.others.end())}};
}

void printDone(Output& output, const Place& place, const Plan& plan) {
  output.marked(Output::Mark::good, place.titles() + ": " + printable(place.path()) +
                                        (plan.files.empty() ? " was there already" : ""));
  printAside(output, plan);
  printOthers(output, plan);
}

/// Without a choice: the browsers that are installed here and can start programs.
Result<Selection> selectionFor(const Selection& given, const Surroundings& surroundings) {
  if (!given.browsers.empty() || !given.folder.empty()) return given;
  Selection found;
  for (const Browser& browser : browsers())
    if (installationOf(browser, surroundings).startsHosts())
      found.browsers.emplace_back(browser.name);
  if (found.browsers.empty())
    return Failure{FailureCause::notFound, "no browser was found here; name one with --browser"};
  return found;
}

void run(Context& context, const RegisterOptions& options) {
  if (!options.hostPath.empty()) context.surroundings.hostPath = options.hostPath;
  const auto places = placesToRegister(context, options.selection);
  if (!places) return;
  std::vector<ManifestFormat> formats;
  for (const Place& place : *places) formats.push_back(place.format);
  for (const std::string& identifier : options.extensions)
    if (!isUsable(context, identifier, formats)) return;
  const auto done = registerHost(context, *places, options.extensions, options.isPlan);
  context.result = JsonObject{{options.isPlan ? "plan" : "registered", done}};
}

}  // namespace

std::optional<std::vector<Place>> placesToRegister(Context& context, const Selection& selection) {
  if (const auto fault = programFault(context.surroundings.hostPath, "install the package again")) {
    fail(context, *fault);
    return std::nullopt;
  }
  const auto chosen = selectionFor(selection, context.surroundings);
  if (!chosen) {
    fail(context, Code("no-browser"), chosen.failure().text);
    return std::nullopt;
  }
  auto places = placesOf(chosen.value(), context.surroundings, Level::user);
  if (!places) {
    misuse(context, places.failure().text);
    return std::nullopt;
  }
  return std::move(places).value();
}

bool canAllow(const std::vector<Place>& places, const std::string& identifier) {
  return std::any_of(places.begin(), places.end(), [&](const Place& place) {
    return allowanceOf(place.format, identifier).has_value();
  });
}

boost::json::array registerHost(Context& context, const std::vector<Place>& places,
                                const std::vector<std::string>& extensions, bool isPlan) {
  boost::json::array done;
  for (const Place& place : places) {
    const auto plan = planFor(place, context.surroundings, extensions);
    if (!plan) {
      fail(context, Code("registration-failed"), plan.failure().text);
      continue;
    }
    if (!isPlan) {
      if (const auto outcome = carryOut(plan.value(), place); !outcome) {
        fail(context, Code("registration-failed"), outcome.failure().text);
        continue;
      }
    }
    done.push_back(jsonOf(place, plan.value()));
    if (context.output.isJson()) continue;
    (isPlan ? printPlan : printDone)(context.output, place, plan.value());
  }
  return done;
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
