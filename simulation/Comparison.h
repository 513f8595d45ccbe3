#pragma once

#include <string>
#include <vector>

namespace corvane::Simulation {

/// Makes the same system calls on the simulated kernel and on the real one, with locks, sockets,
/// pipes, directories and epoll. Returns a line for each result that differs.
std::vector<std::string> differences();

}  // namespace corvane::Simulation
