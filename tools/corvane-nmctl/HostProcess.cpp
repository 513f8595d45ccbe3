#include "tools/corvane-nmctl/HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <thread>

#include "Platform/Descriptor.h"
#include "Platform/File.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestMessage = 1'048'576;  // that browsers take
constexpr std::size_t keptErrors = 65536;
constexpr std::size_t shownBytes = 40;

/// Both ends of a pipe that no child inherits.
struct Pipe {
  int reading = -1;
  int writing = -1;

  static Result<Pipe> make() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return Platform::failureFromErrno("pipe");
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return Pipe{ends[0], ends[1]};
  }
  void close() {
    for (int* end : {&reading, &writing})
      if (int descriptor = std::exchange(*end, -1); descriptor >= 0) ::close(descriptor);
  }
};

/// What a child does between fork and exec: calls that are safe there, nothing else.
[[noreturn]] void become(const char* path, const char* folder, char* const* arguments,
                         const std::array<int, 3>& streams, int problem) {
  for (int i = 0; i < 3; ++i) ::dup2(streams[static_cast<std::size_t>(i)], i);
  std::signal(SIGPIPE, SIG_DFL);
  if (::chdir(folder) == 0) ::execv(path, arguments);
  const int error = errno;
  (void)!::write(problem, &error, sizeof error);
  ::_exit(127);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

int waitStatus(pid_t process, int options, pid_t& ended) {
  int status = 0;
  do {
    ended = ::waitpid(process, &status, options);
  } while (ended < 0 && errno == EINTR);
  return status;
}

int millisecondsUntil(HostProcess::Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - HostProcess::Clock::now());
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

}  // namespace

Result<HostProcess> HostProcess::start(const std::string& path,
                                       std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), path);
  const std::vector<char*> pointers = pointersTo(arguments);
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  std::array<Pipe, 4> pipes;  // input, output, errors, why it did not start
  for (Pipe& pipe : pipes) {
    auto made = Pipe::make();
    if (!made) {
      for (Pipe& one : pipes) one.close();
      return made.failure();
    }
    pipe = made.value();
  }
  const pid_t process = ::fork();
  if (process == 0)
    become(path.c_str(), folder.c_str(), pointers.data(),
           {pipes[0].reading, pipes[1].writing, pipes[2].writing}, pipes[3].writing);
  const int forkError = errno;
  for (int* end : {&pipes[0].reading, &pipes[1].writing, &pipes[2].writing, &pipes[3].writing})
    ::close(std::exchange(*end, -1));
  int error = process < 0 ? forkError : 0;
  if (process > 0 && ::read(pipes[3].reading, &error, sizeof error) != sizeof error) error = 0;
  ::close(std::exchange(pipes[3].reading, -1));
  HostProcess host;
  host.process_ = process;
  host.input_ = pipes[0].writing;
  host.output_ = pipes[1].reading;
  host.errorOutput_ = pipes[2].reading;
  ::fcntl(host.errorOutput_, F_SETFL, O_NONBLOCK);
  if (error == 0) return host;
  errno = error;
  return Platform::failureFromErrno("start");
}

HostProcess::HostProcess(HostProcess&& other) noexcept {
  *this = std::move(other);
}

HostProcess& HostProcess::operator=(HostProcess&& other) noexcept {
  std::swap(process_, other.process_);
  std::swap(input_, other.input_);
  std::swap(output_, other.output_);
  std::swap(errorOutput_, other.errorOutput_);
  std::swap(replyFile_, other.replyFile_);
  std::swap(unread_, other.unread_);
  std::swap(errors_, other.errors_);
  return *this;
}

HostProcess::~HostProcess() {
  closeInput();
  if (process_ > 0) {
    pid_t ended = 0;
    ::kill(process_, SIGKILL);
    waitStatus(process_, 0, ended);
  }
  if (!replyFile_.empty()) ::unlink(replyFile_.c_str());
  for (const int descriptor : {output_, errorOutput_})
    if (descriptor >= 0) ::close(descriptor);
}

bool HostProcess::send(const JsonObject& message) const {
  const auto body = serializeJson(message);
  if (!body) return false;
  const auto length = static_cast<std::uint32_t>(body->size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  frame += *body;
  return static_cast<bool>(Platform::Descriptor::writeAll(input_, bytesOf(frame)));
}

Result<std::optional<JsonObject>> HostProcess::takeFrame() {
  std::uint32_t length = 0;
  if (unread_.size() < sizeof length) return std::optional<JsonObject>();
  std::memcpy(&length, unread_.data(), sizeof length);
  const Failure stray{FailureCause::malformed, printable(unread_.substr(0, shownBytes))};
  if (length == 0 || length > longestMessage) return stray;
  if (unread_.size() < sizeof length + length) return std::optional<JsonObject>();
  auto value = parseJson(std::string_view(unread_).substr(sizeof length, length));
  if (!value || !value.value().is_object()) return stray;
  unread_.erase(0, sizeof length + length);
  return std::optional<JsonObject>(std::move(value.value().as_object()));
}

/// Waits for more of its output; false at `end`, and when there is no more.
bool HostProcess::fill(Clock::time_point end) {
  for (;;) {
    std::array<pollfd, 2> ready{{{output_, POLLIN, 0}, {errorOutput_, POLLIN, 0}}};
    const int count = ::poll(ready.data(), ready.size(), millisecondsUntil(end));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    drainErrors();
    if (ready[0].revents == 0) continue;
    std::array<std::byte, 65536> bytes{};
    const auto read = Platform::Descriptor::readSome(output_, bytes);
    if (!read || read.value() == 0) return false;
    unread_ += textOf(std::span(bytes).first(read.value()));
    return true;
  }
}

void HostProcess::drainErrors() {
  std::array<char, 4096> bytes{};
  while (errorOutput_ >= 0) {
    const ssize_t count = ::read(errorOutput_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) return;
    if (count <= 0) {
      ::close(std::exchange(errorOutput_, -1));
      return;
    }
    const std::size_t room = keptErrors - std::min(keptErrors, errors_.size());
    errors_.append(bytes.data(), std::min(room, static_cast<std::size_t>(count)));
  }
}

Result<JsonObject> HostProcess::receive(Clock::time_point end) {
  for (;;) {
    auto frame = takeFrame();
    if (!frame) return frame.failure();
    if (frame.value()) return std::move(*frame.value());
    if (fill(end)) continue;
    if (Clock::now() >= end) return Failure{FailureCause::wouldBlock, "no message came"};
    if (!unread_.empty())
      return Failure{FailureCause::malformed, printable(unread_.substr(0, shownBytes))};
    return Failure{FailureCause::notFound, "it has closed its output"};
  }
}

/// Until it has ended it observes the notification that bears its identifier.
void HostProcess::noteReplyFile() {
  const Container container = findContainer();
  if (container.fault) return;
  for (const auto& [name, observer] : linkEndsIn(container.path).hosts)
    if (observer.process == process_) replyFile_ = container.path + "/Data/" + name;
}

void HostProcess::closeInput() {
  const int descriptor = std::exchange(input_, -1);
  if (descriptor < 0) return;
  noteReplyFile();
  ::close(descriptor);
}

std::optional<int> HostProcess::waitForEnd(Clock::time_point end) {
  while (fill(end)) unread_.clear();
  for (;;) {
    pid_t ended = 0;
    const int status = waitStatus(process_, WNOHANG, ended);
    if (ended == process_) {
      process_ = -1;
      drainErrors();
      return status;
    }
    if (Clock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(2ms);  // it has closed its output: it is ending
  }
}

std::string describedEnd(int status) {
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace corvane::Nmctl
