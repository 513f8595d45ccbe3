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

BENCHMARK_CAPTURE(encode, request, sampleRequest);
BENCHMARK_CAPTURE(encode, app state, sampleAppState);
BENCHMARK_CAPTURE(encode, filtering state, sampleFilteringState);
BENCHMARK_CAPTURE(encode, error, sampleError);
BENCHMARK_CAPTURE(decode, request, sampleRequest);
BENCHMARK_CAPTURE(decode, app state, sampleAppState);
BENCHMARK_CAPTURE(decode, filtering state, sampleFilteringState);
BENCHMARK_CAPTURE(decode, error, sampleError);

}  // namespace
}  // namespace corvane::bench
