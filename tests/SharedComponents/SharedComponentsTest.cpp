#include <gtest/gtest.h>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "SharedComponents/GroupContainer.h"
#include "SharedComponents/RequestSignalling.h"
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

TEST(RequestSignalling, HandlersAreReplacedKeptAndRemoved) {
  const testing::TemporaryFolder folder;
  Platform::NotificationCenter center(folder.path().string());
  DispatchQueue queue("SharedResourcesQueue");
  RequestSignalling signalling(center, queue, "com.example.app");
  constexpr auto name = RequestResponseName::appState;
  int called = 0;
  for (const int i : {1, 2}) {
    signalling.setHandler(name, [&called, i] { called = i; });
    signalling.handler(name)();
    EXPECT_EQ(called, i);
  }
  const fs::path sockets = folder.path() / "Notifications" / signalling.notificationName(name);
  EXPECT_EQ(sockets.filename(), "com.example.app.DARWIN_NOTIFICATION.appState");
  EXPECT_EQ(std::distance(fs::directory_iterator(sockets), {}), 1) << "one observer for all";
  EXPECT_FALSE(signalling.handler(RequestResponseName::ready));
  signalling.setHandler(name, {});
  EXPECT_FALSE(signalling.handler(name));
}

}  // namespace
}  // namespace corvane
