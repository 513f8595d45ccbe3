#include "tools/corvane-nmctl/BrowserDoctor.h"

#include <unistd.h>

#include <algorithm>

#include "tools/corvane-nmctl/HostChoice.h"
#include "tools/corvane-nmctl/Lookup.h"
#include "tools/corvane-nmctl/Policies.h"
#include "tools/corvane-nmctl/Trial.h"

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;

std::string sandboxOf(const Installation& installation) {
  if (installation.flatpak) return "the Flatpak " + *installation.flatpak;
  return "the Snap " + installation.snap.value_or("");
}

Finding examineSandboxed(const Browser& browser, const Installation& installation) {
  const std::string update = "update it to version " + std::to_string(browser.portalFrom) +
                             " or later, which starts hosts through the desktop's portal, or ";
  return Finding::wrong(
      std::string(browser.title),
      {Code("browser-sandboxed"),
       "it is " + sandboxOf(installation) +
           ", whose sandbox lets it start no program of this machine",
       (browser.portalFrom > 0 ? update : "") + "install " + std::string(browser.title) +
           " as a package of the distribution or of its maker instead"});
}

/// What is to be said of the sandboxed package of a browser that can start the host all the same,
/// or has a program outside a sandbox, too.
Finding examineBeside(const Browser& browser, const Installation& installation,
                      const Surroundings& surroundings) {
  const std::string title(browser.title);
  const std::string what = installation.isNative
                               ? "it is here as " + sandboxOf(installation) + " as well, which "
                               : "it is " + sandboxOf(installation) + ", which ";
  if (!installation.usesPortal)
    return Finding::note(title, Code("browser-also-sandboxed"), what + "can't start the host");
  const std::string portal =
      surroundings.expanded("/usr/share/dbus-1/services/org.freedesktop.portal.Desktop.service");
  const std::string through = "starts the host only through the desktop's portal";
  if (::access(portal.c_str(), F_OK) == 0)
    return Finding::note(title, Code("browser-uses-portal"),
                         what + through + "; that must offer native messaging (reported: " +
                             "org.freedesktop.portal.WebExtensions), and asks you at first");
  const std::string missing = what + through + ", which is missing";
  if (installation.isNative) return Finding::note(title, Code("browser-also-sandboxed"), missing);
  return Finding::wrong(title, {Code("portal-missing"), missing, "install xdg-desktop-portal"});
}

/// Starts the host that was found.
Finding examineHost(const std::string& title, const Lookup& found,
                    const std::vector<std::string>& arguments, bool isOwnHost, bool linkIsBroken) {
  const Trial trial =
      tryHost(found.hostPath, arguments, {.limit = linkIsBroken ? 5s : longestAnswer});
  if (trial.fault && trial.maybeFromLink && linkIsBroken)
    return Finding::consequence(title, Code("link-broken"),
                                "the host is found, but can't work because of the faults below");
  if (trial.fault)
    return Finding::wrong(title, {trial.fault->code, trial.fault->cause,
                                  isOwnHost ? trial.fault->fix : found.renewal});
  // For 3 s it may wait for the main application, of which the caller speaks.
  const std::string delay = trial.delay > 4s ? ", but only after " + seconds(trial.delay) : "";
  Finding finding =
      Finding::good(title, Code("host-answers"),
                    "version " + trial.version + " answers" + delay + ", by " + found.manifestPath);
  finding.delay = trial.delay;
  return finding;
}

void examineNative(const Browser& browser, const Selection& selection,
                   const Surroundings& surroundings, bool linkIsBroken, Findings& findings) {
  const std::string title(browser.title);
  const Lookup found =
      lookUp(browser, policiesOf(browser, surroundings), surroundings, selection.extension);
  std::optional<Fault> fault = found.fault;
  if (!fault) fault = programFault(found.hostPath, found.renewal);
  if (fault) return findings.push_back(Finding::wrong(title, *fault));
  findings.push_back(examineHost(title, found, argumentsFor(browser, found),
                                 found.hostPath == surroundings.hostPath, linkIsBroken));
  const std::string choice = " --browser " + std::string(browser.name);
  const std::string removal =
      "; to remove that: corvane-nmctl unregister" + choice + " && corvane-nmctl register" + choice;
  for (const std::string& other : found.others)
    findings.push_back(
        Finding::note(title, Code("extension-also-allowed"),
                      "its manifest also allows " + other + (found.isUsers ? removal : "")));
}

}  // namespace

Findings examineBrowsers(const Selection& selection, const Surroundings& surroundings,
                         bool linkIsBroken) {
  Findings findings;
  for (const Browser& browser : browsers()) {
    const Installation installation = installationOf(browser, surroundings);
    const auto& names = selection.browsers;
    const bool isChosen = std::find(names.begin(), names.end(), browser.name) != names.end();
    if (names.empty() ? !installation.isAny() : !isChosen) continue;
    if (installation.isSandboxed() && !installation.startsHosts()) {
      findings.push_back(examineSandboxed(browser, installation));
      continue;
    }
    examineNative(browser, selection, surroundings, linkIsBroken, findings);
    if (installation.isSandboxed())
      findings.push_back(examineBeside(browser, installation, surroundings));
  }
  if (findings.empty())
    findings.push_back(Finding::wrong("browsers", {Code("no-browser"), "none was found here",
                                                   "install one, or name one with --browser"}));
  return findings;
}

}  // namespace corvane::Nmctl
