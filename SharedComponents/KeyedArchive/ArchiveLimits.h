#pragma once

#include <cstddef>

/// Bounds on the work and memory that an archive can cost its reader. Objects may be shared, so a
/// few hundred bytes of nested references can expand to more than any memory. Each bound is checked
/// before the memory is allocated. A violation makes the whole archive malformed.
namespace corvane::ArchiveLimits {

/// How deep dictionaries, records and errors may be nested, the root included. The archiver keeps
/// this limit, too.
inline constexpr unsigned maximumDepth = 64;

/// The number of keys and values in all dictionaries; shared ones count at each use.
inline constexpr std::size_t maximumValues = 250'000;

/// The number of bytes in all strings together; shared ones count at each use. 16 times the archive
/// plus 1 MiB: far more than honest archives need, and proportional to the input.
constexpr std::size_t maximumTextBytes(std::size_t archiveSize) {
  return 16 * archiveSize + (std::size_t{1} << 20);
}

/// The number of fields that may be searched for the known ones. Enough for the maximum number of
/// values if each is an object of 16 fields.
inline constexpr std::size_t maximumFields = 16 * maximumValues;

}  // namespace corvane::ArchiveLimits
