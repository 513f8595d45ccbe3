#pragma once

#include <optional>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Registration.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// What is to be said of each of the selected browsers, or of each that is installed here: whether
/// it finds the host, can start it and gets an answer from it. `linkIsBroken`: the host can't work
/// because of the link, of which the caller speaks; that it stops or is mute has no cause of its
/// own then.
Findings examineBrowsers(const Selection& selection, const Surroundings& surroundings,
                         bool linkIsBroken);

}  // namespace corvane::Nmctl
