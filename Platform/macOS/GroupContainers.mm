#include "Platform/GroupContainers.h"

#import <Foundation/Foundation.h>

#include <filesystem>
#include <system_error>

#pragma clang assume_nonnull begin

namespace corvane::Platform {

std::optional<std::string> GroupContainers::folderOf(const std::string& identifier) {
  @autoreleasepool {
    NSString* group = [NSString stringWithUTF8String:identifier.c_str()];
    if (group == nil || identifier.empty()) return std::nullopt;
    NSURL* url =
        [NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:group];
    if (url == nil) return std::nullopt;
    // The system names a folder even where there is none.
    const std::string path = url.fileSystemRepresentation;
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) return std::nullopt;
    return path.substr(0, path.find_last_not_of('/') + 1);
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
