#include "Platform/ProcessInfo.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

TEST(ProcessInfo, AnExecutableThatWasDeletedKeepsItsPath) {
  const testing::TemporaryFolder folder;
  std::string program = (folder.path() / "sleeper").string();
  std::filesystem::copy_file("/bin/sleep", program);
  std::string duration = "600";
  char* const arguments[] = {program.data(), duration.data(), nullptr};
  pid_t process = 0;
  ASSERT_EQ(::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, nullptr), 0);
  std::filesystem::remove(program);
  EXPECT_EQ(ProcessInfo::executablePath(process).value(), program);
  testing::writeFile(program + " (deleted)", "");
  EXPECT_EQ(ProcessInfo::executablePath(process).value(), program + " (deleted)") << "its own name";
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
}

}  // namespace
}  // namespace corvane::Platform
