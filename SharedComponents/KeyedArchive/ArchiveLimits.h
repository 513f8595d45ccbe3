#pragma once

#include <cstddef>

/// What an archive may ask of its reader. A few hundred bytes can refer to one another so often
/// that unfolded they would not fit in any memory; these bounds hold before anything is allocated.
namespace corvane::ArchiveLimits {

/// How many dictionaries, records and errors may stand inside one another, the root included.
/// Writer and reader keep it.
inline constexpr unsigned maximumDepth = 64;

/// How many keys and values there may be, shared ones counted at each use.
inline constexpr std::size_t maximumValues = 250'000;

/// How many bytes the texts may have, shared ones counted at each use: many times what stands in
/// the archive, but no more than that.
constexpr std::size_t maximumTextBytes(std::size_t archiveSize) {
  return 16 * archiveSize + (std::size_t{1} << 20);
}

/// How many fields may be looked at in search of those that count. Enough for the maximum of values
/// if each were an object of 16 fields.
inline constexpr std::size_t maximumFields = 16 * maximumValues;

}  // namespace corvane::ArchiveLimits
