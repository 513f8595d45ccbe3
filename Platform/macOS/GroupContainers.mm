#include "Platform/GroupContainers.h"

#import <Foundation/Foundation.h>

#include "Platform/SystemCalls.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {

Result<std::string> GroupContainers::directoryOf(const std::string& identifier) {
  @autoreleasepool {
    NSString* group = [NSString stringWithUTF8String:identifier.c_str()];
    if (group == nil || identifier.empty())
      return Failure{FailureCause::malformed, "not a name for a group: " + identifier};
    NSURL* url =
        [NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:group];
    if (url == nil)
      return Failure{FailureCause::notFound, "the system has no container for " + identifier};
    std::string path = url.fileSystemRepresentation;
    path.resize(path.find_last_not_of('/') + 1);
    systemCalls().mkdir(path.c_str(), S_IRWXU);  // fails where there is one, which is usual
    return path;
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
