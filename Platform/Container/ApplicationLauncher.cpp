#include "Platform/ApplicationLauncher.h"

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "Base/Bytes.h"
#include "Base/TimeLimits.h"
#include "Platform/Container/DesktopEntry.h"
#include "Platform/Container/HomeFolder.h"
#include "Platform/File.h"
#include "Platform/Folders.h"
#include "Platform/Linux/DetachedProcess.h"

namespace corvane::Platform {
namespace {

using Answer = UniqueFunction<void(bool isStarted)>;

constexpr std::size_t largestEntry = std::size_t{1} << 20;

/// Starts what the entry `path` describes, as `startDetached` does; nothing when there is no such
/// entry.
std::optional<OwnedDescriptor> startEntry(const std::string& path, const std::string& home) {
  std::error_code error;  // an entry may be a link, for an application that lies elsewhere
  const std::string target = std::filesystem::canonical(path, error).string();
  if (error) return std::nullopt;
  auto file = File::open(target, File::Access::read);
  if (!file) return std::nullopt;
  const auto bytes = file->readAll(largestEntry);
  if (!bytes) return OwnedDescriptor();
  const auto arguments = DesktopEntry::commandLine(textOf(bytes.value()), path);
  return arguments ? startDetached(*arguments, home) : OwnedDescriptor();
}

OwnedDescriptor start(const std::string& bundleIdentifier) {
  const auto home = homeFolderOf(::geteuid());
  if (!home || !Folders::isVisibleName(bundleIdentifier)) return {};
  for (const std::string& folder :
       {home.value() + "/.local/share/applications/", std::string("/usr/local/share/applications/"),
        std::string("/usr/share/applications/")}) {
    if (auto started = startEntry(folder + bundleIdentifier + ".desktop", home.value()))
      return std::move(*started);
  }
  return {};
}

/// A program that is being started. Owned by its watch and its limit until one of them ends both.
struct Launch {
  OwnedDescriptor outcome;
  Answer answer;
  EventLoop::Registration readable = {};
  EventLoop::Registration limit = {};

  void finish(bool isStarted) {
    readable = {};
    limit = {};
    answer(isStarted);
  }
};

}  // namespace

void ApplicationLauncher::launch(EventLoop& loop, const std::string& bundleIdentifier,
                                 Answer answer) {
  OwnedDescriptor outcome = start(bundleIdentifier);
  if (!outcome) return loop.post([answer = std::move(answer)]() mutable { answer(false); });
  const int descriptor = outcome.number();
  auto launch = std::make_shared<Launch>(Launch{std::move(outcome), std::move(answer)});
  launch->readable =
      loop.onReadable(descriptor, [launch] { launch->finish(hasStarted(launch->outcome)); });
  launch->limit =
      loop.at(EventLoop::now() + TimeLimits::appState, [launch] { launch->finish(false); });
}

}  // namespace corvane::Platform
