#include "corvane-nm/FrameWriter.h"

#include <limits>
#include <span>
#include <utility>

#include "Base/JsonWriter.h"
#include "Base/Unicode.h"
#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

/// The longest body that browsers accept from a host, in bytes; measured in Chromium and Firefox.
constexpr std::size_t longestForBrowsers = 1'048'576;

constexpr LogPoint sendPoint(std::uint32_t line = __builtin_LINE()) {
  return {"corvane-nm/main", "send(_:)", line};
}

}  // namespace

FrameWriter::FrameWriter(Platform::EventLoop& loop, int descriptor, std::function<void()> onIdle)
    : loop_(loop), output_(descriptor), onIdle_(std::move(onIdle)) {}

bool FrameWriter::send(std::string_view json) {
  if (Unicode::isWellFormed(json, Unicode::Surrogates::refused)) {
    add(json);
    return true;
  }
  const auto escaped = withSurrogatesEscaped(json);
  if (!escaped) {
    VCLogCError(sendPoint(), "Can't convert object to JSON data: %@", json);
    return false;
  }
  add(*escaped);
  return true;
}

void FrameWriter::add(std::string_view body) {
  const std::size_t size = body.size();
  if (size > std::numeric_limits<std::uint32_t>::max())
    Platform::hardStop("a reply is longer than a frame can say");
  if (isGone_) return;
  if (size > longestForBrowsers) {
    VCLogCWarn(sendPoint(), "A reply has %@ bytes; browsers end the connection above %@ bytes",
               size, longestForBrowsers);
  }
  Frame frame = {static_cast<std::uint32_t>(size)};
  pendingBytes_ += sizeof frame.length + size;
  if (isIdle() && write(frame, body)) return;
  frame.body = body;
  pending_.push_back(std::move(frame));
  if (pending_.size() == 1) awaitRoom();
  if (pendingBytes_ > maximumPendingBytes && !std::exchange(isFull_, true)) {
    VCLogCWarn(sendPoint(), "The browser does not read: %@ bytes of replies are pending",
               pendingBytes_);
  }
}

/// Writes until the descriptor takes no more, then waits until it is writable. If it is writable
/// but takes nothing (no memory), waits for `retryPause` instead, so that the loop does not spin.
void FrameWriter::writePending() {
  const std::uint64_t before = writtenBytes_;
  while (!isGone_ && !isIdle() && write(pending_.front(), pending_.front().body))
    pending_.pop_front();
  if (isGone_) pending_.clear();
  if (isIdle()) {
    isFull_ = false;
    writable_ = {};
    onIdle_();
  } else if (writtenBytes_ == before) {
    writable_ = loop_.at(loop_.now() + loop_.retryPause, [this] { awaitRoom(); });
  }
}

void FrameWriter::awaitRoom() {
  writable_ = loop_.onWritable(output_.descriptor(), [this] { writePending(); });
}

/// Writes the rest of `frame`. Returns true if it is complete or the browser is gone.
bool FrameWriter::write(Frame& frame, std::string_view body) {
  const ByteView length = std::as_bytes(std::span(&frame.length, 1));
  while (frame.written < length.size()) {
    if (!writePiece(frame, length.subspan(frame.written))) return isGone_;
  }
  while (frame.written - length.size() < frame.length) {
    if (!writePiece(frame, bytesOf(body).subspan(frame.written - length.size()))) return isGone_;
  }
  return true;
}

/// Writes part of `piece`. Returns false if the pipe takes nothing now, or never again.
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

/// Notes that nothing can be written any more. The callers drop pending frames.
void FrameWriter::browserIsGone(const Failure& failure) {
  VCLogCError(sendPoint(), "Can't write to browser: %@", failure);
  isGone_ = true;
  pendingBytes_ = 0;
}

}  // namespace corvane
