#include "Platform/Container/HomeDirectory.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Bytes.h"
#include "Platform/Container/UserDatabase.h"
#include "Platform/File.h"
#include "Platform/Linux/ProgramOutput.h"

namespace corvane::Platform {
namespace {

using UserDatabase::Sources;

constexpr std::size_t largestFile = std::size_t{16} << 20;
constexpr std::size_t largestAnswer = std::size_t{64} << 10;
/// Enough for a database in the network, and short enough for a browser that is waiting.
constexpr std::chrono::seconds slowestAnswer{5};

/// The content of a file of the system; empty if there is none.
Result<std::vector<std::byte>> readOnce(const char* path) {
  auto file = File::open(path, File::Access::readThroughLinks);
  if (file) return file->readAll(largestFile);
  if (file.failure().cause == FailureCause::notFound) return std::vector<std::byte>();
  return file.failure();
}

/// As `readOnce`, but tries twice, because the system may lack memory or descriptors for a moment.
Result<std::vector<std::byte>> contentOf(const char* path) {
  auto content = readOnce(path);
  return content ? content : readOnce(path);
}

/// Never with the cause `notFound`: a source that can't be read may have the user.
Failure cannotRead(const std::string& why) {
  return {FailureCause::other, "read the user database: " + why};
}

Failure missing(const char* what, uid_t user) {
  return {FailureCause::notFound,
          "the user database has no " + std::string(what) + " for user " + std::to_string(user)};
}

Result<std::string> usable(std::string home, uid_t user) {
  if (home.empty()) return missing("home folder", user);
  return home;
}

/// Asks all sources, as getpwuid(3) would. That function loads a library for each source into the
/// process, and the host's C library need not be the system's. getent(1) does not distinguish an
/// unknown user from a source that can't be reached.
Result<std::string> homeByNameService(uid_t user) {
  const auto answer =
      outputOf({"/usr/bin/getent", "passwd", std::to_string(user)}, slowestAnswer, largestAnswer);
  if (!answer) return cannotRead(answer.failure().text);
  auto home = UserDatabase::homeIn(answer.value(), user);
  if (!home) return cannotRead("getent finds no user " + std::to_string(user));
  return usable(*std::move(home), user);
}

}  // namespace

/// Starting getent costs more than the rest of start-up. If /etc/passwd comes first among the
/// sources, reading it gives the same result.
Result<std::string> homeDirectoryOf(uid_t user) {
  const auto configuration = contentOf("/etc/nsswitch.conf");
  if (!configuration) return cannotRead(configuration.failure().text);
  const Sources sources = UserDatabase::sourcesIn(textOf(configuration.value()));
  if (sources == Sources::others) return homeByNameService(user);
  const auto file = contentOf("/etc/passwd");
  if (!file) return cannotRead(file.failure().text);
  if (auto home = UserDatabase::homeIn(textOf(file.value()), user))
    return usable(*std::move(home), user);
  if (sources == Sources::fileFirst) return homeByNameService(user);
  return missing("entry", user);
}

}  // namespace corvane::Platform
