#include "Base/Uuid.h"

#include <sys/random.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace corvane {

std::string makeUuid() {
  // Not std::random_device, which may ask the processor instead of the system.
  std::array<unsigned char, 16> bytes{};
  if (::getentropy(bytes.data(), bytes.size()) != 0)
    throw std::runtime_error("the system gives no random bytes");
  bytes[6] = static_cast<unsigned char>(0x40 | (bytes[6] & 0x0F));  // version
  bytes[8] = static_cast<unsigned char>(0x80 | (bytes[8] & 0x3F));  // variant
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 0xF];
  }
  return text;
}

}  // namespace corvane
