// os_log(3): a text that its format does not call public is shown as "<private>".
#include <os/log.h>

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

/// One argument in the buffer that the compiler lays out: its kind and visibility, size, bytes.
struct Argument {
  enum Kind { scalar, precision, text };
  Kind kind;
  bool isPublic;
  std::uint64_t value;
};

Argument next(const std::uint8_t*& at) {
  const std::uint8_t head = *at++;
  const std::uint8_t size = *at++;
  Argument argument = {static_cast<Argument::Kind>(head >> 4), (head & 2) != 0, 0};
  std::memcpy(&argument.value, at, size);
  at += size;
  return argument;
}

}  // namespace

/// os_log_type_enabled(3).
bool os_log_type_enabled(os_log_t /*log*/, os_log_type_t /*type*/) {
  return true;
}

/// What os_log_with_type(3) becomes. Knows texts only, with a precision.
void _os_log_impl(void* /*dso*/, os_log_t /*log*/, os_log_type_t /*type*/, const char* /*format*/,
                  uint8_t* buffer, uint32_t /*size*/) {
  std::string line;
  std::uint64_t length = std::string::npos;
  const std::uint8_t* at = buffer + 2;
  for (int left = buffer[1]; left > 0; --left) {
    const Argument argument = next(at);
    if (argument.kind == Argument::precision) length = argument.value;
    if (argument.kind != Argument::text) continue;
    const char* text = nullptr;
    std::memcpy(static_cast<void*>(&text), &argument.value, sizeof text);
    line += argument.isPublic ? std::string(text, ::strnlen(text, length)) : "<private>";
  }
  const std::lock_guard lock(mutex);
  lines.push_back(line);
}

std::vector<std::string> corvane::darwin::logged() {
  const std::lock_guard lock(mutex);
  return lines;
}
