// link-bench FOLDER ROUNDS [NOTE [OTHER]]: how long a browser waits for an answer, one request at a
// time, and what it costs the host's process. The programs are in FOLDER: the host beside a C
// program that echoes frames, then the host with a main application beside two C programs that
// relay through exchange files and datagrams. With OTHER, another build's host, that takes the
// place of the C programs both times, and both hosts are linked to the same main application. Each
// pair in turns within one run, so that whatever slows the machine down slows both down. NOTE goes
// into the names of the rows.
//
// Run it in a folder on disk, where the host finds a group container.

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "bench/Asking.h"
#include "bench/Holdings.h"
#include "bench/HostBench.h"
#include "bench/NewFolder.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

constexpr int requestsInARound = 25;

/// For 50 ms after a host has started or ended, both ends of a link look into the folders of
/// notifications with every request. Asking for this long leaves that behind.
constexpr std::chrono::milliseconds warmUp{60};

using Command = std::vector<std::string>;

/// Asks `program` until it is as fast as it gets.
void warm(const Child& program) {
  const std::string frame = frameOf(requestWith());
  ask(program, frame);
  const auto end = std::chrono::steady_clock::now() + warmUp;
  while (std::chrono::steady_clock::now() < end) ask(program, frame);
}

/// Starts a program, warms it up, asks it one request at a time, and ends it. Adds how long an
/// answer took (the median) and how much processor time the program used for each, in microseconds.
void askRound(const Command& command, std::vector<double>& answer, std::vector<double>& processor) {
  Child program(command);
  warm(program);
  const std::string frame = frameOf(requestWith());
  std::vector<double> answers;
  answers.reserve(requestsInARound);
  const double before = program.processorTime();
  for (int i = 0; i < requestsInARound; ++i) answers.push_back(ask(program, frame));
  answer.push_back(median(answers));
  processor.push_back((program.processorTime() - before) / requestsInARound);
  program.finish();
}

void compare(const std::string& name, const Command& ours, const Command& other, long rounds) {
  Rounds answer;
  Rounds processor;
  for (long round = 0; round < rounds; ++round) {
    inTurns(
        round, [&] { askRound(ours, answer.ours, processor.ours); },
        [&] { askRound(other, answer.other, processor.other); });
  }
  printRow("one request, " + name, "us", answer);
  printRow("processor time, " + name, "us", processor);
}

/// The C program at the other end of the floor's link, which runs as long as this object exists.
class FloorPeer {
 public:
  explicit FloorPeer(const std::string& folder)
      : program_(folder + "/filex_floor"),
        process_({program_, "peer", files_.path(), "dgram", "--reopen"}) {
    const std::string socket = files_.path() + "/to_peer.sock";
    while (!std::filesystem::exists(socket)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  /// The command that starts the C program at the host's end.
  [[nodiscard]] std::vector<std::string> hostCommand() const {
    return {program_, "host", files_.path(), "dgram", "--reopen"};
  }

 private:
  const std::string program_;
  const NewFolder files_{"."};
  const Child process_;
};

void compareAlone(const Arguments& arguments) {
  compare("host alone" + arguments.note, {arguments.host()}, {arguments.otherProgram()},
          arguments.rounds);
}

void compareHoldings(const Command& ours, const Command& other) {
  Holdings ourHoldings;
  Holdings otherHoldings;
  const auto look = [](const Command& command, Holdings& holdings) {
    Child program(command);
    warm(program);
    holdings.look(program);
    program.finish();
  };
  for (long round = 0; round < lookedAt; ++round) {
    inTurns(
        round, [&] { look(ours, ourHoldings); }, [&] { look(other, otherHoldings); });
  }
  printHoldings(ourHoldings, otherHoldings, ", whole link");
}

void compareLinked(const Arguments& arguments) {
  const Child application({arguments.folder + "/corvane-main-app"});
  application.awaitLine("ready");
  std::optional<FloorPeer> peer;
  if (arguments.otherHost.empty()) peer.emplace(arguments.folder);
  const Command other = peer ? peer->hostCommand() : Command{arguments.otherHost};
  compare("whole link" + arguments.note, {arguments.host()}, other, arguments.rounds);
  // Where the programs run makes no difference to these.
  if (arguments.note.empty()) compareHoldings({arguments.host()}, other);
}

void run(const Arguments& arguments) {
  compareAlone(arguments);
  compareLinked(arguments);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  return corvane::bench::runHostBench(argumentCount, arguments, corvane::bench::run);
}
