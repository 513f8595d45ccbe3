#pragma once

#include <string>

namespace corvane {

/// A new random identifier in its text form, 36 characters, upper-case and hyphenated
/// (RFC 9562, https://www.rfc-editor.org/rfc/rfc9562, version 4).
std::string makeUuid();

}  // namespace corvane
