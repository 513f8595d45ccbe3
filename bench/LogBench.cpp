// A log call that no level lets pass, beside a call of a function that does nothing; and one that
// is written to a log file on disk, beside a plain write of such a line.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>

#include "VCommons/Logging/DDFileLogger.h"
#include "VCommons/VCommonsKit/VCLog.h"
#include "bench/Allocations.h"
#include "bench/NewFolder.h"
#include "bench/ThreadTime.h"

namespace corvane::bench {
namespace {

constexpr LogPoint point("corvane-nm/main", "listen()");
constexpr char format[] = "Message len: %@bytes";

/// Calls in one iteration: so many that the loop itself does not count, and fewer than may wait to
/// be written.
constexpr std::int64_t calls = 500;

[[gnu::noinline]] void nothing() {
  asm volatile("");  // or its calls would go
}

void call(benchmark::State& state) {
  while (state.KeepRunning()) {
#pragma GCC unroll 10
    for (std::int64_t i = 0; i < calls; ++i) nothing();
  }
  state.SetItemsProcessed(state.iterations() * calls);
}

void suppressed(benchmark::State& state, std::atomic<std::uint64_t>& gate) {
  ddLogLevel = dynamicLogLevel = static_cast<std::uint64_t>(DDLogLevel::all);
  gate = static_cast<std::uint64_t>(DDLogLevel::info);
  const std::uint64_t before = allocations();
  while (state.KeepRunning()) {
#pragma GCC unroll 10
    for (std::int64_t i = 0; i < calls; ++i) VCLogCDebug(point, format, i);
  }
  state.counters["allocations"] = static_cast<double>(allocations() - before);
  state.SetItemsProcessed(state.iterations() * calls);
  resetDynamicLogLevel();
  ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::info);
}

/// A folder for log files, with a sink that writes there.
const std::string& logFolder() {
  static const NewFolder folder(".");
  static const bool isAttached = [] {
    constexpr std::size_t files = 7;
    DDLogFileManager manager(folder.path() + "/Logs", "com.example.nm", files);
    DDLog::shared().addLogger(std::make_shared<DDFileLogger>(
        std::move(manager), DDFileLogger::Limits{std::chrono::hours(24), 512'000, files},
        std::chrono::system_clock::now));
    return true;
  }();
  static_cast<void>(isAttached);
  return folder.path();
}

/// Times what a burst of calls of `one` costs this thread, and counts what it allocates; `after`
/// follows untimed.
template <class One, class After>
void timeBurst(benchmark::State& state, One one, After after) {
  std::uint64_t allocated = 0;
  while (state.KeepRunning()) {
    const std::uint64_t before = allocations();
    const double start = threadTime();
    for (std::int64_t i = 0; i < calls; ++i) one(i);
    state.SetIterationTime(threadTime() - start);
    allocated += allocations() - before;
    after();
  }
  state.SetItemsProcessed(state.iterations() * calls);
  state.counters["allocations"] =
      static_cast<double>(allocated) / static_cast<double>(state.iterations() * calls);
}

void queued(benchmark::State& state) {
  logFolder();
  timeBurst(
      state, [](std::int64_t i) { VCLogCInfo(point, format, i); },
      [] { DDLog::shared().flushLog(); });
}

void written(benchmark::State& state) {
  logFolder();
  timeBurst(
      state, [](std::int64_t i) { VCLogCError(point, format, i); }, [] {});
}

void plainWrite(benchmark::State& state) {
  const std::string path = logFolder() + "/plain.log";
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  const std::string line = "2024/03/05 14:07:09:123  (main: listen()) Message len: 123bytes\n";
  bool isFine = file >= 0;
  timeBurst(
      state,
      [&](std::int64_t) {
        isFine = ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
      },
      [] {});
  ::close(file);
  if (!isFine) state.SkipWithError("can't write");
}

BENCHMARK_CAPTURE(suppressed, library, ddLogLevel)->Name("suppressed log call");
BENCHMARK(call)->Name("suppressed log call/floor");
BENCHMARK_CAPTURE(suppressed, facade, dynamicLogLevel)->Name("suppressed log call, second gate");
BENCHMARK(call)->Name("suppressed log call, second gate/floor");
BENCHMARK(queued)->Name("written log call, queued")->UseManualTime();
BENCHMARK(plainWrite)->Name("written log call, queued/floor")->UseManualTime();
BENCHMARK(written)->Name("written log call, error")->UseManualTime();
BENCHMARK(plainWrite)->Name("written log call, error/floor")->UseManualTime();

}  // namespace
}  // namespace corvane::bench
