// link-bench FOLDER ROUNDS [NOTE]: how long a browser waits for an answer, one request at a time,
// and what it costs the host's process. The programs are in FOLDER: the host beside a C program
// that echoes frames, then the host with a main application beside two C programs that relay
// through exchange files and datagrams. Each pair in turns within one run, so that whatever slows
// the machine down slows both down. NOTE goes into the names of the rows.
//
// Run it in a folder on disk, where the host finds a group container.

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <thread>

#include "bench/Asking.h"
#include "bench/NewFolder.h"
#include "bench/ProcessFact.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

constexpr int requestsInARound = 25;
constexpr int roundsToWarmUp = 4;

/// Asks one round of requests, one at a time. Adds how long an answer took (the median) and how
/// much processor time the program used for each, in microseconds.
void askRound(const Child& program, std::vector<double>& answer, std::vector<double>& processor) {
  const std::string frame = frameOf(requestWith());
  std::vector<double> answers;
  answers.reserve(requestsInARound);
  const double before = program.processorTime();
  for (int i = 0; i < requestsInARound; ++i) answers.push_back(ask(program, frame));
  answer.push_back(median(answers));
  processor.push_back((program.processorTime() - before) / requestsInARound);
}

void compare(const std::string& name, const Child& ours, const Child& floor, long rounds) {
  Rounds answer;
  Rounds processor;
  for (long round = -roundsToWarmUp; round < rounds; ++round) {
    if (round == 0) answer = processor = {};
    askRound(floor, answer.floor, processor.floor);
    askRound(ours, answer.ours, processor.ours);
  }
  printRow("one request, " + name, "us", answer);
  printRow("processor time, " + name, "us", processor);
}

/// Without a main application.
void compareAlone(const std::string& folder, const std::string& note, long rounds) {
  Child host({folder + "/corvane-nm"});
  Child floor({folder + "/echo_floor"});
  compare("host alone" + note, host, floor, rounds);
  host.finish();
  floor.finish();
}

/// Waits for the socket of the floor's peer.
void awaitFile(const std::string& path) {
  while (!std::filesystem::exists(path)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void compareLinked(const std::string& folder, const std::string& note, long rounds) {
  const Child application({folder + "/corvane-main-app"});
  application.awaitLine("ready");
  Child host({folder + "/corvane-nm"});
  const std::string program = folder + "/filex_floor";
  const NewFolder files(".");
  const Child peer({program, "peer", files.path(), "dgram", "--reopen"});
  awaitFile(files.path() + "/to_peer.sock");
  Child floor({program, "host", files.path(), "dgram", "--reopen"});
  compare("whole link" + note, host, floor, rounds);
  if (note.empty()) {
    printRow("proportional memory, whole link", "MB",
             {{megabytesOf(host.process(), "Pss")}, {megabytesOf(floor.process(), "Pss")}});
  }
  host.finish();
  floor.finish();
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  const long rounds = argumentCount >= 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: link-bench FOLDER ROUNDS [NOTE]\n");
    return 2;
  }
  try {
    const std::string note = argumentCount > 3 ? std::string(", ") + arguments[3] : "";
    corvane::bench::compareAlone(arguments[1], note, rounds);
    corvane::bench::compareLinked(arguments[1], note, rounds);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "link-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
