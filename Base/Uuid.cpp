#include "Base/Uuid.h"

#include <random>
#include <string_view>

namespace corvane {

std::string makeUuid() {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text = "xxxxxxxx-xxxx-4xxx-vxxx-xxxxxxxxxxxx";
  std::random_device random;
  for (char& character : text) {
    if (character == 'x') character = digits[random() & 0xF];
    if (character == 'v') character = digits[8 | (random() & 0x3)];
  }
  return text;
}

}  // namespace corvane
