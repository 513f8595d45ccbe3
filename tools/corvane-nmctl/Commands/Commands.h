#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/Registration.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace CLI {
class App;
}

/// The commands, a file each. `add…` puts one on the command line; when it is chosen it runs while
/// the command line is parsed and leaves its exit status in the context.
namespace corvane::Nmctl {

/// The exit status when the command line makes no sense.
inline constexpr int usageStatus = 2;

/// What all commands work with. Outlives the parsing of the command line.
struct Context {
  Surroundings surroundings;
  Output output;
  /// 0: all is well; 1: something failed or was found wrong; 2: something was not answered.
  int status = 0;
  std::vector<Fault> problems;       ///< what failed, in that order
  std::optional<JsonObject> result;  ///< what the command found or did, for JSON
  bool isStream = false;             ///< the command writes JSON itself, an object for each event
};

namespace Commands {

void addRegister(CLI::App& app, Context& context);
void addNewExtension(CLI::App& app, Context& context);
void addUnregister(CLI::App& app, Context& context);
void addList(CLI::App& app, Context& context);
void addRepair(CLI::App& app, Context& context);
void addDoctor(CLI::App& app, Context& context);
void addStatus(CLI::App& app, Context& context);
void addReport(CLI::App& app, Context& context);
void addTalk(CLI::App& app, Context& context);
void addLog(CLI::App& app, Context& context);
void addCheckMainApp(CLI::App& app, Context& context);

/// The options --browser and --dir, which several commands share.
void addSelection(CLI::App& command, Selection& selection);

/// "", or why no browser is called `name`, for CLI11.
std::string isBrowser(const std::string& name);

/// "", or why `identifier` is none of an extension, for CLI11.
std::string isIdentifier(const std::string& identifier);

/// Whether a browser of one of `formats` may have an extension of this identifier; otherwise the
/// command line makes no sense, and this says so.
bool isUsable(Context& context, const std::string& identifier,
              const std::vector<ManifestFormat>& formats);

/// Prints where the damaged manifest is that the plan has moved, and what it means; a no-op if
/// there was none.
void printAside(Output& output, const Plan& plan);

/// `text`, or null if it is empty, for JSON.
JsonValue orNull(const std::string& text);

/// The names of the browsers that look at `place`.
boost::json::array namesOf(const Place& place);

/// Adds the problem, writes it to standard error, and makes the exit status say that something
/// failed.
void fail(Context& context, Fault problem);
void fail(Context& context, Code code, const std::string& why);

/// Likewise, where the command line makes no sense.
void misuse(Context& context, const std::string& why);

}  // namespace Commands
}  // namespace corvane::Nmctl
