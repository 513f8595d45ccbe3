#include "simulation/SimulatedApplication.h"

#include <algorithm>
#include <utility>

#include "simulation/Container.h"

namespace corvane::Simulation {

void SimulatedApplication::start() {
  Kernel& kernel = context_.kernel;
  const auto control = std::make_shared<Pipe>();
  auto reader = std::make_shared<OpenFile>(OpenFile::Kind::reader);
  auto writer = std::make_shared<OpenFile>(OpenFile::Kind::writer);
  reader->pipe = writer->pipe = control;
  control->readers = control->writers = 1;
  MainApp::Options options;
  options.container = Container::path();
  options.heedsSignals = false;
  const auto body = [this, options] {
    Kernel& system = context_.kernel;
    MainApp::run(options, {0, 1}, system.now(), [this, &system](MainApp::Application* instance) {
      application_ = instance;
      if (instance == nullptr) return;
      for (const auto& process : processes_)
        if (process.get() == &system.current()) instance_ = process;
      announcements_ = 0;
      isEnding_ = false;
    });
  };
  processes_.push_back(kernel.start("application", 1,
                                    {{0, std::move(reader)},
                                     {1, std::make_shared<OpenFile>(OpenFile::Kind::null)},
                                     {2, std::make_shared<OpenFile>(OpenFile::Kind::null)}},
                                    body));
  controls_[processes_.back()->id] = std::move(writer);
  context_.report.count("starts of the application");
}

void SimulatedApplication::command(const std::string& line) {
  if (instance_ && !isEnding_) controls_[instance_->id]->pipe->bytes += line + "\n";
}

void SimulatedApplication::quit() {
  if (!instance_) return;
  command("quit");
  isEnding_ = true;
}

std::shared_ptr<Process> SimulatedApplication::process() const {
  return processes_.empty() ? nullptr : processes_.back();
}

bool SimulatedApplication::isOne(const Process& process) const {
  return std::any_of(processes_.begin(), processes_.end(),
                     [&](const auto& other) { return other.get() == &process; });
}

void SimulatedApplication::ended(const Process& process) {
  if (process.wasKilled) context_.disturb("deaths of the application");
  if (instance_.get() == &process) {
    if (!process.wasKilled) context_.disturb("ends of the application");
    instance_.reset();
    application_ = nullptr;
    context_.protectionIs(std::nullopt);
  }
  controls_.erase(process.id);
  std::erase_if(processes_, [&](const auto& other) { return other.get() == &process; });
}

bool SimulatedApplication::isReady() const {
  return application_ != nullptr && !isEnding_;
}

void SimulatedApplication::noteState() {
  if (application_ != nullptr)
    context_.protectionIs(application_->state.appState().isProtectionEnabled);
}

void SimulatedApplication::look(const std::function<void()>& announces) {
  noteState();
  if (!isReady()) return;
  for (; announcements_ < application_->announcer.count(); ++announcements_) announces();
}

}  // namespace corvane::Simulation
