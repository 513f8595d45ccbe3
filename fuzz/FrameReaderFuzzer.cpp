#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/JsonWriter.h"
#include "VCommons/Logging/DDLog.h"
#include "VCommons/VCommonsKit/VCLog.h"
#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Requests.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)
using fuzzing::require;
using RequestProcessing::Request;
using Requests = std::vector<Request>;

class OpenDescriptor {
 public:
  explicit OpenDescriptor(int number) : number_(number) { require(number >= 0, "it opens"); }
  ~OpenDescriptor() { ::close(number_); }
  OpenDescriptor(const OpenDescriptor&) = delete;
  OpenDescriptor& operator=(const OpenDescriptor&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  const int number_;
};

/// Remembers the lines of the log without keeping them.
class Lines final : public DDLogger {
 public:
  /// From now on all lines, each before the call that logs it returns.
  static Lines& ofTheProcess() {
    static const auto lines = [] {
      auto made = std::make_shared<Lines>();
      asyncLoggingEnabled = false;
      DDLog::shared().addLogger(made);
      return made;
    }();
    return *lines;
  }

  void log(const DDLogMessage& message) override {
    digest_ = 31 * digest_ + std::hash<std::string>()(message.message);
  }
  /// A number for the lines since the last call, and for their order.
  std::size_t digest() { return std::exchange(digest_, 0); }

 private:
  std::size_t digest_ = 0;
};

/// What a stream holds, worked out anew: its requests, and where the frame of each ends.
struct Expected {
  Requests requests;
  std::vector<std::size_t> ends;

  explicit Expected(std::string_view stream) {
    const std::size_t size = stream.size();
    std::uint32_t length = 0;
    while (stream.size() >= sizeof length) {
      std::copy_n(stream.data(), sizeof length, reinterpret_cast<char*>(&length));
      stream.remove_prefix(sizeof length);
      if (stream.size() < length) return;
      auto value = parseJson(stream.substr(0, length));
      stream.remove_prefix(length);
      if (!value) continue;
      auto request = fuzzing::requestIn(value.value());
      if (!request) continue;
      requests.push_back(std::move(*request));
      ends.push_back(size - stream.size());
    }
  }

  /// How many requests are complete when so many bytes have arrived.
  [[nodiscard]] std::size_t countOf(std::size_t bytes) const {
    return static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), bytes) -
                                    ends.begin());
  }
};

/// A reader that is paused by some of its requests: bit i % 5 of `pauses` says whether by request
/// i.
class Reading {
 public:
  Reading(int descriptor, unsigned pauses)
      : pauses_(pauses),
        reader_(descriptor, [this](Request request) { take(std::move(request)); }) {}

  /// Reads once, and resumes as often as it is paused. False at the end.
  bool read() {
    const bool hasMore = reader_.read();
    while (std::exchange(isPaused_, false)) reader_.resume();
    return hasMore;
  }

  [[nodiscard]] std::size_t count() const { return requests_.size(); }
  Requests takeRequests() { return std::move(requests_); }

 private:
  void take(Request request) {
    require(!isPaused_, "nothing is delivered while reading is paused");
    isPaused_ = (pauses_ >> requests_.size() % 5 & 1) != 0;
    requests_.push_back(std::move(request));
    if (isPaused_) reader_.pause();
  }

  const unsigned pauses_;
  Requests requests_;
  bool isPaused_ = false;
  FrameReader reader_;
};

void requireAllUpTo(std::size_t bytes, const Reading& reading, const Expected& expected) {
  require(reading.count() == expected.countOf(bytes),
          "a request is delivered when its last byte has arrived, and not before");
}

/// A request takes some hundred bytes, and its frame 22 at the least; lists grow by doubling.
std::size_t mostMemoryFor(std::size_t size) {
  return (std::size_t{256} << 10) + 136 * size;
}

