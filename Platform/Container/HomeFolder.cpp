#include "Platform/Container/HomeFolder.h"

#include <pwd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/Bytes.h"
#include "Platform/File.h"

namespace corvane::Platform {
namespace {

constexpr std::size_t largestFile = std::size_t{16} << 20;

Result<std::vector<std::byte>> contentOf(const char* path) {
  auto file = File::open(path, File::Access::readThroughLinks);
  if (!file) return file.failure();
  return file->readAll(largestFile);
}

std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

/// Takes the next word off the front of `line`.
std::string_view takeWord(std::string_view& line) {
  constexpr std::string_view blanks = " \t";
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

/// Whether the user database is the file first of all, as it is nearly everywhere; false as well
/// when that can't be known now.
bool isFileAskedFirst() {
  const auto content = contentOf("/etc/nsswitch.conf");
  if (!content) return content.failure().cause == FailureCause::notFound;
  std::string_view rest = textOf(content.value());
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    if (takeWord(line) != "passwd:") continue;
    // What may follow a source in brackets can also say that others are asked although it answers.
    return takeWord(line) == "files" && takeWord(line).substr(0, 1) != "[";
  }
  return true;
}

bool isUsable(const passwd& record) {
  return record.pw_dir != nullptr && record.pw_dir[0] == '/';
}

struct Closing {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// The home of `user` by the file, if that can be read and says one.
std::optional<std::string> homeInFile(uid_t user) {
  auto content = contentOf("/etc/passwd");
  if (!content || content.value().empty()) return std::nullopt;
  const std::unique_ptr<std::FILE, Closing> file(
      ::fmemopen(content.value().data(), content.value().size(), "r"));
  if (!file) return std::nullopt;
  std::array<char, 1024> buffer = {};
  passwd record = {};
  passwd* found = nullptr;
  while (::fgetpwent_r(file.get(), &record, buffer.data(), buffer.size(), &found) == 0) {
    if (record.pw_uid != user) continue;
    if (isUsable(record)) return record.pw_dir;
    break;
  }
  return std::nullopt;
}

}  // namespace

/// The C library's way to the database loads and asks more than the host's whole start otherwise
/// does; where the file answers first, it is the same to read that.
Result<std::string> homeFolderOf(uid_t user) {
  if (isFileAskedFirst()) {
    if (auto home = homeInFile(user)) return std::move(*home);
  }
  constexpr std::size_t longestRecord = std::size_t{1} << 20;
  std::vector<char> buffer(1024);
  passwd record = {};
  passwd* found = nullptr;
  int error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  while (error == EINTR || (error == ERANGE && buffer.size() < longestRecord)) {
    if (error == ERANGE) buffer.resize(2 * buffer.size());
    error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  }
  if (found != nullptr && isUsable(record)) return std::string(record.pw_dir);
  if (found == nullptr && error != 0 && error != ENOENT && error != ESRCH) {
    errno = error;
    return failureFromErrno("read the user database");
  }
  return Failure{FailureCause::notFound,
                 "the user database has no " +
                     std::string(found == nullptr ? "entry" : "home folder") + " for user " +
                     std::to_string(user)};
}

}  // namespace corvane::Platform
