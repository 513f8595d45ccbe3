#include "tools/corvane-nmctl/Lookup.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/StandardStreams.h"
#include "tests/Support/TemporaryFolder.h"
#include "tools/corvane-nmctl/BrowserDoctor.h"
#include "tools/corvane-nmctl/Manifest.h"
#include "tools/corvane-nmctl/ManifestCheck.h"

namespace corvane::Nmctl {
namespace {

/// A machine of the test's own below one folder, without any browser.
class Machine : public ::testing::Test {
 protected:
  Machine() {
    Platform::ignoreSignalsOfWrites();
    surroundings_.home = root_ + "/home";
    surroundings_.configFolder = surroundings_.home + "/.config";
    surroundings_.systemRoot = root_;
    surroundings_.searchPath = {root_ + "/usr/bin", root_ + "/snap/bin"};
    surroundings_.hostPath = "/opt/corvane-nm";
  }

  void install(const std::string& program) {
    testing::writeFile(root_ + program, "");
    ::chmod((root_ + program).c_str(), 0755);
  }

  /// The beginning of what is found of `browser`: the state as a digit, and the cause.
  std::string found(const char* browser, const char* extension = "") {
    std::string result;
    const Selection selection{{browser}, {}, extension};
    for (const Finding& finding : examineBrowsers(selection, surroundings_, false))
      result += std::to_string(static_cast<int>(finding.state)) + finding.cause + "\n";
    return result;
  }

  /// Where `browser` ends its look: the host, or the cause of the fault.
  std::string lookUpIn(const char* browser) {
    const Browser& one = *findBrowser(browser);
    const Lookup lookup = lookUp(one, policiesOf(one, surroundings_), surroundings_);
    return lookup.fault ? lookup.fault->cause : lookup.hostPath;
  }

