#pragma once

namespace corvane {

/// Why an archive can't be read, or a value not be archived. Thrown inside the archiver and the
/// unarchiver, which make a `Failure` of it; it never leaves them.
struct MalformedArchive {
  const char* reason;
};

}  // namespace corvane
