#include <algorithm>
#include <cmath>

#include "Base/Json.h"
#include "fuzz/Fuzzing.h"

namespace {

using corvane::fuzzing::require;

/// Equal, except that reals may differ in their last places: the parser does not round them
/// exactly.
bool isSame(const corvane::JsonValue& left, const corvane::JsonValue& right) {
  if (left.is_double() && right.is_double()) {
    const double difference = std::abs(left.get_double() - right.get_double());
    return difference <= 1e-14 * std::abs(left.get_double()) || difference < 1e-300;
  }
  if (left.is_array() && right.is_array()) {
    const auto& elements = left.get_array();
    return std::equal(elements.begin(), elements.end(), right.get_array().begin(),
                      right.get_array().end(), isSame);
  }
  if (!left.is_object() || !right.is_object()) return left == right;
  const auto& members = left.get_object();
  return members.size() == right.get_object().size() &&
         std::all_of(members.begin(), members.end(), [&](const auto& member) {
           const auto* other = right.get_object().if_contains(member.key());
           return other != nullptr && isSame(member.value(), *other);
         });
}

}  // namespace

/// What was read and written must read back as the same values. A value takes 24 bytes where its
/// text may take 2; arrays grow by doubling, and texts that hold escapes may be parsed twice.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const corvane::fuzzing::MemoryBound bound(65536 + 128 * size);
  const auto parsed = corvane::parseJson(corvane::fuzzing::textOf(data, size));
  if (!parsed) {
    require(!parsed.failure().text.empty(), "a failure says why");
    return 0;
  }
  if (!parsed->is_object() || !corvane::isValidJsonObject(parsed->get_object())) return 0;
  const auto text = corvane::serializeJson(parsed->get_object());
  require(static_cast<bool>(text), "what was read can be written");
  const auto again = corvane::parseJson(text->view());
  require(static_cast<bool>(again), "what was written can be read");
  require(isSame(parsed.value(), again.value()), "what was written reads back as the same");
  return 0;
}
