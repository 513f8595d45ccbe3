#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "SharedComponents/GroupContainer.h"
#include "SharedComponents/RequestSignalling.h"

namespace corvane {
namespace {

namespace api = ExtensionBrowserApiConstants;
namespace fs = std::filesystem;

TEST(Vocabulary, EachWordStandsForItsCaseAndNothingElse) {
  for (int i = 0; i <= api::apiCommandUpdateApp; ++i) {
    EXPECT_EQ(api::commandFromRawValue(api::rawValue(static_cast<api::Command>(i))), i);
  }
  EXPECT_EQ(api::rawValue(api::apiCommandOpenOriginalCert), "openOriginalCert");
  EXPECT_EQ(api::rawValue(api::apiCommandOpenFilteringLog), "openFilteringLog");
  EXPECT_EQ(api::rawValue(api::apiCommandUpdateApp), "updateApp");
  EXPECT_EQ(api::browserApiCommandParam(api::ApiCommandParam::error), "error");
  EXPECT_EQ(api::apiCommandParamFromRawValue("userAgent"), api::ApiCommandParam::userAgent);
  EXPECT_EQ(api::certStatusFromRawValue("notfound"), api::CertStatus::notfound);
  for (const char* wrong :
       {"AppState", "appstate", " appState", "getCurrentAppState", "init", ""}) {
    EXPECT_FALSE(api::commandFromRawValue(wrong)) << wrong;
  }
  EXPECT_FALSE(api::certStatusFromRawValue("notFound"));
}

class InFolder : public testing::Test {
 protected:
  InFolder()
      : folder_(fs::temp_directory_path() / ("corvane-shared-" + std::to_string(::getpid()))) {
    fs::remove_all(folder_);
    fs::create_directory(folder_);
  }
  ~InFolder() override { fs::remove_all(folder_); }

  const fs::path folder_;
};

TEST_F(InFolder, FoldersAreMadeOnceAndAFailureStands) {
  std::ofstream(folder_ / "Data") << "in the way";
  GroupContainer container(folder_.string(), "TEAM.group", "com.example.app");
  EXPECT_EQ(container.logsUrl(), (folder_ / "Logs/com.example.app").string());
  EXPECT_TRUE(fs::is_directory(folder_ / "Logs/com.example.app"));
  EXPECT_EQ(container.dataUrl(), std::nullopt);
  fs::remove(folder_ / "Data");
  EXPECT_EQ(container.dataUrl(), std::nullopt) << "the first outcome stands";
  fs::remove_all(folder_ / "Logs");
  EXPECT_TRUE(container.logsUrl());
  EXPECT_FALSE(fs::exists(folder_ / "Logs")) << "the disk is not asked again";
}

TEST_F(InFolder, HandlersAreReplacedKeptAndRemoved) {
  Platform::NotificationCenter center(folder_.string());
  DispatchQueue queue("SharedResourcesQueue");
  RequestSignalling signalling(center, queue, "com.example.app");
  EXPECT_EQ(signalling.notificationName(RequestResponseName::appState),
            "com.example.app.DARWIN_NOTIFICATION.appState");
  const fs::path sockets = folder_ / "Notifications/com.example.app.DARWIN_NOTIFICATION.appState";
  const auto entries = [&] {
    return fs::exists(sockets) ? std::distance(fs::directory_iterator(sockets), {}) : 0;
  };

  EXPECT_FALSE(signalling.handler(RequestResponseName::appState));
  int called = 0;
  signalling.setHandler(RequestResponseName::appState, [&] { called = 1; });
  const auto first = signalling.handler(RequestResponseName::appState);
  signalling.setHandler(RequestResponseName::appState, [&] { called = 2; });
  signalling.handler(RequestResponseName::appState)();
  EXPECT_EQ(called, 2);
  EXPECT_EQ(entries(), 1) << "one observer, however often the handler changes";
  signalling.setHandler(RequestResponseName::appState, first);
  signalling.handler(RequestResponseName::appState)();
  EXPECT_EQ(called, 1);
  signalling.setHandler(RequestResponseName::appState, {});
  EXPECT_FALSE(signalling.handler(RequestResponseName::appState));
  signalling.setHandler(RequestResponseName::ready, {});
  EXPECT_FALSE(signalling.handler(RequestResponseName::ready));
}

}  // namespace
}  // namespace corvane
