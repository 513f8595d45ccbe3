#pragma once

#include <string>

#include "Base/UniqueFunction.h"

namespace corvane::MainApp {

/// What is asked of the application from outside the link: lines on standard input, and the signals
/// that end it.
struct ControlInput {
  /// All are called on a thread of the input's own.
  UniqueFunction<void(std::string)> line;  ///< a line has come, without its end
  UniqueFunction<void()> end;              ///< no more lines will come
  UniqueFunction<void()> signal;           ///< SIGTERM or SIGINT has come

  /// Reads `descriptor` from now on, to its end, and takes the signals over. Once per process; the
  /// thread never ends. False when the system gives no thread or pipe for it.
  static bool start(int descriptor, ControlInput input);
};

/// Whether somebody holds the other end of `descriptor`: it is a pipe, a socket or a terminal.
bool isHeldBySomebody(int descriptor);

}  // namespace corvane::MainApp
