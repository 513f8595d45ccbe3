#include "tools/corvane-nmctl/LinkDoctor.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "Platform/ApplicationLauncher.h"
#include "Platform/GroupSettings.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/GroupContainer.h"
#include "tools/corvane-nmctl/LogTail.h"
#include "tools/corvane-nmctl/Lookup.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/Storage.h"
#include "tools/corvane-nmctl/Trial.h"
#include "tools/corvane-nmctl/Ways.h"

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;

constexpr auto longestLock = 1s;
constexpr std::size_t searchedLogLines = 2000;
constexpr std::size_t shownErrors = 3;
constexpr auto promptAnswer = 1s;
constexpr char startApplication[] = "start the main application";
constexpr char startAgain[] = "end the main application and start it again";

Result<Done> isStartable() {
  return Platform::ApplicationLauncher::check(Configuration::MainAppBundleIdentifier);
}

Finding examineSettings(const std::string& container) {
  const std::string subject = "settings";
  const std::string file =
      container + "/Library/Preferences/" + Configuration::AppGroupIdentifier + ".plist";
  const auto settings = Platform::GroupSettings::open(container, Configuration::AppGroupIdentifier);
  if (const auto fault = fileFault(file, F_OK); !settings && fault)
    return Finding::wrong(
        subject, {Code("settings-unreadable"), "they can't be read: " + fault->cause, fault->fix});
  if (!settings)
    return Finding::wrong(
        subject, {Code("settings-unreadable"), "they can't be read: " + settings.failure().text,
                  settings.failure().cause == FailureCause::notPermitted
                      ? "run: chmod 600 " + shellWord(file)
                      : "move " + shellWord(file) + " away and start the main application again"});
  const std::int64_t level = settings->integer(GroupContainer::logLevelKey);
  if (level < 0 || level > std::numeric_limits<std::uint32_t>::max())
    return Finding::wrong(subject, {Code("log-level-out-of-range"),
                                    "the log level is out of range: " + std::to_string(level),
                                    "set it in the main application"});
  return Finding::good(
      subject, Code("settings-good"),
      level == 0 ? "no log level is set" : "the log level is " + std::to_string(level));
}

Fault lockFault(const ExchangeFileFacts& file) {
  std::string holders;
  for (const pid_t process : file.lockHolders)
    holders += (holders.empty() ? "" : ", ") + describedProcess(process);
  const bool isKnown = !holders.empty();
  return {Code("exchange-file-locked"),
          (isKnown ? holders : "another program") +
              (file.lockHolders.size() > 1 ? " have" : " has") + " held the lock of " + file.name +
              " for more than 1 s",
          !isKnown                      ? "end that program"
          : file.lockHolders.size() > 1 ? "end those processes"
                                        : "end that process"};
}

void examineExchangeFiles(const std::string& container, bool isRunning, Findings& findings) {
  const std::string subject = "exchange files";
  const auto files = exchangeFilesIn(container, longestLock);
  bool isWell = true;
  const auto wrong = [&](Fault fault) {
    findings.push_back(Finding::wrong(subject, std::move(fault)));
    isWell = false;
  };
  // Where the application does not run, that is what is wrong.
  const bool hasRequestFile = std::any_of(
      files.begin(), files.end(), [](const auto& file) { return file.name == requestFileName; });
  if (isRunning && !hasRequestFile)
    wrong({Code("request-file-missing"), std::string(requestFileName) + " is missing", startAgain});
  for (const ExchangeFileFacts& file : files) {
    if (const auto fault = fileFault(container + "/Data/" + file.name, R_OK | W_OK))
      wrong(*fault);
    else if (!file.problem.empty())
      wrong({Code("exchange-file-unreadable"), file.name + " can't be looked at: " + file.problem,
             startAgain});
    else if (file.isLocked)
      wrong(lockFault(file));
    else if (file.isDamaged && file.name == requestFileName)
      wrong({Code("request-file-damaged"), file.name + " ends in something that is not a record",
             "start the main application again"});
  }
  if (isWell)
    findings.push_back(Finding::good(subject, Code("exchange-files-good"),
                                     std::to_string(files.size()) + " there, none locked"));
}

