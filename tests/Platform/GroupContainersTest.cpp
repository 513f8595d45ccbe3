#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Linux/GroupContainerFolder.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

TEST(GroupContainers, OnlyAFolderOfOnesOwnThatNobodyElseMayChange) {
  const testing::TemporaryFolder home;
  const auto containers = home.path() / ".local/share/group-containers";
  testing::writeFile(containers / "a.file", "");
  std::filesystem::create_directories(containers / "a.group");
  const auto found = [&](const std::string& identifier, uid_t owner) {
    return groupContainerBelow(home.path().string(), identifier, owner).value_or("");
  };
  for (const auto& [mode, counts] : {std::pair(0755U, true), {0500U, true}, {0702U, false}}) {
    ASSERT_EQ(::chmod((containers / "a.group").c_str(), mode), 0);
    EXPECT_EQ(!found("a.group", ::geteuid()).empty(), counts) << std::oct << mode;
  }
  ASSERT_EQ(::chmod((containers / "a.group").c_str(), 0700), 0);
  EXPECT_EQ(found("a.group", ::geteuid()), (containers / "a.group").string());
  EXPECT_EQ(found("a.group", ::geteuid() + 1), "");
  for (const char* other : {"", ".", "..", "missing", "a.file", "a.group/", "../group-containers"})
    EXPECT_EQ(found(other, ::geteuid()), "") << other;
  EXPECT_FALSE(std::filesystem::exists(containers / "missing"));
}

}  // namespace
}  // namespace corvane::Platform
