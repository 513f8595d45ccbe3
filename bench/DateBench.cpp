// The date text that every reply holds, beside what C programs make it with.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <ctime>

#include "VCommons/VCSDate.h"

namespace corvane::bench {
namespace {

void ours(benchmark::State& state) {
  auto moment = std::chrono::system_clock::now();
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(VCSDate::iso8601String(moment += std::chrono::milliseconds(1)));
  }
}

void floor(benchmark::State& state) {
  std::timespec moment{};
  ::clock_gettime(CLOCK_REALTIME, &moment);
  std::array<char, 64> text{};
  while (state.KeepRunning()) {
    std::tm parts{};
    ++moment.tv_sec;
    ::gmtime_r(&moment.tv_sec, &parts);
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03ld+00:00",
                  moment.tv_nsec / 1'000'000);
    benchmark::DoNotOptimize(text);
  }
}

BENCHMARK(ours)->Name("iso8601String");
BENCHMARK(floor)->Name("iso8601String/floor");

}  // namespace
}  // namespace corvane::bench
