#include "corvane-nm/FrameWriter.h"

#include <gtest/gtest.h>

#include "Platform/StandardStreams.h"
#include "tests/Support/Ends.h"
#include "tests/Support/Frames.h"
#include "tests/Support/LogCollector.h"
#include "tests/Support/Turning.h"

namespace corvane {
namespace {

using testing::Ends;
using testing::takeLogTexts;
using testing::turnUntil;

constexpr std::size_t longestForBrowsers = 1'048'576;

class FrameWriterTest : public ::testing::Test {
 protected:
  FrameWriterTest() {
    Platform::ignoreSignalsOfWrites();
    takeLogTexts();
  }

  /// Sends a frame whose body has `length` bytes, and notes it.
  void send(std::size_t length) {
    const std::string json(length, static_cast<char>('a' + ++sent_ % 23));
    EXPECT_TRUE(writer_.send(json));
    expected_ += testing::frameOf(json);
  }

  Platform::EventLoop loop_;
  Ends ends_ = Ends::ofPipe();
  int idleCalls_ = 0;
  FrameWriter writer_{loop_, ends_.writer.number(), [this] { ++idleCalls_; }};
  std::size_t sent_ = 0;
  std::string expected_;
};

TEST_F(FrameWriterTest, WhatAFullPipeDoesNotTakeComesLaterWholeAndInOrder) {
  std::string read;
  for (const int round : {1, 2}) {
    send(9);
    EXPECT_TRUE(writer_.isIdle());
    EXPECT_EQ(idleCalls_, round - 1) << "nothing had to be kept";
    for (int i = 0; i < 100; ++i) send(3000);
    send(longestForBrowsers);
    EXPECT_TRUE(takeLogTexts().empty());
    send(longestForBrowsers + 1);
    EXPECT_EQ(takeLogTexts(),
              std::vector<std::string>{"2 (main: send(_:)) A reply has 1048577 bytes; browsers end "
                                       "the connection above 1048576 bytes"});
    EXPECT_FALSE(writer_.isIdle());
    const std::size_t pending = writer_.pendingBytes();
    read += testing::taken(ends_.reader, 5003);  // a frame is cut off somewhere
    ASSERT_TRUE(turnUntil(loop_, [&] { return writer_.pendingBytes() < pending; }));
    send(10);
    ASSERT_TRUE(turnUntil(loop_, [&] {
      read += testing::taken(ends_.reader, 50'003);
      return writer_.isIdle();
    }));
    EXPECT_EQ(writer_.pendingBytes(), 0U);
    EXPECT_EQ(idleCalls_, round);
  }
  read += testing::allTaken(ends_.reader);
  EXPECT_TRUE(read == expected_);
}

TEST_F(FrameWriterTest, AFrameTakesTwoWrites) {
  const Ends sockets = Ends::ofSockets(SOCK_DGRAM);
  FrameWriter writer(loop_, sockets.writer.number(), [] {});
  for (const char* body : {R"({"a":1})", R"({"b":22})"}) {
    EXPECT_TRUE(writer.send(body));
    EXPECT_EQ(testing::taken(sockets.reader), testing::frameOf(body).substr(0, 4));
    EXPECT_EQ(testing::taken(sockets.reader), body);
    EXPECT_FALSE(testing::isReady(sockets.reader.number(), POLLIN));
  }
}

TEST_F(FrameWriterTest, ABrowserThatDoesNotReadCostsALineAndOneThatIsGoneToo) {
  constexpr std::size_t length = 1'000'000;
  while (writer_.pendingBytes() + length + 4 <= FrameWriter::maximumPendingBytes) send(length);
  EXPECT_TRUE(takeLogTexts().empty());
  EXPECT_FALSE(writer_.isFull());
  send(length);
  const std::string pending = std::to_string(writer_.pendingBytes());
  send(length);
  EXPECT_EQ(takeLogTexts(),
            std::vector<std::string>{"2 (main: send(_:)) The browser does not read: " + pending +
                                     " bytes of replies are pending"});
  testing::taken(ends_.reader, 2 * length);
  testing::turnThrough(loop_);
  EXPECT_TRUE(writer_.isFull()) << "until all has been written";
  EXPECT_TRUE(turnUntil(loop_, [&] {
    testing::taken(ends_.reader, length);
    return !writer_.isFull();
  }));
  EXPECT_TRUE(writer_.isIdle());
  for (int i = 0; i < 2; ++i) send(length);
  ends_.reader = {};
  EXPECT_TRUE(turnUntil(loop_, [&] { return writer_.isIdle(); }));
  send(9);
  EXPECT_EQ(takeLogTexts(), std::vector<std::string>{
                                "1 (main: send(_:)) Can't write to browser: write: Broken pipe"});
  EXPECT_EQ(writer_.pendingBytes(), 0U);
  EXPECT_FALSE(writer_.send("\xFF"));
  EXPECT_EQ(takeLogTexts(), std::vector<std::string>{
                                "1 (main: send(_:)) Can't convert object to JSON data: \\xFF"});
}

}  // namespace
}  // namespace corvane
