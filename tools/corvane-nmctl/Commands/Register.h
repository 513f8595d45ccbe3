#pragma once

#include <string>
#include <vector>

#include "Base/Json.h"
#include "tools/corvane-nmctl/Commands/Commands.h"

namespace corvane::Nmctl::Commands {

/// Does what the command `register` does, and reports it: lets these extensions, too, start the
/// host, each in those of the browsers that can have it. JSON gets the members of `json`, too.
void registerHost(Context& context, const Selection& selection,
                  const std::vector<std::string>& extensions, const JsonObject& json);

}  // namespace corvane::Nmctl::Commands
