#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Base/BinaryPropertyList.h"
#include "Base/Unicode.h"

namespace {

using corvane::BinaryPropertyList;

void require(bool condition) {
  if (!condition) std::abort();
}

/// Reads all that one object holds, and appends what it refers to.
void use(const BinaryPropertyList& list, const BinaryPropertyList::Object& object,
         std::vector<BinaryPropertyList::Index>& found) {
  using Kind = BinaryPropertyList::Kind;
  switch (object.kind) {
    case Kind::boolean:
      require(!object.boolean() || object.payload[0] == std::byte{9});
      break;
    case Kind::integer:
      require(!object.integer().isNegative || object.integer().nearestSigned() < 0);
      break;
    case Kind::real:
    case Kind::date:
      static_cast<void>(object.real());
      break;
    case Kind::data:
      require(object.payload.size() == object.count);
      break;
    case Kind::text:
      require(corvane::Unicode::isWellFormed(object.text(), corvane::Unicode::Surrogates::allowed));
      require(object.textEquals(object.text()));
      break;
    case Kind::uid:
      static_cast<void>(object.uid());
      break;
    case Kind::array:
      for (std::size_t i = 0; i < object.count; ++i) found.push_back(list.element(object, i));
      break;
    case Kind::dictionary:
      for (std::size_t i = 0; i < object.count; ++i) {
        found.push_back(list.key(object, i));
        found.push_back(list.value(object, i));
      }
      require(object.count == 0 || list.find(object, list.object(list.key(object, 0)).text()));
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto list = BinaryPropertyList::open(std::as_bytes(std::span(data, size)));
  if (!list) {
    require(!list.failure().text.empty());
    return 0;
  }
  constexpr std::size_t mostObjects = 4096;
  std::vector<BinaryPropertyList::Index> found;
  use(list.value(), list->top(), found);
  for (std::size_t i = 0; i < found.size() && i < mostObjects && found.size() < 16 * mostObjects;
       ++i) {
    use(list.value(), list->object(found[i]), found);
  }
  return 0;
}
