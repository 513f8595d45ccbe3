#include "corvane-nm/FrameReader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

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

FrameReader::Frame FrameReader::readOne() {
  VCLogCDebugTrace(listenPoint());
  std::uint32_t announced = 0;
  const std::size_t lengthBytes =
      readAsMuchAsComes(std::as_writable_bytes(std::span(&announced, 1)));
  VCLogCDebug(listenPoint(), "Message lenData: %@bytes", lengthBytes);
  if (lengthBytes == 0) return {true, std::nullopt};
  if (lengthBytes < sizeof announced) return {};

  const auto length = static_cast<std::int64_t>(announced);
  VCLogCDebug(listenPoint(), "Message len: %@bytes", length);
  const std::size_t received = readIntoBody(announced);
  VCLogCDebug(listenPoint(), "Data readed %@bytes length.", received);
  if (received != announced) {
    VCLogCError(listenPoint(),
                "Message from browser invalid. Must be %@bytes length, but received %@bytes.",
                length, received);
    return {};
  }
  VCLogCDebug(listenPoint(), "Message received %@bytes length.", received);
  Frame frame;
  frame.message = decode({reinterpret_cast<const char*>(body_.get()), received});
  if (bodyCapacity_ > firstCapacity) growBody(0);
  return frame;
}

bool FrameReader::hasFrameAhead() const {
  std::uint32_t announced = 0;
  const std::size_t count = aheadEnd_ - aheadStart_;
  if (count < sizeof announced) return false;
  std::memcpy(&announced, ahead_.data() + aheadStart_, sizeof announced);
  return count - sizeof announced >= announced;
}

void FrameReader::readAhead() {
  if (!hasReadAhead() && Platform::Descriptor::hasInput(descriptor_)) {
    static_cast<void>(fillAhead());
  }
}

Result<std::size_t> FrameReader::fillAhead() {
  auto count = Platform::Descriptor::readSome(descriptor_, ahead_);
  aheadStart_ = 0;
  aheadEnd_ = count ? count.value() : 0;
  return count;
}

std::optional<JsonObject> FrameReader::decode(std::string_view body) {
  auto value = parseJson(body);
  if (!value) {
    VCLogCError(listenPoint(), "Can't convert browser message to dictionary: %@", value.failure());
    return std::nullopt;
  }
  if (!value->is_object()) return std::nullopt;
  return std::move(value->get_object());
}

/// Fills `bytes`, or less at the end of input, and says how many came. A descriptor that can't be
/// read any more has come to its end.
std::size_t FrameReader::readAsMuchAsComes(std::span<std::byte> bytes) {
  std::size_t filled = 0;
  while (filled < bytes.size() && !inputFailed_) {
    if (aheadStart_ < aheadEnd_) {
      const std::size_t count = std::min(bytes.size() - filled, aheadEnd_ - aheadStart_);
      std::memcpy(bytes.data() + filled, ahead_.data() + aheadStart_, count);
      aheadStart_ += count;
      filled += count;
      continue;
    }
    const bool straightIntoPlace = bytes.size() - filled >= ahead_.size();
    const auto count = straightIntoPlace
                           ? Platform::Descriptor::readSome(descriptor_, bytes.subspan(filled))
                           : fillAhead();
    if (!count) {
      VCLogCError(listenPoint(), "Can't read from browser: %@", count.failure());
      inputFailed_ = true;
      break;
    }
    if (count.value() == 0) break;
    if (straightIntoPlace) filled += count.value();
  }
  return filled;
}

/// Reads up to `length` bytes of body, the memory growing by doubling with what has arrived.
std::size_t FrameReader::readIntoBody(std::uint32_t length) {
  std::size_t filled = 0;
  while (filled < length) {
    if (filled == bodyCapacity_) {
      growBody(std::max(firstCapacity, std::min<std::size_t>(2 * bodyCapacity_, length)));
    }
    const std::size_t wanted = std::min<std::size_t>(length, bodyCapacity_) - filled;
    const std::size_t count = readAsMuchAsComes({body_.get() + filled, wanted});
    filled += count;
    if (count < wanted) break;
  }
  return filled;
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
