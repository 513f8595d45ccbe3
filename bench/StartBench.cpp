// start-bench FOLDER ROUNDS: time from starting a program to the last byte of its first reply, for
// the host in FOLDER and for a C program that echoes one frame, taken in turns within one run. Run
// it where the host finds a group container.

#include <chrono>
#include <cstdlib>
#include <exception>

#include "bench/Child.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

double firstReply(const std::string& program) {
  const auto start = std::chrono::steady_clock::now();
  Child child({program});
  child.send(R"({"type":"init","id":"1","parameters":{"apiVersion":"1"}})");
  static_cast<void>(child.receive());
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  child.finish();
  return taken.count();
}

void run(const std::string& folder, long rounds) {
  std::vector<double> ours;
  std::vector<double> floor;
  for (long round = 0; round < rounds; ++round) {
    floor.push_back(firstReply(folder + "/echo_floor"));
    ours.push_back(firstReply(folder + "/corvane-nm"));
  }
  printRow("start to first reply", ours, floor);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  const long rounds = argumentCount == 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: start-bench FOLDER ROUNDS\n");
    return 2;
  }
  try {
    corvane::bench::run(arguments[1], rounds);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "start-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
