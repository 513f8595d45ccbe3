#include "VCommons/VCSSystemUtils.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

TEST(VCSSystemUtils, KnowsTheExecutableUntilTheProcessEndsEvenADeletedOne) {
  const testing::TemporaryFolder folder;
  std::string program = (folder.path() / "sleeper").string();
  std::filesystem::copy_file("/bin/sleep", program);
  std::string duration = "600";
  char* const arguments[] = {program.data(), duration.data(), nullptr};
  pid_t process = 0;
  ASSERT_EQ(::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, nullptr), 0);
  EXPECT_EQ(VCSSystemUtils::execPathForPid(process), program);
  std::filesystem::remove(program);
  EXPECT_EQ(VCSSystemUtils::execPathForPid(process), program) << "deleted";
  testing::writeFile(program + " (deleted)", "");
  EXPECT_EQ(VCSSystemUtils::execPathForPid(process), program + " (deleted)") << "of that very name";
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  for (const pid_t none : {process, 0, -1})
    EXPECT_FALSE(VCSSystemUtils::execPathForPid(none)) << none;
}

}  // namespace
}  // namespace corvane
