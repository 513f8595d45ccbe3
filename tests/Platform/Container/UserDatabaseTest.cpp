#include "Platform/Container/UserDatabase.h"

#include <gtest/gtest.h>

namespace corvane::Platform::UserDatabase {
namespace {

TEST(UserDatabase, SaysWhichSourcesAreAsked) {
  EXPECT_EQ(sourcesIn(""), Sources::fileOnly);
  EXPECT_EQ(sourcesIn("# passwd: sss\ngroup: sss\npasswd:\tfiles # all\n"), Sources::fileOnly);
  EXPECT_EQ(sourcesIn("passwd: sss\npasswd:  files systemd"), Sources::fileFirst);
  EXPECT_EQ(sourcesIn("passwd:sss"), Sources::others);
  EXPECT_EQ(sourcesIn("passwd files sss\npasswd_compat: nis"), Sources::fileFirst);
  EXPECT_EQ(sourcesIn("passwd: files [SUCCESS=continue] sss"), Sources::others);
  EXPECT_EQ(sourcesIn(" passwd: sss files"), Sources::others);
}

TEST(UserDatabase, FindsTheHomeOfAUser) {
  constexpr std::string_view text =
      "+:x:7:7::/nis:\n#old:x:7:7::/old:\nbad\n:x:7:7::/unnamed:\nb:x:7x:7::/b:\n"
      "first:x:7:8:A Name:/home/first:/bin/sh\nsecond:x:7:7::/home/second:\n"
      "none:x:8:8:::\nrelative:x:9:9::home:\nlast:x:4294967294:9::/last";
  EXPECT_EQ(homeIn(text, 7), "/home/first");
  EXPECT_EQ(homeIn(text, 8), "");
  EXPECT_EQ(homeIn(text, 9), "");
  EXPECT_EQ(homeIn(text, 4294967294), "/last");
  EXPECT_EQ(homeIn(text, 70), std::nullopt);
  EXPECT_EQ(homeIn("", 0), std::nullopt);
}

}  // namespace
}  // namespace corvane::Platform::UserDatabase
