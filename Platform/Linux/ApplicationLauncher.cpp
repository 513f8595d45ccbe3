#include "Platform/ApplicationLauncher.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "Base/Bytes.h"
#include "Platform/File.h"
#include "Platform/Linux/DesktopEntry.h"
#include "Platform/Linux/DetachedProcess.h"
#include "Platform/Linux/Folders.h"
#include "Platform/Linux/HomeFolder.h"

namespace corvane::Platform {
namespace {

constexpr std::size_t largestEntry = std::size_t{1} << 20;

/// Starts what the entry `path` describes; nothing when there is no such entry.
std::optional<bool> launchEntry(const std::string& path, const std::string& home) {
  std::error_code error;  // an entry may be a link, for an application that lies elsewhere
  const std::string target = std::filesystem::canonical(path, error).string();
  if (error) return std::nullopt;
  auto file = File::open(target, File::Access::read);
  if (!file) return std::nullopt;
  const auto bytes = file->readAll(largestEntry);
  if (!bytes) return false;
  const auto arguments = DesktopEntry::commandLine(textOf(bytes.value()), path);
  return arguments && startDetached(*arguments, home);
}

}  // namespace

bool ApplicationLauncher::launch(const std::string& bundleIdentifier) {
  const auto home = homeFolderOf(::geteuid());
  if (!home || !Folders::isVisibleName(bundleIdentifier)) return false;
  for (const std::string& folder :
       {*home + "/.local/share/applications/", std::string("/usr/local/share/applications/"),
        std::string("/usr/share/applications/")}) {
    if (const auto started = launchEntry(folder + bundleIdentifier + ".desktop", *home))
      return *started;
  }
  return false;
}

}  // namespace corvane::Platform
