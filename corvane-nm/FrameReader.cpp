#include "corvane-nm/FrameReader.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "Platform/Descriptor.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

constexpr LogPoint listenPoint(std::uint32_t line = __builtin_LINE()) {
  return {"corvane-nm/main", "listen()", line};
}

}  // namespace

// The buffer is left uninitialized: only bytes that have been read are ever accessed.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
FrameReader::FrameReader(int descriptor, OnRequest onRequest)
    : descriptor_(descriptor), onRequest_(std::move(onRequest)) {}

bool FrameReader::read() {
  const auto count = fill();
  if (!count && count.failure().cause == FailureCause::wouldBlock) return true;
  if (!count) {
    beginFrame();
    VCLogCError(listenPoint(), "Can't read from browser: %@", count.failure());
  }
  if (!count || count.value() == 0) {
    inputEnded();
    return false;
  }
  handleFrames();
  return true;
}

void FrameReader::resume() {
  isPaused_ = false;
  handleFrames();
}

/// Makes one read call. Before it, the buffer has at most the first bytes of a length.
Result<std::size_t> FrameReader::fill() {
  std::memmove(buffer_.data(), buffer_.data() + bufferStart_, available());
  bufferEnd_ = available();
  bufferStart_ = 0;
  auto count = Platform::Descriptor::read(
      descriptor_, std::as_writable_bytes(std::span(buffer_).subspan(bufferEnd_)));
  if (count) bufferEnd_ += count.value();
  return count;
}

/// Removes and returns the next `count` bytes of the buffer, which must be there.
std::string_view FrameReader::consume(std::size_t count) {
  const std::string_view bytes{buffer_.data() + bufferStart_, count};
  bufferStart_ += count;
  return bytes;
}

void FrameReader::handleFrames() {
  while (!isPaused_ && readLength() && readBody()) continue;
}

void FrameReader::beginFrame() {
  if (!std::exchange(hasBegun_, true)) VCLogCDebugTrace(listenPoint());
}

/// Reads the length of the present frame; returns whether it is known now.
bool FrameReader::readLength() {
  if (hasLength_) return true;
  if (available() > 0) beginFrame();
  if (available() < sizeof length_) return false;
  std::memcpy(&length_, consume(sizeof length_).data(), sizeof length_);
  hasLength_ = true;
  received_ = 0;
  VCLogCDebug(listenPoint(), "Message lenData: %@bytes", sizeof length_);
  VCLogCDebug(listenPoint(), "Message len: %@bytes", static_cast<std::int64_t>(length_));
  return true;
}

/// Parses what is there of the body; returns whether the frame was complete and has been handled.
bool FrameReader::readBody() {
  const auto count =
      static_cast<std::uint32_t>(std::min<std::size_t>(length_ - received_, available()));
  received_ += count;
  parser_.write(consume(count), received_ == length_);
  if (received_ < length_) return false;
  frameEnded();
  return true;
}

void FrameReader::frameEnded() {
  hasBegun_ = hasLength_ = false;
  VCLogCDebug(listenPoint(), "Data readed %@bytes length.", received_);
  VCLogCDebug(listenPoint(), "Message received %@bytes length.", received_);
  auto request = parser_.finish();
  if (!request) {
    VCLogCError(listenPoint(), "Can't convert browser message to dictionary: %@",
                request.failure());
  } else if (*request) {
    onRequest_(std::move(**request));
  }
}

/// Logs and drops an incomplete frame; then logs the end of input as an empty frame.
void FrameReader::inputEnded() {
  if (hasLength_) {
    VCLogCDebug(listenPoint(), "Data readed %@bytes length.", received_);
    VCLogCError(listenPoint(),
                "Message from browser invalid. Must be %@bytes length, but received %@bytes.",
                static_cast<std::int64_t>(length_), received_);
    hasBegun_ = false;
  } else if (available() > 0) {
    VCLogCDebug(listenPoint(), "Message lenData: %@bytes", available());
    hasBegun_ = false;
  }
  beginFrame();
  VCLogCDebug(listenPoint(), "Message lenData: %@bytes", 0);
}

}  // namespace corvane
