#include "Platform/GroupContainers.h"

#import <Foundation/Foundation.h>

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#pragma clang assume_nonnull begin

namespace corvane::Platform {

std::optional<std::string> GroupContainers::folderOf(const std::string& identifier) {
  const auto place = placeOf(identifier);
  // The system names a folder even where there is none.
  std::error_code ignored;
  if (!place || !std::filesystem::is_directory(*place, ignored)) return std::nullopt;
  return place;
}

std::optional<std::string> GroupContainers::placeOf(const std::string& identifier) {
  @autoreleasepool {
    NSString* group = [NSString stringWithUTF8String:identifier.c_str()];
    if (group == nil || identifier.empty()) return std::nullopt;
    NSURL* url =
        [NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:group];
    if (url == nil) return std::nullopt;
    const std::string path = url.fileSystemRepresentation;
    return path.substr(0, path.find_last_not_of('/') + 1);
  }
}

std::optional<std::string> GroupContainers::homeFolder() {
  constexpr std::size_t longestRecord = 4096;
  std::array<char, longestRecord> buffer = {};
  passwd record = {};
  passwd* found = nullptr;
  const int error = ::getpwuid_r(::geteuid(), &record, buffer.data(), buffer.size(), &found);
  if (error != 0 || found == nullptr || record.pw_dir == nullptr) return std::nullopt;
  return record.pw_dir;
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
