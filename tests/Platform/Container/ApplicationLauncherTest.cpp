#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <sstream>

#include "Platform/Container/DesktopEntry.h"
#include "Platform/File.h"
#include "Platform/Linux/DetachedProcess.h"
#include "Platform/Linux/ProgramOutput.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

using Arguments = std::vector<std::string>;

TEST(DesktopEntry, ReadsTheCommandLine) {
  const std::pair<std::string, std::optional<Arguments>> cases[] = {
      {"app", Arguments{"app"}},
      {"  /opt/the\\sapp/bin  --flag\t-x ", Arguments{"/opt/the", "app/bin", "--flag", "-x"}},
      {R"("/opt/the app/bin" "a \\"b\\" \\$c \\\\ d" "")",
       Arguments{"/opt/the app/bin", R"(a "b" $c \ d)", ""}},
      {"app %u %F %i --name=%c %k 100%% %",
       Arguments{"app", "--name=The App", "/e.desktop", "100%", "%"}},
      {"\"%u\" \"100%%\"", Arguments{"%u", "100%"}},
      {"\"app", std::nullopt},
      {"app a\"b", std::nullopt},
      {"\"\"", std::nullopt},
      {"", std::nullopt},
      {"%u", std::nullopt},
  };
  for (const auto& [exec, arguments] : cases) {
    const std::string text =
        "# none\n[Other]\nExec=wrong\n[Desktop Entry]\nName=The App\nExec = " + exec +
        "\r\nExec=second\n[Desktop Action new]\nExec=wrong\n";
    EXPECT_EQ(DesktopEntry::commandLine(text, "/e.desktop"), arguments) << exec;
  }
  EXPECT_EQ(DesktopEntry::commandLine("Exec=app\n[Desktop Action new]\nExec=app", ""),
            std::nullopt);
  EXPECT_FALSE(DesktopEntry::commandLine(
      "[Desktop Entry]\nName=" + std::string(1 << 15, 'x') + "\nExec=app %c%c %c%c", ""))
      << "more than some systems start a program with";
}

class DetachedProcessTest : public ::testing::Test {
 protected:
  bool runs(const Arguments& command) {
    const auto start = startDetached(command, folder_.path());
    return start && outcomeOf(start.value());
  }
  /// Runs a shell on `script` and gives what it wrote into the pipe "out" of the folder.
  std::string outputOf(const std::string& script) {
    const std::string pipe = folder_.path() / "out";
    EXPECT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(runs({"sh", "-c", "exec >out; " + script}));
    std::stringstream text;
    text << std::ifstream(pipe).rdbuf();
    return text.str();
  }

  testing::TemporaryFolder folder_;
};

TEST_F(DetachedProcessTest, InheritsNothingAndBelongsToNobody) {
  const std::string path = folder_.path() / "held";
  auto held = File::open(path, File::Access::readWrite);
  ASSERT_TRUE(held && held->tryLock());
  const int leaked = ::dup(held->descriptor());  // not closed by itself when a program starts
  sigset_t blocked;
  sigset_t before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGUSR1);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto ignored = ::signal(SIGPIPE, SIG_IGN);

  const std::string output = outputOf(
      "ls /proc/$$/fd; readlink /proc/$$/fd/0 /proc/$$/fd/2; "
      "grep -E 'Sig(Blk|Ign)' /proc/self/status; pwd; cut -d' ' -f6 /proc/$$/stat");
  ::signal(SIGPIPE, ignored);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::close(leaked);

  const std::size_t session = output.rfind('\n', output.size() - 2) + 1;
  EXPECT_EQ(
      output.substr(0, session),
      "0\n1\n2\n/dev/null\n/dev/null\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n" +
          folder_.path().string() + "\n");
  // The tests' own session is 0 where its leader lives outside their namespace.
  EXPECT_NE(output.substr(session), std::to_string(::getsid(0)) + "\n");
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left to wait for";
}

TEST_F(DetachedProcessTest, TellsWhetherAProgramStartsAlsoWithoutStatusesOfChildren) {
  const auto ignored = ::signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(runs({"true"}));
  EXPECT_FALSE(runs({"/missing"}));
  ::signal(SIGCHLD, ignored);
}

TEST(ProgramOutput, IsAllThatAProgramWithoutEnvironmentWrites) {
  const auto outputOf = [](const Arguments& arguments) {
    auto output = Platform::outputOf(arguments, std::chrono::seconds(30), 5);
    return output ? output.value() : "failed";
  };
  EXPECT_EQ(outputOf({"/bin/echo", "word"}), "word\n");
  EXPECT_EQ(outputOf({"/bin/echo", "words"}), "failed") << "longer than allowed";
  EXPECT_EQ(outputOf({"/usr/bin/env"}), "");
  EXPECT_EQ(outputOf({"/missing"}), "failed");
}

}  // namespace
}  // namespace corvane::Platform