Requests requestsAtOnce(std::string_view stream, unsigned pauses, const Expected& expected) {
  const OpenDescriptor file(::memfd_create("stream", MFD_CLOEXEC));
  require(::pwrite(file.number(), stream.data(), stream.size(), 0) ==
              static_cast<ssize_t>(stream.size()),
          "the stream fits");
  const fuzzing::MemoryBound bound(mostMemoryFor(stream.size()));
  Reading reading(file.number(), pauses);
  while (reading.read()) {
    const auto position = ::lseek(file.number(), 0, SEEK_CUR);
    requireAllUpTo(static_cast<std::size_t>(position), reading, expected);
  }
  return reading.takeRequests();
}

bool isReadable(int descriptor) {
  pollfd source{descriptor, POLLIN, 0};
  return ::poll(&source, 1, 0) == 1;
}

/// The stream arrives in up to 64 pieces.
Requests requestsInPieces(std::string_view stream, unsigned pauses, const Expected& expected) {
  std::array<int, 2> ends{};
  require(::pipe(ends.data()) == 0, "it opens");
  const OpenDescriptor input(ends[0]);
  std::optional<OpenDescriptor> output(std::in_place, ends[1]);
  const fuzzing::MemoryBound bound(mostMemoryFor(stream.size()));
  Reading reading(input.number(), pauses);
  const std::size_t most = std::max<std::size_t>(3, stream.size() / 64 + 1);
  for (std::size_t at = 0; at < stream.size(); at += most) {
    const std::string_view piece = stream.substr(at, most);
    require(
        ::write(output->number(), piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()),
        "a piece fits");
    while (isReadable(input.number())) require(reading.read(), "the input has not ended");
    requireAllUpTo(at + piece.size(), reading, expected);
  }
  output.reset();
  require(!reading.read(), "the end of input is seen");
  return reading.takeRequests();
}

void write(JsonWriter& json, const Request& request) {
  json.write([&](JsonWriter& object) {
    object.text("type", request.type);
    object.text("id", request.id);
    if (request.data) object.text("data", *request.data);
    object.object("parameters", [&](JsonWriter& parameters) {
      for (const std::string_view name : RequestProcessing::parameterNames) {
        const auto parameter = *RequestProcessing::findParameter(name);
        const auto& values = request.parameters;
        if (const auto* text = values.text(parameter)) parameters.text(name, *text);
        if (const auto* flag = values.flag(parameter)) parameters.boolean(name, *flag);
        if (const auto* number = values.integer(parameter)) parameters.integer(name, *number);
      }
    });
  });
}

/// What is written is read back as it was.
void writeAndReadBack(const Requests& requests) {
  static Platform::EventLoop loop;  // never turns: a file takes everything at once
  const OpenDescriptor file(::memfd_create("frames", MFD_CLOEXEC));
  FrameWriter writer(loop, file.number(), [] {});
  JsonWriter json;
  for (const Request& request : requests) {
    write(json, request);
    require(writer.send(json.view()), "what was read can be written");
  }
  require(writer.isIdle(), "what was sent has been written");
  const auto size = static_cast<std::size_t>(::lseek(file.number(), 0, SEEK_END));
  ::lseek(file.number(), 0, SEEK_SET);
  const fuzzing::MemoryBound bound(mostMemoryFor(size));
  Reading reading(file.number(), 0);
  while (reading.read()) continue;
  require(reading.takeRequests() == requests, "what was written reads back as the same");
}

}  // namespace

/// The input is what the browser writes until it closes its end; of its first byte, the upper three
/// bits say how many times 16 KiB of spaces follow it, for bodies that it reads in pieces,
/// and the others which requests pause the reader; in pieces, it is those that do not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Lines& lines = Lines::ofTheProcess();
  std::string stream(fuzzing::textOf(data, size).substr(1));
  stream.append(std::size_t{data[0]} / 32 * 16384, ' ');
  const Expected expected(stream);
  lines.digest();
  require(requestsAtOnce(stream, data[0], expected) == expected.requests,
          "the requests are those of the stream");
  const std::size_t logged = lines.digest();
  require(requestsInPieces(stream, ~unsigned{data[0]}, expected) == expected.requests,
          "they are the same however the bytes arrive");
  require(lines.digest() == logged, "so are the log lines");
  writeAndReadBack(expected.requests);
  return 0;
}
