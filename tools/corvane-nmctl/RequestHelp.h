#pragma once

#include <string>
#include <string_view>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"

/// What people read about the requests that the host answers.
namespace corvane::Nmctl {

/// What the request `command` is for, as the rest of a sentence that begins with "to".
std::string_view purposeOf(RequestProcessing::CommandId command);

/// The parameters of `command`, "url=TEXT port=NUMBER"; "" when it has none.
std::string usageOf(const RequestProcessing::BrowserCommand& command);

}  // namespace corvane::Nmctl
