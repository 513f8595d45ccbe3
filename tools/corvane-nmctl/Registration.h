#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Base/Result.h"
#include "tools/corvane-nmctl/Browsers.h"
#include "tools/corvane-nmctl/Manifest.h"
#include "tools/corvane-nmctl/Surroundings.h"

namespace corvane::Nmctl {

/// Which places a command is to deal with, as the command line says it.
struct Selection {
  std::vector<std::string> browsers;  ///< names of the table; none: as the command decides
  std::string folder = {};            ///< this one instead of those of the table; "": theirs
  std::string extension = {};  ///< the identifier of the one that is to use the host; "": ours
};

/// A place for one manifest; several browsers may read it.
struct Place {
  std::vector<const Browser*> browsers;
  ManifestFormat format;
  std::string folder;
  bool isUsers;  ///< whether it is one user's, not the system's

  [[nodiscard]] std::string path() const { return folder + "/" + manifestFileName(); }
  /// "Chromium, Vivaldi".
  [[nodiscard]] std::string titles() const;
};

enum class Level { user, all };

/// The places of the selected browsers, each folder once, links to folders followed; when none is
/// selected, those of all. A folder that the selection names is taken with the format of its one
/// browser. Fails when a name is not in the table, or when there is a folder and not one browser.
Result<std::vector<Place>> placesOf(const Selection& selection, const Surroundings& surroundings,
                                    Level level);

/// What is at a place now, compared with a manifest for the host of these surroundings.
FoundManifest lookAt(const Place& place, const Surroundings& surroundings);

/// What `carryOut` would do, to the byte.
struct Plan {
  std::vector<std::string> folders;  ///< that it would make, the highest first
  mode_t folderMode = 0;
  struct NewFile {
    std::string path;
    std::string text;
    mode_t mode;
  };
  std::vector<NewFile> files;       ///< that it would write; none when all is as it should be
  std::string aside;                ///< new path of the damaged file; empty if there is none
  std::vector<std::string> others;  ///< what is allowed beside our extensions
};

/// Plans a registration that allows `identifiers`, as far as they are of the place's format, beside
/// our extensions and what was allowed there before. Fails, and says who could do it, when the
/// folder, or what there is of the way to it, belongs to another user, and when what is there is
/// not ours. Does not look whether the host is there.
Result<Plan> planFor(const Place& place, const Surroundings& surroundings,
                     const std::vector<std::string>& identifiers = {});

/// A name beside `path` that is free, for what is moved out of the way.
std::string asideOf(const std::string& path);

/// Carries the plan out; the manifest last and by renaming. A damaged one keeps its text as
/// `plan.aside`. Fails without writing if a file of that name was made meanwhile.
Result<Done> carryOut(const Plan& plan, const Place& place);

/// Removes our manifest, and the folders that were made for it; a damaged one is moved aside.
/// False when there was none of ours. Fails as planFor does.
Result<bool> unregisterAt(const Place& place, const Surroundings& surroundings);

}  // namespace corvane::Nmctl
