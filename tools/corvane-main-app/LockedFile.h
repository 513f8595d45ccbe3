#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/File.h"

namespace corvane::MainApp {

/// An exchange file in the hands of the application: open and locked for as long as the object
/// lives. To be had anew for each use. That costs less than to keep the file open: ext4 has the
/// next writer of a file that was cut to nothing wait for the disk, unless the one who cut it has
/// closed it.
class LockedFile {
 public:
  /// Opens the file `path`, made with mode 0600 if it is missing, and takes the lock, waiting as
  /// long as that takes. If the file is removed meanwhile, starts over.
  static Result<LockedFile> open(const std::string& path);

  [[nodiscard]] Platform::File& file() { return file_; }

  /// In bytes, when the lock was taken.
  [[nodiscard]] std::uint64_t size() const { return size_; }

 private:
  LockedFile(Platform::File file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

  Platform::File file_;
  std::uint64_t size_;
};

}  // namespace corvane::MainApp
