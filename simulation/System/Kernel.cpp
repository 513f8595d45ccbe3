#include "simulation/System/Kernel.h"

#include <algorithm>
#include <utility>

namespace corvane::Simulation {
namespace {

/// The virtual duration of a system call, about as on a real system.
constexpr microseconds callTime{2};

/// The resolution of time stamps.
constexpr std::chrono::milliseconds tick{4};

}  // namespace

Kernel::Kernel(Generator& random, Watcher& watcher, std::uint64_t interruptions)
    : random_(random),
      watcher_(watcher),
      interruptions_(interruptions),
      files_([this] { return coarseTime(); }) {}

std::chrono::system_clock::time_point Kernel::wallNow() const {
  using std::chrono::system_clock;
  return system_clock::time_point(wallOffset_) +
         std::chrono::duration_cast<system_clock::duration>(now_.time_since_epoch());
}

std::timespec Kernel::coarseTime() const {
  const auto time = std::chrono::floor<std::chrono::milliseconds>(wallNow()).time_since_epoch();
  const auto coarse = time / tick * tick;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(coarse);
  return {seconds.count(), std::chrono::nanoseconds(coarse - seconds).count()};
}

std::shared_ptr<Process> Kernel::start(const std::string& name, pid_t parent,
                                       std::map<int, std::shared_ptr<OpenFile>> streams,
                                       std::function<void()> body) {
  auto process = std::make_shared<Process>();
  process->id = ++lastProcess_;
  process->parent = parent;
  process->name = name;
  process->descriptors = std::move(streams);
  processes_[process->id] = process;
  process->threads.push_back(
      std::make_unique<Thread>(*process, ++lastThread_, [this, body = std::move(body)] {
        body();
        end(current());
      }));
  return process;
}

void Kernel::startThread(std::function<void()> body) {
  Process& process = current();
  process.threads.push_back(std::make_unique<Thread>(process, ++lastThread_, std::move(body)));
}

void Kernel::kill(Process& process) {
  if (process.hasEnded) return;
  process.wasKilled = true;
  end(process);
  reap();
}

std::shared_ptr<Process> Kernel::find(pid_t process) const {
  const auto found = processes_.find(process);
  return found == processes_.end() ? nullptr : found->second;
}

Socket* Kernel::socketOf(pid_t process) const {
  for (const auto& [number, file] : find(process)->descriptors)
    if (file->kind == OpenFile::Kind::socket && !file->peer) return file->socket.get();
  return nullptr;
}

/// Closes all descriptors of the process, which releases its locks.
void Kernel::end(Process& process) {
  process.hasEnded = true;
  process.leftOpen = process.descriptors.size();
  while (!process.descriptors.empty()) {
    const auto first = process.descriptors.begin();
    const std::shared_ptr<OpenFile> file = std::move(first->second);
    process.descriptors.erase(first);
    if (file->node && file->node->lock == file.get() && file.use_count() == 1)
      watcher_.unlocks(process, *file->node);
  }
  watcher_.ends(process);
}

void Kernel::reap() {
  std::erase_if(processes_, [](const auto& entry) {
    Process& process = *entry.second;
    if (process.hasEnded) process.threads.clear();
    return process.hasEnded;
  });
}

bool Kernel::step() {
  runnable_.clear();
  for (const auto& [id, process] : processes_) {
    if (process->isStopped) continue;
    for (const auto& thread : process->threads)
      if (!thread->isBlocked || now_ >= thread->deadline || thread->isReady())
        runnable_.push_back(thread.get());
  }
  if (runnable_.empty()) return false;
  run(*random_.of(runnable_));
  return true;
}

std::optional<Time> Kernel::nextDeadline() const {
  std::optional<Time> next;
  for (const auto& [id, process] : processes_) {
    if (process->isStopped) continue;
    for (const auto& thread : process->threads)
      if (!next || thread->deadline < *next) next = thread->deadline;
  }
  return next;
}

void Kernel::run(Thread& thread) {
  Process& process = thread.process;
  thread.isBlocked = false;
  thread.isReady = nullptr;
  watcher_.resumes(process);
  running_ = &thread;
  thread.fiber.resume();
  running_ = nullptr;
  if (process.hasEnded) return reap();
  std::erase_if(process.threads, [](const auto& other) { return other->fiber.hasEnded(); });
}

int Kernel::enter(std::string_view call, std::string_view subject,
                  std::initializer_list<int> errors) {
  Process& process = current();
  now_ += callTime;
  ++process.calls;
  ++callCount_;
  note(call, subject);
  if (diesHere() && call != "pwritev") die("");
  if (random_.oneIn(interruptions_)) Fiber::suspend();
  if (process.failsFrom == 0 || process.calls < process.failsFrom || errors.size() == 0) return 0;
  if (!process.failsOnly.empty() && call != process.failsOnly) return 0;
  process.failsFrom = 0;
  watcher_.fails(process, call);
  return *(errors.begin() + random_.below(errors.size()));
}

void Kernel::block(std::string_view call, std::function<bool()> isReady, Time deadline) {
  if (isReady() || now_ >= deadline) return;
  Thread& thread = *running_;
  const bool isFirst = &thread == thread.process.threads.front().get();
  if (isFirst) watcher_.blocks(current(), call);
  thread.isReady = std::move(isReady);
  thread.deadline = deadline;
  thread.isBlocked = true;
  Fiber::suspend();
}

int Kernel::addDescriptor(std::shared_ptr<OpenFile> file, int least) const {
  auto& descriptors = current().descriptors;
  int number = least;
  while (descriptors.contains(number)) ++number;
  descriptors[number] = std::move(file);
  return number;
}

void Kernel::closeDescriptor(int descriptor) {
  Process& process = current();
  const auto node = process.descriptors.extract(descriptor);
  const std::shared_ptr<OpenFile>& file = node.mapped();
  if (file->node && file->node->lock == file.get() && file.use_count() == 1)
    watcher_.unlocks(process, *file->node);
}

void Kernel::die(std::string reason) {
  Process& process = current();
  process.wasKilled = reason.empty();
  process.stopReason = std::move(reason);
  end(process);
  for (;;) Fiber::suspend();
}

void Kernel::note(std::string_view call, std::string_view subject) {
  const auto add = [this](std::string_view text) {
    for (const char character : text)
      digest_ = (digest_ ^ static_cast<unsigned char>(character)) * 0x100000001B3U;  // FNV-1a
  };
  add(call);
  add(subject);
  digest_ = (digest_ ^ static_cast<std::uint64_t>(current().id)) * 0x100000001B3U;
  if (!trace) return;
  std::string line(call);
  trace(subject.empty() ? line : line.append(" ").append(subject));
}

}  // namespace corvane::Simulation
