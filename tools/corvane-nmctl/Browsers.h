#pragma once

#include <span>
#include <string_view>

namespace corvane::Nmctl {

/// Which of the two formats of manifests a browser reads.
enum class ManifestFormat {
  chromium,  ///< "allowed_origins"
  firefox,   ///< "allowed_extensions", and not one key that it does not know
};

/// One browser that can start the host, as packaging/native-messaging/browsers.json has it for this
/// system. Paths of folders may begin with "~" or "$CONFIG"; see Surroundings::expanded.
struct Browser {
  std::string_view name;   ///< what people type: "chrome-beta"
  std::string_view title;  ///< what people read: "Chrome Beta"
  ManifestFormat format;
  bool isMeasured;  ///< whether these places were seen in use; otherwise they are reported
  /// Where it looks for manifests, in this order: the user's folders before the system's.
  std::span<const std::string_view> userFolders;
  std::span<const std::string_view> systemFolders;
  std::span<const std::string_view> policyFolders;  ///< files that an administrator wrote
  std::span<const std::string_view> executables;    ///< names in the search path, or full paths
  /// Names of sandboxed packages of it, which can't start programs of the machine themselves.
  std::span<const std::string_view> flatpaks;
  std::span<const std::string_view> snaps;
  /// From this version on those start hosts through the desktop's portal; 0: no version does.
  int portalFrom;
};

/// All browsers of the table, in its order.
std::span<const Browser> browsers();

/// The browser `name`, or nullptr when the table has none of that name.
const Browser* findBrowser(std::string_view name);

}  // namespace corvane::Nmctl
