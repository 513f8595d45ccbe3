#include "Base/BinaryPropertyList.h"

#include <gtest/gtest.h>

#include "tests/Support/PropertyListBytes.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

using testing::contentOf;
using testing::propertyListOf;
using namespace std::string_literals;

const std::filesystem::path samples = std::filesystem::path(TEST_SAMPLES) / "propertylist";

/// Why `bytes` are refused; "" when they are not.
std::string refusal(const std::string& bytes) {
  const auto list = BinaryPropertyList::open(bytesOf(bytes));
  return list ? "" : list.failure().text;
}

TEST(BinaryPropertyList, RefusesEveryMalformedSampleAndEveryBeginningOfASoundOne) {
  int count = 0;
  for (const auto& file : std::filesystem::directory_iterator(samples / "malformed")) {
    EXPECT_NE(refusal(contentOf(file.path())), "") << file.path();
    ++count;
  }
  EXPECT_EQ(count, 18);
  for (const auto& file : std::filesystem::directory_iterator(samples / "golden")) {
    const std::string bytes = contentOf(file.path());
    EXPECT_EQ(refusal(bytes), "") << file.path();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      ASSERT_NE(refusal(bytes.substr(0, length)), "") << file.path() << " cut to " << length;
    }
  }
}

TEST(BinaryPropertyList, RefusesObjectsThatBreakTheFormat) {
  const std::pair<std::string, const char*> cases[] = {
      {"\x00"s, "marker"},
      {"\x13"s + std::string(7, 'x'), "cut off"},
      {"\x21xx", "real"},
      {"\x32xxxxxxxx", "marker"},
      {"\x52z\x80", "ASCII"},
      {"\x53yz", "longer"},
      {"\x62xxx", "longer"},
      {"\x5F\x50", "not an integer"},
      {"\x5F\x14"s + std::string(16, '\0'), "not an integer"},
      {"\x5F", "not an integer"},
      {"\x5F\x13\0\0"s, "cut off"},
      {"\xDF\x13\x80\0\0\0\0\0\0\0zzzz"s, "longer"},
      {"\x84\x01\0\0\0\0"s, "UID"},
      {"\xC1\0"s, "marker"},
  };
  for (const auto& [object, reason] : cases) {
    const std::string said = refusal(propertyListOf({object}));
    EXPECT_NE(said.find(reason), std::string::npos) << reason << ": " << said;
  }
}

TEST(BinaryPropertyList, BoundsDepthAndWorkButNotSharing) {
  const auto chain = [](int levels) {
    std::vector<std::string> objects;
    for (int i = 1; i < levels; ++i)
      objects.push_back("\xA2"s + std::string(2, static_cast<char>(i)));
    objects.emplace_back("\x09");
    return objects;
  };
  EXPECT_EQ(refusal(propertyListOf(chain(64))), "") << "2^63 values, all shared";
  EXPECT_NE(refusal(propertyListOf(chain(65))), "");
  auto shortcut = chain(70);
  shortcut[0] = "\xA2\x28\x01";  // the deep end is known before the long way to it is found
  EXPECT_NE(refusal(propertyListOf(shortcut)), "");

  std::vector<std::string> overlapping = {"\xAF\x10\xFA"s};  // 250 objects in the same 30,000 bytes
  for (int i = 1; i <= 250; ++i) overlapping[0] += static_cast<char>(i);
  for (int i = 1; i <= 250; ++i) overlapping.emplace_back("\x4F\x11\x70\0"s);
  overlapping.emplace_back(30000, 'x');
  EXPECT_NE(refusal(propertyListOf(overlapping)), "");
}

TEST(BinaryPropertyList, FindsByKeyWithEveryWidth) {
  for (unsigned width = 1; width <= 8; ++width) {
    std::string top = "\xD3";
    for (const unsigned reference : {1U, 2U, 1U, 3U, 4U, 4U})
      testing::appendBigEndian(top, reference, width);
    const std::string bytes = propertyListOf(
        {top, "\x51k", "\x61\x00\xE9"s, "\x10\x07", "\x85\0\0\xFF\0\0\x01"s}, width, width);
    const auto list = BinaryPropertyList::open(bytesOf(bytes)).value();
    EXPECT_EQ(list.find(list.top(), "k").integer().bits, 7U) << "the first of equal keys";
    EXPECT_EQ(list.find(list.top(), "\xC3\xA9").uid(), 0xFF000001U);
    EXPECT_FALSE(list.find(list.top(), "kk"));
  }
}

}  // namespace
}  // namespace corvane
