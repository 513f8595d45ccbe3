#include "tools/corvane-nmctl/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Platform/Descriptor.h"
#include "Platform/File.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Nmctl {
namespace {

using Platform::File;

constexpr std::size_t longestFile = 1 << 20;
constexpr std::string_view partSuffix = ".new";  // behind ".PROCESS"

/// Succeeds if a text may be written into what is at `path`: never into a disk or a file.
Result<Done> checkStream(const std::string& path, mode_t mode) {
  if (S_ISCHR(mode) || S_ISFIFO(mode) || S_ISSOCK(mode)) return Done{};
  return Failure{FailureCause::alreadyExists, path + " is not a file, terminal or pipe"};
}

/// Writes into the terminal or pipe that `path` leads to. `mode` is what was there before: not even
/// opened if it is of another kind.
Result<Done> writeInto(const std::string& path, std::string_view text, mode_t mode) {
  if (auto checked = checkStream(path, mode); !checked) return checked;
  const auto target = Platform::openAt(AT_FDCWD, path, O_WRONLY | O_NOCTTY);
  if (!target) return target.failure();
  struct stat status = {};
  if (::fstat(target->number(), &status) != 0) return Platform::failureFromErrno("stat", path);
  if (auto checked = checkStream(path, status.st_mode); !checked) return checked;
  return Platform::Descriptor::writeAll(target->number(), bytesOf(text));
}

/// The process that writes the part `name` of the file `whole`, or 0 when that is no such part.
pid_t writerOf(std::string_view name, std::string_view whole) {
  if (!name.starts_with(whole) || !name.ends_with(partSuffix)) return 0;
  name.remove_prefix(whole.size());
  name.remove_suffix(std::min(name.size(), partSuffix.size()));
  if (!name.starts_with('.')) return 0;
  pid_t process = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + 1, end, process);
  return error == std::errc() && stop == end && process > 0 ? process : 0;
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

Result<Done> writeNewFile(const std::string& path, std::string_view text, mode_t mode) {
  const auto file = File::open(path, File::Access::makeAppend);
  if (!file) return file.failure();
  const int descriptor = file.value().descriptor();
  auto written = Platform::Descriptor::writeAll(descriptor, bytesOf(text));
  if (written && (::fchmod(descriptor, mode) != 0 || ::fsync(descriptor) != 0))
    written = Platform::failureFromErrno("write", path);
  if (!written) ::unlink(path.c_str());
  return written;
}

Result<Done> replaceFile(const std::string& path, std::string_view text, mode_t mode) {
  const std::string part = path + "." + std::to_string(::getpid()) + std::string(partSuffix);
  if (auto written = writeNewFile(part, text, mode); !written) return written;
  if (std::rename(part.c_str(), path.c_str()) == 0) return Done{};
  auto failure = Platform::failureFromErrno("rename to", path);
  ::unlink(part.c_str());
  return failure;
}

Result<Done> writeOut(const std::string& path, std::string_view text, bool overwrites) {
  auto written = writeNewFile(path, text, 0600);
  if (written || written.failure().cause != FailureCause::alreadyExists) return written;
  struct stat own = {};
  struct stat target = {};
  if (::lstat(path.c_str(), &own) != 0) return Platform::failureFromErrno("stat", path);
  const bool isThere = ::stat(path.c_str(), &target) == 0;
  if (isThere && !S_ISREG(target.st_mode)) return writeInto(path, text, target.st_mode);
  if (S_ISLNK(own.st_mode))
    return Failure{FailureCause::alreadyExists, path + " is a symbolic link; name the file itself"};
  if (!overwrites)
    return Failure{FailureCause::alreadyExists, path + " exists; --force overwrites it"};
  return replaceFile(path, text, 0600);
}

void removeLeftParts(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path whole = path;
  std::error_code failed;
  std::vector<fs::path> left;
  for (const auto& entry : fs::directory_iterator(whole.parent_path(), failed)) {
    const pid_t writer = writerOf(entry.path().filename().string(), whole.filename().string());
    if (writer != 0 && ::kill(writer, 0) != 0 && errno == ESRCH) left.push_back(entry.path());
  }
  for (const fs::path& part : left) ::unlink(part.c_str());
}

}  // namespace corvane::Nmctl
