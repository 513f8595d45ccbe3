#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bench/Child.h"
#include "bench/ProcessFact.h"
#include "bench/Row.h"

namespace corvane::bench {

/// Memory and threads of a program. Memory differs by a tenth from start to start, so look at
/// several processes: `look` adds a value of each.
struct Holdings {
  /// Waits until the program is idle, then measures.
  void look(const Child& program) {
    constexpr std::chrono::milliseconds untilIdle{50};
    std::this_thread::sleep_for(untilIdle);
    const pid_t process = program.process();
    proportional.push_back(megabytesOf(process, "Pss"));
    resident.push_back(megabytesOf(process, "Rss"));
    threads.push_back(processFact(process, "status", "Threads"));
  }
  std::vector<double> proportional;
  std::vector<double> resident;
  std::vector<double> threads;
};

/// How many processes of each program to look at.
constexpr long lookedAt = 5;

/// Prints the rows; `when` ends their names.
inline void printHoldings(const Holdings& ours, const Holdings& other, const std::string& when) {
  printRow("proportional memory" + when, "MB", {ours.proportional, other.proportional});
  printRow("resident memory" + when, "MB", {ours.resident, other.resident});
  printRow("threads" + when, "", {ours.threads, other.threads});
}

}  // namespace corvane::bench
