#pragma once

#include <array>
#include <cstddef>

#include "Base/Bytes.h"

namespace corvane::Nmctl {

/// Returns the SHA-256 hash of `bytes` (FIPS 180-4, https://doi.org/10.6028/NIST.FIPS.180-4).
std::array<std::byte, 32> sha256(ByteView bytes);

}  // namespace corvane::Nmctl
