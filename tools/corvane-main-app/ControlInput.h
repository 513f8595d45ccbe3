#pragma once

#include <string>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"

namespace corvane::MainApp {

/// Reads commands from standard input, one per line. On the loop's thread.
class ControlInput {
 public:
  struct Handlers {
    UniqueFunction<void(std::string)> line;  ///< a line has come, without its end
    UniqueFunction<void()> end;              ///< no more lines will come
  };

  /// `loop` must outlive this object; it calls the handlers, from `start` on.
  ControlInput(Platform::EventLoop& loop, Handlers handlers)
      : loop_(loop), handlers_(std::move(handlers)) {}

  /// Reads `descriptor` to its end. The descriptor stays the caller's and must stay open. Once.
  void start(int descriptor);

 private:
  void readLines(int descriptor);

  Platform::EventLoop& loop_;
  Handlers handlers_;
  std::string text_;  // read, and not yet a whole line
  Platform::EventLoop::Registration lines_;
};

/// Whether `descriptor` has another end that can be closed: it is a pipe, a socket or a terminal.
bool isHeldBySomebody(int descriptor);

}  // namespace corvane::MainApp
