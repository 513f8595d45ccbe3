#include "tools/corvane-nmctl/Registration.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "Platform/File.h"
#include "tools/corvane-nmctl/MadeFolders.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

constexpr mode_t manifestMode = 0644;

/// `folder` with the links in it followed, as far as it exists.
std::string canonical(const std::string& folder) {
  const std::size_t slash = folder.rfind('/');
  if (slash == std::string::npos || slash == 0) return folder;
  if (::access(folder.c_str(), F_OK) == 0) return resolvedPath(folder);
  return canonical(folder.substr(0, slash)) + folder.substr(slash);
}

void add(std::vector<Place>& places, const Browser& browser, const std::string& folder,
         bool isUsers) {
  const std::string real = canonical(folder);
  const auto known = std::find_if(places.begin(), places.end(), [&](const Place& place) {
    return place.folder == real && place.format == browser.format;
  });
  if (known == places.end()) {
    places.push_back({{&browser}, browser.format, real, isUsers});
  } else {
    known->browsers.push_back(&browser);
  }
}

Result<std::vector<const Browser*>> selectedBrowsers(const Selection& selection) {
  std::vector<const Browser*> result;
  for (const std::string& name : selection.browsers) {
    result.push_back(findBrowser(name));
    if (result.back() == nullptr)
      return Failure{FailureCause::notFound, "no browser is called " + name};
  }
  if (selection.browsers.empty())
    for (const Browser& browser : browsers()) result.push_back(&browser);
  return result;
}

/// That `path`, or what there is of the way to it, belongs to `user`.
Result<Done> checkOwner(std::string path, uid_t user) {
  struct stat status = {};
  while (::stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT || path.rfind('/') == 0) return Platform::failureFromErrno("stat", path);
    path.resize(path.rfind('/'));
  }
  if (status.st_uid == user) return Done{};
  return Failure{FailureCause::notPermitted, path + " belongs to the user with number " +
                                                 std::to_string(status.st_uid) +
                                                 "; only that user may register there"};
}

/// Folders of one user are that user's alone; those of the system everybody must be able to read.
mode_t folderModeFor(const Place& place) {
  return place.isUsers ? 0700 : 0755;
}

/// Removes what a registration leaves beside the manifest, also one that was killed.
void sweep(const Place& place) {
  removeLeftParts(place.path());
  MadeFolders::remove(place.folder);
}

/// What lies at `place`, if it may be replaced or removed.
Result<FoundManifest> ownAt(const Place& place, const Surroundings& surroundings) {
  if (auto owner = checkOwner(place.folder, surroundings.user); !owner) return owner.failure();
  const FoundManifest found = lookAt(place, surroundings);
  if (found.state == FoundManifest::State::foreign)
    return Failure{FailureCause::alreadyExists,
                   place.path() + " is not ours and stays as it is: " + found.reason};
  if (found.state == FoundManifest::State::notPermitted)
    return Failure{FailureCause::notPermitted, place.path() + ": " + found.reason};
  return found;
}

/// Gives the file `path` the further name `aside`; fails if that exists by now.
Result<Done> keepAs(const std::string& aside, const std::string& path) {
  if (::link(path.c_str(), aside.c_str()) == 0) return Done{};
  return Platform::failureFromErrno("keep as " + aside, path);
}

}  // namespace

std::string asideOf(const std::string& path) {
  std::string result = path + ".broken";
  struct stat status = {};
  for (int i = 2; ::lstat(result.c_str(), &status) == 0; ++i)
    result = path + ".broken." + std::to_string(i);
  return result;
}

std::string Place::titles() const {
  std::string result;
  for (const Browser* browser : browsers) {
    if (!result.empty()) result += ", ";
    result += browser->title;
  }
  return result;
}

Result<std::vector<Place>> placesOf(const Selection& selection, const Surroundings& surroundings,
                                    Level level) {
  const auto chosen = selectedBrowsers(selection);
  if (!chosen) return chosen.failure();
  std::vector<Place> places;
  if (!selection.folder.empty()) {
    if (selection.browsers.empty())
      return Failure{FailureCause::malformed,
                     "--dir needs --browser: manifests differ between browsers"};
    if (selection.browsers.size() > 1)
      return Failure{FailureCause::malformed, "--dir takes one --browser only"};
    const Browser& browser = *chosen.value().front();
    std::string folder = std::filesystem::absolute(selection.folder).lexically_normal();
    if (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    add(places, browser, folder, folder.starts_with(surroundings.home + "/"));
    return places;
  }
  for (const Browser* browser : chosen.value())
    for (const std::string_view folder : browser->userFolders)
      add(places, *browser, surroundings.expanded(folder), true);
  for (const Browser* browser : chosen.value()) {
    if (level == Level::user) break;
    for (const std::string_view folder : browser->systemFolders)
      add(places, *browser, surroundings.expanded(folder), false);
  }
  return places;
}

FoundManifest lookAt(const Place& place, const Surroundings& surroundings) {
  return findManifest(place.path(), place.format, surroundings.hostPath);
}

Result<Plan> planFor(const Place& place, const Surroundings& surroundings,
                     const std::vector<std::string>& identifiers) {
  const auto found = ownAt(place, surroundings);
  if (!found) return found.failure();
  Plan plan;
  std::vector<std::string> others = found->others;
  for (const std::string& identifier : identifiers) {
    const auto one = allowanceOf(place.format, identifier);
    if (one && std::find(others.begin(), others.end(), *one) == others.end())
      others.push_back(*one);
  }
  // Ours are among the identifiers perhaps, and need not be allowed twice.
  others = otherAllowances(place.format, manifestText(place.format, surroundings.hostPath, others));
  plan.others = others;
  if (found->isAsWritten && others == found->others) return plan;
  if (found->state == FoundManifest::State::damaged) plan.aside = asideOf(place.path());
  plan.folders = MadeFolders::missing(place.folder);
  plan.folderMode = folderModeFor(place);
  for (const std::string& folder : plan.folders)
    plan.files.push_back({folder + "/" + MadeFolders::noteName, MadeFolders::noteText, 0600});
  plan.files.push_back(
      {place.path(), manifestText(place.format, surroundings.hostPath, others), manifestMode});
  return plan;
}

Result<Done> carryOut(const Plan& plan, const Place& place) {
  if (plan.files.empty()) return Done{};
  if (auto made = MadeFolders::make(place.folder, plan.folderMode); !made) return made;
  if (!plan.aside.empty())
    if (auto kept = keepAs(plan.aside, place.path()); !kept) return kept;
  const Plan::NewFile& manifest = plan.files.back();
  auto written = replaceFile(manifest.path, manifest.text, manifest.mode);
  if (written) return written;
  if (!plan.aside.empty()) ::unlink(plan.aside.c_str());
  MadeFolders::remove(place.folder);
  return written;
}

Result<bool> unregisterAt(const Place& place, const Surroundings& surroundings) {
  if (lookAt(place, surroundings).state == FoundManifest::State::absent) {
    if (checkOwner(place.folder, surroundings.user)) sweep(place);
    return false;
  }
  const auto found = ownAt(place, surroundings);
  if (!found) return found.failure();
  if (found->state == FoundManifest::State::damaged)
    if (auto kept = keepAs(asideOf(place.path()), place.path()); !kept) return kept.failure();
  if (auto removed = Platform::removeFile(place.path()); !removed) return removed.failure();
  sweep(place);
  return true;
}

}  // namespace corvane::Nmctl
