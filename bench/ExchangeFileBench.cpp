// One record appended to an exchange file and taken from it, in memory and on disk, into a file
// that is empty and on top of 10 MB of older records, which must make no difference.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <fstream>

#include "SharedComponents/ExchangeBuffer.h"
#include "bench/FloorFile.h"
#include "bench/NewFolder.h"
#include "bench/Samples.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

/// How many megabytes of older records there are.
constexpr std::int64_t none = 0;
constexpr std::int64_t many = 10;
constexpr std::uint64_t megabyte = 1'000'000;

std::string archiveOfRequest() {
  return ExchangeRecord::archive(sampleRequest()).value();
}

/// A folder with two exchange files, their keys the megabytes that they hold.
class Files {
 public:
  explicit Files(const std::string& above) : folder_(above) {
    fill(none);
    fill(many);
  }
  [[nodiscard]] const std::string& path() const { return folder_.path(); }

 private:
  void fill(std::int64_t megabytes) const {
    std::string record = archiveOfRequest();
    const std::size_t length = record.size();
    for (unsigned i = 0; i < 4; ++i) record += static_cast<char>(length >> (8 * i) & 0xFF);
    std::ofstream file(path() + "/" + std::to_string(megabytes) + ".data", std::ios::binary);
    const std::uint64_t wanted = static_cast<std::uint64_t>(megabytes) * megabyte;
    for (std::uint64_t size = 0; size < wanted; size += record.size()) file << record;
  }

  const NewFolder folder_;
};

const std::string& memory() {
  static const Files files("/dev/shm");
  return files.path();
}

const std::string& disk() {
  static const Files files(".");
  return files.path();
}

/// The exchange file `key` as the host uses it.
class Ours {
 public:
  Ours(const std::string& folder, std::string key)
      : key_(std::move(key)), exchange_([folder] { return folder; }, queue_) {}

  void append() {
    exchange_.setExchange(key_, sampleIdentifier, "getCurrentFilteringState", std::move(body_));
  }
  void take() { body_ = exchange_.getExchange(key_, sampleIdentifier).value().body; }

 private:
  const std::string key_;
  DispatchQueue queue_{"SharedResourcesQueue"};
  ExchangeBuffer exchange_;
  std::optional<Dictionary> body_ = sampleRequest().body;
};

class Floor {
 public:
  Floor(const std::string& folder, const std::string& key) : file_(folder + "/" + key + ".data") {}

  void append() { file_.append(record_); }
  void take() { file_.take(record_); }

 private:
  const FloorFile file_;
  std::string record_ = archiveOfRequest();
};

enum class Timed { append, take };

/// Appends and takes in turns; only one of the two counts.
template <class Exchange, Timed timed, const std::string& (*folder)()>
void exchange(benchmark::State& state) {
  Exchange exchange(folder(), std::to_string(state.range(0)));
  while (state.KeepRunning()) {
    const auto start = Clock::now();
    exchange.append();
    const auto between = Clock::now();
    exchange.take();
    const auto end = Clock::now();
    const std::chrono::duration<double> seconds =
        timed == Timed::append ? between - start : end - between;
    state.SetIterationTime(seconds.count());
  }
}

void withFewAndMany(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("MB below")->Arg(none)->Arg(many)->UseManualTime();
}

template <class Exchange>
constexpr auto appendInMemory = exchange<Exchange, Timed::append, memory>;
template <class Exchange>
constexpr auto appendOnDisk = exchange<Exchange, Timed::append, disk>;
template <class Exchange>
constexpr auto takeInMemory = exchange<Exchange, Timed::take, memory>;
template <class Exchange>
constexpr auto takeOnDisk = exchange<Exchange, Timed::take, disk>;

BENCHMARK_TEMPLATE(appendInMemory, Ours)->Name("append in memory")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendInMemory, Floor)->Name("append in memory/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendOnDisk, Ours)->Name("append on disk")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendOnDisk, Floor)->Name("append on disk/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeInMemory, Ours)->Name("take in memory")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeInMemory, Floor)->Name("take in memory/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeOnDisk, Ours)->Name("take on disk")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeOnDisk, Floor)->Name("take on disk/floor")->Apply(withFewAndMany);

}  // namespace
}  // namespace corvane::bench
