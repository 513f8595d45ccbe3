#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::bench {

/// A frame as browsers send it: the length of `body` in 4 bytes, then `body`.
inline std::string frameOf(std::string_view body) {
  const auto length = static_cast<std::uint32_t>(body.size());
  std::string frame(reinterpret_cast<const char*>(&length), sizeof length);
  return frame += body;
}

/// A program that runs with pipes for its standard input and output, as browsers start the host.
/// What fails throws.
class Child {
 public:
  /// Starts the program of the file `command[0]` with the others as its arguments.
  explicit Child(std::vector<std::string> command) : name_(command.front()) {
    const auto in = makePipe();
    const auto out = makePipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    const int error =
        ::posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
    require(error == 0, "start");
  }

  /// Ends it if it still runs.
  ~Child() {
    if (process_ <= 0) return;
    ::kill(process_, SIGTERM);
    closePipes();
    ::waitpid(process_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  [[nodiscard]] pid_t process() const { return process_; }

  /// Sends `body` as one frame.
  void send(std::string_view body) const { sendBytes(frameOf(body)); }
  void sendBytes(std::string_view bytes) const {
    require(::write(input_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "write to");
  }

  /// The body of its next frame.
  [[nodiscard]] std::string receive() const {
    std::uint32_t length = 0;
    read(reinterpret_cast<char*>(&length), sizeof length);
    std::string body(length, '\0');
    read(body.data(), body.size());
    return body;
  }

  /// Puts what it has sent into `bytes`, waiting until there is something; says how much it was.
  [[nodiscard]] std::size_t receiveSome(std::span<char> bytes) const {
    const ssize_t got = ::read(output_, bytes.data(), bytes.size());
    require(got > 0, "read from");
    return static_cast<std::size_t>(got);
  }

  /// Reads the line `text`, which must be what it prints next.
  void awaitLine(std::string text) const {
    text += '\n';
    std::string line(text.size(), '\0');
    read(line.data(), line.size());
    require(line == text, "understand");
  }

  /// Processor time that all its threads have used so far, in microseconds.
  [[nodiscard]] double processorTime() const {
    clockid_t clock = 0;
    std::timespec time{};
    require(::clock_getcpuclockid(process_, &clock) == 0 && ::clock_gettime(clock, &time) == 0,
            "ask the processor time of");
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
  }

  /// Ends its input and waits for its end, which must be a good one.
  void finish() {
    closePipes();
    int status = 0;
    const pid_t ended = ::waitpid(std::exchange(process_, 0), &status, 0);
    require(ended > 0 && status == 0, "see a good end of");
  }

 private:
  void require(bool isFine, const char* what) const {
    if (!isFine) throw std::runtime_error(std::string("can't ") + what + " " + name_);
  }
  /// Both ends are for this process alone: a child that had the other end of its own or of another
  /// one's input would keep that open.
  [[nodiscard]] std::array<int, 2> makePipe() const {
    std::array<int, 2> ends{};
    require(::pipe(ends.data()) == 0, "make pipes for");
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return ends;
  }
  void closePipes() const {
    ::close(input_);
    ::close(output_);
  }
  void read(char* bytes, std::size_t count) const {
    while (count > 0) {
      const std::size_t got = receiveSome({bytes, count});
      bytes += got;
      count -= got;
    }
  }

  const std::string name_;
  pid_t process_ = 0;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace corvane::bench
