#pragma once

#include <string>
#include <vector>

namespace corvane::Simulation {

/// Asks the simulated system and the one that this process runs on the same, call by call: about
/// locks, sockets, pipes and directories, the things that the link depends on. Returns a line for
/// each answer that differs.
std::vector<std::string> differences();

}  // namespace corvane::Simulation
