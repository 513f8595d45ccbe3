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
  FrameReader reader(ends.reader.number(), [&](const RequestProcessing::Request& request) {
    EXPECT_FALSE(isPaused);
    VCLogCDebug({"test", "onRequest"}, "%@ %@ %@", request.type, request.id,
                std::hash<std::string>()(request.data.value_or("")));
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

TEST(FrameReader, GivesTheSameRequestsAndLinesHoweverTheBytesArrive) {
  std::string stream;
  for (const char* body :
       {R"({"type":"a","id":""})", "[]", R"({"b":2})", "no JSON", "", R"({"type":"b","id":"c"})"})
    stream += frameOf(body);
  for (const std::size_t length : {65'480U, 65'536U, 30'000U, 10U, 90'000U}) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 23);
    stream += frameOf(R"({"type":"d","id":"e","data":")" + text + "\"}");
    if (length == 65'480) comesToTheSame(stream, {1, 3});
  }
  comesToTheSame(stream, {4095, 16'383});  // what any pipe takes
}

}  // namespace
}  // namespace corvane
