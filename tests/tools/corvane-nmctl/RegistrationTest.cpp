#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "tests/Support/TemporaryFolder.h"
#include "tools/corvane-nmctl/Commands/CommandLine.h"

namespace corvane::Nmctl {
namespace {

namespace fs = std::filesystem;

/// A home of the test's own, with every browser of the table as good as installed.
class Registration : public ::testing::Test {
 protected:
  int run(std::vector<const char*> arguments) { return run(std::move(arguments), host("a \"b\"")); }

  int run(std::vector<const char*> arguments, const std::string& host) {
    arguments.insert(arguments.begin(), "corvane-nmctl");
    Context context;
    context.surroundings.user = ::geteuid();
    context.surroundings.home = home_;
    context.surroundings.configFolder = home_ + "/.config";
    context.surroundings.systemRoot = home_ + "/system";
    context.surroundings.hostPath = host;
    return Nmctl::run(static_cast<int>(arguments.size()), arguments.data(), context);
  }

  /// A host in a folder of this name.
  std::string host(const std::string& folder) {
    std::string path = programs_.path() / folder / "corvane-nm";
    testing::writeFile(path, "");
    ::chmod(path.c_str(), 0755);
    return path;
  }

  /// Everything in the home: what a file holds, "/" for a folder.
  std::map<std::string, std::string> tree() const {
    std::map<std::string, std::string> result;
    for (const auto& entry : fs::recursive_directory_iterator(home_))
      result[entry.path()] = entry.is_directory() ? "/" : testing::contentOf(entry.path());
    return result;
  }

