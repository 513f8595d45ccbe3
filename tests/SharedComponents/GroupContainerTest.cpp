#include "SharedComponents/GroupContainer.h"

#include <gtest/gtest.h>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

TEST(GroupContainer, MakesFoldersOnceAndAFailureStands) {
  const testing::TemporaryFolder folder;
  testing::writeFile(folder.path() / "Data", "in the way");
  GroupContainer container(folder.path().string(), "TEAM.group", "com.example.app");
  const fs::path logs = folder.path() / "Logs/com.example.app";
  EXPECT_EQ(container.logsUrl(), logs.string());
  EXPECT_EQ(container.dataUrl(), std::nullopt);
  EXPECT_TRUE(fs::remove(logs) && fs::remove(folder.path() / "Data"));
  EXPECT_EQ(container.dataUrl(), std::nullopt);
  EXPECT_TRUE(container.logsUrl());
  EXPECT_FALSE(fs::exists(logs)) << "the disk is not asked again";
}

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
