#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Json.h"
#include "tools/corvane-nmctl/Commands/Commands.h"

namespace corvane::Nmctl::Commands {

/// Returns where `register` would write manifests for `selection`. Writes nothing. Returns nothing,
/// after saying why, when the host can't be started, no browser is found, or the selection makes no
/// sense.
std::optional<std::vector<Place>> placesToRegister(Context& context, const Selection& selection);

/// Whether any of the places can allow an extension with an identifier like this one.
bool canAllow(const std::vector<Place>& places, const std::string& identifier);

/// Registers the host at `places`, or with `isPlan` only shows how: lets these extensions, too,
/// start it, each at the places that can allow it. Reports each place that fails, and as text each
/// that succeeds. Returns those that succeed, as JSON.
boost::json::array registerHost(Context& context, const std::vector<Place>& places,
                                const std::vector<std::string>& extensions, bool isPlan);

}  // namespace corvane::Nmctl::Commands
