#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/JsonComparison.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)
using fuzzing::require;
/// One for each frame; nothing for one that is dropped.
using Messages = std::vector<std::optional<JsonObject>>;

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

/// The frames in `stream`, worked out anew.
Messages framesIn(std::string_view stream) {
  Messages messages;
  while (!stream.empty()) {
    std::uint32_t length = 0;
    auto& message = messages.emplace_back();
    if (stream.size() < sizeof length) break;
    std::copy_n(stream.data(), sizeof length, reinterpret_cast<char*>(&length));
    stream.remove_prefix(sizeof length);
    if (stream.size() < length) break;
    auto value = parseJson(stream.substr(0, length));
    if (value && value->is_object()) message = std::move(value->get_object());
    stream.remove_prefix(length);
  }
  return messages;
}

/// Whether whole frames alone are in `stream`.
bool endsWhole(std::string_view stream) {
  std::uint32_t length = 0;
  while (stream.size() >= sizeof length) {
    std::copy_n(stream.data(), sizeof length, reinterpret_cast<char*>(&length));
    if (stream.size() - sizeof length < length) return false;
    stream.remove_prefix(sizeof length + length);
  }
  return stream.empty();
}

/// Reads one frame. Of what lies in a file, one that is ahead is read without it, and no other is.
FrameReader::Frame frameFrom(FrameReader& reader, bool& wasAhead) {
  const auto position = [&] { return ::lseek(reader.descriptor(), 0, SEEK_CUR); };
  const auto before = position();
  const bool isAhead = reader.hasFrameAhead();
  auto frame = reader.readOne();
  if (isAhead)
    require(!frame.isEndOfInput && position() == before, "a frame that is ahead is there");
  else if (before >= 0 && frame.message)
    require(position() > before, "a frame that is there is ahead");
  if (!frame.isEndOfInput) wasAhead = isAhead;
  return frame;
}

/// The frames that come out of `descriptor`, which gives `size` bytes: three times what has arrived
/// at most while a body grows, and what Json takes for it. Bit i % 5 of `aheads` says whether the
/// reader reads ahead before frame i.
Messages framesFrom(int descriptor, std::size_t size, unsigned aheads = 0, bool isWhole = true) {
  const fuzzing::MemoryBound bound((std::size_t{256} << 10) + 136 * size);
  FrameReader reader(descriptor);
  bool wasAhead = false;
  Messages messages;
  for (;;) {
    if ((aheads >> messages.size() % 5 & 1) != 0) reader.readAhead();
    auto frame = frameFrom(reader, wasAhead);
    if (frame.isEndOfInput) {
      require(!wasAhead || isWhole, "a frame that is cut is not ahead");
      return messages;
    }
    messages.push_back(std::move(frame.message));
  }
}

Messages framesAtOnce(std::string_view stream, unsigned aheads) {
  const OpenDescriptor file(::memfd_create("stream", MFD_CLOEXEC));
  require(::pwrite(file.number(), stream.data(), stream.size(), 0) ==
              static_cast<ssize_t>(stream.size()),
          "the stream fits");
  return framesFrom(file.number(), stream.size(), aheads, endsWhole(stream));
}

/// The stream arrives in up to 64 pieces, one for each read.
Messages framesInPieces(std::string_view stream, unsigned aheads) {
  std::array<int, 2> ends{};
  require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0, "it opens");
  const OpenDescriptor reading(ends[0]);
  {
    const OpenDescriptor writing(ends[1]);
    const std::size_t most = std::max<std::size_t>(3, stream.size() / 64 + 1);
    for (std::size_t at = 0; at < stream.size(); at += most) {
      const std::string_view piece = stream.substr(at, most);
      require(::send(writing.number(), piece.data(), piece.size(), MSG_DONTWAIT) ==
                  static_cast<ssize_t>(piece.size()),
              "the pieces fit");
    }
  }
  return framesFrom(reading.number(), stream.size(), aheads, endsWhole(stream));
}

/// Not by ==: a zero with a huge exponent reads as what is equal to nothing (Base/Json.h).
bool areSame(const Messages& ones, const Messages& others) {
  return std::equal(ones.begin(), ones.end(), others.begin(), others.end(),
                    [](const auto& one, const auto& other) {
                      return one.has_value() == other.has_value() &&
                             (!one || fuzzing::isSame(*one, *other));
                    });
}

/// What can be written is read back as it was.
void writeAndReadBack(const Messages& messages) {
  const OpenDescriptor file(::memfd_create("frames", MFD_CLOEXEC));
  FrameWriter writer(file.number());
  Messages written;
  for (const auto& message : messages) {
    if (!message || !isValidJsonObject(*message)) continue;
    require(writer.send(*message), "what was read can be written");
    written.push_back(message);
  }
  const auto size = ::lseek(file.number(), 0, SEEK_END);
  ::lseek(file.number(), 0, SEEK_SET);
  const Messages again = framesFrom(file.number(), static_cast<std::size_t>(size));
  require(areSame(written, again), "what was written reads back as the same");
}

}  // namespace

/// The input is what the browser writes until it closes its end; of its first byte, the upper three
/// bits say how many times 16 KiB of spaces follow it, for bodies beyond the reader's first memory,
/// and the others before which frames the reader reads ahead.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string stream(fuzzing::textOf(data, size).substr(1));
  stream.append(std::size_t{data[0]} / 32 * 16384, ' ');
  const Messages expected = framesIn(stream);
  require(areSame(framesAtOnce(stream, data[0]), expected), "the frames are those of the stream");
  if (size <= 32768 && data[0] < 32)
    require(areSame(framesInPieces(stream, data[0]), expected),
            "it is the same however the bytes arrive");
  writeAndReadBack(expected);
  return 0;
}
