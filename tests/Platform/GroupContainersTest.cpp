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
  const std::string path = (containers / "a.group").string();
  const auto found = [&](const std::string& identifier, uid_t owner) {
    return groupContainerBelow(home.path().string(), identifier, owner).value_or("");
  };
  const struct {
    mode_t mode;
    bool counts;
  } modes[] = {{0700, true}, {0755, true}, {0500, true}, {0770, false}, {0702, false}};
  for (const auto& [mode, counts] : modes) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    EXPECT_EQ(found("a.group", ::geteuid()), counts ? path : "") << std::oct << mode;
  }
  ASSERT_EQ(::chmod(path.c_str(), 0700), 0);
  EXPECT_EQ(found("a.group", ::geteuid() + 1), "");
  for (const char* identifier :
       {"", ".", "..", "missing", "a.file", "a.group/", "../group-containers"}) {
    EXPECT_EQ(found(identifier, ::geteuid()), "") << identifier;
  }
  EXPECT_FALSE(std::filesystem::exists(containers / "missing"));
}

}  // namespace
}  // namespace corvane::Platform
