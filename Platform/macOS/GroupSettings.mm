#include "Platform/GroupSettings.h"

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

namespace corvane::Platform {

struct GroupSettings::Store {
  NSUserDefaults* defaults;
};

Result<GroupSettings> GroupSettings::open(const std::string& /*containerDirectory*/,
                                          const std::string& groupIdentifier) {
  @autoreleasepool {
    // Without a name the system would give this process's own settings.
    NSString* suite = [NSString stringWithUTF8String:groupIdentifier.c_str()];
    if (suite == nil || groupIdentifier.empty())
      return Failure{FailureCause::malformed, "no name for settings: " + groupIdentifier};
    NSUserDefaults* defaults = [[NSUserDefaults alloc] initWithSuiteName:suite];
    if (defaults == nil)
      return Failure{FailureCause::notPermitted, "no settings can be had for " + groupIdentifier};
    return GroupSettings(std::make_shared<const Store>(Store{defaults}));
  }
}

std::int64_t GroupSettings::integer(const std::string& key) const {
  @autoreleasepool {
    NSString* name = [NSString stringWithUTF8String:key.c_str()];
    return name == nil ? 0 : [store_->defaults integerForKey:name];
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
