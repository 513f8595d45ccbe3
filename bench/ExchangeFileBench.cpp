// One record appended to an exchange file and taken from it, in memory and on disk, into a file
// that is empty and on top of 10 MB of older records, which must make no difference.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "SharedComponents/ExchangeBuffer.h"
#include "bench/FloorFile.h"
#include "bench/NewFolder.h"
#include "bench/Samples.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

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

/// What is timed of a record that is appended and taken again, and where.
struct Subject {
  bool isTake;
  const Files& (*files)();
  std::uint64_t megabytes;  // of older records
};

template <class Exchange>
void exchange(benchmark::State& state, const Subject& subject) {
  Exchange exchange(subject.files().path(), subject.files().keyOf(subject.megabytes));
  while (state.KeepRunning()) {
    const auto start = Clock::now();
    exchange.append();
    const auto between = Clock::now();
    exchange.take();
    const auto end = Clock::now();
    const std::chrono::duration<double> seconds = subject.isTake ? end - between : between - start;
    state.SetIterationTime(seconds.count());
  }
}

template <class Exchange>
void add(const std::string& name, const Subject& subject) {
  benchmark::RegisterBenchmark(name.c_str(), exchange<Exchange>, subject)->UseManualTime();
}

void addPlace(const std::string& place, const Files& (*files)()) {
  for (const bool isTake : {false, true}) {
    for (const std::uint64_t megabytes : {0, 10}) {
      const std::string name =
          (isTake ? "take " : "append ") + place + ", " + std::to_string(megabytes) + " MB below";
      add<Ours>(name, {isTake, files, megabytes});
      add<Floor>(name + "/floor", {isTake, files, megabytes});
    }
  }
  const std::string name = "take of 10 MB beside empty, " + place;
  add<Ours>(name, {true, files, 10});
  add<Ours>(name + "/floor", {true, files, 0});
}

/// Not for the table: how the size of a file on disk counts.
void addSizes() {
  for (const bool isTake : {false, true}) {
    for (const std::uint64_t megabytes : {0, 1, 4, 16, 64, 256}) {
      const std::string name =
          std::string("scaling/") + (isTake ? "take/" : "append/") + std::to_string(megabytes);
      add<Ours>(name, {isTake, disk, megabytes});
      add<Floor>(name + "/floor", {isTake, disk, megabytes});
    }
  }
}

const bool isRegistered = [] {
  addPlace("in memory", memory);
  addPlace("on disk", disk);
  addSizes();
  return true;
}();

}  // namespace
}  // namespace corvane::bench
