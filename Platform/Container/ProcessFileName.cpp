#include "Platform/Container/ProcessFileName.h"

#include <cerrno>
#include <charconv>
#include <csignal>

#include "Platform/Random.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::ProcessFileName {
namespace {

constexpr std::string_view hexadecimalDigits = "0123456789abcdef";
constexpr std::size_t digitCount = 16;
constexpr std::size_t byteCount = digitCount / 2;

}  // namespace

std::string make() {
  std::string name = std::to_string(systemCalls().getpid()) + '.';
  for (const std::byte random : randomBytes<byteCount>()) {
    const auto byte = std::to_integer<unsigned>(random);
    name += hexadecimalDigits[byte >> 4];
    name += hexadecimalDigits[byte & 0xF];
  }
  return name;
}

std::optional<pid_t> processOf(std::string_view name) {
  const std::size_t dot = name.find('.');
  if (dot == std::string_view::npos || name.size() - dot - 1 != digitCount) return std::nullopt;
  const std::string_view digits = name.substr(dot + 1);
  if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos)
    return std::nullopt;
  pid_t process = 0;
  const char* const end = name.data() + dot;
  const auto [stop, error] = std::from_chars(name.data(), end, process);
  if (error != std::errc() || stop != end || process <= 0) return std::nullopt;
  return process;
}

bool isGone(pid_t process) {
  return systemCalls().kill(process, 0) != 0 && errno == ESRCH;
}

}  // namespace corvane::Platform::ProcessFileName
