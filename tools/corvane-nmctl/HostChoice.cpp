#include "tools/corvane-nmctl/HostChoice.h"

#include <filesystem>
#include <system_error>

#include "tools/corvane-nmctl/ManifestCheck.h"

namespace corvane::Nmctl {
namespace {

Result<HostChoice> hostOf(const Browser& browser, const Surroundings& surroundings) {
  const Lookup found = lookUp(browser, policiesOf(browser, surroundings), surroundings);
  std::optional<Fault> fault = found.fault;
  if (!fault) fault = programFault(found.hostPath, found.renewal);
  if (fault)
    return Failure{FailureCause::notFound,
                   std::string(browser.title) + ": " + fault->cause + "; " + fault->fix};
  return HostChoice{found.hostPath, argumentsFor(browser, found),
                    std::string(browser.title) + "'s"};
}

}  // namespace

std::vector<std::string> argumentsFor(const Browser& browser, const Lookup& found) {
  if (browser.format == ManifestFormat::chromium) return {found.extension};
  return {found.manifestPath, found.extension};
}

Result<HostChoice> chooseHost(const std::string& browser, const Surroundings& surroundings) {
  if (!browser.empty()) {
    const Browser* const named = findBrowser(browser);
    if (named == nullptr) return Failure{FailureCause::notFound, "no browser is called " + browser};
    return hostOf(*named, surroundings);
  }
  for (const Browser& one : browsers()) {
    if (!installationOf(one, surroundings).startsHosts()) continue;
    if (auto found = hostOf(one, surroundings)) return found;
  }
  HostChoice own = hostAt(surroundings.hostPath);
  own.reason = "this program's, as no browser here finds one";
  return own;
}

HostChoice hostAt(const std::string& path) {
  std::error_code failed;  // the path then is as it was
  const auto whole = std::filesystem::absolute(path, failed);
  return {failed ? path : whole.string(), {extensionFor(ManifestFormat::chromium)}, "as named"};
}

}  // namespace corvane::Nmctl