/// Why it counts as one that does not run.
Finding examineAbsentApplication(const std::string& container) {
  const std::string subject = "main application";
  if (const pid_t process = linkEndsIn(container).application; process != 0)
    return Finding::wrong(subject,
                          {Code("application-not-registered"),
                           "it runs as process " + std::to_string(process) +
                               ", but its registration is missing, so that hosts do not see it",
                           startAgain});
  if (const auto startable = isStartable(); !startable)
    return Finding::wrong(
        subject, {Code("application-not-startable"),
                  "it does not run, and browsers can't start it: " + startable.failure().text,
                  "install the main application again, then start it"});
  return Finding::wrong(subject,
                        {Code("application-not-running"), "it does not run", startApplication});
}

Finding examineApplication(const std::string& container, const std::string& hostPath) {
  const std::string subject = "main application";
  if (const auto instances = runningInstances(container); instances && *instances == 0)
    return examineAbsentApplication(container);
  if (const auto fault = programFault(hostPath, "install the package again"))
    return Finding::wrong(subject, {Code("application-not-asked"),
                                    "it runs, but can't be asked: " + fault->cause, fault->fix});
  const Trial trial =
      tryHost(hostPath, {extensionFor(ManifestFormat::chromium)}, {.asksForState = true});
  if (trial.fault)
    return Finding::wrong(subject,
                          {Code("application-not-asked"),
                           "it runs, but can't be asked: " + trial.fault->cause, trial.fault->fix});
  if (!trial.applicationError.empty())
    return Finding::wrong(
        subject, {Code("application-error"),
                  "it runs, but answers with an error: " + trial.applicationError, startAgain});
  if (!trial.isApplicationSeen)
    return Finding::wrong(subject,
                          {Code("application-mute"), "it runs, but does not answer", startAgain});
  if (const auto startable = isStartable(); !startable)
    return Finding::wrong(subject,
                          {Code("application-not-startable"),
                           "it runs, but browsers could not start it: " + startable.failure().text,
                           "install the main application again"});
  Finding finding = Finding::good(subject, Code("application-answers"),
                                  trial.delay > promptAnswer
                                      ? "it runs, but answers only after " + seconds(trial.delay)
                                      : "it runs and answers");
  finding.delay = trial.delay;
  return finding;
}

void examineLogs(const std::string& container, const OwnTrials& trials, Findings& findings) {
  const std::string subject = "logs";
  const std::string folder = logFolderIn(container);
  auto fault = faultOf(Way::logs, container);
  if (!fault) fault = storageFault(folder);
  if (fault) {
    findings.push_back(Finding::wrong(subject, *fault));
    return;
  }
  findings.push_back(Finding::good(subject, Code("logs-good"), "they can be written"));
  std::vector<std::string> errors;
  for (LogRecord& record : lastLogLines(folder, searchedLogLines))
    if (record.level == DDLogFlag::error && !trials.cover(record.time))
      errors.push_back(std::move(record.text));
  const std::size_t skipped = errors.size() - std::min(errors.size(), shownErrors);
  for (std::size_t i = skipped; i < errors.size(); ++i)
    findings.push_back(Finding::note(subject, Code("log-error"), "error: " + printable(errors[i])));
}

}  // namespace

Findings examineFoundations(const Container& container) {
  const std::string subject = "shared folder";
  if (container.fault) return {Finding::wrong(subject, *container.fault)};
  Findings findings{Finding::good(subject, Code("shared-folder-good"), container.path)};
  const auto isOpen = [&](Way way) {
    const auto fault = faultOf(way, container.path);
    if (fault) findings.push_back(Finding::wrong(subject, *fault));
    return !fault;
  };
  const bool showsApplication = isOpen(Way::applications);
  isOpen(Way::notifications);
  isOpen(Way::logFolders);
  if (isOpen(Way::settings)) findings.push_back(examineSettings(container.path));
  const auto instances = showsApplication ? runningInstances(container.path) : 0;
  const bool isRunning = instances && *instances > 0;
  if (isOpen(Way::data)) {
    if (const auto fault = storageFault(container.path + "/Data"))
      findings.push_back(Finding::wrong(subject, *fault));
    examineExchangeFiles(container.path, isRunning, findings);
  }
  return findings;
}

Findings examineApplicationAndLogs(const Container& container, const std::string& hostPath,
                                   const OwnTrials& trials) {
  Findings findings{examineApplication(container.path, hostPath)};
  examineLogs(container.path, trials, findings);
  return findings;
}

}  // namespace corvane::Nmctl
