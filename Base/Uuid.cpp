#include "Base/Uuid.h"

#include <string_view>

namespace corvane {

std::string uuidFrom(std::array<std::byte, 16> random) {
  random[6] = std::byte{0x40} | (random[6] & std::byte{0x0F});  // version
  random[8] = std::byte{0x80} | (random[8] & std::byte{0x3F});  // variant
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < random.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    const auto byte = std::to_integer<unsigned>(random[i]);
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace corvane
