#include "corvane-nm/BrowserChannel.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "Platform/StandardStreams.h"
#include "tests/Support/Ends.h"
#include "tests/Support/Frames.h"
#include "tests/Support/Turning.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Platform::EventLoop;
using testing::Ends;

/// The browser: it shares the loop with the channel.
class BrowserChannelTest : public ::testing::Test {
 protected:
  BrowserChannelTest() { Platform::ignoreSignalsOfWrites(); }

  /// Writes a message for each letter of `ids`, with one call.
  void write(std::string_view ids, std::size_t filling = 0) const {
    std::string frames;
    for (const char id : ids) {
      frames += testing::frameOf(std::string(R"({"id":")") + id + R"(","filling":")" +
                                 std::string(filling, 'x') + "\"}");
    }
    testing::put(in_.writer, frames);
  }
  /// A letter for each frame in what was read, "?" for one that is cut short.
  [[nodiscard]] std::string ids() const {
    std::string ids;
    for (const std::string& body : testing::bodiesIn(read_)) {
      ids += body == "?" ? "?" : *findString(parseJson(body)->get_object(), "requestId");
    }
    return ids;
  }
  /// Makes a channel, lets it listen until the end of input, and reads what is left.
  void listen(BrowserChannel::Limits limits, BrowserChannel::Processor processor) {
    const auto guard = loop_.at(EventLoop::now() + testing::patience, [this] {
      ADD_FAILURE() << "the browser waits for ever";
      in_.writer = {};
    });
    channel_.emplace(loop_, in_.reader.number(), out_.writer.number(), std::move(processor),
                     limits);
    channel_->listen();
    read_ += testing::allTaken(out_.reader);
  }
  static RequestProcessing::Response answerTo(const JsonObject& message, std::size_t filling = 0) {
    RequestProcessing::Response response;
    response.requestId = *findString(message, "id");
    response.parameters = JsonObject{{"filling", std::string(filling, 'x')}};
    return response;
  }

  EventLoop loop_;
  Ends in_ = Ends::ofPipe();
  Ends out_ = Ends::ofPipe();
  std::string read_;
  std::vector<EventLoop::Registration> timers_;
  std::optional<BrowserChannel> channel_;
};

/// Answers race with the end of input and with ends of slices, given at once, later, and not at
/// all: what is answered leaves whole, and nothing waits for what never is.
TEST_F(BrowserChannelTest, WritesEveryAnswerThatComesAndThenEnds) {
  for (int round = 0; round < 100; ++round) {
    in_ = Ends::ofPipe();
    out_ = Ends::ofPipe();
    read_.clear();
    write("1123", 3000);
    write("3", 3000);
    in_.writer = {};
    listen({1ms, 60s, 60s}, [&](JsonObject message, BrowserChannel::Reply reply) {
      if (*findString(message, "id") == "1") return reply(answerTo(message, 3000));
      if (*findString(message, "id") == "2") return;
      timers_.push_back(
          loop_.at(EventLoop::now() + round * 20us,
                   [reply = std::move(reply), message = std::move(message)]() mutable {
                     reply(answerTo(message));
                   }));
    });
    EXPECT_EQ(ids(), "1133");
  }
}

TEST_F(BrowserChannelTest, ABrowserThatReadsSlowlyGetsEverythingAfterTheEndOfInput) {
  constexpr auto lastRead = 100ms;
  const auto start = EventLoop::now();
  std::function<void()> readSome = [&] {
    read_ += testing::taken(out_.reader, 16'384);
    timers_.clear();
    timers_.push_back(loop_.at(EventLoop::now() + lastRead / 10, readSome));
  };
  readSome();
  write("ab", 30'000);
  in_.writer = {};
  listen({1h, 1h, lastRead}, [](const JsonObject& message, BrowserChannel::Reply reply) {
    reply(answerTo(message, 400'000));
  });
  EXPECT_EQ(ids(), "ab");
  EXPECT_GE(EventLoop::now() - start, 2 * lastRead) << "longer than it may read nothing";
}

/// The browser writes as long as there is room, which ends as the channel does not read.
TEST_F(BrowserChannelTest, PausedReadsNothingAndThenGoesOnWhereItWas) {
  constexpr std::size_t enough = 30;
  bool isPaused = false;
  bool wasFull = false;
  std::size_t written = 0;
  std::size_t handled = 0;
  auto filling = loop_.onWritable(in_.writer.number(), [&] {
    ++written;
    write("a", 4000);
  });
  listen({1ms, 60s, 60s}, [&](const JsonObject& message, BrowserChannel::Reply reply) {
    EXPECT_FALSE(isPaused) << handled;
    reply(answerTo(message));
    isPaused = true;
    channel_->pauseReading();
    channel_->pauseReading();  // a no-op
    if (++handled == enough) {
      filling = {};
      in_.writer = {};
    }
    timers_.push_back(loop_.at(EventLoop::now() + 3ms, [&] {
      if (in_.writer && !testing::isReady(in_.writer.number(), POLLOUT)) wasFull = true;
      isPaused = false;
      channel_->resumeReading();
      channel_->pauseReading();  // in vain, as is what resumes it first
      channel_->resumeReading();
      channel_->resumeReading();
    }));
  });
  EXPECT_TRUE(wasFull);
  EXPECT_GT(handled, enough);
  EXPECT_EQ(ids(), std::string(written, 'a'));
}

}  // namespace
}  // namespace corvane
