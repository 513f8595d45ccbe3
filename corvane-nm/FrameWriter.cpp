#include "corvane-nm/FrameWriter.h"

#include <limits>
#include <span>
#include <utility>

#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

/// The longest body that browsers take from a host, in bytes; measured in Chromium and Firefox.
constexpr std::size_t longestForBrowsers = 1'048'576;

constexpr LogPoint sendPoint(std::uint32_t line = __builtin_LINE()) {
  return {"corvane-nm/main", "send(_:)", line};
}

}  // namespace

FrameWriter::FrameWriter(Platform::EventLoop& loop, int descriptor, std::function<void()> onIdle)
    : loop_(loop), output_(descriptor), onIdle_(std::move(onIdle)) {}

bool FrameWriter::send(const JsonObject& response) {
  if (!isValidJsonObject(response)) return true;
  auto body = serializeJson(response);
  if (!body) {
    VCLogCError(sendPoint(), "Can't convert object to JSON data: %@",
                [&] { return description(response); });
    return false;
  }
  add(std::move(body).value());
  return true;
}

void FrameWriter::add(GrowingText body) {
  const std::size_t size = body.size();
  if (size > std::numeric_limits<std::uint32_t>::max())
    Platform::hardStop("a reply is longer than a frame can say");
  if (isGone_) return;
  if (size > longestForBrowsers) {
    VCLogCWarn(sendPoint(), "A reply has %@ bytes; browsers end the connection above %@ bytes",
               size, longestForBrowsers);
  }
  const bool wasIdle = pending_.empty();
  pending_.push_back({static_cast<std::uint32_t>(size), std::move(body)});
  pendingBytes_ += sizeof(std::uint32_t) + size;
  if (wasIdle) writePending();
  if (pendingBytes_ > maximumPendingBytes && !std::exchange(isFull_, true)) {
    VCLogCWarn(sendPoint(), "The browser does not read: %@ bytes of replies are pending",
               pendingBytes_);
  }
}

/// Writes until the descriptor takes no more, then waits until it is writable. If it is writable
/// but takes nothing (no memory), waits for `retryPause` instead, so that the loop does not spin.
void FrameWriter::writePending() {
  const std::uint64_t before = writtenBytes_;
  while (!pending_.empty() && writeFirst()) pending_.pop_front();
  const bool isStuck = isWaiting_ && !pending_.empty() && writtenBytes_ == before;
  if (isStuck) {
    writable_ = loop_.at(loop_.now() + loop_.retryPause, [this] { awaitRoom(); });
  } else if (pending_.empty() == isWaiting_) {
    isWaiting_ = !isWaiting_;
    if (isWaiting_) return awaitRoom();
    writable_ = {};
    isFull_ = false;
    onIdle_();
  }
}

void FrameWriter::awaitRoom() {
  writable_ = loop_.onWritable(output_.descriptor(), [this] { writePending(); });
}

/// True when the first frame has been written in full, or the browser is gone.
bool FrameWriter::writeFirst() {
  Frame& frame = pending_.front();
  const ByteView length = std::as_bytes(std::span(&frame.length, 1));
  while (frame.written < length.size()) {
    if (!writePiece(frame, length.subspan(frame.written))) return isGone_;
  }
  while (frame.written - length.size() < frame.length) {
    const ByteView body = bytesOf(frame.body.view());
    if (!writePiece(frame, body.subspan(frame.written - length.size()))) return isGone_;
  }
  return true;
}

/// False when the descriptor takes nothing now, or never again.
bool FrameWriter::writePiece(Frame& frame, ByteView piece) {
  const auto count = output_.write(piece);
  if (!count) {
    browserIsGone(count.failure());
    return false;
  }
  frame.written += count.value();
  writtenBytes_ += count.value();
  pendingBytes_ -= count.value();
  return count.value() > 0;
}

/// Drops everything but the first frame, which the caller drops.
void FrameWriter::browserIsGone(const Failure& failure) {
  VCLogCError(sendPoint(), "Can't write to browser: %@", failure);
  isGone_ = true;
  pendingBytes_ = 0;
  pending_.erase(pending_.begin() + 1, pending_.end());
}

}  // namespace corvane
