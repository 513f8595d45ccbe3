#include "corvane-nm/BrowserChannel.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <optional>

#include "Base/Json.h"
#include "Platform/StandardStreams.h"
#include "tests/Support/Ends.h"
#include "tests/Support/Frames.h"
#include "tests/Support/Turning.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Platform::EventLoop;
using RequestProcessing::Request;
using testing::Ends;

/// The size of a message that a writable pipe takes without blocking.
constexpr std::size_t smallFilling = PIPE_BUF - 100;

/// The browser: it shares the loop with the channel.
class BrowserChannelTest : public ::testing::Test {
 protected:
  BrowserChannelTest() { Platform::ignoreSignalsOfWrites(); }

  /// Writes a message for each letter of `ids`, with one call.
  void write(std::string_view ids, std::size_t filling = 0) const {
    std::string frames;
    for (const char id : ids) {
      frames += testing::frameOf(std::string(R"({"id":")") + id + R"(","type":"t","data":")" +
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
  static RequestProcessing::Response answerTo(const Request& request, std::size_t filling = 0) {
    RequestProcessing::Response response;
    response.requestId = request.id;
    response.parameters = {{"filling", std::string(filling, 'x')}};
    return response;
  }

  EventLoop loop_;
  Ends in_ = Ends::ofPipe();
  Ends out_ = Ends::ofPipe();
  std::string read_;
  std::vector<EventLoop::Registration> timers_;
  std::optional<BrowserChannel> channel_;
  std::size_t answered_ = 0;
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
    listen({1ms, 60s, 60s}, [&](const Request& request, BrowserChannel::Reply reply) {
      if (request.id == "1") return reply(answerTo(request, 3000));
      if (request.id == "2") return;
      timers_.push_back(
          loop_.at(EventLoop::now() + round * 20us,
                   [reply = std::move(reply), request]() mutable { reply(answerTo(request)); }));
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
  write("ab", 5000);
  in_.writer = {};
  listen({1h, 1h, lastRead}, [](const Request& request, BrowserChannel::Reply reply) {
    reply(answerTo(request, 400'000));
  });
  EXPECT_EQ(ids(), "ab");
  EXPECT_GE(EventLoop::now() - start, 2 * lastRead) << "longer than it may read nothing";
}

/// The browser asks as fast as it can. Nothing is answered until the pipe stays full; the third
/// time the browser leaves instead, which is noticed, and what the pipe holds is read.
TEST_F(BrowserChannelTest, PausesReadingWhileTooMuchIsPendingAndLosesNothing) {
  int leavingRound = 3;
  std::size_t asked = 0;
  std::vector<std::pair<Request, BrowserChannel::Reply>> pending;
  auto asking = loop_.onWritable(in_.writer.number(), [&] {
    ++asked;
    write("a", smallFilling);
  });
  const auto answerAll = [&] {
    for (auto& [request, reply] : pending) reply(answerTo(request));
    pending.clear();
  };
  std::function<void()> look = [&] {
    timers_.clear();
    timers_.push_back(loop_.at(EventLoop::now() + 3ms, look));
    read_ += testing::taken(out_.reader, 1 << 20);
    if (in_.writer && testing::isReady(in_.writer.number(), POLLOUT)) return;
    if (in_.writer && --leavingRound == 0) {
      asking = {};
      in_.writer = {};
    } else if (in_.writer || pending.size() == asked) {
      EXPECT_LE(2 * pending.size() * smallFilling,
                BrowserChannel::maximumPendingRequestBytes + (1 << 18));
      asked -= pending.size();
      answered_ += pending.size();
      answerAll();
    }
  };
  look();
  listen({1ms, 60s, 60s}, [&](Request request, BrowserChannel::Reply reply) {
    pending.emplace_back(std::move(request), std::move(reply));
  });
  EXPECT_EQ(leavingRound, 0);
  EXPECT_EQ(asked, 0U);
  EXPECT_EQ(ids(), std::string(answered_, 'a'));
}

/// The browser asks as fast as it can and reads nothing until its own pipe stays full. Then it
/// leaves and reads: all requests are answered.
TEST_F(BrowserChannelTest, PausesReadingWhileRepliesAreUnread) {
  constexpr std::size_t replyLength = 100'000;
  std::size_t asked = 0;
  std::size_t handled = 0;
  auto asking = loop_.onWritable(in_.writer.number(), [&] {
    ++asked;
    write("a", smallFilling);
  });
  std::function<void()> look = [&] {
    timers_.clear();
    timers_.push_back(loop_.at(EventLoop::now() + 3ms, look));
    if (!in_.writer) {
      read_ += testing::taken(out_.reader, 1 << 20);
    } else if (!testing::isReady(in_.writer.number(), POLLOUT)) {
      EXPECT_LT(handled * replyLength, 2 * FrameWriter::maximumPendingBytes);
      EXPECT_LT(handled, asked);
      asking = {};
      in_.writer = {};
    }
  };
  look();
  listen({1ms, 60s, 60s}, [&](const Request& request, BrowserChannel::Reply reply) {
    ++handled;
    reply(answerTo(request, replyLength));
  });
  EXPECT_EQ(ids(), std::string(asked, 'a'));
}

}  // namespace
}  // namespace corvane
