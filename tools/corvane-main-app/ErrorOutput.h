#pragma once

#include <iostream>
#include <string>

#include "Base/Result.h"

/// Lines on standard error before the program exits.
namespace corvane::MainApp {

/// Writes `what` and returns the exit status.
inline int refuse(const std::string& what) {
  std::cerr << "corvane-main-app: " << what << '\n';
  return 1;
}

/// Writes `what` and the reason of the failure, and returns the exit status.
inline int fail(const std::string& what, const Failure& failure) {
  return refuse(what + ": " + failure.description());
}

}  // namespace corvane::MainApp
