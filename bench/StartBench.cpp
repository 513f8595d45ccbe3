// start-bench FOLDER ROUNDS [NOTE [OTHER]]: how long the host in FOLDER takes from being started to
// the last byte of its first reply, and, idle again, from the end of its input to its end. Then
// starts back to back, each as soon as the program before has ended, whose processor is awake and
// whose caches are warm. In turns within one run with another build's host OTHER; without OTHER,
// with a C program that echoes frames. NOTE goes into the names of the rows. Run it where the host
// finds a group container.

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/Child.h"
#include "bench/HostBench.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

/// By then a program that has given its first reply has nothing left to do.
constexpr std::chrono::milliseconds untilIdle{5};

/// Durations of one program, in microseconds, one for each start.
struct Durations {
  std::vector<double> start;
  std::vector<double> end;
};

void runOnce(const std::string& program, std::chrono::milliseconds rest, Durations& durations) {
  const auto started = Clock::now();
  Child child({program});
  child.send(R"({"type":"init","id":"1","parameters":{"apiVersion":"1"}})");
  static_cast<void>(child.receive());
  durations.start.push_back(Microseconds(Clock::now() - started).count());
  if (rest > rest.zero()) std::this_thread::sleep_for(rest);
  const auto endOfInput = Clock::now();
  child.finish();
  durations.end.push_back(Microseconds(Clock::now() - endOfInput).count());
}

std::pair<Durations, Durations> measure(const Arguments& arguments,
                                        std::chrono::milliseconds rest) {
  Durations ours;
  Durations other;
  for (long round = 0; round < arguments.rounds; ++round) {
    inTurns(
        round, [&] { runOnce(arguments.host(), rest, ours); },
        [&] { runOnce(arguments.otherProgram(), rest, other); });
  }
  return {std::move(ours), std::move(other)};
}

void run(const Arguments& arguments) {
  const auto [ours, other] = measure(arguments, untilIdle);
  printRow("start to first reply" + arguments.note, "us", {ours.start, other.start});
  printRow("end of input to exit" + arguments.note, "us", {ours.end, other.end});
  const auto [oursBackToBack, otherBackToBack] = measure(arguments, {});
  printRow("start to first reply, back to back" + arguments.note, "us",
           {oursBackToBack.start, otherBackToBack.start});
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  return corvane::bench::runHostBench(argumentCount, arguments, corvane::bench::run);
}
