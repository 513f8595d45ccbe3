// Keyed archives of a request and of replies, written and read.

#include <benchmark/benchmark.h>

#include <array>

#include "SharedComponents/KeyedArchive/KeyedArchiver.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "bench/Samples.h"

namespace corvane::bench {
namespace {

constexpr std::array<const RecordClass*, 2> records = {
    &EBACurrentFilteringStateResponse::recordClass, &EBAAppStateResponse::recordClass};

Result<Value> decoded(const std::string& archive) {
  return KeyedUnarchiver::unarchive(bytesOf(archive), {records, true});
}

/// The archive of `record`, its length shown beside the times.
std::string archiveOf(benchmark::State& state, ExchangeRecord record) {
  std::string archive = ExchangeRecord::archive(std::move(record)).value();
  state.SetLabel(std::to_string(archive.size()) + " bytes");
  return archive;
}

void encode(benchmark::State& state, ExchangeRecord (*sample)()) {
  const Value root = decoded(archiveOf(state, sample())).value();
  while (state.KeepRunning()) benchmark::DoNotOptimize(KeyedArchiver::archive(root));
}

void decode(benchmark::State& state, ExchangeRecord (*sample)()) {
  const std::string archive = archiveOf(state, sample());
  while (state.KeepRunning()) benchmark::DoNotOptimize(decoded(archive));
}

BENCHMARK_CAPTURE(encode, request, sampleRequest)->Name("archive encode, request");
BENCHMARK_CAPTURE(encode, app state, sampleAppState)->Name("archive encode, app state");
BENCHMARK_CAPTURE(encode, filtering state, sampleFilteringState)
    ->Name("archive encode, filtering state");
BENCHMARK_CAPTURE(encode, error, sampleError)->Name("archive encode, error");
BENCHMARK_CAPTURE(decode, request, sampleRequest)->Name("archive decode, request");
BENCHMARK_CAPTURE(decode, app state, sampleAppState)->Name("archive decode, app state");
BENCHMARK_CAPTURE(decode, filtering state, sampleFilteringState)
    ->Name("archive decode, filtering state");
BENCHMARK_CAPTURE(decode, error, sampleError)->Name("archive decode, error");

}  // namespace
}  // namespace corvane::bench
