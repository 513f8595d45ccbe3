// load-bench FOLDER ROUNDS [NOTE [OTHER]]: 64 requests in flight to the host in FOLDER, without a
// main application, and to another build's host OTHER (without OTHER, to a C program that echoes
// frames), in turns within one run: messages per second, the processor time of each message, and
// memory and threads of both processes before and after 100,000 messages. NOTE goes into the names
// of the rows; with one, memory and threads are left out. Run it where the host finds a group
// container.

#include <array>
#include <chrono>

#include "bench/Child.h"
#include "bench/Holdings.h"
#include "bench/HostBench.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long messages = 100'000;
constexpr long messagesToWarmUp = 1000;
constexpr long inFlight = 64;
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
void load(const Child& program, long count) {
  static const std::string frame = frameOf(request);
  std::string frames;
  for (long i = 0; i < inFlight; ++i) frames += frame;
  std::array<char, 65536> bytes{};
  FrameCounter counter;
  long toSend = count;
  for (long answered = inFlight, left = count; left > 0; left -= answered) {
    const long now = std::min(answered, toSend);
    if (now > 0)
      program.sendBytes(
          std::string_view(frames).substr(0, frame.size() * static_cast<std::size_t>(now)));
    toSend -= now;
    answered = counter.add({bytes.data(), program.receiveSome(bytes)});
  }
}

/// Adds messages per second and the processor time of each of `count` messages, in microseconds.
void measure(const std::string& program, long count, std::vector<double>& rate,
             std::vector<double>& processor) {
  Child child({program});
  load(child, messagesToWarmUp);
  const double before = child.processorTime();
  const auto start = Clock::now();
  load(child, count);
  const std::chrono::duration<double> seconds = Clock::now() - start;
  rate.push_back(static_cast<double>(count) / seconds.count());
  processor.push_back((child.processorTime() - before) / static_cast<double>(count));
  child.finish();
}

void compareRates(const Arguments& arguments) {
  const long count = messages / arguments.rounds;
  Rounds rate;
  Rounds processor;
  for (long round = 0; round < arguments.rounds; ++round) {
    inTurns(
        round, [&] { measure(arguments.host(), count, rate.ours, processor.ours); },
        [&] { measure(arguments.otherProgram(), count, rate.other, processor.other); });
  }
  printRow("64 in flight, host alone" + arguments.note, "/s", rate);
  printRow("processor time, 64 in flight" + arguments.note, "us", processor);
}

/// What processes of one program hold after so many messages.
struct Lives {
  void add(const std::string& program) {
    Child child({program});
    load(child, 1);
    idle.look(child);
    load(child, messages / 10);
    early.look(child);
    load(child, messages);
    late.look(child);
    child.finish();
  }
  Holdings idle;
  Holdings early;
  Holdings late;
};

void compareHoldings(const Arguments& arguments) {
  Lives ours;
  Lives other;
  for (long round = 0; round < lookedAt; ++round) {
    inTurns(
        round, [&] { ours.add(arguments.host()); }, [&] { other.add(arguments.otherProgram()); });
  }
  printHoldings(ours.idle, other.idle, ", idle");
  printHoldings(ours.late, other.late, ", after 100,000 messages");
  if (!arguments.otherHost.empty()) return;  // the next row holds our own values in both columns
  printRow("proportional memory, 100,000 messages beside 10,000", "MB",
           {ours.late.proportional, ours.early.proportional});
}

void run(const Arguments& arguments) {
  compareRates(arguments);
  // Where the programs run makes no difference to these.
  if (arguments.note.empty()) compareHoldings(arguments);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  return corvane::bench::runHostBench(argumentCount, arguments, corvane::bench::run);
}
