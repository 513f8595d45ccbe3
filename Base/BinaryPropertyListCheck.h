#pragma once

#include <cstdint>
#include <vector>

#include "Base/BinaryPropertyList.h"

namespace corvane {

/// The check behind `BinaryPropertyList::open`: walks once over every object that can be reached
/// from the top. A part of that class, of no use elsewhere; lives for one call.
class BinaryPropertyListCheck {
 public:
  /// `list`: trailer and offsets are sound already.
  explicit BinaryPropertyListCheck(const BinaryPropertyList& list);

  /// Fails with `malformed` and a reason.
  Result<Done> checkAll();

 private:
  using Index = BinaryPropertyList::Index;
  using Object = BinaryPropertyList::Object;
  using Fault = BinaryPropertyList::Fault;

  Fault measure(Index index, unsigned depth, unsigned& height);
  Fault measureBelow(const Object& object, unsigned depth, unsigned& height);
  Fault checkContent(const Object& object);

  const BinaryPropertyList& list_;
  std::vector<std::uint8_t>
      heights_;  // of each object: levels from it down, or one of the marks in the source
  std::uint64_t bytesLeft_;  // how many more bytes of objects may be looked at
};

}  // namespace corvane
