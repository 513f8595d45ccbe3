// corvane-bench ROUNDS [NOTE]: the parts of the host, each beside a floor where there is one: plain
// code for the same work, or the same system calls and nothing else. That of "SUBJECT" is named
// "SUBJECT/floor"; a label tells subjects of one name apart. All take their turns, once in each
// round, so that whatever slows the machine down slows both of a pair down. NOTE goes into the
// names of the rows.
//
// Files and sockets lie below the current folder, or in /dev/shm. Takes the options of Google
// Benchmark too.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "VCommons/VCommonsKit/VCLog.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

/// Keeps what each turn came to.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& turns) override {
    for (const Run& turn : turns) add(turn);
  }

  void printRows(const std::string& note) const {
    for (const auto& [name, unit, rounds] : rows_) printRow(name + note, unit, rounds);
  }

 private:
  struct Row {
    std::string name;
    const char* unit;
    Rounds rounds;
  };

  void add(const Run& turn) {
    std::string subject = turn.run_name.function_name;
    if (turn.error_occurred) throw std::runtime_error(subject + ": " + turn.error_message);
    const std::size_t end = subject.rfind("/floor");
    const bool isFloor = end != std::string::npos;
    if (isFloor) subject.erase(end);
    if (!turn.report_label.empty()) subject += ", " + turn.report_label;
    Rounds& times = roundsOf(subject, "us");
    (isFloor ? times.other : times.ours).push_back(microseconds(turn));
    const auto allocations = turn.counters.find("allocations");
    if (isFloor || allocations == turn.counters.end()) return;
    roundsOf(subject + ", allocations", "").ours.push_back(allocations->second);
  }

  /// For one call. What runs on one thread and waits for nobody is told by its processor time.
  static double microseconds(const Run& turn) {
    const auto calls = turn.counters.find("items_per_second");
    if (calls != turn.counters.end()) return 1e6 / calls->second;
    const bool waits = !turn.run_name.time_type.empty();
    return (waits ? turn.GetAdjustedRealTime() : turn.GetAdjustedCPUTime()) / 1e3;
  }

  Rounds& roundsOf(const std::string& name, const char* unit) {
    for (Row& row : rows_) {
      if (row.name == name) return row.rounds;
    }
    rows_.push_back({name, unit, {}});
    return rows_.back().rounds;
  }

  std::vector<Row> rows_;  // in the order of their first turns
};

void run(long rounds, const std::string& note) {
  Collector collector;
  for (long round = 0; round < rounds; ++round) {
    if (benchmark::RunSpecifiedBenchmarks(&collector) == 0) throw std::runtime_error("no subject");
  }
  collector.printRows(note);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  corvane::ddLogLevel = static_cast<std::uint64_t>(corvane::DDLogLevel::info);  // as it is shipped
  benchmark::Initialize(&argumentCount, arguments);
  const long rounds = argumentCount >= 2 ? std::strtol(arguments[1], nullptr, 10) : 0;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: corvane-bench ROUNDS [NOTE] [--benchmark_OPTION...]\n");
    return 2;
  }
  try {
    corvane::bench::run(rounds, argumentCount > 2 ? std::string(", ") + arguments[2] : "");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvane-bench: %s\n", error.what());
    return 1;
  }
  benchmark::Shutdown();
  return 0;
}
