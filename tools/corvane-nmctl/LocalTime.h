#pragma once

#include <optional>
#include <string_view>

#include "VCommons/VCSDate.h"

/// Times as the clocks on the wall show them, in the time zone of this process.
namespace corvane::Nmctl::LocalTime {

using Date = VCSDate::Date;

/// The moment at which the clocks show what `wall` would show in UTC. An hour that they show twice,
/// in autumn, is the first one, unless that is over before `earliest`.
Date moment(Date wall, Date earliest = VCSDate::distantPast);

/// What people mean by `text`: a time that long ago ("90s", "10m", "2h", "1d"), or a date with or
/// without a time of day ("2024-03-05", "2024-03-05 14:07", "2024-03-05T14:07:09"). Nothing when it
/// is none of these.
std::optional<Date> since(std::string_view text, Date now);

}  // namespace corvane::Nmctl::LocalTime
