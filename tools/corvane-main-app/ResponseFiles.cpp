#include "tools/corvane-main-app/ResponseFiles.h"

#include <string_view>

#include "Base/Bytes.h"
#include "Platform/Directories.h"
#include "Platform/File.h"
#include "tools/corvane-main-app/LockedFile.h"
#include "tools/corvane-main-app/RecordLayout.h"

namespace corvane::MainApp {
namespace {

using Platform::File;

constexpr std::string_view nameBegins = "ExchangeResponseContainer.";
constexpr std::string_view nameEnds = ".data";
constexpr std::chrono::hours oldAfter{24};

bool isOld(const Result<File::Status>& status, std::chrono::system_clock::time_point now) {
  return status && now - status->changed > oldAfter;
}

void removeIfOld(const std::string& path, std::chrono::system_clock::time_point now) {
  if (!isOld(Platform::statusOf(path), now)) return;
  auto file = File::open(path, File::Access::update);
  if (!file || !file->tryLock()) return;  // somebody uses it
  // It is locked: unless the reply of another instance came just before, nobody misses it now.
  if (isOld(file->status(), now)) (void)Platform::removeFile(path);
}

}  // namespace

Result<Done> ResponseFiles::append(const std::string& id, const std::string& archive) {
  const std::string path = dataFolder_ + "/" + std::string(nameBegins) + id + std::string(nameEnds);
  auto locked = LockedFile::open(path);
  if (!locked) return locked.failure();
  if (locked->size() > RecordLayout::fullFile || archive.size() > RecordLayout::largestArchive)
    return Failure{FailureCause::noSpace, "the reply or its file is too long"};
  // One call writes archive and length, so that a death can't come between the two.
  const auto length = RecordLayout::lengthBytes(archive.size());
  const auto written = locked->file().writeAt(bytesOf(archive), length, locked->size());
  if (written && written.value() == archive.size() + length.size()) return Done{};
  (void)locked->file().truncate(locked->size());
  return written ? Failure{FailureCause::noSpace, "the disk is full"} : written.failure();
}

void ResponseFiles::removeOld(std::chrono::system_clock::time_point now) const {
  const auto folder = Platform::Directories::open(dataFolder_);
  if (!folder) return;  // the next instance will
  const auto names = Platform::Directories::entries(folder.value());
  if (!names) return;
  for (const std::string& name : names.value()) {
    if (name.starts_with(nameBegins) && name.ends_with(nameEnds))
      removeIfOld(dataFolder_ + "/" + name, now);
  }
}

}  // namespace corvane::MainApp
