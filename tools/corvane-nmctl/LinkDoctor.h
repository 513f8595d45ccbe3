#pragma once

#include <string>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/Link.h"

namespace corvane::Nmctl {

/// Whether no host can start, because of the container or the settings in it.
Findings examineFoundations(const Container& container);

/// What is to be said of the rest of the link: exchange files, main application, logs. Only with a
/// container that has no fault. Starts `hostPath` to see whether the main application answers.
Findings examineLink(const Container& container, const std::string& hostPath);

}  // namespace corvane::Nmctl
