// Messages decoded and encoded as the host does it, beside the JSON library alone on the same
// bytes; and whole frames read from a file in memory, beside a plain read into memory of the right
// size and the library.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <functional>
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
  explicit Sample(std::function<JsonObject()> make) : make_(std::move(make)) {}

  const JsonObject& object() {
    if (object_.empty()) object_ = make_();
    return object_;
  }
  const std::string& text() {
    if (text_.empty()) text_ = json::serialize(object());
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
  const std::function<JsonObject()> make_;
  JsonObject object_;
  std::string text_;
  int file_ = -1;
};

json::value decodePlainly(const char* text, std::size_t length) {
  json::error_code error;
  return json::parse({text, length}, error);
}

void decode(benchmark::State& state, Sample& sample) {
  for (const std::string& text = sample.text(); state.KeepRunning();) {
    benchmark::DoNotOptimize(parseJson(text));
  }
}
void decodeFloor(benchmark::State& state, Sample& sample) {
  for (const std::string& text = sample.text(); state.KeepRunning();) {
    benchmark::DoNotOptimize(decodePlainly(text.data(), text.size()));
  }
}

void encode(benchmark::State& state, Sample& sample) {
  for (const JsonObject& object = sample.object(); state.KeepRunning();) {
    if (!isValidJsonObject(object)) return state.SkipWithError("not valid");
    benchmark::DoNotOptimize(serializeJson(object));
  }
}
void encodeFloor(benchmark::State& state, Sample& sample) {
  for (const JsonObject& object = sample.object(); state.KeepRunning();) {
    benchmark::DoNotOptimize(json::serialize(object));
  }
}

void read(benchmark::State& state, Sample& sample) {
  FrameReader reader(sample.file());
  while (state.KeepRunning()) {
    sample.file();
    if (!reader.readOne().message) return state.SkipWithError("no message");
  }
}
void readFloor(benchmark::State& state, Sample& sample) {
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

void registerSample(const std::string& name, JsonObject (*make)(std::size_t), std::size_t length) {
  const auto sample = std::make_shared<Sample>([=] { return make(length); });
  const auto pair = [&](const std::string& what, auto* ours, auto* floor) {
    const std::string subject = what + ", " + name;
    const auto with = [sample](auto* run) {
      return [=](benchmark::State& state) { run(state, *sample); };
    };
    benchmark::RegisterBenchmark(subject.c_str(), with(ours));
    benchmark::RegisterBenchmark((subject + "/floor").c_str(), with(floor));
  };
  pair("JSON decode", decode, decodeFloor);
  pair("JSON encode", encode, encodeFloor);
  pair("JSON frame in", read, readFloor);
}

const bool isRegistered = [] {
  registerSample("200 B", oneString, 200);
  for (const std::size_t megabytes : {1, 64}) {
    const std::string size = std::to_string(megabytes) + " MB";
    registerSample(size + ", one string", oneString, megabytes * megabyte);
    registerSample(size + ", 1 KB objects", manyObjects, megabytes * megabyte);
  }
  return true;
}();

}  // namespace
}  // namespace corvane::bench
