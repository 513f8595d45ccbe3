#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace corvane {

/// Returns a version 4 UUID as a string of 36 characters, upper-case and hyphenated (RFC 9562,
/// https://www.rfc-editor.org/rfc/rfc9562, section 5.4). The caller provides the 16 random bytes;
/// six of their bits are overwritten with version and variant. Equal bytes give equal UUIDs.
std::string uuidFrom(std::array<std::byte, 16> random);

}  // namespace corvane
