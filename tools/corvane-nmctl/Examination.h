#pragma once

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Registration.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// Everything that the doctor finds: first of the browsers, then of the link.
Findings examineAll(const Selection& selection, const Surroundings& surroundings);

/// Returns `findings` with one for each cause: those of several browsers that one step fixes become
/// one.
Findings merged(const Findings& findings);

/// Whether nothing is wrong.
bool isAllWell(const Findings& findings);

}  // namespace corvane::Nmctl
