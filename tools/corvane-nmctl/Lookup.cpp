#include "tools/corvane-nmctl/Lookup.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "tools/corvane-nmctl/Manifest.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/Registration.h"
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

/// The command that registers the host for ours and for the extension `identifier`, if it is one of
/// such a browser's.
std::string registering(const Browser& browser, const std::string& identifier) {
  std::string command = "corvane-nmctl register --browser " + std::string(browser.name);
  if (allowanceOf(browser.format, identifier)) command += " --extension " + shellWord(identifier);
  return command;
}

/// What fixes it, if `command` does once the host is there.
std::string running(const std::string& command, const Surroundings& surroundings) {
  const bool hasHost = ::access(surroundings.hostPath.c_str(), X_OK) == 0;
  return (hasHost ? "run: " : "install the package again, then run: ") + command;
}

std::string movingAside(const std::string& path, const std::string& next) {
  return "mv -nT " + shellWord(path) + " " + shellWord(asideOf(path)) + " && " + next;
}

/// What stands in the way of the folder `path`: it, or one above it, is not a folder. "" when
/// nothing.
std::string obstacleTo(std::string path) {
  struct stat status = {};
  while (!path.empty() && ::stat(path.c_str(), &status) != 0) path.resize(path.rfind('/'));
  return path.empty() || S_ISDIR(status.st_mode) ? "" : path;
}

/// What fixes a manifest that the browser does not take, or that names a program that is no good.
std::string fixFor(const Candidate& candidate, const Browser& browser,
                   const Surroundings& surroundings, const std::string& identifier) {
  using State = FoundManifest::State;
  const FoundManifest found = findManifest(candidate.path, browser.format, surroundings.hostPath);
  if (found.isAsWritten) return "install the package again";
  if (!candidate.isUsers)
    return "install the package again, or remove " + shellWord(candidate.path) + " (as root)";
  const std::string registration = registering(browser, identifier);
  const bool isRepaired = found.state == State::outdated || found.state == State::damaged;
  if (!isRepaired && found.state != State::usable)
    return running(movingAside(candidate.path, registration), surroundings);
  const bool isOfOurs = !allowanceOf(browser.format, identifier);
  return running(isRepaired && isOfOurs ? "corvane-nmctl repair" : registration, surroundings);
}

Fault absence(const Browser& browser, const Policies& policies, const Surroundings& surroundings,
              const std::string& identifier) {
  if (policies.forbidUserLevel) {
    Policies without = policies;
    without.forbidUserLevel = false;
    for (const Candidate& one : candidatesFor(browser, without, surroundings))
      if (one.isUsers && ::access(one.path.c_str(), F_OK) == 0)
        return {Code("policy-forbids-user-manifests"),
                "a policy lets no user register hosts: NativeMessagingUserLevelHosts in " +
                    policies.userLevelFile,
                "install the package, which registers the host for all users"};
    return {Code("policy-forbids-user-manifests"),
            "the host is not registered for all users, and a policy lets no user register hosts",
            "install the package"};
  }
  const std::string registration = registering(browser, identifier);
  for (const std::string_view folder : browser.userFolders)
    if (const std::string path = obstacleTo(surroundings.expanded(folder)); !path.empty())
      return {Code("manifest-folder-blocked"),
              "the host is not registered: " + path + " is not a folder",
              running(movingAside(path, registration), surroundings)};
  return {
      Code("not-registered"),
      "the host is not registered: there is no " + manifestFileName() + " where the browser looks",
      running(registration, surroundings)};
}

/// Whether something is at `path` that browsers take for nothing: the folder can't be looked into,
/// or it is a link that leads nowhere.
bool isPassedOver(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0) return false;
  return (errno != ENOENT && errno != ENOTDIR) || ::lstat(path.c_str(), &status) == 0;
}

