#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/RunContext.h"
#include "tools/corvane-main-app/Application.h"

namespace corvane::Simulation {

/// The main application of a run: its processes, mostly one or none, and who sits before it.
class SimulatedApplication {
 public:
  explicit SimulatedApplication(RunContext& context) : context_(context) {}

  /// Starts a process; one that runs already is told of it, as everywhere.
  void start();
  /// A command on the control input of the instance; nothing if there is none.
  void command(const std::string& line);
  /// Tells the instance to end.
  void quit();

  /// One of its processes, or nothing.
  [[nodiscard]] std::shared_ptr<Process> process() const;
  [[nodiscard]] const std::vector<std::shared_ptr<Process>>& processes() const {
    return processes_;
  }
  [[nodiscard]] bool isOne(const Process& process) const;
  void ended(const Process& process);
  /// Whether the instance can answer requests.
  [[nodiscard]] bool isReady() const;

  /// Notes the instance's state; for each time that it may have changed.
  void noteState();
  /// Calls `announces` as often as the instance has announced its state since the last call.
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
