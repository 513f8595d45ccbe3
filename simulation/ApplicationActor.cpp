#include "simulation/ApplicationActor.h"

#include <algorithm>
#include <utility>

#include "simulation/Container.h"

namespace corvane::Simulation {

void ApplicationActor::start() {
  Kernel& kernel = situation_.kernel;
  const auto control = std::make_shared<Pipe>();
  auto reader = std::make_shared<OpenFile>(OpenFile::Kind::reader);
  auto writer = std::make_shared<OpenFile>(OpenFile::Kind::writer);
  reader->pipe = writer->pipe = control;
  control->readers = control->writers = 1;
  MainApp::Options options;
  options.container = Container::path();
  options.heedsSignals = false;
  const auto body = [this, options] {
    Kernel& system = situation_.kernel;
    MainApp::run(options, {0, 1}, system.now(), [this, &system](MainApp::Application* instance) {
      application_ = instance;
      if (instance == nullptr) return;
      for (const auto& process : processes_)
        if (process.get() == &system.current()) instance_ = process;
      announcements_ = 0;
      isEnding_ = false;
    });
  };
  processes_.push_back(kernel.start("application", "/usr/bin/corvane-main-app", 1,
                                    {{0, std::move(reader)},
                                     {1, std::make_shared<OpenFile>(OpenFile::Kind::null)},
                                     {2, std::make_shared<OpenFile>(OpenFile::Kind::null)}},
                                    body));
  controls_[processes_.back()->id] = std::move(writer);
  situation_.report.count("starts of the application");
}

void ApplicationActor::command(const std::string& line) {
  if (instance_ && !isEnding_) controls_[instance_->id]->pipe->bytes += line + "\n";
}

void ApplicationActor::quit() {
  if (!instance_) return;
  command("quit");
  isEnding_ = true;
}

std::shared_ptr<Process> ApplicationActor::process() const {
  return processes_.empty() ? nullptr : processes_.back();
}

bool ApplicationActor::isOne(const Process& process) const {
  return std::any_of(processes_.begin(), processes_.end(),
                     [&](const auto& other) { return other.get() == &process; });
}

void ApplicationActor::ended(const Process& process) {
  if (instance_.get() == &process) {
    situation_.disturb(process.wasKilled ? "deaths of the application" : "ends of the application");
    instance_.reset();
    application_ = nullptr;
    situation_.protectionIs(std::nullopt);
  }
  controls_.erase(process.id);
  std::erase_if(processes_, [&](const auto& other) { return other.get() == &process; });
}

bool ApplicationActor::isReady() const {
  return application_ != nullptr && !isEnding_;
}

void ApplicationActor::noteState() {
  if (application_ != nullptr)
    situation_.protectionIs(application_->state.appState().isProtectionEnabled);
}

void ApplicationActor::look(const std::function<void()>& announces) {
  noteState();
  if (!isReady()) return;
  for (; announcements_ < application_->announcer.count(); ++announcements_) announces();
}

}  // namespace corvane::Simulation
