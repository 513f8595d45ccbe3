#include "corvane-nm/FrameWriter.h"

#include <cstdint>
#include <limits>
#include <span>

#include "Platform/Descriptor.h"
#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

bool FrameWriter::send(const JsonObject& response) {
  constexpr LogPoint point("corvane-nm/main", "send(_:)");
  if (!isValidJsonObject(response)) return true;
  const auto body = serializeJson(response);
  if (!body) {
    VCLogCError(point, "Can't convert object to JSON data: %@",
                [&] { return description(response); });
    return false;
  }
  if (body->size() > std::numeric_limits<std::uint32_t>::max()) {
    Platform::hardStop("a reply is longer than a frame can say");
  }
  if (browserIsGone_) return true;
  const auto length = static_cast<std::uint32_t>(body->size());
  auto written = Platform::Descriptor::writeAll(descriptor_, std::as_bytes(std::span(&length, 1)));
  if (written) written = Platform::Descriptor::writeAll(descriptor_, bytesOf(body->view()));
  if (!written) {
    VCLogCError(point, "Can't write to browser: %@", written.failure());
    browserIsGone_ = true;
  }
  return true;
}

}  // namespace corvane
