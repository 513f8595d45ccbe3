#include <bit>
#include <optional>

#include "Base/BinaryPropertyList.h"
#include "Base/BinaryPropertyListWriter.h"
#include "Base/Unicode.h"
#include "fuzz/Fuzzing.h"

namespace {

using corvane::BinaryPropertyList;
using corvane::BinaryPropertyListWriter;
using corvane::fuzzing::require;
using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

/// How many objects are looked at, shared ones counted at each use.
constexpr std::size_t mostObjects = 4096;

/// Reads all that one object holds.
void use(const BinaryPropertyList& list, const Object& object) {
  switch (object.kind) {
    case Kind::boolean:
      require(!object.boolean() || *object.start == std::byte{9}, "9 alone is true");
      break;
    case Kind::integer:
      require(!object.integer().isNegative || object.integer().nearestSigned() < 0,
              "a negative integer is below 0");
      break;
    case Kind::data:
      require(object.payload().size() == object.count, "the payload is the data");
      break;
    case Kind::text:
      require(corvane::Unicode::isWellFormed(object.text(), corvane::Unicode::Surrogates::allowed),
              "a text is well formed");
      require(object.textEquals(object.text()), "a text equals itself");
      break;
    case Kind::dictionary:
      require(object.count == 0 ||
                  static_cast<bool>(list.find(object, list.object(list.key(object, 0)).text())),
              "the first key is found");
      break;
    default:
      break;
  }
}

/// Writes a list anew, and compares it with what comes out.
class Copy {
 public:
  Copy(const BinaryPropertyList& list, std::size_t referenceWidth)
      : list_(list), writer_(referenceWidth) {}

  /// Nothing when there is something in the list that the writer has no operation for, when there
  /// are more objects than are looked at, or when references need more bytes.
  std::optional<std::string> bytes() {
    add(list_.top());
    if (!isWritable_ || !writer_.referenceWidthSuffices()) return std::nullopt;
    return writer_.finish();
  }

 private:
  BinaryPropertyListWriter::Index add(const Object& object) {
    if (++objects_ > mostObjects) isWritable_ = false;
    if (!isWritable_) return 0;
    use(list_, object);
    switch (object.kind) {
      case Kind::boolean:
        return writer_.addBoolean(object.boolean());
      case Kind::integer:
        return object.integer().isNegative ? writer_.addInteger(object.integer().nearestSigned())
                                           : writer_.addUnsigned(object.integer().bits);
      case Kind::real:
        return writer_.addReal(object.real());
      case Kind::text:
        return writer_.addText(object.text());
      case Kind::uid:
        isWritable_ = isWritable_ && object.uid() <= UINT16_MAX;  // see the writer's memory
        return isWritable_ ? writer_.addUid(object.uid()) : 0;
      case Kind::array:
        return addArray(object);
      case Kind::dictionary:
        return addDictionary(object);
      default:
        isWritable_ = false;
        return 0;
    }
  }

  BinaryPropertyListWriter::Index addArray(const Object& object) {
    const auto made = writer_.addArray(isRoomFor(object.count) ? object.count : 0);
    for (std::size_t i = 0; i < object.count && isWritable_; ++i)
      writer_.setElement(made, i, add(list_.object(list_.element(object, i))));
    return made.index;
  }

  BinaryPropertyListWriter::Index addDictionary(const Object& object) {
    const auto made = writer_.addDictionary(isRoomFor(object.count) ? object.count : 0);
    for (std::size_t i = 0; i < object.count && isWritable_; ++i) {
      writer_.setKey(made, i, add(list_.object(list_.key(object, i))));
      writer_.setValue(made, i, add(list_.object(list_.value(object, i))));
    }
    return made.index;
  }

  bool isRoomFor(std::size_t count) {
    if (count > mostObjects) isWritable_ = false;
    return isWritable_;
  }

  const BinaryPropertyList& list_;
  BinaryPropertyListWriter writer_;
  std::size_t objects_ = 0;
  bool isWritable_ = true;
};

bool isSame(const BinaryPropertyList& left, const Object& one, const BinaryPropertyList& right,
            const Object& other) {
  if (one.kind != other.kind) return false;
  if (one.kind == Kind::text) return one.text() == other.text();
  if (one.count != other.count) return false;
  const auto areSame = [&](auto part) {
    for (std::size_t i = 0; i < one.count; ++i) {
      if (!isSame(left, left.object((left.*part)(one, i)), right,
                  right.object((right.*part)(other, i))))
        return false;
    }
    return true;
  };
  switch (one.kind) {
    case Kind::boolean:
      return one.boolean() == other.boolean();
    case Kind::integer:
      return one.integer().bits == other.integer().bits &&
             one.integer().isNegative == other.integer().isNegative;
    case Kind::real:
      return std::bit_cast<std::uint64_t>(one.real()) == std::bit_cast<std::uint64_t>(other.real());
    case Kind::uid:
      return one.uid() == other.uid();
    case Kind::array:
      return areSame(&BinaryPropertyList::element);
    case Kind::dictionary:
      return areSame(&BinaryPropertyList::key) && areSame(&BinaryPropertyList::value);
    default:
      return false;
  }
}

corvane::Result<BinaryPropertyList> opened(corvane::ByteView bytes) {
  // An object has one byte at least, in the table of offsets.
  const corvane::fuzzing::MemoryBound bound(1024 + sizeof(Object) * bytes.size());
  return BinaryPropertyList::open(bytes);
}

}  // namespace

/// What was read and written must read back as the same objects.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto list = opened(corvane::fuzzing::bytesOf(data, size));
  if (!list) {
    require(!list.failure().text.empty(), "a failure says why");
    return 0;
  }
  for (const std::size_t referenceWidth : {1U, 2U}) {
    const auto written = Copy(list.value(), referenceWidth).bytes();
    if (!written) continue;
    const auto again = opened(corvane::bytesOf(*written));
    require(static_cast<bool>(again), "what was written can be read");
    require(isSame(list.value(), list->top(), again.value(), again->top()),
            "what was written reads back as the same");
  }
  return 0;
}
