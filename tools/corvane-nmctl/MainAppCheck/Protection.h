#pragma once

#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"

/// Whether the user is protected: read, and set back.
namespace corvane::Nmctl::MainAppCheck::Protection {

/// Ends the examination when the application does not say.
bool of(PlayedHost& host);

/// Sets it unless it is so.
void set(PlayedHost& host, bool isEnabled);

}  // namespace corvane::Nmctl::MainAppCheck::Protection
