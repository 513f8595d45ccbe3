// start-bench HOST FLOOR [ROUNDS]: time from starting a program to the last byte of its first
// reply, for the host and for a C program that echoes one frame, taken in turns within one run.
// Prints the median of each and their ratio. Run it where the host finds a group container.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr char greeting[] = R"({"type":"init","id":"1","parameters":{"apiVersion":"1"}})";

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::_Exit(2);
}

void writeFrame(int descriptor) {
  const std::uint32_t length = sizeof greeting - 1;
  std::array<char, sizeof length + sizeof greeting - 1> frame{};
  std::memcpy(frame.data(), &length, sizeof length);
  std::memcpy(frame.data() + sizeof length, greeting, sizeof greeting - 1);
  if (write(descriptor, frame.data(), frame.size()) != static_cast<ssize_t>(frame.size()))
    fail("write");
}

void readExactly(int descriptor, char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t got = read(descriptor, bytes, count);
    if (got <= 0) fail("no reply");
    bytes += got;
    count -= static_cast<std::size_t>(got);
  }
}

/// Starts `program`, greets it, waits for its reply and its end; the time to the reply in
/// microseconds.
double firstReply(const char* program) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (pipe(in.data()) != 0 || pipe(out.data()) != 0) fail("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  for (const int descriptor : {in[0], in[1], out[0], out[1]}) {
    posix_spawn_file_actions_addclose(&actions, descriptor);
  }
  std::string name = program;
  std::array<char*, 2> arguments = {name.data(), nullptr};

  const auto start = Clock::now();
  pid_t child = 0;
  if (posix_spawn(&child, program, &actions, nullptr, arguments.data(), environ) != 0)
    fail(program);
  close(in[0]);
  close(out[1]);
  writeFrame(in[1]);
  std::uint32_t length = 0;
  std::array<char, 4> prefix{};
  readExactly(out[0], prefix.data(), prefix.size());
  std::memcpy(&length, prefix.data(), sizeof length);
  std::vector<char> body(length);
  readExactly(out[0], body.data(), body.size());
  const std::chrono::duration<double, std::micro> taken = Clock::now() - start;

  close(in[1]);
  close(out[0]);
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0)
    fail("the program did not end with status 0");
  posix_spawn_file_actions_destroy(&actions);
  return taken.count();
}

double median(std::vector<double>& values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount < 3) {
    std::fprintf(stderr, "usage: start-bench HOST FLOOR [ROUNDS]\n");
    return 2;
  }
  const long rounds = argumentCount > 3 ? std::strtol(arguments[3], nullptr, 10) : 300;
  std::vector<double> host;
  std::vector<double> floor;
  for (long round = 0; round < std::max(rounds, 1L); ++round) {
    floor.push_back(firstReply(arguments[2]));
    host.push_back(firstReply(arguments[1]));
  }
  const double hostMedian = median(host);
  const double floorMedian = median(floor);
  std::printf("start to first reply, median of %zu rounds taken in turns:\n", host.size());
  std::printf("  host    %8.0f us\n  C echo  %8.0f us\n  ratio   %8.2f\n", hostMedian, floorMedian,
              hostMedian / floorMedian);
  return 0;
}
