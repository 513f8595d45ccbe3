#include "tools/corvane-nmctl/WholeFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Platform/Descriptor.h"
#include "Platform/File.h"

namespace corvane::Nmctl {
namespace {

using Platform::File;

constexpr std::size_t longestFile = 1 << 20;

/// Writes all of a new file, down to the disk.
Result<Done> writeNew(const std::string& path, std::string_view text, mode_t mode) {
  const auto file = File::open(path, File::Access::makeAppend);
  if (!file) return file.failure();
  const int descriptor = file.value().descriptor();
  if (auto written = Platform::Descriptor::writeAll(descriptor, bytesOf(text)); !written)
    return written;
  if (::fchmod(descriptor, mode) != 0 || ::fsync(descriptor) != 0)
    return Platform::failureFromErrno("write " + path);
  return Done{};
}

}  // namespace

Result<std::string> readWhole(const std::string& path) {
  auto file = File::open(path, File::Access::read);
  if (!file) return file.failure();
  const auto bytes = file->readAll(longestFile);
  if (!bytes) return bytes.failure();
  return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
}

std::string resolvedPath(const std::string& path) {
  char* found = ::realpath(path.c_str(), nullptr);
  if (found == nullptr) return path;
  std::string result = found;
  std::free(found);  // NOLINT(cppcoreguidelines-no-malloc): it comes from realpath
  return result;
}

Result<Done> replaceFile(const std::string& path, std::string_view text, mode_t mode) {
  const std::string part = path + "." + std::to_string(::getpid()) + ".new";
  auto outcome = writeNew(part, text, mode);
  if (outcome && std::rename(part.c_str(), path.c_str()) != 0)
    outcome = Platform::failureFromErrno("rename to " + path);
  if (!outcome && outcome.failure().cause != FailureCause::alreadyExists) ::unlink(part.c_str());
  return outcome;
}

}  // namespace corvane::Nmctl
