#include "Platform/FileEvents.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Posix/FileEventSource.h"
#include "Platform/SystemLog.h"
#include "Platform/Threads.h"

namespace corvane::Platform {

/// A watch as the service sees it.
struct FileWatch::State {
  explicit State(Callback callback) : callback(std::move(callback)) {}

  const Callback callback;
  std::shared_ptr<WatchedFile> file = nullptr;  // the only owner; null if nothing is watched
  bool isOver = false;                          // the FileWatch is being destroyed
};

/// One source and one thread serve all watches of the process. If the source fails, both end, and
/// all watches with them; the next `start` creates new ones. Never destroyed, because the thread
/// may outlive main().
class FileWatch::Service {
 public:
  static Service& shared() {
    static auto& service = *new Service;
    return service;
  }

  Result<Done> start(const std::shared_ptr<State>& watch, const std::string& path);
  void end(const std::shared_ptr<State>& watch, bool isOver);
  int descriptorOf(const State& watch);

 private:
  struct Call {
    std::shared_ptr<State> watch;
    std::weak_ptr<WatchedFile> file;  // expired once it is not watched any more
    FileEvent event;
  };

  Service() = default;
  Result<Done> begin();
  void stopWatching(const std::shared_ptr<State>& watch);
  void run();
  FileEventSource& began();
  void fail(const Failure& why);
  std::vector<Call> callsFor(const SystemFileEvent& event);
  void make(const Call& call);

  std::mutex mutex_;  // guards all members below and the states; not held during callbacks
  std::unique_ptr<FileEventSource> source_;  // used by the thread; destroyed only at its end
  bool hasThread_ = false;
  std::thread::id thread_;                       // the background thread, once it runs
  std::vector<std::shared_ptr<State>> watches_;  // those that watch something
  const State* running_ = nullptr;               // whose callback runs now
  std::condition_variable callbackEnded_;
};

Result<Done> FileWatch::Service::start(const std::shared_ptr<State>& watch,
                                       const std::string& path) {
  auto file = FileEventSource::open(path);  // may take long, so without the lock
  const std::lock_guard lock(mutex_);
  stopWatching(watch);
  if (!file) return file.failure();
  if (watch->isOver) return Failure{FailureCause::other, "the watch is over"};
  if (auto begun = begin(); !begun) return begun;
  auto watched = source_->watch(std::move(file).value());
  if (!watched) return watched.failure();
  watch->file = std::move(watched).value();
  watches_.push_back(watch);
  return Done{};
}

/// Creates source and thread if missing. The lock must be held.
Result<Done> FileWatch::Service::begin() {
  if (!source_) {
    auto source = FileEventSource::make();
    if (!source) return source.failure();
    source_ = std::move(source).value();
  }
  if (hasThread_) return Done{};
  auto started = startThread("file events", [this] { run(); });
  hasThread_ = static_cast<bool>(started);
  return started;
}

void FileWatch::Service::end(const std::shared_ptr<State>& watch, bool isOver) {
  std::unique_lock lock(mutex_);
  if (isOver) watch->isOver = true;
  stopWatching(watch);
  if (std::this_thread::get_id() == thread_) return;
  callbackEnded_.wait(lock, [&] { return running_ != watch.get(); });
}

/// The lock must be held.
void FileWatch::Service::stopWatching(const std::shared_ptr<State>& watch) {
  std::erase(watches_, watch);
  watch->file.reset();
}

int FileWatch::Service::descriptorOf(const State& watch) {
  const std::lock_guard lock(mutex_);
  return watch.file ? watch.file->descriptor() : -1;
}

/// The body of the thread.
void FileWatch::Service::run() {
  FileEventSource& source = began();
  for (;;) {
    const auto events = source.receive();
    if (!events) return fail(events.failure());
    for (const SystemFileEvent& event : events.value()) {
      for (const Call& call : callsFor(event)) make(call);
    }
  }
}

/// Called first by the thread: records its identity and returns its source.
FileEventSource& FileWatch::Service::began() {
  const std::lock_guard lock(mutex_);
  thread_ = std::this_thread::get_id();
  return *source_;
}

void FileWatch::Service::fail(const Failure& why) {
  SystemLog::write(SystemLog::Severity::error, "no file is watched any more: " + why.text);
  const std::lock_guard lock(mutex_);
  for (const auto& watch : watches_) watch->file.reset();  // before their source is destroyed
  watches_.clear();
  source_.reset();
  thread_ = {};
  hasThread_ = false;
}

std::vector<FileWatch::Service::Call> FileWatch::Service::callsFor(const SystemFileEvent& event) {
  std::vector<Call> calls;
  const std::lock_guard lock(mutex_);
  for (const auto& watch : watches_) {
    for (const FileEvent meaning : watch->file->meaningsOf(event))
      calls.push_back({watch, watch->file, meaning});
  }
  return calls;
}

void FileWatch::Service::make(const Call& call) {
  {
    const std::lock_guard lock(mutex_);
    if (call.file.expired()) return;
    running_ = call.watch.get();
  }
  call.watch->callback(call.event);
  {
    const std::lock_guard lock(mutex_);
    running_ = nullptr;
  }
  callbackEnded_.notify_all();
}

FileWatch::FileWatch(Callback callback) : state_(std::make_shared<State>(std::move(callback))) {}

FileWatch::~FileWatch() {
  Service::shared().end(state_, true);
}

Result<Done> FileWatch::start(const std::string& path) {
  return Service::shared().start(state_, path);
}

void FileWatch::end() {
  Service::shared().end(state_, false);
}

int FileWatch::descriptor() const {
  return Service::shared().descriptorOf(*state_);
}

}  // namespace corvane::Platform
