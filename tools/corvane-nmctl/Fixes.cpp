#include "tools/corvane-nmctl/Fixes.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "Platform/ProcessInfo.h"
#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl::Fixes {

std::vector<std::string> commandsFor(const Findings& findings) {
  constexpr std::string_view beginning = "run: ";
  std::vector<std::string> commands;
  for (const Finding& finding : findings) {
    if (finding.state != Finding::State::wrong || !finding.fix.starts_with(beginning)) continue;
    std::string command = finding.fix.substr(beginning.size());
    if (std::find(commands.begin(), commands.end(), command) == commands.end())
      commands.push_back(std::move(command));
  }
  return commands;
}

bool run(const std::string& command) {
  std::string script = command;
  if (const auto own = Platform::ProcessInfo::executablePath(::getpid()))
    script = "PATH=" + shellWord(own->substr(0, own->rfind('/'))) + ":\"$PATH\"; " + command;
  const pid_t shell = ::fork();
  if (shell == 0) {
    ::execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
    ::_exit(127);
  }
  int status = -1;
  while (shell > 0 && ::waitpid(shell, &status, 0) < 0 && errno == EINTR) continue;
  return status == 0;
}

}  // namespace corvane::Nmctl::Fixes
