// load-bench FOLDER ROUNDS [NOTE]: 64 requests in flight to the host in FOLDER, without a main
// application, and to a C program that echoes frames, in turns within one run: messages per second,
// the processor time of each message, and what both processes hold before and after 100,000
// messages. NOTE goes into the names of the rows; with one, what is held is left out. Run it where
// the host finds a group container.

#include <array>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <thread>

#include "bench/Child.h"
#include "bench/ProcessFact.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long messages = 100'000;
constexpr long inFlight = 64;
constexpr std::chrono::milliseconds untilIdle{50};
constexpr char request[] = R"({"type":"getCurrentAppState","id":"load-bench"})";

/// Counts whole frames in a stream that comes in pieces.
class FrameCounter {
 public:
  /// How many frames `bytes` complete.
  long add(std::string_view bytes) {
    pending_ += bytes;
    long frames = 0;
    std::size_t at = 0;
    for (std::uint32_t length = 0; pending_.size() - at >= sizeof length; ++frames) {
      std::memcpy(&length, pending_.data() + at, sizeof length);
      if (pending_.size() - at - sizeof length < length) break;
      at += sizeof length + length;
    }
    pending_.erase(0, at);
    return frames;
  }

 private:
  std::string pending_;
};

/// Has `program` answer `count` requests: as many as were answered are sent at once, so that
/// `inFlight` are under way.
void load(const Child& program, long count, std::vector<double>& rate,
          std::vector<double>& processor) {
  static const std::string frame = frameOf(request);
  std::string frames;
  for (long i = 0; i < inFlight; ++i) frames += frame;
  std::array<char, 65536> bytes{};
  FrameCounter counter;
  const double processorBefore = program.processorTime();
  const auto start = Clock::now();
  long toSend = count;
  for (long answered = inFlight, left = count; left > 0; left -= answered) {
    const long now = std::min(answered, toSend);
    if (now > 0)
      program.sendBytes(
          std::string_view(frames).substr(0, frame.size() * static_cast<std::size_t>(now)));
    toSend -= now;
    answered = counter.add({bytes.data(), program.receiveSome(bytes)});
  }
  const std::chrono::duration<double> seconds = Clock::now() - start;
  rate.push_back(static_cast<double>(count) / seconds.count());
  processor.push_back((program.processorTime() - processorBefore) / static_cast<double>(count));
}

/// What a program holds, a value for each moment at which it was looked at.
struct Holdings {
  void look(const Child& program) {
    std::this_thread::sleep_for(untilIdle);
    const pid_t process = program.process();
    proportional.push_back(megabytesOf(process, "Pss"));
    resident.push_back(megabytesOf(process, "Rss"));
    threads.push_back(processFact(process, "status", "Threads"));
  }
  std::vector<double> proportional;
  std::vector<double> resident;
  std::vector<double> threads;
};

/// The rows of the moment `at`, of which `when` says what had happened.
void printHoldings(const Holdings& ours, const Holdings& floor, std::size_t at,
                   const std::string& when) {
  printRow("proportional memory" + when, "MB", {{ours.proportional[at]}, {floor.proportional[at]}});
  printRow("resident memory" + when, "MB", {{ours.resident[at]}, {floor.resident[at]}});
  printRow("threads" + when, "", {{ours.threads[at]}, {floor.threads[at]}});
}

void run(const std::string& folder, const std::string& note, long rounds) {
  const Child floor({folder + "/echo_floor"});
  const Child host({folder + "/corvane-nm"});
  Holdings ourHoldings;
  Holdings floorHoldings;
  const auto look = [&] {
    ourHoldings.look(host);
    floorHoldings.look(floor);
  };
  Rounds rate;
  Rounds processor;
  const auto answer = [&](long inAll, long inARound) {
    for (long i = 0; i < inAll; i += inARound) {
      load(floor, inARound, rate.floor, processor.floor);
      load(host, inARound, rate.ours, processor.ours);
    }
  };
  answer(1, 1);
  look();
  answer(messages / 10, messages / 10);
  look();
  rate = processor = {};
  answer(messages, messages / rounds);
  look();
  printRow("64 in flight, host alone" + note, "/s", rate);
  printRow("processor time, 64 in flight" + note, "us", processor);
  if (!note.empty()) return;  // where it runs makes no difference to the rest
  printHoldings(ourHoldings, floorHoldings, 0, ", idle");
  printHoldings(ourHoldings, floorHoldings, 2, ", after 100,000 messages");
  printRow("proportional memory, 100,000 messages beside 10,000", "MB",
           {{ourHoldings.proportional[2]}, {ourHoldings.proportional[1]}});
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  const long rounds = argumentCount >= 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: load-bench FOLDER ROUNDS [NOTE]\n");
    return 2;
  }
  try {
    const std::string note = argumentCount > 3 ? std::string(", ") + arguments[3] : "";
    corvane::bench::run(arguments[1], note, rounds);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "load-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
