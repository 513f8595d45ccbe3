#include "tools/corvane-nmctl/Commands/CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <string>
#include <string_view>

#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Nearest.h"

namespace corvane::Nmctl {

namespace {

/// The answer of one command to programs, as docs/nmctl-json.md describes it.
void writeAnswer(const CLI::App& app, Context& context) {
  constexpr int format = 1;
  if (context.isStream && context.problems.empty()) return;
  const auto commands = app.get_subcommands();
  boost::json::array problems;
  for (const auto& [code, cause, fix] : context.problems)
    problems.push_back({{"code", code.name()}, {"cause", cause}, {"fix", Commands::orNull(fix)}});
  JsonObject answer{{"format", format}, {"command", nullptr}, {"exitStatus", context.status}};
  if (!commands.empty()) answer["command"] = commands.front()->get_name();
  answer["problems"] = std::move(problems);
  answer["result"] = context.result ? JsonValue(std::move(*context.result)) : JsonValue();
  context.output.json(answer);
}

/// What is wrong with the first word of a command line in which no command was found; empty if
/// there is no word, only options.
std::string unknownCommand(const CLI::App& app, int count, const char* const* arguments) {
  if (!app.get_subcommands().empty()) return "";
  const auto* const end = arguments + count;
  const auto* const word =
      std::find_if(arguments + 1, end, [](std::string_view one) { return !one.starts_with('-'); });
  if (count < 2 || word == end) return "";
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  const auto hint = didYouMean(
      *word, commands, [](const CLI::App* one) -> const std::string& { return one->get_name(); });
  return std::string("no command is called ") + *word + (hint.empty() ? "; see --help" : hint);
}

}  // namespace

int run(int count, const char* const* arguments, Context& context) {
  CLI::App app("Registers the native messaging host with browsers and finds out what is wrong.",
               "corvane-nmctl");
  app.require_subcommand(1);
  app.fallthrough();  // --json may stand behind the command, too
  app.set_version_flag("--version", std::string(Configuration::hostVersion));
  app.add_flag_callback(
      "--json", [&context] { context.output.setFormat(Output::Format::json); },
      "JSON on standard output instead of text");
  Commands::addRegister(app, context);
  Commands::addNewExtension(app, context);
  Commands::addUnregister(app, context);
  Commands::addList(app, context);
  Commands::addRepair(app, context);
  Commands::addDoctor(app, context);
  Commands::addStatus(app, context);
  Commands::addReport(app, context);
  Commands::addTalk(app, context);
  Commands::addLog(app, context);
  Commands::addCheckMainApp(app, context);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    const bool isHelp = error.get_exit_code() == 0;
    const std::string unknown = isHelp ? "" : unknownCommand(app, count, arguments);
    if (!unknown.empty())
      Output::complain(unknown);
    else
      app.exit(error);
    if (isHelp) return 0;
    context.problems.push_back({Code("usage"), unknown.empty() ? error.what() : unknown, ""});
    context.status = usageStatus;
    const bool wantsJson = std::any_of(arguments, arguments + count, [](std::string_view argument) {
      return argument == "--json";  // which may not have been parsed
    });
    if (wantsJson) context.output.setFormat(Output::Format::json);
  }
  if (context.output.isJson()) writeAnswer(app, context);
  return context.status;
}

}  // namespace corvane::Nmctl
