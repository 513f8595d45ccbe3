#include "Platform/Random.h"

#include <stdexcept>

#include "Platform/SystemCalls.h"

namespace corvane::Platform {

/// Not with std::random_device, which may use an instruction of the processor instead of the
/// system.
void randomBytes(std::span<std::byte> bytes) {
  if (systemCalls().getentropy(bytes.data(), bytes.size()) != 0)
    throw std::runtime_error("the system gives no random bytes");
}

}  // namespace corvane::Platform
