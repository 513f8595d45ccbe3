#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace corvane::bench {

/// The command line of a benchmark that compares whole hosts: FOLDER ROUNDS [NOTE [OTHER]].
struct Arguments {
  /// The directory with the programs of this build.
  std::string folder;
  long rounds = 0;
  /// Ends the names of all rows; empty, or NOTE behind a comma.
  std::string note;
  /// Another build's host; empty if the host is compared with a floor.
  std::string otherHost;

  /// The host of this build.
  [[nodiscard]] std::string host() const { return folder + "/corvane-nm"; }
  /// The program to compare it with when both are asked without a main application.
  [[nodiscard]] std::string otherProgram() const {
    return otherHost.empty() ? folder + "/echo_floor" : otherHost;
  }
};

/// Parses the command line and calls `run`. Returns the exit status: 2 with a usage line if the
/// arguments are wrong, 1 with the message of the exception if `run` throws.
inline int runHostBench(int argumentCount, char** arguments, void (*run)(const Arguments&)) {
  const long rounds = argumentCount >= 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
  if (rounds <= 0 || argumentCount > 5) {
    std::fprintf(stderr, "usage: %s FOLDER ROUNDS [NOTE [OTHER]]\n", arguments[0]);
    return 2;
  }
  const std::string note = argumentCount > 3 ? arguments[3] : "";
  try {
    run({.folder = arguments[1],
         .rounds = rounds,
         .note = note.empty() ? "" : ", " + note,
         .otherHost = argumentCount > 4 ? arguments[4] : ""});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 1;
  }
  return 0;
}

/// Calls both for one round, each of which starts its program, measures it and ends it. The
/// scheduler puts a program on its browser's processor or on another one, and leaves it there: with
/// one start for all rounds, chance would decide the ratio.
///
/// Calls `other` first in even rounds and `ours` first in odd ones, so that the order favours
/// neither.
template <typename Ours, typename Other>
void inTurns(long round, const Ours& ours, const Other& other) {
  if (round % 2 == 0) {
    other();
    ours();
  } else {
    ours();
    other();
  }
}

}  // namespace corvane::bench
