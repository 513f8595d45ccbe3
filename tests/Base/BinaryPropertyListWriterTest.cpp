#include "Base/BinaryPropertyListWriter.h"

#include <gtest/gtest.h>

#include <array>

#include "Base/BinaryPropertyList.h"

namespace corvane {
namespace {

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
  const auto addOfEachKind = [&] {
    return std::array<std::uint64_t, 5>{writer.addText("1"), writer.addInteger(1),
                                        writer.addReal(1.0), writer.addBoolean(true),
                                        writer.addUid(1)};
  };
  EXPECT_EQ(addOfEachKind(), (std::array<std::uint64_t, 5>{0, 1, 2, 3, 4}));
  EXPECT_EQ(addOfEachKind(), (std::array<std::uint64_t, 5>{0, 1, 2, 3, 4}));
  EXPECT_EQ(writer.objectCount(), 7U) << "copies of the last two that nothing refers to";
  EXPECT_EQ(writer.addUnsigned(1), 1U);
  EXPECT_EQ(writer.addTextOfItsOwn("1"), 7U);
}

}  // namespace
}  // namespace corvane