  const testing::TemporaryFolder folder_;
  const testing::TemporaryFolder programs_;
  const std::string home_ = folder_.path();
  const std::string chromium_ =
      home_ + "/.config/chromium/NativeMessagingHosts/com.corvane.nm.json";
  const std::string firefox_ = home_ + "/.mozilla/native-messaging-hosts/com.corvane.nm.json";
};

TEST_F(Registration, WritesWhatEachBrowserTakesAndLeavesNothing) {
  fs::create_directories(home_ +
                         "/.config/vivaldi/NativeMessagingHosts");  // is to stay, though empty
  fs::create_directories(home_ + "/.config/microsoft-edge");
  fs::create_directory_symlink(home_ + "/.mozilla", home_ + "/.librewolf");  // dangles so far
  auto before = tree();
  std::vector<const char*> all{"register"};
  for (const Browser& browser : browsers())
    if (browser.name != "librewolf") all.insert(all.end(), {"--browser", browser.name.data()});
  ASSERT_EQ(run(all), 0);
  const auto registered = tree();
  EXPECT_EQ(run(all), 0);
  EXPECT_EQ(tree(), registered);
  EXPECT_EQ(testing::contentOf(chromium_), R"({
  "name": "com.corvane.nm",
  "description": "Corvane native messaging host",
  "path": ")" + programs_.path().string() +
                                               R"(/a \"b\"/corvane-nm",
  "type": "stdio",
  "allowed_origins": ["chrome-extension://akhimegbhhggkbgilhkhiaeccoacbkbe/"]
}
)");
  const auto parsed = parseJson(testing::contentOf(firefox_));
  ASSERT_TRUE(parsed);
  std::string keys;
  for (const auto& entry : parsed.value().as_object()) keys += std::string(entry.key()) + " ";
  EXPECT_EQ(keys, "name description path type allowed_extensions ");
  testing::writeFile(home_ + "/.config/chromium/profile", "");  // the browser has been started
  EXPECT_EQ(run({"unregister", "--browser", "vivaldi"}), 0);
  EXPECT_EQ(run({"unregister"}), 0);
  before[home_ + "/.config/chromium"] = "/";
  before[home_ + "/.config/chromium/profile"] = "";
  EXPECT_EQ(tree(), before);
}

TEST_F(Registration, WritesByRenamingAndOnlyOverItsOwn) {
  ASSERT_EQ(run({"register", "--browser", "chromium"}, host("old")), 0);
  fs::create_hard_link(chromium_, home_ + "/kept");
  fs::remove(host("old"));
  EXPECT_EQ(run({"register", "--browser", "chromium"}, "/nowhere/corvane-nm"), 1);
  EXPECT_EQ(run({"repair"}, "/nowhere/corvane-nm"), 1);
  EXPECT_EQ(testing::contentOf(home_ + "/kept"), testing::contentOf(chromium_));
  ASSERT_EQ(run({"repair"}), 0);
  EXPECT_NE(testing::contentOf(home_ + "/kept"), testing::contentOf(chromium_));
  const std::string written = testing::contentOf(chromium_);
  testing::writeFile(chromium_, "{");
  EXPECT_EQ(run({"repair"}), 0);
  EXPECT_EQ(testing::contentOf(chromium_), written);
  EXPECT_EQ(testing::contentOf(chromium_ + ".broken"), "{");
  testing::writeFile(chromium_, "");
  const Plan late{{}, 0700, {{chromium_, written, 0644}}, chromium_ + ".broken", {}};  // is there
  const fs::path folder = fs::path(chromium_).parent_path();
  EXPECT_FALSE(carryOut(late, {{}, ManifestFormat::chromium, folder, true}));
  EXPECT_EQ(testing::contentOf(chromium_ + ".broken") + testing::contentOf(chromium_), "{");
  EXPECT_EQ(run({"unregister"}), 0);
  EXPECT_FALSE(fs::exists(chromium_));
  EXPECT_TRUE(fs::exists(chromium_ + ".broken.2"));
  const std::vector<std::string> foreign = {
      R"({"name":"com.corvane.nm"})", R"({"name":"com.corvane.nm","path":"/usr/bin/wrapper"})",
      R"({"name":"com.corvane.other","path":"/usr/libexec/corvane-nm/corvane-nm"})",
      R"({"name":"com.corvane.nm","path":"corvane-nm\u0000"})"};
  for (const std::string& text : foreign) {
    SCOPED_TRACE(text);
    testing::writeFile(chromium_, text);
    EXPECT_EQ(run({"register", "--browser", "chromium"}), 1);
    EXPECT_EQ(run({"unregister", "--browser", "chromium"}), 1);
    EXPECT_EQ(run({"repair"}), 0);
    EXPECT_EQ(testing::contentOf(chromium_), text);
  }
  fs::remove(chromium_);
  fs::create_symlink(home_ + "/kept", chromium_);
  EXPECT_EQ(run({"register", "--browser", "chromium"}), 1);
  EXPECT_EQ(run({"unregister"}), 0);
  EXPECT_TRUE(fs::is_symlink(chromium_));
}

TEST_F(Registration, RepairsWhatIsBrokenAndOfTheUser) {
  const std::string systems =
      home_ + "/system/etc/chromium/native-messaging-hosts/com.corvane.nm.json";
  const std::string now = host("now");
  const std::string other = home_ + "/corvane-nm";
  testing::writeFile(other, "");
  testing::writeFile(systems, manifestText(ManifestFormat::chromium, "/gone/corvane-nm"));
  testing::writeFile(chromium_, manifestText(ManifestFormat::chromium, other));
  testing::writeFile(firefox_, manifestText(ManifestFormat::chromium, other));  // refused there
  ASSERT_EQ(
      run({"register", "--browser", "brave", "--extension", "ponmlkjihgfedcbaponmlkjihgfedcba"},
          host("gone")),
      0);
  fs::remove(host("gone"));
  auto expected = tree();
  const std::string brave =
      home_ + "/.config/BraveSoftware/Brave-Browser/NativeMessagingHosts/com.corvane.nm.json";
  expected[brave] = manifestText(ManifestFormat::chromium, now,
                                 {"chrome-extension://ponmlkjihgfedcbaponmlkjihgfedcba/"});
  expected[firefox_] = manifestText(ManifestFormat::firefox, now);
  EXPECT_EQ(run({"repair"}, now), 0);
  EXPECT_EQ(tree(), expected);
  expected[systems] = manifestText(ManifestFormat::chromium, now);
  EXPECT_EQ(run({"repair", "--system"}, now), 0);
  EXPECT_EQ(tree(), expected);
}

TEST_F(Registration, RefusesFoldersOfOthersAndShowsItsPlan) {
  const auto before = tree();
  EXPECT_EQ(run({"register", "--plan", "--browser", "firefox", "--json"}), 0);
  EXPECT_EQ(run({"register", "--browser", "nonsense"}), 2);
  EXPECT_EQ(run({"register", "--browser", "chromium", "--extension", "a@b"}), 2);
  EXPECT_EQ(run({"doctor", "--browser", "chromium", "--extension", "a@b"}), 2);
  EXPECT_EQ(run({"register", "--dir", home_.c_str()}), 2);
  EXPECT_EQ(run({"register"}), 1);  // no browser is found
  EXPECT_EQ(run({"register", "--host", "relative"}), 2);
  EXPECT_EQ(run({"register", "--host", "/usr/bin/other"}), 2);  // nobody would unregister it
  EXPECT_EQ(run({}), 2);
  EXPECT_EQ(tree(), before);
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  fs::create_directories(home_ + "/.mozilla");
  ASSERT_EQ(::chown((home_ + "/.mozilla").c_str(), 65534, 65534), 0);
  EXPECT_EQ(run({"register", "--browser", "firefox"}), 1);
  EXPECT_TRUE(fs::is_empty(home_ + "/.mozilla"));
}

}  // namespace
}  // namespace corvane::Nmctl
