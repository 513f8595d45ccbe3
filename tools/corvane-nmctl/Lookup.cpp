#include "tools/corvane-nmctl/Lookup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "tools/corvane-nmctl/Manifest.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

/// One place where the browser looks.
struct Candidate {
  std::string path;
  bool isUsers;
};

std::vector<Candidate> candidatesFor(const Browser& browser, const Policies& policies,
                                     const Surroundings& surroundings) {
  std::vector<Candidate> result;
  if (!policies.forbidUserLevel)
    for (const std::string_view folder : browser.userFolders)
      result.push_back({surroundings.expanded(folder) + "/" + manifestFileName(), true});
  for (const std::string_view folder : browser.systemFolders)
    result.push_back({surroundings.expanded(folder) + "/" + manifestFileName(), false});
  return result;
}

std::string registering(const Browser& browser) {
  return "corvane-nmctl register --browser " + std::string(browser.name);
}

/// What mends a manifest that the browser does not take.
std::string mendFor(const Candidate& candidate, const Browser& browser,
                    const Surroundings& surroundings) {
  const FoundManifest found =
      findManifest(candidate.path, manifestText(browser.format, surroundings.hostPath));
  const bool isOurs = found.state == FoundManifest::State::outdated;
  if (!candidate.isUsers)
    return "install the package again, or remove " + candidate.path + " (as root)";
  if (isOurs) return "run: corvane-nmctl repair";
  return "move " + candidate.path + " away, then run: " + registering(browser);
}

Fault absence(const Browser& browser, const Policies& policies, const Surroundings& surroundings) {
  if (policies.forbidUserLevel) {
    Policies without = policies;
    without.forbidUserLevel = false;
    for (const Candidate& one : candidatesFor(browser, without, surroundings))
      if (one.isUsers && ::access(one.path.c_str(), F_OK) == 0)
        return {"a policy lets no user register hosts: NativeMessagingUserLevelHosts in " +
                    policies.userLevelFile,
                "install the package, which registers the host for all users"};
    return {"the host is not registered for all users, and a policy lets no user register hosts",
            "install the package"};
  }
  return {
      "the host is not registered: there is no " + manifestFileName() + " where the browser looks",
      "run: " + registering(browser)};
}

/// Whether the folder of `path` can't be looked into, which browsers take for a folder without it.
bool isHidden(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) != 0 && errno != ENOENT && errno != ENOTDIR;
}

/// Looks at one candidate. Nothing when it is not there.
std::optional<Lookup> look(const Candidate& candidate, const Browser& browser,
                           const Surroundings& surroundings) {
  const std::string& path = candidate.path;
  if (isHidden(path))
    return Lookup{
        path,
        {},
        Fault{"not permitted to look at " + path, "let this user read the folder it is in"}};
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  const auto fault = [&](const std::string& cause) {
    return Lookup{path, {}, Fault{path + ": " + cause, mendFor(candidate, browser, surroundings)}};
  };
  if (!S_ISREG(status.st_mode)) return fault("it is no regular file");
  if (::access(path.c_str(), R_OK) != 0)
    return Lookup{path, {}, Fault{"not permitted to read " + path, "let this user read it"}};
  const auto text = readWhole(resolvedPath(path));
  if (!text) return fault(text.failure().text);
  const CheckedManifest checked = checkManifest(browser.format, text.value());
  if (checked.fault) return fault(*checked.fault);
  if (checked.refusal) return fault(*checked.refusal);
  return Lookup{path, checked.hostPath, std::nullopt};
}

}  // namespace

Lookup lookUp(const Browser& browser, const Policies& policies, const Surroundings& surroundings) {
  if (policies.forbidHost)
    return {{},
            {},
            Fault{"a policy forbids the host: NativeMessagingBlocklist in " + policies.hostFile,
                  "ask the administrator to take the host off the list in that file"}};
  std::optional<Lookup> first;
  for (const Candidate& candidate : candidatesFor(browser, policies, surroundings)) {
    std::optional<Lookup> found = look(candidate, browser, surroundings);
    if (!found) continue;
    const bool takesFirst = browser.format == ManifestFormat::chromium && !isHidden(candidate.path);
    if (!found->fault || takesFirst) return *found;
    if (!first) first = std::move(found);
  }
  if (first) return *first;
  return {{}, {}, absence(browser, policies, surroundings)};
}

std::optional<Fault> programFault(const std::string& path) {
  struct stat status = {};
  const std::string mend = "install the package again, then run: corvane-nmctl repair";
  if (::stat(path.c_str(), &status) != 0) {
    if (errno == EACCES)
      return Fault{"not permitted to look at the host, " + path,
                   "let this user enter the folders above it"};
    return Fault{"the host is missing: " + path, mend};
  }
  if (S_ISDIR(status.st_mode)) return Fault{"a folder is where the host should be: " + path, mend};
  if (::access(path.c_str(), X_OK) != 0)
    return Fault{"not permitted to run the host, " + path, "run: chmod 755 " + path};
  return std::nullopt;
}

}  // namespace corvane::Nmctl
