#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <utility>

#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/Nearest.h"

namespace corvane::Nmctl::Commands {

void addSelection(CLI::App& command, Selection& selection) {
  command
      .add_option("--browser", selection.browsers,
                  "only this browser, by its name in \"list --help\"; may be repeated")
      ->allow_extra_args(false)
      ->check(isBrowser);
  command
      .add_option("--dir", selection.folder,
                  "this folder instead of those that the one --browser looks into")
      ->check([](const std::string& folder) {
        return std::string(folder.empty() ? "the folder needs a name" : "");
      });
}

std::string isBrowser(const std::string& name) {
  if (findBrowser(name) != nullptr) return "";
  return "no browser is called " + name +
         didYouMean(name, browsers(), [](const Browser& browser) { return browser.name; });
}

std::string isIdentifier(const std::string& identifier) {
  const bool isOne = allowanceOf(ManifestFormat::chromium, identifier) ||
                     allowanceOf(ManifestFormat::firefox, identifier);
  return isOne ? "" : "that is not the identifier of an extension";
}

bool isUsable(Context& context, const std::string& identifier,
              const std::vector<ManifestFormat>& formats) {
  const bool isOne = std::any_of(formats.begin(), formats.end(), [&](ManifestFormat format) {
    return allowanceOf(format, identifier).has_value();
  });
  if (!isOne) misuse(context, "none of these browsers has extensions like " + identifier);
  return isOne;
}

void printAside(Output& output, const Plan& plan) {
  if (plan.aside.empty()) return;
  output.line("    the damaged file is now " + printable(plan.aside) +
              "; extensions that it allowed must be registered again");
}

JsonValue orNull(const std::string& text) {
  return text.empty() ? JsonValue() : JsonValue(text);
}

boost::json::array namesOf(const Place& place) {
  boost::json::array names;
  for (const Browser* browser : place.browsers) names.emplace_back(JsonValue(browser->name));
  return names;
}

void misuse(Context& context, const std::string& why) {
  fail(context, Code("usage"), why);
  context.status = usageStatus;
}

void fail(Context& context, Fault problem) {
  Output::complain(problem.cause + (problem.fix.empty() ? "" : "; " + problem.fix));
  context.status = 1;
  context.problems.push_back(std::move(problem));
}

void fail(Context& context, Code code, const std::string& why) {
  fail(context, {code, why, ""});
}

}  // namespace corvane::Nmctl::Commands
