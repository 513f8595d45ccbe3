#pragma once

#include <chrono>
#include <string>

#include "bench/Child.h"

namespace corvane::bench {

/// A request, with other members if need be, that every reply to it can be told by: the host's
/// holds the identifier, an echo holds the whole request, and what the host pushes unasked neither.
inline std::string requestWith(const std::string& otherMembers = "") {
  return R"({"type":"getCurrentAppState","id":"corvane-bench")" + otherMembers + "}";
}

/// Sends `frame`, which holds such a request, waits for the reply, and says how long both took, in
/// microseconds.
inline double ask(const Child& program, std::string_view frame) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  program.sendBytes(frame);
  while (program.receive().find("corvane-bench") == std::string::npos) continue;
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

}  // namespace corvane::bench
