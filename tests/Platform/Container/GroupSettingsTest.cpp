#include "Platform/GroupSettings.h"

#include <gtest/gtest.h>

#include "Platform/GroupContainers.h"
#include "tests/Support/PropertyListBytes.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

using testing::propertyListOf;
using namespace std::string_literals;

/// A text object of at most 255 characters.
std::string text(const std::string& value) {
  return "\x5F\x10"s + static_cast<char>(value.size()) + value;
}

TEST(GroupContainers, AreNotMade) {
  for (int look = 0; look < 2; ++look)
    EXPECT_EQ(GroupContainers::directoryOf("nobody").failure().cause, FailureCause::notFound);
}

TEST(GroupSettings, GiveEveryKindAsAnInteger) {
  const testing::TemporaryFolder container;
  const std::pair<std::string, std::int64_t> cases[] = {
      {"\x09", 1},
      {"\x08", 0},
      {"\x10\xFF", 255},
      {"\x11\xFF\xFE", 65534},
      {"\x12\xFF\xFF\xFF\xFF", UINT32_MAX},
      {"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE", -2},
      {"\x14"s + std::string(15, '\0') + "\x05", 5},
      {"\x14"s + std::string(16, '\xFF'), INT64_MAX},
      {"\x22\xC0\x20\0\0"s, -2},                 // -2.5
      {"\x23\x43\xE0\0\0\0\0\0\0"s, INT64_MAX},  // 2^63
      {"\x23\xFF\xF0\0\0\0\0\0\0"s, INT64_MIN},  // minus infinity
      {"\x23\x7F\xF8\0\0\0\0\0\0"s, 0},          // not a number
      {text(" \t+31 apples"), 31},
      {text("9223372036854775808"), INT64_MAX},
      {text("-99999999999999999999"), INT64_MIN},
      {text("- 1"), 0},
      {text(""), 0},
      {"\x62\x00\x34\x00\x32"s, 42},
      {"\x42xy", 0},
      {"\xA0", 0},
  };
  for (const auto& [object, value] : cases) {
    testing::writeFile(container.path() / "Library/Preferences/a.group.plist",
                       propertyListOf({"\xD1\x01\x02", "\x51k", object}));
    const auto settings = GroupSettings::open(container.path().string(), "a.group");
    EXPECT_EQ(settings->integer("k"), value) << ::testing::PrintToString(object);
    EXPECT_EQ(settings->integer("other"), 0);
  }
}

}  // namespace
}  // namespace corvane::Platform
