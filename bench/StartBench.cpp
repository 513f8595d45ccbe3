// start-bench FOLDER ROUNDS [NOTE]: how long the host in FOLDER takes from being started to the
// last byte of its first reply, and, idle again, from the end of its input to its end. In turns
// within one run with a C program that echoes frames. NOTE goes into the names of the rows. Run it
// where the host finds a group container.

#include <chrono>
#include <cstdlib>
#include <exception>
#include <thread>

#include "bench/Child.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

/// By then a program that has given its first reply has nothing left to do.
constexpr std::chrono::milliseconds untilIdle{5};

void live(const std::string& program, std::vector<double>& start, std::vector<double>& end) {
  const auto started = Clock::now();
  Child child({program});
  child.send(R"({"type":"init","id":"1","parameters":{"apiVersion":"1"}})");
  static_cast<void>(child.receive());
  start.push_back(Microseconds(Clock::now() - started).count());
  std::this_thread::sleep_for(untilIdle);
  const auto endOfInput = Clock::now();
  child.finish();
  end.push_back(Microseconds(Clock::now() - endOfInput).count());
}

void run(const std::string& folder, const std::string& note, long rounds) {
  Rounds start;
  Rounds end;
  for (long round = 0; round < rounds; ++round) {
    live(folder + "/echo_floor", start.floor, end.floor);
    live(folder + "/corvane-nm", start.ours, end.ours);
  }
  printRow("start to first reply" + note, "us", start);
  printRow("end of input to exit" + note, "us", end);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  const long rounds = argumentCount >= 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: start-bench FOLDER ROUNDS [NOTE]\n");
    return 2;
  }
  try {
    const std::string note = argumentCount > 3 ? std::string(", ") + arguments[3] : "";
    corvane::bench::run(arguments[1], note, rounds);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "start-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
