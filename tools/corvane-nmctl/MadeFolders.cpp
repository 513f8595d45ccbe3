#include "tools/corvane-nmctl/MadeFolders.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "Platform/File.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {

const char* const MadeFolders::noteName = ".made-by-corvane-nmctl";
const char* const MadeFolders::noteText =
    "corvane-nmctl made this folder; \"unregister\" removes it when nothing else is in it\n";

namespace {

namespace fs = std::filesystem;

std::string parentOf(const std::string& folder) {
  return folder.substr(0, folder.rfind('/'));
}

std::string noteIn(const std::string& folder) {
  return folder + "/" + MadeFolders::noteName;
}

bool exists(const std::string& path) {
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

Result<Done> makeOne(const std::string& folder, mode_t mode) {
  if (::mkdir(folder.c_str(), mode) != 0) {
    if (errno == EEXIST) return Done{};  // somebody else has just made it
    return Platform::failureFromErrno("mkdir", folder);
  }
  auto noted = replaceFile(noteIn(folder), MadeFolders::noteText, 0600);
  if (!noted) ::rmdir(folder.c_str());
  return noted;
}

/// Whether a folder that was made here lies directly in `folder`.
bool holdsMadeFolder(const std::string& folder) {
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(folder, failed))
    if (exists(noteIn(entry.path()))) return true;
  return false;
}

/// Whether nothing but the note is in `folder`.
bool isUnused(const std::string& folder) {
  std::error_code failed;
  const auto entries = fs::directory_iterator(folder, failed);
  return !failed && std::distance(fs::begin(entries), fs::end(entries)) == 1;
}

}  // namespace

std::vector<std::string> MadeFolders::missing(const std::string& folder) {
  std::vector<std::string> result;
  for (std::string path = folder; !path.empty() && !exists(path); path = parentOf(path))
    result.insert(result.begin(), path);
  return result;
}

Result<Done> MadeFolders::make(const std::string& folder, mode_t mode) {
  for (const std::string& path : missing(folder)) {
    if (auto made = makeOne(path, mode); !made) {
      remove(parentOf(path));
      return made;
    }
  }
  return Done{};
}

void MadeFolders::remove(std::string folder) {
  for (; !folder.empty() && exists(noteIn(folder)); folder = parentOf(folder)) {
    removeLeftParts(noteIn(folder));
    const bool isEmpty = isUnused(folder);
    if (!isEmpty && holdsMadeFolder(folder)) return;
    if (::unlink(noteIn(folder).c_str()) != 0) return;
    if (isEmpty) ::rmdir(folder.c_str());
  }
}

}  // namespace corvane::Nmctl
