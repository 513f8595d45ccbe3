#include "tools/corvane-nmctl/NewExtension.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/Commands/Register.h"

namespace corvane::Nmctl::Commands {
namespace {

struct NewExtensionOptions {
  Selection selection;
  std::string folder;
};

/// The options that select the same browsers on a command line.
std::string optionsOf(const Selection& selection) {
  std::string result;
  for (const std::string& browser : selection.browsers) result += " --browser " + browser;
  if (!selection.folder.empty()) result += " --dir " + shellWord(selection.folder);
  return result;
}

void printNextSteps(Output& output, const std::string& folder, const ExtensionIdentifiers& made) {
  output.line();
  output.line("Load it in Chromium and its relatives: chrome://extensions, \"Developer mode\",");
  output.line("    \"Load unpacked\", " + printable(folder));
  output.line("Load it in Firefox: about:debugging#/runtime/this-firefox,");
  output.line("    \"Load Temporary Add-on\", " + printable(folder) + "/manifest.json");
  output.line("Then click its button. Its identifiers: " + made.chromium + ", in Firefox");
  output.line("    " + made.firefox);
}

/// Not for a folder of --dir, which doctor does not look into.
void printChecks(Output& output, const Selection& selection,
                 const std::vector<std::string>& identifiers) {
  output.line("If it shows no link, find out why:");
  const std::string command = "    corvane-nmctl doctor" + optionsOf(selection) + " --extension ";
  for (const std::string& identifier : identifiers) output.line(command + identifier);
}

void printHowToRegister(Output& output, const Selection& selection,
                        const std::vector<std::string>& identifiers) {
  std::string command = "corvane-nmctl register" + optionsOf(selection);
  for (const std::string& identifier : identifiers) command += " --extension " + identifier;
  output.line("After fixing that, let it start the host: " + command);
}

std::string absoluteFolder(const std::string& given) {
  std::string folder = std::filesystem::absolute(given).lexically_normal().string();
  if (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return folder;
}

void run(Context& context, const NewExtensionOptions& options) {
  const auto places = placesToRegister(context, options.selection);
  if (!places) return;
  const std::string folder = absoluteFolder(options.folder);
  const auto made = writeExtension(folder);
  if (!made) return fail(context, Code("extension-not-written"), made.failure().text);
  const ExtensionIdentifiers& identifiers = made.value();
  Output& output = context.output;
  if (!output.isJson())
    output.marked(Output::Mark::good,
                  printable(folder) + ": an extension that switches protection");
  std::vector<std::string> usable = {identifiers.chromium, identifiers.firefox};
  std::erase_if(usable, [&](const std::string& one) { return !canAllow(*places, one); });
  const auto registered = registerHost(context, *places, usable, false);
  context.result = JsonObject{{"folder", folder},
                              {"chromium", identifiers.chromium},
                              {"firefox", identifiers.firefox},
                              {"registered", registered}};
  if (output.isJson()) return;
  if (registered.size() < places->size())
    return printHowToRegister(output, options.selection, usable);
  printNextSteps(output, folder, identifiers);
  if (options.selection.folder.empty()) printChecks(output, options.selection, usable);
}

}  // namespace

void addNewExtension(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "new-extension", "Make an extension of your own that works, and let it start the host");
  const auto options = std::make_shared<NewExtensionOptions>();
  command.add_option("DIR", options->folder, "the folder to make; one that is there must be empty")
      ->required();
  addSelection(command, options->selection);
  command.callback([&context, options] { run(context, *options); });
}

}  // namespace corvane::Nmctl::Commands
