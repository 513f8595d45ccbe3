// One record appended to an exchange file and taken from it, in memory and on disk, into a file
// that is empty and on top of 10 MB of older records, which must make no difference.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "bench/FloorFile.h"
#include "bench/NewFolder.h"
#include "bench/Samples.h"
#include "bench/ThreadTime.h"

namespace corvane::bench {
namespace {

constexpr std::uint64_t megabyte = 1'000'000;

std::string archiveOfRequest() {
  return ExchangeRecord::archive(sampleRequest()).value();
}

/// A folder of exchange files, their keys the megabytes of older records that they hold.
class Files {
 public:
  explicit Files(const std::string& above) : folder_(above) {}

  [[nodiscard]] const std::string& path() const { return folder_.path(); }
  /// The key of the file with so many megabytes, which is made when it is missing.
  [[nodiscard]] std::string keyOf(std::uint64_t megabytes) const {
    std::string key = std::to_string(megabytes);
    const std::string file = path() + "/" + key + ".data";
    if (!std::filesystem::exists(file)) fill(file, megabytes * megabyte);
    return key;
  }

 private:
  static void fill(const std::string& path, std::uint64_t wanted) {
    std::string record = archiveOfRequest();
    const std::size_t length = record.size();
    for (unsigned i = 0; i < 4; ++i) record += static_cast<char>(length >> (8 * i) & 0xFF);
    std::ofstream file(path, std::ios::binary);
    for (std::uint64_t size = 0; size < wanted; size += record.size()) file << record;
    file.close();
    settle(path);
  }
  /// Old records have reached the disk: nobody's measurement waits for that.
  static void settle(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(file);
    ::close(file);
  }

  const NewFolder folder_;
};

const Files& memory() {
  static const Files files("/dev/shm");
  return files;
}

const Files& disk() {
  static const Files files(".");
  return files;
}

/// The exchange file `key` as the host uses it.
class Ours {
 public:
  Ours(const std::string& folder, std::string key)
      : key_(std::move(key)), exchange_(loop_, [folder] { return folder; }) {}

  void append() {
    exchange_.setExchange(key_, sampleIdentifier, "getCurrentFilteringState", std::move(body_),
                          [this](bool isTaken) {
                            if (!isTaken)
                              throw std::runtime_error(key_ + " MB are more than a file takes");
                          });
  }
  void take() {
    exchange_.getExchange(key_, sampleIdentifier, [this](std::optional<ExchangeRecord> record) {
      body_ = std::move(record).value().body;
    });
  }

 private:
  const std::string key_;
  Platform::EventLoop loop_;  // never turns, as the locks are free
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

/// Appends a record and takes it again, on top of so many megabytes of older ones. Only one of the
/// two counts.
template <class Exchange>
void exchange(benchmark::State& state, Timed timed, const Files& files, std::uint64_t megabytes) {
  Exchange exchange(files.path(), files.keyOf(megabytes));
  while (state.KeepRunning()) {
    const double start = threadTime();
    exchange.append();
    const double between = threadTime();
    exchange.take();
    state.SetIterationTime(timed == Timed::take ? threadTime() - between : between - start);
  }
}

template <class Exchange, Timed timed, const Files& (*files)()>
void withArgument(benchmark::State& state) {
  state.SetLabel(std::to_string(state.range(0)) + " MB below");
  exchange<Exchange>(state, timed, files(), static_cast<std::uint64_t>(state.range(0)));
}

/// No floor, but the same on an empty file.
template <std::uint64_t megabytes, const Files& (*files)()>
void newest(benchmark::State& state) {
  exchange<Ours>(state, Timed::take, files(), megabytes);
}

void withFewAndMany(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(0)->Arg(10)->UseManualTime();
}
/// Not for the table: how the size of a file on disk counts.
void withSizes(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t megabytes : {0, 1, 2, 4, 7, 10}) benchmark->Arg(megabytes);
  benchmark->UseManualTime();
}

template <class Exchange>
constexpr auto appendInMemory = withArgument<Exchange, Timed::append, memory>;
template <class Exchange>
constexpr auto appendOnDisk = withArgument<Exchange, Timed::append, disk>;
template <class Exchange>
constexpr auto takeInMemory = withArgument<Exchange, Timed::take, memory>;
template <class Exchange>
constexpr auto takeOnDisk = withArgument<Exchange, Timed::take, disk>;

BENCHMARK_TEMPLATE(appendInMemory, Ours)->Name("append in memory")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendInMemory, Floor)->Name("append in memory/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendOnDisk, Ours)->Name("append on disk")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(appendOnDisk, Floor)->Name("append on disk/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeInMemory, Ours)->Name("take in memory")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeInMemory, Floor)->Name("take in memory/floor")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeOnDisk, Ours)->Name("take on disk")->Apply(withFewAndMany);
BENCHMARK_TEMPLATE(takeOnDisk, Floor)->Name("take on disk/floor")->Apply(withFewAndMany);

BENCHMARK_TEMPLATE(newest, 10, memory)
    ->Name("take of 10 MB beside empty, in memory")
    ->UseManualTime();
BENCHMARK_TEMPLATE(newest, 0, memory)
    ->Name("take of 10 MB beside empty, in memory/floor")
    ->UseManualTime();
BENCHMARK_TEMPLATE(newest, 10, disk)->Name("take of 10 MB beside empty, on disk")->UseManualTime();
BENCHMARK_TEMPLATE(newest, 0, disk)
    ->Name("take of 10 MB beside empty, on disk/floor")
    ->UseManualTime();

BENCHMARK_TEMPLATE(appendOnDisk, Ours)->Name("scaling append")->Apply(withSizes);
BENCHMARK_TEMPLATE(appendOnDisk, Floor)->Name("scaling append/floor")->Apply(withSizes);
BENCHMARK_TEMPLATE(takeOnDisk, Ours)->Name("scaling take")->Apply(withSizes);
BENCHMARK_TEMPLATE(takeOnDisk, Floor)->Name("scaling take/floor")->Apply(withSizes);

}  // namespace
}  // namespace corvane::bench
