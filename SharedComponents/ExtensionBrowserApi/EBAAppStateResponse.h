#pragma once

#include <string>

namespace corvane {

/// The state of the main application, as it reports it.
struct EBAAppStateResponse {
  bool isProtectionEnabled = false;
  std::string locale = "en";
};

}  // namespace corvane
