#pragma once

namespace corvane {

/// The exception for an archive that can't be read or a value that can't be archived. Thrown inside
/// the archiver and the unarchiver only; their public functions turn it into a `Failure`.
struct MalformedArchive {
  const char* reason;  ///< for the log; a literal
};

}  // namespace corvane
