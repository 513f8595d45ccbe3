// os_log(3): a text that its format does not call public is shown as "<private>".
#include <os/log.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "tests/Darwin/Control.h"

struct os_log_s {};
os_log_s _os_log_default;

namespace {

std::mutex mutex;
std::vector<std::string> lines;

}  // namespace

/// os_log_type_enabled(3).
bool os_log_type_enabled(os_log_t /*log*/, os_log_type_t /*type*/) {
  return true;
}

/// What os_log_with_type(3) becomes. Knows one format only, "%.*s": in the buffer, as clang lays it
/// out, are two bytes of summary and two arguments, each after a byte with its visibility and one
/// with its size.
void _os_log_impl(void* /*dso*/, os_log_t /*log*/, os_log_type_t /*type*/, const char* /*format*/,
                  uint8_t* buffer, uint32_t size) {
  constexpr std::size_t precision = 4;
  constexpr std::size_t text = 10;
  std::int32_t length = 0;
  const char* start = nullptr;
  if (size != text + sizeof start) std::abort();
  std::memcpy(&length, buffer + precision, sizeof length);
  std::memcpy(static_cast<void*>(&start), buffer + text, sizeof start);
  const bool isPublic = (buffer[text - 2] & 2) != 0;
  const std::lock_guard lock(mutex);
  lines.push_back(isPublic ? std::string(start, static_cast<std::size_t>(length)) : "<private>");
}

std::vector<std::string> corvane::darwin::logged() {
  const std::lock_guard lock(mutex);
  return lines;
}
