#pragma once

#include <string>

namespace corvane {

/// A new random identifier in its text form, 36 characters, upper-case and hyphenated
/// (RFC 9562, https://www.rfc-editor.org/rfc/rfc9562, version 4). The random bits are the system's
/// (getentropy(3)); throws std::runtime_error if it has no such call, which stops the host.
/// Thread-safe.
std::string makeUuid();

}  // namespace corvane
