// Messages decoded as the host does it, beside the JSON library alone on the same bytes; and whole
// frames read from a file in memory, beside a plain read into memory of the right size and the
// library.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <memory>

#include "bench/JsonBodies.h"
#include "bench/NewFolder.h"
#include "corvane-nm/FrameReader.h"

namespace corvane::bench {
namespace {

namespace json = boost::json;

/// A message, its text, and a file in memory that holds it as a frame; made when first used.
class Sample {
 public:
  Sample(std::string name, JsonObject (*make)(std::size_t), std::size_t length)
      : name_(std::move(name)), make_(make), length_(length) {}

  [[nodiscard]] const std::string& name() const { return name_; }
  const std::string& text() {
    if (text_.empty()) text_ = json::serialize(make_(length_));
    return text_;
  }
  /// Its file from the beginning.
  int file() {
    if (file_ < 0) {
      const NewFolder folder("/dev/shm");
      const auto length = static_cast<std::uint32_t>(text().size());
      std::ofstream(folder.path() + "/frame", std::ios::binary)
          .write(reinterpret_cast<const char*>(&length), sizeof length)
          .write(text().data(), length);
      file_ = ::open((folder.path() + "/frame").c_str(), O_RDONLY | O_CLOEXEC);
    }
    ::lseek(file_, 0, SEEK_SET);
    return file_;
  }

 private:
  const std::string name_;
  JsonObject (*const make_)(std::size_t);
  const std::size_t length_;
  std::string text_;
  int file_ = -1;
};

std::array<Sample, 5> samples = {{{"200 B", oneString, 200},
                                  {"1 MB, one string", oneString, megabyte},
                                  {"1 MB, 1 KB objects", manyObjects, megabyte},
                                  {"64 MB, one string", oneString, 64 * megabyte},
                                  {"64 MB, 1 KB objects", manyObjects, 64 * megabyte}}};

/// The one that a run is about: its first argument is megabytes, its second the index of a sample.
Sample& sampleOf(benchmark::State& state) {
  Sample& sample = samples.at(static_cast<std::size_t>(state.range(1)));
  state.SetLabel(sample.name());
  return sample;
}

void withSamples(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"MB", "sample"});
  benchmark->Args({0, 0})->Args({1, 1})->Args({1, 2})->Args({64, 3})->Args({64, 4});
}

json::value decodePlainly(const char* text, std::size_t length) {
  json::error_code error;
  return json::parse({text, length}, error);
}

void decode(benchmark::State& state) {
  RequestProcessing::RequestParser parser;
  for (const std::string& text = sampleOf(state).text(); state.KeepRunning();) {
    parser.write(text, true);
    benchmark::DoNotOptimize(parser.finish());
  }
}
void decodeFloor(benchmark::State& state) {
  for (const std::string& text = sampleOf(state).text(); state.KeepRunning();) {
    benchmark::DoNotOptimize(decodePlainly(text.data(), text.size()));
  }
}

void read(benchmark::State& state) {
  Sample& sample = sampleOf(state);
  bool hasMessage = false;
  FrameReader reader(sample.file(),
                     [&](const RequestProcessing::Request& /*request*/) { hasMessage = true; });
  while (state.KeepRunning()) {
    sample.file();
    hasMessage = false;
    while (!hasMessage && reader.read()) continue;
    if (!hasMessage) return state.SkipWithError("no message");
  }
}
void readFloor(benchmark::State& state) {
  Sample& sample = sampleOf(state);
  while (state.KeepRunning()) {
    const int file = sample.file();
    std::uint32_t length = 0;
    bool isWhole = ::read(file, &length, sizeof length) == sizeof length;
    const std::unique_ptr<char[]> body(new char[length]);
    isWhole = isWhole && ::read(file, body.get(), length) == length;
    if (!isWhole) return state.SkipWithError("can't read");
    benchmark::DoNotOptimize(decodePlainly(body.get(), length));
  }
}

BENCHMARK(decode)->Name("JSON decode")->Apply(withSamples);
BENCHMARK(decodeFloor)->Name("JSON decode/floor")->Apply(withSamples);
BENCHMARK(read)->Name("JSON frame in")->Apply(withSamples);
BENCHMARK(readFloor)->Name("JSON frame in/floor")->Apply(withSamples);

}  // namespace
}  // namespace corvane::bench
