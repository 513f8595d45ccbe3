#include "tools/corvane-nmctl/NewExtension.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <filesystem>
#include <memory>

#include "tools/corvane-nmctl/Commands/Register.h"

namespace corvane::Nmctl::Commands {
namespace {

struct NewExtensionOptions {
  Selection selection;
  std::string folder;
};

void printNextSteps(Output& output, const std::string& folder, const ExtensionIdentifiers& made) {
  output.line();
  output.line("Load it in Chromium and its relatives: chrome://extensions, \"Developer mode\",");
  output.line("    \"Load unpacked\", " + printable(folder));
  output.line("Load it in Firefox: about:debugging#/runtime/this-firefox,");
  output.line("    \"Load Temporary Add-on\", " + printable(folder) + "/manifest.json");
  output.line("Then click its button. Its identifiers: " + made.chromium + ", in Firefox");
  output.line("    " + made.firefox);
}

void run(Context& context, const NewExtensionOptions& options) {
  const std::string folder = std::filesystem::absolute(options.folder).lexically_normal().string();
  const auto made = writeExtension(folder);
  if (!made) return fail(context, made.failure().text);
  const bool isText = !context.output.isJson();
  if (isText)
    context.output.marked(Output::Mark::good,
                          printable(folder) + ": an extension that switches protection");
  registerHost(context, options.selection, {made->chromium, made->firefox},
               {{"folder", folder}, {"chromium", made->chromium}, {"firefox", made->firefox}});
  if (isText) printNextSteps(context.output, folder, made.value());
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
