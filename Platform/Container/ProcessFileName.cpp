#include "Platform/Container/ProcessFileName.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <random>

#include "Platform/SystemCalls.h"

namespace corvane::Platform::ProcessFileName {
namespace {

constexpr std::string_view hexadecimalDigits = "0123456789abcdef";
constexpr std::size_t digitCount = 16;

}  // namespace

std::string make() {
  std::random_device random;
  std::string name = std::to_string(::getpid()) + '.';
  for (std::size_t i = 0; i < digitCount; ++i) name += hexadecimalDigits[random() & 0xF];
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
