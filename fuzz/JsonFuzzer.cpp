#include "Base/Json.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/JsonComparison.h"

namespace {

using corvane::fuzzing::isFinite;
using corvane::fuzzing::isSame;
using corvane::fuzzing::require;

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
  if (!parsed->is_object() || !isFinite(*parsed)) return 0;
  const auto text = corvane::serializeJson(parsed->get_object());
  require(static_cast<bool>(text), "what was read can be written");
  const auto again = corvane::parseJson(*text);
  require(static_cast<bool>(again), "what was written can be read");
  require(isSame(parsed.value(), again.value()), "what was written reads back as the same");
  return 0;
}
