#include "tools/corvane-nmctl/BrowserDoctor.h"

#include <algorithm>

#include "tools/corvane-nmctl/HostChoice.h"
#include "tools/corvane-nmctl/Lookup.h"
#include "tools/corvane-nmctl/Policies.h"
#include "tools/corvane-nmctl/Trial.h"

namespace corvane::Nmctl {
namespace {

std::string sandboxOf(const Installation& installation) {
  if (installation.flatpak) return "the Flatpak " + *installation.flatpak;
  return "the Snap " + installation.snap.value_or("");
}

Finding examineSandboxed(const Browser& browser, const Installation& installation) {
  return Finding::wrong(std::string(browser.title),
                        "it is " + sandboxOf(installation) +
                            ", whose sandbox lets it start no program of this machine",
                        "install " + std::string(browser.title) +
                            " as a package of the distribution or of its maker instead");
}

Finding examineNative(const Browser& browser, const Surroundings& surroundings, bool linkIsBroken) {
  const std::string title(browser.title);
  const Policies policies = policiesOf(browser, surroundings);
  const Lookup found = lookUp(browser, policies, surroundings);
  std::optional<Fault> fault = found.fault;
  if (!fault) fault = programFault(found.hostPath, found.renewal);
  if (fault) return Finding::wrong(title, fault->cause, fault->mend);
  const Trial trial = tryHost(found.hostPath, argumentsFor(browser, found), false);
  if (trial.fault && trial.maybeFromLink && linkIsBroken)
    return Finding::wrong(title, "the host is found, but can't work because of what is said below",
                          "mend that");
  const bool isOwnHost = found.hostPath == surroundings.hostPath;
  if (trial.fault)
    return Finding::wrong(title, trial.fault->cause, isOwnHost ? trial.fault->mend : found.renewal);
  return Finding::good(title, "version " + trial.version + " answers, by " + found.manifestPath);
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
    if (installation.isSandboxedOnly()) {
      findings.push_back(examineSandboxed(browser, installation));
      continue;
    }
    findings.push_back(examineNative(browser, surroundings, linkIsBroken));
    if (installation.flatpak || installation.snap)
      findings.push_back(Finding::note(
          std::string(browser.title),
          "it is here as " + sandboxOf(installation) + " as well, which can't start the host"));
  }
  if (findings.empty())
    findings.push_back(Finding::wrong("browsers", "none was found here",
                                      "install one, or name one with --browser"));
  return findings;
}

}  // namespace corvane::Nmctl
