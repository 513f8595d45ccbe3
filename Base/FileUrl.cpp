#include "Base/FileUrl.h"

namespace corvane {
namespace {

/// Whether `character` stands for itself in the path of a URL. Not ";", although the standard
/// allows it: some readers end the path there.
bool standsForItself(char character) {
  const bool isLetter =
      (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
  const bool isDigit = character >= '0' && character <= '9';
  return isLetter || isDigit ||
         std::string_view("-._~!$&'()*+,=:@/").find(character) != std::string_view::npos;
}

}  // namespace

std::string fileUrl(std::string_view path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string url = "file://";
  for (const char character : path) {
    if (standsForItself(character)) {
      url += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      url += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return url;
}

}  // namespace corvane
