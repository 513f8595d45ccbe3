#include "VCommons/VCSSystemUtils.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace corvane {
namespace {

TEST(VCSSystemUtils, KnowsTheExecutableUntilTheProcessEnds) {
  std::string program = "/bin/sleep";
  std::string duration = "600";
  char* const arguments[] = {program.data(), duration.data(), nullptr};
  pid_t process = 0;
  ASSERT_EQ(::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, nullptr), 0);
  EXPECT_EQ(VCSSystemUtils::execPathForPid(process), std::filesystem::canonical(program).string());
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  for (const pid_t none : {process, 0, -1})
    EXPECT_FALSE(VCSSystemUtils::execPathForPid(none)) << none;
}

}  // namespace
}  // namespace corvane
