#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>

#include "tools/corvane-nmctl/Commands/Commands.h"

namespace corvane::Nmctl::Commands {
namespace {

struct Row {
  Place place;
  FoundManifest found;
};

JsonObject jsonOf(const Row& row) {
  const auto& others = row.found.others;
  return {{"browsers", namesOf(row.place)},
          {"level", row.place.isUsers ? "user" : "system"},
          {"path", row.place.path()},
          {"state", JsonValue(nameOf(row.found.state))},
          {"host", orNull(row.found.hostPath)},
          {"reason", orNull(row.found.reason)},
          {"others", boost::json::array(others.begin(), others.end())}};
}

/// Where something is, and where browsers that are installed here look.
bool isOfInterest(const Row& row, const Surroundings& surroundings) {
  if (row.found.state != FoundManifest::State::absent) return true;
  for (const Browser* browser : row.place.browsers)
    if (installationOf(*browser, surroundings).isAny()) return true;
  return false;
}

void print(Output& output, const std::vector<Row>& rows) {
  std::vector<std::vector<std::string>> texts;
  texts.reserve(rows.size());
  for (const Row& row : rows)
    texts.push_back({row.place.titles(), row.place.isUsers ? "user" : "system",
                     std::string(nameOf(row.found.state)), printable(row.place.path()),
                     printable(row.found.hostPath)});
  output.table({"browser", "level", "manifest", "file", "host"}, texts);
  for (const Row& row : rows) {
    const std::string path = printable(row.place.path());
    if (!row.found.reason.empty())
      output.marked(Output::Mark::note, path + ": " + printable(row.found.reason));
    for (const std::string& other : row.found.others)
      output.marked(Output::Mark::note, path + ": it also allows " + printable(other));
  }
}

void listRegistrations(Context& context, const Selection& selection, bool isAll) {
  const auto places = placesOf(selection, context.surroundings, Level::all);
  if (!places) return misuse(context, places.failure().text);
  std::vector<Row> rows;
  for (const Place& place : places.value()) {
    Row row{place, lookAt(place, context.surroundings)};
    if (isAll || !selection.browsers.empty() || isOfInterest(row, context.surroundings))
      rows.push_back(std::move(row));
  }
  if (!context.output.isJson()) return print(context.output, rows);
  boost::json::array list;
  for (const Row& row : rows) list.push_back(jsonOf(row));
  boost::json::array names;
  for (const Browser& browser : browsers()) names.emplace_back(JsonValue(browser.name));
  context.result = JsonObject{{"registrations", list}, {"browsers", names}};
}

}  // namespace

void addList(CLI::App& app, Context& context) {
  CLI::App& command =
      *app.add_subcommand("list", "Show where browsers look for the host and what lies there");
  const auto selection = std::make_shared<Selection>();
  const auto isAll = std::make_shared<bool>(false);
  addSelection(command, *selection);
  command.add_flag("--all", *isAll, "also browsers that are not installed here");
  std::string names = "Names of browsers:";
  for (const Browser& browser : browsers()) names += " " + std::string(browser.name);
  command.footer(names);
  command.callback(
      [&context, selection, isAll] { listRegistrations(context, *selection, *isAll); });
}

}  // namespace corvane::Nmctl::Commands
