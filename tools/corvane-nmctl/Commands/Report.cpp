#include <sys/stat.h>
#include <sys/utsname.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <chrono>
#include <memory>

#include "Platform/Container/GroupContainerLocation.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/Configuration.h"
#include "VCommons/VCSDate.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Examination.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/LogTail.h"
#include "tools/corvane-nmctl/Redaction.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl::Commands {
namespace {

constexpr std::size_t logLines = 500;

/// Versions of what is ours and of the system; not the name of the machine.
std::string versions() {
  std::string text = std::string("corvane-nmctl ") + Configuration::hostVersion + "\n";
  utsname system = {};
  if (::uname(&system) == 0)
    text += std::string(system.sysname) + " " + system.release + " " + system.machine + "\n";
  if (const auto release = readWhole(resolvedPath("/etc/os-release"))) {
    const std::string_view key = "PRETTY_NAME=";
    const std::size_t at = release.value().find(key);
    if (at != std::string::npos) {
      const std::size_t begin = at + key.size();
      text += release.value().substr(begin, release.value().find('\n', begin) - begin) + "\n";
    }
  }
  return text;
}

/// What may leave the machine of `text`, on one line that does nothing to a terminal.
std::string shown(const Redaction& redaction, std::string_view text) {
  return printable(redaction.text(text));
}

std::string findings(const Surroundings& surroundings, const Redaction& redaction) {
  std::string text;
  for (const Finding& finding : merged(examineAll({}, surroundings))) {
    if (finding.state == Finding::State::note) continue;  // log lines come below
    const bool isGood = finding.state == Finding::State::good;
    const char* const mark = finding.isConsequence ? "!      " : isGood ? "ok     " : "WRONG  ";
    text += mark + finding.subject + ": " + shown(redaction, finding.cause) + "\n";
    if (!finding.fix.empty()) text += "       " + shown(redaction, finding.fix) + "\n";
  }
  return text;
}

std::string registrations(const Surroundings& surroundings, const Redaction& redaction) {
  std::string text;
  const auto places = placesOf({}, surroundings, Level::all);
  if (!places) return text;
  for (const Place& place : places.value()) {
    const FoundManifest found = lookAt(place, surroundings);
    if (found.state == FoundManifest::State::absent) continue;
    std::string one =
        place.titles() + ": " + std::string(nameOf(found.state)) + ", " + place.path();
    if (!found.hostPath.empty()) one += ", for " + found.hostPath;
    if (!found.reason.empty()) one += " (" + found.reason + ")";
    text += shown(redaction, one) + "\n";
  }
  return text;
}

/// Fails when it is unknown which name of a home folder must not be in it.
Result<std::string> reportText(const Surroundings& surroundings) {
  const auto home = Platform::GroupContainers::homeDirectory();
  if (!home && home.failure().cause != FailureCause::notFound) return home.failure();
  const Redaction redaction({surroundings.home, home ? home.value() : ""});
  std::string text = "== Versions\n" + versions() + "\n== What the doctor found\n" +
                     findings(surroundings, redaction) + "\n== Registrations\n" +
                     registrations(surroundings, redaction) + "\n== The end of the logs\n";
  const Container container = findContainer();
  if (container.fault) return text;
  for (const LogRecord& record : lastLogLines(logFolderIn(container.path), logLines))
    text += printable(redaction.logLine(record.text)) + "\n";
  return text;
}

/// "corvane-nm-report-2026-11-22-193005.txt", in UTC.
std::string defaultFile() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  return "corvane-nm-report-" + VCSDate::formatted(now, "yyyy-MM-dd-HHmmss") + ".txt";
}

struct ReportOptions {
  std::string file = defaultFile();
  bool overwrites = false;
};

void run(Context& context, const ReportOptions& options) {
  const std::string& file = options.file;
  Platform::ignoreSignalsOfWrites();
  const auto report = reportText(context.surroundings);
  if (!report) return fail(context, Code("user-database-unreadable"), report.failure().text);
  const std::string& text = report.value();
  if (file == "-") context.result = JsonObject{{"report", text}};
  if (file == "-" && context.output.isJson()) return;
  if (file == "-") return context.output.line(text.substr(0, text.size() - 1));
  if (const auto written = writeOut(file, text, options.overwrites); !written)
    return fail(context, Code("report-not-written"), written.failure().text);
  context.result = JsonObject{{"file", file}};
  if (context.output.isJson()) return;
  struct stat status = {};
  if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  context.output.line("The report is in " + printable(file) +
                      "; read it before you send it to anybody.");
}

}  // namespace

void addReport(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "report", "Write what support needs as one text, without addresses, rules and names");
  const auto options = std::make_shared<ReportOptions>();
  command.add_option("file", options->file,
                     "where to write it; \"-\": to standard output; otherwise a new file "
                     "corvane-nm-report-DATE.txt");
  command.add_flag("--force", options->overwrites, "overwrite an existing file");
  command.callback([&context, options] { run(context, *options); });
}

}  // namespace corvane::Nmctl::Commands
