#include "Base/BinaryPropertyListWriter.h"

#include <gtest/gtest.h>

#include "Base/BinaryPropertyList.h"

namespace corvane {
namespace {

using namespace std::string_literals;

/// The bytes of the one object that `add` adds.
template <class Add>
std::string bytesOfOne(Add add) {
  BinaryPropertyListWriter writer(1);
  add(writer);
  const std::string list = writer.finish();
  return list.substr(8, list.size() - 8 - 1 - 32);
}

TEST(BinaryPropertyListWriter, WritesTheShortestFormOfEachKind) {
  const std::pair<std::int64_t, std::string> integers[] = {
      {0, "\x10\0"s},
      {255, "\x10\xFF"},
      {256, "\x11\x01\0"s},
      {65536, "\x12\0\x01\0\0"s},
      {std::int64_t{1} << 32, "\x13\0\0\0\x01\0\0\0\0"s},
      {-1, "\x13"s + std::string(8, '\xFF')},
  };
  for (const auto& [integer, bytes] : integers)
    EXPECT_EQ(bytesOfOne([value = integer](auto& writer) { writer.addInteger(value); }), bytes)
        << integer;
  EXPECT_EQ(bytesOfOne([](auto& writer) { writer.addUnsigned(UINT64_MAX); }),
            "\x14"s + std::string(8, '\0') + std::string(8, '\xFF'));
  EXPECT_EQ(bytesOfOne([](auto& writer) { writer.addUid(256); }), "\x81\x01\0"s);
  EXPECT_EQ(bytesOfOne([](auto& writer) { writer.addUid(65536); }), "\x83\0\x01\0\0"s);
  EXPECT_EQ(bytesOfOne([](auto& writer) { writer.addText("aaaaaaaaaaaaaaa"); }),
            "\x5F\x10\x0F"
            "aaaaaaaaaaaaaaa");
  EXPECT_EQ(bytesOfOne([](auto& writer) { writer.addText("a\xF0\x9F\x98\x80\xED\xA0\x80"); }),
            "\x64\0a\xD8\x3D\xDE\0\xD8\0"s);
}

TEST(BinaryPropertyListWriter, WidthsFollowFromObjectCountAndTableOffset) {
  for (const std::size_t count : {254U, 255U}) {  // with the array, 255 and 256 objects
    BinaryPropertyListWriter writer(1);
    const auto array = writer.addArray(count);
    for (std::size_t i = 0; i < count; ++i)
      writer.setElement(array, i, writer.addInteger(static_cast<std::int64_t>(i)));
    EXPECT_EQ(writer.referenceWidthSuffices(), count == 254);
  }
  for (const std::size_t length : {244U, 245U}) {  // the table begins at 255 and at 256
    BinaryPropertyListWriter writer(1);
    writer.addText(std::string(length, 'x'));
    const std::string list = writer.finish();
    EXPECT_EQ(list[list.size() - 26], length == 244 ? 1 : 2);
    EXPECT_EQ(BinaryPropertyList::open(bytesOf(list))->top().count, length);
  }
}

TEST(BinaryPropertyListWriter, SharesWhatIsEqualButNeverAcrossKinds) {
  BinaryPropertyListWriter writer(1);
  EXPECT_EQ(writer.addText("1"), 0U);
  EXPECT_EQ(writer.addInteger(1), 1U);
  EXPECT_EQ(writer.addReal(1.0), 2U);
  EXPECT_EQ(writer.addBoolean(true), 3U);
  EXPECT_EQ(writer.addUid(1), 4U);
  EXPECT_EQ(writer.objectCount(), 5U);
  EXPECT_EQ(writer.addText("1"), 0U);
  EXPECT_EQ(writer.addUnsigned(1), 1U);
  EXPECT_EQ(writer.addReal(1.0), 2U);
  EXPECT_EQ(writer.objectCount(), 5U);
  EXPECT_EQ(writer.addBoolean(true), 3U);
  EXPECT_EQ(writer.addUid(1), 4U);
  EXPECT_EQ(writer.objectCount(), 7U) << "copies that nothing refers to";
  EXPECT_EQ(writer.addTextOfItsOwn("1"), 7U);
  EXPECT_EQ(writer.addText("1"), 0U);
}

}  // namespace
}  // namespace corvane
