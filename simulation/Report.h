#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace corvane::Simulation {

/// The statistics of one run or of many.
struct Report {
  std::uint64_t runs = 0;
  std::uint64_t calls = 0;
  std::chrono::nanoseconds simulated{0};
  std::map<std::string, std::uint64_t> counts;  // by event

  void count(const std::string& what, std::uint64_t times = 1) { counts[what] += times; }

  void add(const Report& other) {
    runs += other.runs;
    calls += other.calls;
    simulated += other.simulated;
    for (const auto& [what, times] : other.counts) counts[what] += times;
  }
};

}  // namespace corvane::Simulation
