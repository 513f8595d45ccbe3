#include "Platform/GroupContainers.h"

#import <Foundation/Foundation.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {

Result<std::string> GroupContainers::folderOf(const std::string& identifier) {
  auto place = placeOf(identifier);
  if (!place) return place;
  // The system names a folder even where there is none.
  struct stat status = {};
  int result = 0;
  do {
    result = systemCalls().stat(place.value().c_str(), &status);
  } while (result != 0 && errno == EINTR);
  if (result != 0 && errno == ENOENT)
    return Failure{FailureCause::notFound, place.value() + " is missing"};
  if (result != 0) return failureFromErrno("stat", place.value());
  if (!S_ISDIR(status.st_mode))
    return Failure{FailureCause::other, place.value() + " is not a directory"};
  return place;
}

Result<std::string> GroupContainers::placeOf(const std::string& identifier) {
  @autoreleasepool {
    NSString* group = [NSString stringWithUTF8String:identifier.c_str()];
    if (group == nil || identifier.empty())
      return Failure{FailureCause::malformed, "not a name for a group: " + identifier};
    NSURL* url =
        [NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:group];
    if (url == nil)
      return Failure{FailureCause::notFound, "the system has no container for " + identifier};
    const std::string path = url.fileSystemRepresentation;
    return path.substr(0, path.find_last_not_of('/') + 1);
  }
}

Result<std::string> GroupContainers::homeFolder() {
  constexpr std::size_t longestRecord = 4096;
  std::array<char, longestRecord> buffer = {};
  passwd record = {};
  passwd* found = nullptr;
  int error = 0;
  do {
    error = ::getpwuid_r(::geteuid(), &record, buffer.data(), buffer.size(), &found);
  } while (error == EINTR);
  if (error != 0) {
    errno = error;
    return failureFromErrno("read the user database");
  }
  if (found == nullptr || record.pw_dir == nullptr)
    return Failure{FailureCause::notFound, "the user database has no home folder for this user"};
  return std::string(record.pw_dir);
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
