#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulation/RunContext.h"
#include "tools/corvane-main-app/Application.h"

namespace corvane::Simulation {

/// The main application: its processes, usually one or none, and their control input.
class SimulatedApplication {
 public:
  explicit SimulatedApplication(RunContext& context) : context_(context) {}

  /// Starts a process. If an instance runs already, the new one makes it announce its state and
  /// ends.
  void start();
  /// Writes a command to the control input of the instance. A no-op without one.
  void command(const std::string& line);
  /// Tells the instance to end.
  void quit();

  /// The newest process, or nothing.
  [[nodiscard]] std::shared_ptr<Process> process() const;
  [[nodiscard]] const std::vector<std::shared_ptr<Process>>& processes() const {
    return processes_;
  }
  [[nodiscard]] bool isOne(const Process& process) const;
  void ended(const Process& process);
  /// Whether the instance can answer requests.
  [[nodiscard]] bool isReady() const;

  /// Records the instance's state. Must be called whenever it may have changed.
  void noteState();
  /// Calls `announces` once for each announcement since the last call.
  void look(const std::function<void()>& announces);

 private:
  RunContext& context_;
  std::vector<std::shared_ptr<Process>> processes_;
  std::shared_ptr<Process> instance_;
  MainApp::Application* application_ = nullptr;  // of the instance
  std::map<pid_t, std::shared_ptr<OpenFile>> controls_;
  int announcements_ = 0;
  bool isEnding_ = false;
};

}  // namespace corvane::Simulation
