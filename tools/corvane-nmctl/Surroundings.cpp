#include "tools/corvane-nmctl/Surroundings.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <sstream>

#include "Platform/Container/GroupContainerLocation.h"
#include "Platform/ProcessInfo.h"
#include "tools/corvane-nmctl/Product.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

std::string fromEnvironment(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets any
  return value == nullptr ? "" : value;
}

std::vector<std::string> foldersIn(const std::string& searchPath) {
  std::vector<std::string> folders;
  std::istringstream rest(searchPath);
  for (std::string folder; std::getline(rest, folder, ':');)
    if (folder.starts_with('/')) folders.push_back(folder);
  return folders;
}

bool isProgram(const std::string& path) {
  return ::access(path.c_str(), X_OK) == 0;
}

std::string ownHost() {
  const auto own = Platform::ProcessInfo::executablePath(::getpid());
  if (!own) return Product::installedHost;
  const std::string folder = own.value().substr(0, own.value().rfind('/') + 1);
  for (const std::string& path : {folder + "corvane-nm", folder + Product::hostFromTool})
    if (isProgram(path)) return resolvedPath(path);
  return Product::installedHost;
}

std::string joined(std::string_view first, std::string_view second) {
  return std::string(first) + std::string(second);
}

/// The first of `names` for which one of `folders` has an entry.
std::optional<std::string> firstPresent(std::span<const std::string_view> names,
                                        const std::vector<std::string>& folders) {
  for (const std::string_view name : names) {
    for (const std::string& folder : folders)
      if (isProgram(joined(folder, name))) return std::string(name);
  }
  return std::nullopt;
}

/// The first number of the version of a sandboxed `browser` that keeps an application.ini beside
/// its program; 0 if there is none. `found` must say which package it is.
int sandboxedVersion(const Browser& browser, const Installation& found,
                     const Surroundings& surroundings) {
  const std::string file = joined(joined("/lib/", browser.name), "/application.ini");
  const std::string& root = surroundings.systemRoot;
  std::vector<std::string> files;
  if (found.flatpak) {
    const std::string inside = "/flatpak/app/" + *found.flatpak + "/current/active/files" + file;
    files = {root + "/var/lib" + inside, surroundings.home + "/.local/share" + inside};
  } else if (found.snap) {
    const std::string inside = "/snap/" + *found.snap + "/current/usr" + file;
    files = {root + inside, root + "/var/lib/snapd" + inside};
  }
  constexpr std::string_view key = "\nVersion=";
  int version = 0;
  for (const std::string& path : files) {
    const auto text = readWhole(resolvedPath(path));
    const std::size_t at = text ? text.value().find(key) : std::string::npos;
    if (at == std::string::npos) continue;
    const std::string number = text.value().substr(at + key.size(), 9);
    std::from_chars(number.data(), number.data() + number.size(), version);
    break;
  }
  return version;
}

bool isSandboxPath(const std::string& path) {
  return path.find("/flatpak/") != std::string::npos || path.find("/snap/") != std::string::npos;
}

/// Whether `path` is a script that starts something in a sandbox, as distributions and users put
/// one in front of it.
bool isSandboxScript(const std::string& path) {
  const auto text = readWhole(path);  // larger ones are no such script
  if (!text || !text.value().starts_with("#!")) return false;
  for (const char* start : {"/snap/bin", "snap run", "flatpak run", "/flatpak/exports/"})
    if (text.value().find(start) != std::string::npos) return true;
  return false;
}

/// Whether `path` is a program that runs as itself, and in no sandbox.
bool isNative(const std::string& path) {
  if (isSandboxPath(path) || !isProgram(path)) return false;
  const std::string real = resolvedPath(path);
  return !isSandboxPath(real) && !isSandboxScript(real);
}

}  // namespace

Surroundings Surroundings::ofThisProcess() {
  Surroundings result;
  result.user = ::geteuid();
  result.home = fromEnvironment("HOME");
  if (!result.home.starts_with('/')) {
    const auto home = Platform::GroupContainers::homeDirectory();
    result.home = home ? home.value() : "/";
  }
  result.configFolder = result.home + "/.config";
  for (const char* name : {"XDG_CONFIG_HOME", "CHROME_CONFIG_HOME"})
    if (const std::string value = fromEnvironment(name); value.starts_with('/'))
      result.configFolder = value;
  result.searchPath = foldersIn(fromEnvironment("PATH"));
  result.hostPath = ownHost();
  return result;
}

std::string Surroundings::expanded(std::string_view folder) const {
  constexpr std::string_view config = "$CONFIG";
  if (folder.starts_with('~')) return joined(home, folder.substr(1));
  if (folder.starts_with(config)) return joined(configFolder, folder.substr(config.size()));
  return joined(systemRoot, folder);
}

Installation installationOf(const Browser& browser, const Surroundings& surroundings) {
  Installation result;
  for (const std::string_view name : browser.executables) {
    if (name.starts_with('/')) {
      result.isNative = result.isNative || isNative(joined(surroundings.systemRoot, name));
      continue;
    }
    for (const std::string& folder : surroundings.searchPath)
      result.isNative = result.isNative || isNative(joined(folder + "/", name));
  }
  const std::string& root = surroundings.systemRoot;
  result.flatpak =
      firstPresent(browser.flatpaks, {root + "/var/lib/flatpak/exports/bin/",
                                      surroundings.home + "/.local/share/flatpak/exports/bin/"});
  result.snap =
      firstPresent(browser.snaps, {root + "/snap/bin/", root + "/var/lib/snapd/snap/bin/"});
  result.usesPortal = browser.portalFrom > 0 &&
                      sandboxedVersion(browser, result, surroundings) >= browser.portalFrom;
  return result;
}

}  // namespace corvane::Nmctl
