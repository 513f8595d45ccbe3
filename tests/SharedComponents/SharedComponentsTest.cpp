#include <gtest/gtest.h>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "SharedComponents/GroupContainer.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace api = ExtensionBrowserApiConstants;
namespace fs = std::filesystem;

TEST(Vocabulary, EachWordStandsForItsCaseAndNothingElse) {
  EXPECT_EQ(api::rawValue(api::apiCommandOpenOriginalCert), "openOriginalCert");
  EXPECT_EQ(api::commandFromRawValue("updateApp"), api::apiCommandUpdateApp);
  EXPECT_EQ(api::browserApiCommandParam(api::ApiCommandParam::error), "error");
  EXPECT_EQ(api::certStatusFromRawValue("notfound"), api::CertStatus::notfound);
  for (const char* wrong : {"AppState", " appState", "getCurrentAppState", ""})
    EXPECT_FALSE(api::commandFromRawValue(wrong)) << wrong;
}

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

}  // namespace
}  // namespace corvane
