#pragma once

#include <string>
#include <string_view>

#include "Base/Result.h"
#include "tools/corvane-main-app/Announcer.h"
#include "tools/corvane-main-app/ApplicationState.h"
#include "tools/corvane-main-app/Exchange.h"
#include "tools/corvane-main-app/Faults.h"
#include "tools/corvane-main-app/LogLevel.h"
#include "tools/corvane-main-app/Output.h"

namespace corvane::MainApp {

/// The commands that stand in for people who use the application. Main thread only.
class Commands {
 public:
  /// All must outlive this object.
  Commands(Surroundings surroundings, const Exchange& exchange, LogLevel& level)
      : surroundings_(surroundings), exchange_(exchange), level_(level) {}

  /// Does what `line` asks for and writes "ok", or "error" and the reason, to the output.
  void run(std::string_view line);

 private:
  Result<Done> outcomeOf(std::string_view line);
  Result<Done> protection(std::string_view argument);
  Result<Done> rule(std::string_view argument);
  Result<Done> setLevel(std::string_view argument);
  void printState();

  const Surroundings surroundings_;
  const Exchange& exchange_;
  LogLevel& level_;
};

}  // namespace corvane::MainApp
