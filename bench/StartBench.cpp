// start-bench FOLDER ROUNDS [NOTE [OTHER]]: how long the host in FOLDER takes from being started to
// the last byte of its first reply, and, idle again, from the end of its input to its end. In turns
// within one run with another build's host OTHER; without OTHER, with a C program that echoes
// frames. NOTE goes into the names of the rows. Run it where the host finds a group container.

#include <chrono>
#include <thread>

#include "bench/Child.h"
#include "bench/HostBench.h"
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

void run(const Arguments& arguments) {
  Rounds start;
  Rounds end;
  for (long round = 0; round < arguments.rounds; ++round) {
    inTurns(
        round, [&] { live(arguments.host(), start.ours, end.ours); },
        [&] { live(arguments.otherProgram(), start.other, end.other); });
  }
  printRow("start to first reply" + arguments.note, "us", start);
  printRow("end of input to exit" + arguments.note, "us", end);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  return corvane::bench::runHostBench(argumentCount, arguments, corvane::bench::run);
}
