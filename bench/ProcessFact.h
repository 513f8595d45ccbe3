#pragma once

#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace corvane::bench {

/// The number behind `key` in /proc/PROCESS/FILE, such as 1234 in "Pss:   1234 kB".
inline double processFact(pid_t process, const std::string& file, const std::string& key) {
  const std::string path = "/proc/" + std::to_string(process) + "/" + file;
  std::ifstream lines(path);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(key + ":")) return std::stod(line.substr(key.size() + 1));
  }
  throw std::runtime_error("no " + key + " in " + path);
}

/// Of its memory, Pss: what it alone can be charged with, shared pages in part; Rss: all of it.
inline double megabytesOf(pid_t process, const std::string& key) {
  constexpr double kilobyte = 1.024e-3;  // as the system counts them
  return processFact(process, "smaps_rollup", key) * kilobyte;
}

}  // namespace corvane::bench
