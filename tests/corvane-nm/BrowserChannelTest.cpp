#include "corvane-nm/BrowserChannel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <thread>

#include "tests/Support/LogCollector.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;

/// The ids of all whole frames that can be read until the end; "?" for one that is cut short.
std::string idsFrom(int descriptor) {
  FrameReader reader(descriptor);
  std::string ids;
  for (;;) {
    const FrameReader::Frame frame = reader.readOne();
    if (frame.isEndOfInput) return ids;
    ids += frame.message ? std::string(*findString(*frame.message, "id")) : "?";
  }
}

/// Answers race with the end of input and with ends of slices, from the reading thread, from
/// another, and not at all: what is answered leaves whole, and nobody waits for what never is.
TEST(BrowserChannel, WritesEveryAnswerThatComesAndThenEnds) {
  for (int round = 0; round < 100; ++round) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    ASSERT_TRUE(::pipe(in.data()) == 0 && ::pipe(out.data()) == 0);
    std::vector<std::thread> answering;
    int beginnings = 0;
    auto& channel = *new BrowserChannel(  // its reading thread lives on for a moment
        in[0], out[1],
        [&](JsonObject message, BrowserChannel::Reply reply) {
          if (*findString(message, "id") == "1") return reply(message);
          if (*findString(message, "id") == "2") return;
          answering.emplace_back([reply = std::move(reply),
                                  message = std::move(message)]() mutable { reply(message); });
        },
        {1ms, 60s, 60s}, [&] { ++beginnings; }, [] {});
    FrameWriter browser(in[1]);
    if (round % 2 == 0) browser.send({{"id", "1"}});  // the first one, whole
    for (const char* id : {"1", "2", "3", "3"})
      browser.send({{"id", id}, {"filling", std::string(3000, 'x')}});
    ::close(in[1]);
    channel.listen();
    ::close(out[1]);
    EXPECT_EQ(idsFrom(out[0]), round % 2 == 0 ? "1133" : "133");
    EXPECT_EQ(beginnings, 1);
    for (std::thread& thread : answering) thread.join();
    ::close(in[0]);
    ::close(out[0]);
  }
}

/// Nothing but the row itself wakes the main thread: no slice ends, and the input stays open.
TEST(BrowserChannel, WritesTheAnswersToARowOfMessagesWhoseLastHasNone) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  ASSERT_TRUE(::pipe(in.data()) == 0 && ::pipe(out.data()) == 0);
  auto& channel = *new BrowserChannel(
      in[0], out[1],
      [](const JsonObject& message, BrowserChannel::Reply reply) {
        if (*findString(message, "id") != "-") reply(message);
      },
      {1h, 1h, 1h}, [] {}, [] {});
  const auto row = [](std::string_view ids) {
    std::string frames;
    for (const char id : ids) frames += std::string{'\x0A', 0, 0, 0} + R"({"id":")" + id + "\"}";
    return frames;
  };
  std::thread browser([&] {
    FrameReader reader(out[0]);
    for (int round = 0; round < 100; ++round) {
      // After an answer to a single one the main thread sleeps.
      for (const std::string_view ids : {"a", "a", "abc-"}) {
        const std::string frames = row(ids);
        EXPECT_EQ(::write(in[1], frames.data(), frames.size()), frames.size());
        for (const char id : ids.substr(0, 3))
          EXPECT_EQ(findString(*reader.readOne().message, "id")->front(), id);
      }
    }
    ::close(in[1]);
  });
  channel.listen();
  browser.join();
  for (const int end : {in[0], out[0], out[1]}) ::close(end);
}

TEST(BrowserChannel, WarnsOfRepliesThatAreTooLongForBrowsersAndWritesThem) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  std::size_t read = 0;
  std::thread browser([&] {
    std::array<char, 65536> bytes{};
    for (ssize_t count = 1; count > 0; read += static_cast<std::size_t>(count))
      count = ::read(pipe[0], bytes.data(), bytes.size());
  });
  constexpr std::size_t limit = 1'048'576;
  FrameWriter writer(pipe[1]);
  const std::size_t rest = std::string_view(R"({"x":""})").size();
  testing::takeLogTexts();
  EXPECT_TRUE(writer.send({{"x", std::string(limit - rest, 'y')}}));
  EXPECT_TRUE(testing::takeLogTexts().empty());
  EXPECT_TRUE(writer.send({{"x", std::string(limit + 1 - rest, 'y')}}));
  EXPECT_EQ(testing::takeLogTexts(),
            std::vector<std::string>{"2 (main: send(_:)) A reply has 1048577 bytes; browsers end "
                                     "the connection above 1048576 bytes"});
  ::close(pipe[1]);
  browser.join();
  ::close(pipe[0]);
  EXPECT_EQ(read, 2 * sizeof(std::uint32_t) + 2 * limit + 1);
}

}  // namespace
}  // namespace corvane
