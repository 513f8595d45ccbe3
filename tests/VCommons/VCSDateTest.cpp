#include "VCommons/VCSDate.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

using std::chrono::milliseconds;
using VCSDate::Date;

TEST(VCSDate, WritesMomentsAndReadsThemAtAnyOffset) {
  const std::pair<long long, const char*> table[] = {
      {0, "1970-01-01T00:00:00.000+00:00"},
      {1709647629123, "2024-03-05T14:07:09.123+00:00"},
      {-1, "1969-12-31T23:59:59.999+00:00"},
      {-62135596800000, "0001-01-01T00:00:00.000+00:00"},
      {253402300799999, "9999-12-31T23:59:59.999+00:00"},
  };
  for (const auto& [sinceEpoch, text] : table)
    EXPECT_EQ(VCSDate::iso8601String(Date{milliseconds(sinceEpoch)}), text);
  EXPECT_TRUE(VCSDate::dateWithISO8601String("1969-12-31T19:00:00.000-05:00") == Date());
  for (const char* const tooShort : {"", "\xC3\xA9\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
    EXPECT_TRUE(VCSDate::dateWithISO8601String(tooShort) == VCSDate::distantPast) << tooShort;
  EXPECT_TRUE(VCSDate::dateWithISO8601String(std::nullopt) == VCSDate::distantPast);
  for (const char* const malformed :
       {"\xF0\x9F\x98\x80x", "2024-03-05T14:07:09.123", "2024-02-30T00:00:00.000+00:00",
        "2024-03-05T14:07:0x.123+00:00"})
    EXPECT_TRUE(VCSDate::dateWithISO8601String(malformed) == std::nullopt) << malformed;
}

}  // namespace
}  // namespace corvane
