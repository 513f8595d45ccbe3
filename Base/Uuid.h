#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace corvane {

/// Returns the UUID made from `random` as a string: 36 characters, upper-case and
/// hyphenated (RFC 9562, https://www.rfc-editor.org/rfc/rfc9562, version 4; six of the bits are the
/// version and the variant).
std::string uuidFrom(std::array<std::byte, 16> random);

}  // namespace corvane