  const testing::TemporaryFolder folder_;
  const std::string root_ = folder_.path();
  Surroundings surroundings_;
};

TEST_F(Machine, NamesSandboxesAndStartsNothingThere) {
  install("/snap/bin/firefox");
  EXPECT_NE(found("firefox").find("1it is the Snap firefox"), std::string::npos);
  install("/home/.local/share/flatpak/exports/bin/com.vivaldi.Vivaldi");
  EXPECT_NE(found("vivaldi").find("1it is the Flatpak com.vivaldi.Vivaldi"), std::string::npos);
  install("/usr/bin/firefox");  // beside the Snap
  EXPECT_NE(found("firefox").find("1the host is not registered"), std::string::npos);
  EXPECT_NE(found("firefox").find("2it is here as the Snap firefox as well"), std::string::npos);
  testing::writeFile(root_ + "/usr/bin/firefox", "#!/bin/sh\nexec /snap/bin/firefox \"$@\"\n");
  EXPECT_NE(found("firefox").find("1it is the Snap firefox"), std::string::npos);
}

TEST_F(Machine, KnowsWhichSandboxesStartHostsThroughThePortal) {
  const auto startsHosts = [&](const char* browser) {
    return installationOf(*findBrowser(browser), surroundings_).startsHosts();
  };
  const auto isOfVersion = [&](const std::string& files, const char* version) {
    testing::writeFile(root_ + files + "/lib/firefox/application.ini",
                       std::string("[App]\nName=Firefox\nVersion=") + version + "\n");
  };
  install("/snap/bin/firefox");
  EXPECT_FALSE(startsHosts("firefox"));
  isOfVersion("/snap/firefox/current/usr", "156.0.2");
  EXPECT_FALSE(startsHosts("firefox"));
  isOfVersion("/snap/firefox/current/usr", "157.0");
  EXPECT_TRUE(startsHosts("firefox"));
  EXPECT_NE(found("firefox").find("1the host is not registered"), std::string::npos);
  EXPECT_NE(found("firefox").find("1it is the Snap firefox, which starts the host only through "
                                  "the desktop's portal, which is missing"),
            std::string::npos);
  install("/usr/share/dbus-1/services/org.freedesktop.portal.Desktop.service");
  EXPECT_NE(found("firefox").find("2it is the Snap firefox, which starts"), std::string::npos);
  install("/var/lib/flatpak/exports/bin/org.mozilla.firefox");
  EXPECT_FALSE(startsHosts("firefox"));
  isOfVersion("/var/lib/flatpak/app/org.mozilla.firefox/current/active/files", "160.0");
  EXPECT_TRUE(startsHosts("firefox"));
}

TEST_F(Machine, LooksWhereEachBrowserLooks) {
  const auto write = [&](const char* path, ManifestFormat format, const char* host) {
    testing::writeFile(root_ + path + std::string("/com.corvane.nm.json"),
                       manifestText(format, host));
  };
  testing::writeFile(root_ + "/home/.config/chromium/NativeMessagingHosts", "");
  EXPECT_NE(lookUpIn("chromium").find("NativeMessagingHosts is not a folder"), std::string::npos);
  write("/etc/opt/chrome/native-messaging-hosts", ManifestFormat::chromium, "/chrome/corvane-nm");
  EXPECT_NE(lookUpIn("chromium").find("not registered"), std::string::npos);
  for (const char* browser : {"chrome", "chrome-beta", "edge", "brave", "opera"})
    EXPECT_EQ(lookUpIn(browser), "/chrome/corvane-nm") << browser;
  write("/etc/opt/edge/native-messaging-hosts", ManifestFormat::chromium, "/edge/corvane-nm");
  EXPECT_EQ(lookUpIn("edge-dev"), "/edge/corvane-nm");
  EXPECT_NE(lookUpIn("chrome-for-testing").find("not registered"), std::string::npos);
  write("/etc/opt/chrome_for_testing/native-messaging-hosts", ManifestFormat::chromium,
        "/testing/corvane-nm");
  EXPECT_EQ(lookUpIn("chrome-for-testing"), "/testing/corvane-nm");
  write("/home/.config/BraveSoftware/Brave-Browser/NativeMessagingHosts", ManifestFormat::chromium,
        "/brave/corvane-nm");
  EXPECT_EQ(lookUpIn("brave"), "/brave/corvane-nm");
  write("/home/.mozilla/native-messaging-hosts", ManifestFormat::firefox, "/fox/corvane-nm");
  EXPECT_EQ(lookUpIn("zen"), "/fox/corvane-nm");
  EXPECT_NE(lookUpIn("librewolf").find("not registered"), std::string::npos);
}

TEST_F(Machine, FixesWithTheHostAndTheExtensionThatAreAskedFor) {
  const std::string path =
      surroundings_.configFolder + "/chromium/NativeMessagingHosts/com.corvane.nm.json";
  const auto fix = [&] {
    const std::string extension(32, 'a');
    return lookUp(*findBrowser("chromium"), {}, surroundings_, extension).fault->fix;
  };
  const std::string registering =
      "corvane-nmctl register --browser chromium --extension " + std::string(32, 'a');
  EXPECT_EQ(fix(), "install the package again, then run: " + registering);
  surroundings_.hostPath = "/bin/sh";
  EXPECT_EQ(fix(), "run: " + registering);
  testing::writeFile(path, "{");
  EXPECT_EQ(fix(), "run: " + registering);
  testing::writeFile(path, "{}");
  EXPECT_EQ(fix(), "run: mv -nT " + path + " " + path + ".broken && " + registering);
}

TEST_F(Machine, ObeysTheLastPolicyByName) {
  const auto policy = [&](const char* name, const char* text) {
    testing::writeFile(root_ + "/etc/chromium/policies/managed/" + name, text);
    return lookUpIn("chromium");
  };
  testing::writeFile(root_ + "/etc/chromium/native-messaging-hosts/com.corvane.nm.json",
                     manifestText(ManifestFormat::chromium, "/all/corvane-nm"));
  testing::writeFile(
      surroundings_.configFolder + "/chromium/NativeMessagingHosts/com.corvane.nm.json",
      manifestText(ManifestFormat::chromium, "/users/corvane-nm"));
  EXPECT_EQ(policy("10.json", "{not JSON"), "/users/corvane-nm");
  EXPECT_EQ(policy("20.json", "{\"NativeMessagingUserLevelHosts\": false, // commented\n}"),
            "/all/corvane-nm");
  EXPECT_EQ(policy("30.json", R"({"NativeMessagingUserLevelHosts": true})"), "/users/corvane-nm");
  EXPECT_NE(policy("40.json", R"({"NativeMessagingBlocklist": ["com.corvane.nm"]})")
                .find("managed/40.json"),
            std::string::npos);
  EXPECT_EQ(policy("50.json", R"({"NativeMessagingAllowlist": ["com.corvane.nm"]})"),
            "/users/corvane-nm");
  EXPECT_EQ(policy("50.json", R"({"NativeMessagingBlocklist": ["com.other"]})"),
            "/users/corvane-nm");
}

TEST_F(Machine, TellsHostsThatMisbehave) {
  const std::string host = root_ + "/bin/corvane-nm";
  testing::writeFile(surroundings_.home + "/.mozilla/native-messaging-hosts/com.corvane.nm.json",
                     manifestText(ManifestFormat::firefox, host));
  const auto saysOf = [&](const std::string& script) {
    testing::writeFile(host, "#!/bin/sh\n" + script);
    ::chmod(host.c_str(), 0755);
    return found("firefox");
  };
  EXPECT_EQ(found("firefox"), "1the host is missing: " + host + "\n");
  EXPECT_NE(found("firefox", "one@own").find("does not allow the extension one@own"),
            std::string::npos);
  EXPECT_EQ(saysOf("printf '\\2\\0\\0\\0{}'; cat >/dev/null"),
            "1the host writes something that is not a message: {}\n");
  EXPECT_EQ(saysOf("echo first >&2; echo why >&2; kill -9 $$"),
            "1the host stops before it answers (signal 9); it says: why\n");
  // What Firefox hands it, and where; its answer bears the version of another interface.
  EXPECT_EQ(saysOf(R"([ "$1" = ')" + surroundings_.home +
                   R"(/.mozilla/native-messaging-hosts/com.corvane.nm.json' ] &&
[ "$2" = corvane-nm-sample@corvane.example ] && [ "$PWD" = ')" +
                   root_ + R"(/bin' ] &&
reply='{"requestId":"corvane-nmctl 1","result":"error","parameters":{"apiVersion":"9"}}' &&
printf '\120\0\0\0%s' "$reply" && cat >/dev/null)"),
            "1the host speaks another version: 9\n");
}

}  // namespace
}  // namespace corvane::Nmctl
