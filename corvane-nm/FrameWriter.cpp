#include "corvane-nm/FrameWriter.h"

#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "Platform/Descriptor.h"
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

FrameWriter::FrameWriter(int descriptor)
    : descriptor_(descriptor), isPipe_(Platform::Descriptor::isPipe(descriptor)) {}

bool FrameWriter::send(const JsonObject& response) {
  const Encoded encoded = encode(response);
  if (encoded.body) write(*encoded.body);
  return encoded.isSound;
}

FrameWriter::Encoded FrameWriter::encode(const JsonObject& response) {
  if (!isValidJsonObject(response)) return {};
  auto body = serializeJson(response);
  if (body) return {true, std::move(body).value()};
  VCLogCError(sendPoint(), "Can't convert object to JSON data: %@",
              [&] { return description(response); });
  return {false, std::nullopt};
}

void FrameWriter::write(const std::string& body) {
  if (body.size() > std::numeric_limits<std::uint32_t>::max()) {
    Platform::hardStop("a reply is longer than a frame can say");
  }
  if (browserIsGone_) return;
  if (body.size() > longestForBrowsers) {
    VCLogCWarn(sendPoint(), "A reply has %@ bytes; browsers end the connection above %@ bytes",
               body.size(), longestForBrowsers);
  }
  const auto length = static_cast<std::uint32_t>(body.size());
  auto written = Platform::Descriptor::writeAll(descriptor_, std::as_bytes(std::span(&length, 1)));
  if (written) written = Platform::Descriptor::writeAll(descriptor_, bytesOf(body));
  if (!written) {
    VCLogCError(sendPoint(), "Can't write to browser: %@", written.failure());
    browserIsGone_ = true;
  }
}

bool FrameWriter::takesAtOnce(std::size_t size) const {
  return isPipe_ && Platform::Descriptor::takesAtOnce(descriptor_, sizeof(std::uint32_t) + size);
}

}  // namespace corvane
