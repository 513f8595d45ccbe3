#pragma once

#include <string>
#include <vector>

namespace corvane::testing {

/// Appends the `width` lowest bytes of `value`, the highest of them first.
inline void appendBigEndian(std::string& bytes, unsigned long long value, unsigned width) {
  for (unsigned i = width; i-- > 0;)
    bytes += static_cast<char>(i < 8 ? value >> (8 * i) & 0xFF : 0);
}

/// A binary property list of the encoded `objects`, of which the first is the top. References in
/// them have `referenceWidth` bytes.
inline std::string propertyListOf(const std::vector<std::string>& objects,
                                  unsigned referenceWidth = 1, unsigned offsetWidth = 2) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    appendBigEndian(table, bytes.size(), offsetWidth);
    bytes += object;
  }
  const std::size_t tableStart = bytes.size();
  bytes += table + std::string(6, '\0');
  appendBigEndian(bytes, offsetWidth, 1);
  appendBigEndian(bytes, referenceWidth, 1);
  appendBigEndian(bytes, objects.size(), 8);
  appendBigEndian(bytes, 0, 8);
  appendBigEndian(bytes, tableStart, 8);
  return bytes;
}

}  // namespace corvane::testing
