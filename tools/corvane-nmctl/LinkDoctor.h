#pragma once

#include <string>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/OwnTrials.h"

namespace corvane::Nmctl {

/// What is to be said of all without which no host can work: the container, and with it the
/// settings and the exchange files.
Findings examineFoundations(const Container& container);

/// What is to be said of the rest, which needs sound foundations: of the main application, which
/// the host `hostPath` is started to ask, and of the logs, except for the errors of `trials`.
Findings examineApplicationAndLogs(const Container& container, const std::string& hostPath,
                                   const OwnTrials& trials);

}  // namespace corvane::Nmctl
