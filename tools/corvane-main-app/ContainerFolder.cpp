#include "tools/corvane-main-app/ContainerFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "Platform/Container/HomeDirectory.h"
#include "Platform/File.h"
#include "Platform/SystemCalls.h"
#include "SharedComponents/Configuration.h"

namespace corvane::MainApp {
namespace {

Result<std::string> pathOf(const std::optional<std::string>& folder) {
  if (folder) {
    std::error_code error;
    const auto path = std::filesystem::absolute(*folder, error).lexically_normal();
    if (error || folder->empty()) return Failure{FailureCause::notFound, "no folder is named"};
    return path.string();
  }
  const auto home = Platform::homeDirectoryOf(::geteuid());
  if (!home) return home.failure();
  return home.value() + "/.local/share/group-containers/" + Configuration::AppGroupIdentifier;
}

Result<Done> check(const std::string& path) {
  struct stat status = {};
  if (Platform::systemCalls().stat(path.c_str(), &status) != 0)
    return Platform::failureFromErrno("stat", path);
  if (status.st_uid != ::geteuid())
    return Failure{FailureCause::notPermitted, path + " belongs to somebody else"};
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return Failure{FailureCause::notPermitted, "others may write to " + path};
  return Done{};
}

}  // namespace

Result<std::string> makeContainer(const std::optional<std::string>& folder) {
  const auto path = pathOf(folder);
  if (!path) return path.failure();
  // What lies above the container is the user's to arrange.
  if (auto made = Platform::makeDirectories("", path.value().substr(1), Platform::Links::followed);
      !made) {
    return made.failure();
  }
  if (auto fine = check(path.value()); !fine) return fine.failure();
  if (auto made = Platform::makeDirectories(path.value(), "Data"); !made) return made.failure();
  return path.value();
}

}  // namespace corvane::MainApp
