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

// What is read ahead is never looked at before it has been read.
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

/// Reads once. What is left from before are the first bytes of a length at the most.
Result<std::size_t> FrameReader::fill() {
  std::memmove(buffer_.data(), buffer_.data() + bufferStart_, available());
  bufferEnd_ = available();
  bufferStart_ = 0;
  auto count = Platform::Descriptor::read(
      descriptor_, std::as_writable_bytes(std::span(buffer_).subspan(bufferEnd_)));
  if (count) bufferEnd_ += count.value();
  return count;
}

/// The next bytes that have been read; `count` of them are there.
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

/// True when the length of the present frame is known.
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

/// True when the body of the present frame was complete, and has been handled.
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

/// A frame that is cut short is dropped; then the end is seen where the next one would begin.
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
