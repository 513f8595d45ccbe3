#include "SharedComponents/GroupContainer.h"

#include <gtest/gtest.h>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

TEST(GroupContainer, NoFolderIsALink) {
  const testing::TemporaryFolder folder;
  fs::create_directories(folder.path() / "elsewhere/com.example.app");
  for (const char* name : {"Data", "Logs"})
    fs::create_directory_symlink("elsewhere", folder.path() / name);
  GroupContainer container(folder.path().string(), "TEAM.group", "com.example.app");
  EXPECT_EQ(container.logsUrl(), std::nullopt);
  EXPECT_EQ(container.dataUrl(), std::nullopt);
}

}  // namespace
}  // namespace corvane
