#pragma once

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/ArchiveLimits.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"

/// What the fuzzers of archives share.
namespace corvane::fuzzing {

/// What the host lets an archive hold.
inline constexpr const RecordClass* records[] = {&EBACurrentFilteringStateResponse::recordClass,
                                                 &EBAAppStateResponse::recordClass};
inline constexpr ArchivableClasses allClasses = {records, true};

/// The most memory that reading an archive of `size` bytes may take: no value, a class with its
/// fields included, takes more than 256 bytes beside its texts, and no text more than four times
/// its bytes.
inline std::size_t mostMemoryOfArchive(std::size_t size) {
  return 256 * ArchiveLimits::maximumValues + 4 * ArchiveLimits::maximumTextBytes(size);
}

}  // namespace corvane::fuzzing
