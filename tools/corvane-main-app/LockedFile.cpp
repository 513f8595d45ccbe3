#include "tools/corvane-main-app/LockedFile.h"

namespace corvane::MainApp {

using Platform::File;

Result<LockedFile> LockedFile::open(const std::string& path) {
  for (;;) {
    auto file = File::open(path, File::Access::readWrite);
    if (!file) return file.failure();
    if (auto locked = file->waitLock(); !locked) return locked.failure();
    const auto status = file->status();
    if (!status) return status.failure();
    if (status->isLinked) return LockedFile(std::move(file).value(), status->size);
  }
}

}  // namespace corvane::MainApp
