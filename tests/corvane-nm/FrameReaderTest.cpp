#include "corvane-nm/FrameReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/Support/Ends.h"
#include "tests/Support/Frames.h"
#include "tests/Support/LogCollector.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

using testing::Ends;
using testing::frameOf;
using Lines = std::vector<std::string>;

constexpr std::size_t atOnce = 0;  // from a file, so that no read comes back short

/// Reads `stream`, which arrives in pieces of `pieceLength` bytes, to its end. Gives the log, to
/// which each message adds a line of its own.
Lines linesOf(const std::string& stream, std::size_t pieceLength, bool isPausing) {
  const testing::TemporaryFolder folder;
  Ends ends = Ends::ofPipe();
  if (pieceLength == atOnce) {
    testing::writeFile(folder.path() / "stream", stream);
    ends.reader = Platform::OwnedDescriptor(::open((folder.path() / "stream").c_str(), O_RDONLY));
  }
  bool isPaused = false;
  FrameReader reader(ends.reader.number(), [&](const JsonObject& message) {
    EXPECT_FALSE(isPaused);
    const auto text = serializeJson(message);
    VCLogCDebug({"test", "onMessage"}, "%@ %@", text->view().substr(0, 8),
                std::hash<std::string_view>()(text->view()));
    if (isPausing) reader.pause();
    isPaused = isPausing;
  });
  const auto read = [&] {
    const bool isMore = reader.read();
    while (std::exchange(isPaused, false)) reader.resume();
    return isMore;
  };
  testing::takeLogTexts();
  for (std::size_t at = 0; pieceLength != atOnce && at < stream.size(); at += pieceLength) {
    testing::put(ends.writer, stream.substr(at, pieceLength));
    while (testing::isReady(ends.reader.number(), POLLIN)) EXPECT_TRUE(read());
  }
  ends.writer = {};
  while (read()) continue;
  return testing::takeLogTexts();
}

/// Whatever its end.
void comesToTheSame(const std::string& stream, const std::vector<std::size_t>& pieceLengths) {
  for (const std::string& end :
       {std::string(), std::string("\7\0", 2), std::string("\7\0\0\0{\"d\"", 8),
        frameOf(std::string(20'000, 'x')).substr(0, 10'000)}) {
    const Lines expected = linesOf(stream + end, atOnce, false);
    EXPECT_EQ(linesOf(stream + end, atOnce, true), expected);
    for (const std::size_t pieceLength : pieceLengths) {
      for (const bool isPausing : {false, true})
        EXPECT_EQ(linesOf(stream + end, pieceLength, isPausing), expected) << pieceLength;
    }
  }
}

TEST(FrameReader, GivesTheSameMessagesAndLinesHoweverTheBytesArrive) {
  std::string stream;
  for (const char* body : {R"({"a":1})", "[]", R"({"b":2})", "no JSON", "", R"({"c":3})"})
    stream += frameOf(body);
  for (const std::size_t length : {8170U, 8192U, 30'000U, 10U, 90'000U}) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 23);
    stream += frameOf(R"({"filling":")" + text + "\"}");
    if (length == 8192) comesToTheSame(stream, {1, 3, 8193});
  }
  comesToTheSame(stream, {4095, 8193, 60'000});
}

}  // namespace
}  // namespace corvane
