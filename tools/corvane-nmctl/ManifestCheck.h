#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Json.h"
#include "Base/Result.h"
#include "tools/corvane-nmctl/Browsers.h"

namespace corvane::Nmctl {

/// What a browser makes of the text of a manifest.
struct CheckedManifest {
  std::optional<std::string> fault;  ///< why the browser does not take it; otherwise:
  std::string hostPath;              ///< the program that it names, a full path
  /// Why the extension may not use it, although the browser takes it; nothing when it may.
  std::optional<std::string> refusal;
};

/// Reads it by the rules of its format: those of the browsers themselves, measured where they
/// differ. `extension`, as `allowanceOf` gives it, is the one that is to be allowed; without it,
/// one of ours is.
CheckedManifest checkManifest(ManifestFormat format, std::string_view text,
                              const std::string& extension = {});

/// The JSON value that a browser of the format finds in `text`: Chromium takes comments, both take
/// a byte order mark.
Result<JsonValue> readManifest(ManifestFormat format, std::string_view text);

/// The extension `identifier` as a manifest of the format allows it: "chrome-extension://ID/", or
/// "ID". Nothing when it is no identifier of such a browser's.
std::optional<std::string> allowanceOf(ManifestFormat format, const std::string& identifier);

/// What the manifest `text` allows beside our extensions, as far as a browser takes it.
std::vector<std::string> otherAllowances(ManifestFormat format, std::string_view text);

/// The identifier that the browser gives to a host of the first extension of this build:
/// "chrome-extension://ID/", or "ID".
std::string extensionFor(ManifestFormat format);

}  // namespace corvane::Nmctl
