#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/corvane-nmctl/Browsers.h"

namespace corvane::Nmctl {

/// The manifest that lets a browser of this format start the host `hostPath`, byte by byte. It
/// allows our extensions, and `others`, as the format writes them.
std::string manifestText(ManifestFormat format, std::string_view hostPath,
                         const std::vector<std::string>& others = {});

/// Whether the program `path` is called as the host is; a manifest for another is not ours.
bool isHostFile(std::string_view path);

/// The name under which every browser looks for it.
std::string manifestFileName();

/// What lies where a manifest of the host belongs.
struct FoundManifest {
  enum class State {
    absent,
    current,       ///< ours, as it would be written now, and the host that it names is there
    usable,        ///< ours and not what would be written now, but as good
    outdated,      ///< ours, but browsers refuse it, or the host that it names is missing
    damaged,       ///< no JSON, as when it was cut off: moved aside before one is written
    foreign,       ///< not ours: nobody here touches it
    notPermitted,  ///< it can't be said, as the system lets nobody look
  };

  State state = State::absent;
  std::string reason;    ///< for people: why it is foreign or outdated, or what the system said
  std::string hostPath;  ///< of ours: the program that it names
  std::vector<std::string> others = {};  ///< of ours: what it allows beside our extensions
  bool isAsWritten = false;  ///< byte by byte what would be written now, but for `others`
};

/// Looks at the file `path`, compares it with a manifest of `format` for `hostPath`. Ours is a
/// regular file, no link, that holds a JSON object with the host's name as "name" and, as "path", a
/// program called as the host is, in whatever folder: what this or an older installation wrote.
/// Comments are allowed where the browser allows them.
FoundManifest findManifest(const std::string& path, ManifestFormat format,
                           std::string_view hostPath);

/// One word for people and programs: "absent", "current", "usable", "outdated", "damaged",
/// "foreign", "not permitted".
std::string_view nameOf(FoundManifest::State state);

}  // namespace corvane::Nmctl