/// Looks at one candidate. Nothing when it is not there.
std::optional<Lookup> look(const Candidate& candidate, const Browser& browser,
                           const Surroundings& surroundings, const std::string& identifier) {
  const std::string& path = candidate.path;
  Lookup result;
  result.isUsers = candidate.isUsers;
  result.manifestPath = path;
  const auto failing = [&](Code code, const std::string& cause, const std::string& fix) {
    result.fault = Fault{code, cause, fix};
    return result;
  };
  const auto fault = [&](Code code, const std::string& cause) {
    return failing(code, path + ": " + cause, fixFor(candidate, browser, surroundings, identifier));
  };
  const auto refusal = [&](const char* deed, const char* what) {
    return failing(Code("manifest-not-permitted"),
                   std::string("not permitted to ") + deed + " " + path,
                   std::string("let this user read ") + what);
  };
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    if (!isPassedOver(path)) return std::nullopt;
    if (::lstat(path.c_str(), &status) != 0) return refusal("look at", "the folder it is in");
    return fault(Code("manifest-dangling-link"), "it is a symbolic link that leads nowhere");
  }
  if (!S_ISREG(status.st_mode))
    return fault(Code("manifest-not-a-file"), "it is not a regular file");
  if (::access(path.c_str(), R_OK) != 0) return refusal("read", "it");
  const auto text = readWhole(resolvedPath(path));
  if (!text) return fault(Code("manifest-unreadable"), text.failure().text);
  const auto wanted = allowanceOf(browser.format, identifier);
  const CheckedManifest checked = checkManifest(browser.format, text.value(), wanted.value_or(""));
  if (checked.fault) return fault(Code("manifest-invalid"), *checked.fault);
  if (checked.refusal && wanted)
    return failing(Code("extension-not-allowed"), path + ": " + *checked.refusal,
                   running(registering(browser, identifier), surroundings));
  if (checked.refusal) return fault(Code("extension-not-allowed"), *checked.refusal);
  result.hostPath = checked.hostPath;
  result.extension = wanted.value_or(extensionFor(browser.format));
  result.others = otherAllowances(browser.format, text.value());
  std::erase(result.others, result.extension);
  result.renewal = fixFor(candidate, browser, surroundings, identifier);
  return result;
}

}  // namespace

Lookup lookUp(const Browser& browser, const Policies& policies, const Surroundings& surroundings,
              const std::string& identifier) {
  Lookup none;
  if (policies.forbidHost) {
    none.fault =
        Fault{Code("policy-forbids-host"),
              "a policy forbids the host: NativeMessagingBlocklist in " + policies.hostFile,
              "ask the administrator to take the host off the list in that file"};
    return none;
  }
  std::optional<Lookup> first;
  for (const Candidate& candidate : candidatesFor(browser, policies, surroundings)) {
    std::optional<Lookup> found = look(candidate, browser, surroundings, identifier);
    if (!found) continue;
    const bool takesFirst =
        browser.format == ManifestFormat::chromium && !isPassedOver(candidate.path);
    if (!found->fault || takesFirst) return *found;
    if (!first) first = std::move(found);
  }
  if (first) return *first;
  none.fault = absence(browser, policies, surroundings, identifier);
  return none;
}

std::optional<Fault> programFault(const std::string& path, const std::string& renewal) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno == EACCES)
      return Fault{Code("host-not-permitted"), "not permitted to look at the host, " + path,
                   "let this user enter the folders above it"};
    return Fault{Code("host-missing"), "the host is missing: " + path, renewal};
  }
  if (S_ISDIR(status.st_mode))
    return Fault{Code("host-is-folder"), "a folder is in the place of the host: " + path, renewal};
  if (::access(path.c_str(), X_OK) == 0) return std::nullopt;
  struct statvfs system = {};
  if (::statvfs(path.c_str(), &system) == 0 && (system.f_flag & ST_NOEXEC) != 0)
    return Fault{Code("host-on-noexec"),
                 "the host is where no program may run (a file system mounted noexec): " + path,
                 "mount it with exec (findmnt -T " + shellWord(path) +
                     " shows it), or install the package elsewhere"};
  return Fault{Code("host-not-executable"), "not permitted to run the host, " + path,
               "run: chmod 755 " + shellWord(path)};
}

}  // namespace corvane::Nmctl
