#include "VCommons/VCSDate.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

using std::chrono::milliseconds;
using VCSDate::Date;

TEST(VCSDate, WritesAndReadsBackTheSameMoment) {
  const struct {
    long long sinceEpoch;
    const char* text;
  } table[] = {
      {0, "1970-01-01T00:00:00.000+00:00"},
      {1709647629123, "2024-03-05T14:07:09.123+00:00"},
      {1709251199999, "2024-02-29T23:59:59.999+00:00"},
      {-1, "1969-12-31T23:59:59.999+00:00"},
      {-2203891200000, "1900-03-01T00:00:00.000+00:00"},
      {-62135596800000, "0001-01-01T00:00:00.000+00:00"},
      {253402300799999, "9999-12-31T23:59:59.999+00:00"},
  };
  for (const auto& row : table) {
    const Date date{milliseconds(row.sinceEpoch)};
    EXPECT_EQ(VCSDate::iso8601String(date), row.text);
    EXPECT_TRUE(VCSDate::dateWithISO8601String(row.text) == date) << row.text;
  }
}

TEST(VCSDate, ReadsOffsetsAndRefusesOtherForms) {
  const auto beyond = VCSDate::dateWithISO8601String("9999-12-31T23:59:59.999-02:00");
  ASSERT_TRUE(beyond);
  EXPECT_EQ(VCSDate::iso8601String(*beyond), "10000-01-01T01:59:59.999+00:00");
  EXPECT_TRUE(VCSDate::dateWithISO8601String("1970-01-01T02:30:00.000+02:30") == Date());
  EXPECT_TRUE(VCSDate::dateWithISO8601String("1969-12-31T19:00:00.000-05:00") == Date());
  for (const char* const tooShort : {"", "Z", "+0"})
    EXPECT_TRUE(VCSDate::dateWithISO8601String(tooShort) == VCSDate::distantPast);
  EXPECT_TRUE(VCSDate::dateWithISO8601String(std::nullopt) == VCSDate::distantPast);
  for (const char* const malformed :
       {"abc", "2024-03-05", "2024-03-05T14:07:09.123", "2024-03-05T14:07:09.123+0000",
        "2024-02-30T00:00:00.000+00:00", "2024-13-01T00:00:00.000+00:00",
        "2024-03-05T24:00:00.000+00:00", "2024-03-05T14:07:60.000+00:00",
        "2024-03-05 14:07:09.123+00:00", "2024-03-05T14:07:09.123+24:00",
        "2024-03-05T14:07:09.123 00:00", "0000-03-05T14:07:09.123+00:00",
        "2024-03-05T14:07:0x.123+00:00", "2024-03-05T14:07:09.123+00:00 "}) {
    EXPECT_TRUE(VCSDate::dateWithISO8601String(malformed) == std::nullopt) << malformed;
  }
}

}  // namespace
}  // namespace corvane
