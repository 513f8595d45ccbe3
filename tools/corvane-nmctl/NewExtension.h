#pragma once

#include <string>

#include "Base/Result.h"

namespace corvane::Nmctl {

/// What browsers call an extension.
struct ExtensionIdentifiers {
  std::string chromium;  ///< Chromium and its relatives: made from "key" in its manifest
  std::string firefox;   ///< Firefox and its relatives: the "id" in its manifest
};

/// Writes an extension of identifiers of its own into `folder`, which is made unless it is there
/// and empty: a manifest, a background script, a popup and the client module. Fails when the folder
/// holds anything, or when a file can't be written; those written before stay.
Result<ExtensionIdentifiers> writeExtension(const std::string& folder);

}  // namespace corvane::Nmctl
