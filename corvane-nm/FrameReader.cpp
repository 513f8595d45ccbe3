#include "corvane-nm/FrameReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Platform/Descriptor.h"
#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

constexpr LogPoint listenPoint(std::uint32_t line = __builtin_LINE()) {
  return {"corvane-nm/main", "listen()", line};
}

/// A body's first piece of memory, and how much a reader keeps between frames.
constexpr std::size_t firstCapacity = std::size_t{64} * 1024;

}  // namespace

FrameReader::FrameReader(int descriptor, OnMessage onMessage)
    : descriptor_(descriptor), onMessage_(std::move(onMessage)) {}

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

/// Reads once: straight into the body when that lacks much, else ahead.
Result<std::size_t> FrameReader::fill() {
  const std::size_t missing = hasLength_ ? length_ - received_ : 0;
  if (missing >= ahead_.size()) {
    if (received_ == bodyCapacity_)
      growBody(std::max(firstCapacity, std::min<std::size_t>(2 * bodyCapacity_, length_)));
    const std::size_t room = std::min<std::size_t>(length_, bodyCapacity_) - received_;
    auto count = Platform::Descriptor::read(descriptor_, {body_.get() + received_, room});
    if (count) received_ += count.value();
    return count;
  }
  std::memmove(ahead_.data(), ahead_.data() + aheadStart_, available());
  aheadEnd_ = available();
  aheadStart_ = 0;
  auto count = Platform::Descriptor::read(descriptor_, std::span(ahead_).subspan(aheadEnd_));
  if (count) aheadEnd_ += count.value();
  return count;
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
  std::memcpy(&length_, ahead_.data() + aheadStart_, sizeof length_);
  aheadStart_ += sizeof length_;
  hasLength_ = true;
  received_ = 0;
  VCLogCDebug(listenPoint(), "Message lenData: %@bytes", sizeof length_);
  VCLogCDebug(listenPoint(), "Message len: %@bytes", static_cast<std::int64_t>(length_));
  return true;
}

/// True when the body of the present frame was complete, and has been handled.
bool FrameReader::readBody() {
  const std::size_t count = std::min<std::size_t>(length_ - received_, available());
  const std::byte* const bytes = ahead_.data() + aheadStart_;
  if (count == length_) {
    aheadStart_ += count;
    deliver(frameEnded({reinterpret_cast<const char*>(bytes), count}));
    return true;
  }
  if (count > 0) {
    if (received_ + count > bodyCapacity_) growBody(std::max(firstCapacity, received_ + count));
    std::memcpy(body_.get() + received_, bytes, count);
    aheadStart_ += count;
    received_ += count;
  }
  if (received_ < length_) return false;
  auto message = frameEnded({reinterpret_cast<const char*>(body_.get()), received_});
  if (bodyCapacity_ > firstCapacity) growBody(0);  // before the message, as large, is handled
  deliver(std::move(message));
  return true;
}

/// The message in `body`, if it is one.
std::optional<JsonObject> FrameReader::frameEnded(std::string_view body) {
  hasBegun_ = hasLength_ = false;
  VCLogCDebug(listenPoint(), "Data readed %@bytes length.", body.size());
  VCLogCDebug(listenPoint(), "Message received %@bytes length.", body.size());
  auto value = parseJson(body);
  if (!value) {
    VCLogCError(listenPoint(), "Can't convert browser message to dictionary: %@", value.failure());
    return std::nullopt;
  }
  if (!value->is_object()) return std::nullopt;
  return std::move(value->get_object());
}

void FrameReader::deliver(std::optional<JsonObject> message) {
  if (message) onMessage_(std::move(*message));
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

/// Makes the body's memory `capacity` bytes large, 0 to give it back; what it holds stays.
void FrameReader::growBody(std::size_t capacity) {
  if (capacity == 0) {
    body_.reset();
  } else {
    auto* const grown = static_cast<std::byte*>(std::realloc(body_.get(), capacity));
    if (grown == nullptr) Platform::hardStop("no memory for a message");
    static_cast<void>(body_.release());
    body_.reset(grown);
  }
  bodyCapacity_ = capacity;
}

}  // namespace corvane
