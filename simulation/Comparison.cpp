#include "simulation/Comparison.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "simulation/System/Calls.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {
namespace {

/// The calls, made on one kernel. Each result becomes a line.
class CallScript {
 public:
  CallScript(Platform::SystemCalls& calls, Platform::LinuxCalls& linuxCalls, std::string folder)
      : calls_(calls), linux_(linuxCalls), folder_(std::move(folder)) {}

  std::vector<std::string> all() {
    files();
    folders();
    flocks();
    recordLocks();
    sockets();
    pipes();
    polling();
    return std::move(answers_);
  }

 private:
  /// Records the result of a call; if that is below 0, also errno.
  long note(const std::string& what, long result) {
    const int error = result < 0 ? errno : 0;
    answers_.push_back(what + ": " + std::to_string(result < 0 ? -1 : result) + " errno " +
                       std::to_string(error));
    return result;
  }
  /// Records whether a call returned a descriptor, whatever its number.
  int opened(const std::string& what, int descriptor) {
    note(what, descriptor < 0 ? -1 : 0);
    return descriptor;
  }
  [[nodiscard]] std::string path(const std::string& name) const { return folder_ + "/" + name; }
  int open(const std::string& name, int flags) {
    return calls_.open(path(name).c_str(), flags | O_CLOEXEC, 0600);
  }

  void files() {
    note("open what is missing", open("file", O_RDWR));
    const int file = opened("make a file", open("file", O_RDWR | O_CREAT | O_EXCL));
    opened("make it again", open("file", O_RDWR | O_CREAT | O_EXCL));
    opened("a file as a directory", open("file", O_RDONLY | O_DIRECTORY));
    opened("below a file", open("file/below", O_RDONLY));
    char bytes[] = "0123456789";
    const iovec pieces[] = {{bytes, 4}, {bytes + 4, 6}};
    note("write in two pieces", calls_.pwritev(file, pieces, 2, 5));
    note("read across the end", calls_.pread(file, bytes, 10, 10));
    note("cut", calls_.ftruncate(file, 7));
    struct stat status = {};
    calls_.fstat(file, &status);
    note("size", status.st_size);
    note("unlink", calls_.unlink(path("file").c_str()));
    calls_.fstat(file, &status);
    note("names", static_cast<long>(status.st_nlink));
    note("unlink again", calls_.unlink(path("file").c_str()));
    note("close", calls_.close(file));
    note("close again", calls_.close(file));
  }

  void folders() {
    note("make a directory", calls_.mkdir(path("folder").c_str(), 0700));
    note("make it again", calls_.mkdir(path("folder").c_str(), 0700));
    opened("write to a directory", open("folder", O_RDWR));
    const int folder = opened("open a directory", open("folder", O_RDONLY | O_DIRECTORY));
    calls_.close(calls_.openat(folder, "a", O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    note("link", calls_.linkat(folder, "a", folder, "b", 0));
    note("link again", calls_.linkat(folder, "a", folder, "b", 0));
    note("link what is missing", calls_.linkat(folder, "x", folder, "c", 0));
    note("rename to its link", calls_.renameat(folder, "a", folder, "b"));
    note("rename", calls_.renameat(folder, "a", folder, "c"));
    note("remove one that is not empty", calls_.rmdir(path("folder").c_str()));
    note("remove a file as a directory", calls_.unlinkat(folder, "b", AT_REMOVEDIR));
    note("remove a directory as a file", calls_.unlink(path("folder").c_str()));
    for (const char* name : {"b", "c", "a"}) note("remove", calls_.unlinkat(folder, name, 0));
    note("remove the empty one", calls_.rmdir(path("folder").c_str()));
    opened("make a file there", calls_.openat(folder, "d", O_RDWR | O_CREAT, 0600));
    note("make a directory there", calls_.mkdirat(folder, "d", 0700));
    char entries[1024];
    note("list it", linux_.getdents(folder, entries, sizeof entries) < 0 ? -1 : 0);
    calls_.close(folder);
  }

  void flocks() {
    const int first = open("lock", O_RDWR | O_CREAT);
    const int second = open("lock", O_RDWR);
    note("lock", calls_.flock(first, LOCK_EX | LOCK_NB));
    note("lock again", calls_.flock(first, LOCK_EX | LOCK_NB));
    note("lock by another", calls_.flock(second, LOCK_EX | LOCK_NB));
    note("unlock without the lock", calls_.flock(second, LOCK_UN));
    calls_.close(first);
    note("lock after the close", calls_.flock(second, LOCK_EX | LOCK_NB));
    calls_.close(second);
  }

  void recordLocks() {
    const int first = open("lock", O_RDWR);
    const int second = open("lock", O_RDWR);
    const auto ask = [this](const char* what, int descriptor, int command, short type) {
      struct flock lock = {};
      lock.l_type = type;
      lock.l_whence = SEEK_SET;
      note(what, calls_.lockRecord(descriptor, command, &lock));
      if (command == F_OFD_GETLK) note("type", lock.l_type);
    };
    ask("look at no lock", second, F_OFD_GETLK, F_RDLCK);
    ask("lock the record", first, F_OFD_SETLK, F_WRLCK);
    ask("look at it", second, F_OFD_GETLK, F_RDLCK);
    ask("look at one's own", first, F_OFD_GETLK, F_RDLCK);
    ask("lock it by another", second, F_OFD_SETLK, F_WRLCK);
    note("an unrelated lock", calls_.flock(second, LOCK_EX | LOCK_NB));
    ask("give it back", first, F_OFD_SETLK, F_UNLCK);
    ask("look at none again", second, F_OFD_GETLK, F_RDLCK);
    calls_.close(first);
    calls_.close(second);
  }

  int newSocket() { return calls_.socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0); }
  template <class Call>
  long withAddress(const std::string& name, Call call) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path(name).copy(address.sun_path, sizeof address.sun_path - 1);
    return call(reinterpret_cast<const sockaddr*>(&address), socklen_t{sizeof address});
  }
  long bind(int socket, const std::string& name) {
    return withAddress(name, [&](auto* at, auto size) { return calls_.bind(socket, at, size); });
  }
  long connect(int socket, const std::string& name) {
    return withAddress(name, [&](auto* at, auto size) { return calls_.connect(socket, at, size); });
  }
  short readyFor(int descriptor, short events) {
    pollfd asked = {descriptor, events, 0};
    calls_.poll(&asked, 1, 0);
    return asked.revents;
  }

  void sockets() {
    const int receiver = newSocket();
    const int sender = newSocket();
    note("bind", bind(receiver, "socket"));
    note("bind to a name that is taken", bind(sender, "socket"));
    note("connect to nothing", connect(sender, "nothing"));
    note("connect to a file", connect(sender, "lock"));
    opened("open a socket", open("socket", O_RDWR));
    note("send without a connection", calls_.send(sender, "x", 1, MSG_DONTWAIT));
    note("connect", connect(sender, "socket"));
    note("nothing to receive", calls_.recv(receiver, answer_, sizeof answer_, MSG_DONTWAIT));
    note("not readable", readyFor(receiver, POLLIN));
    long sent = 0;
    while (calls_.send(sender, "hello", 5, MSG_DONTWAIT) == 5) ++sent;
    note("send to a full queue", -1);
    note("some fit", sent > 0 ? 1 : 0);  // how many is a setting of the system
    note("not writable", readyFor(sender, POLLOUT) & POLLOUT);
    note("readable", readyFor(receiver, POLLIN));
    note("receive a part", calls_.recv(receiver, answer_, 2, MSG_DONTWAIT));
    note("receive the next", calls_.recv(receiver, answer_, sizeof answer_, MSG_DONTWAIT));
    note("link a socket",
         calls_.linkat(AT_FDCWD, path("socket").c_str(), AT_FDCWD, path("link").c_str(), 0));
    const int another = newSocket();
    note("connect by the link", connect(another, "link"));
    calls_.close(receiver);
    note("send to one that is gone", calls_.send(sender, "x", 1, MSG_DONTWAIT));
    note("send to it again", calls_.send(sender, "x", 1, MSG_DONTWAIT));
    note("connect to one that is gone", connect(another, "link"));
    calls_.close(sender);
    calls_.close(another);
  }

  void pipes() {
    int ends[2] = {-1, -1};
    note("pipe", linux_.pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    const std::string much(100'000, 'x');
    note("fill a pipe", calls_.write(ends[1], much.data(), much.size()));
    note("write to a full one", calls_.write(ends[1], much.data(), 1));
    note("its end is not writable", readyFor(ends[1], POLLOUT));
    std::string read(100'000, '\0');
    note("read it", calls_.read(ends[0], read.data(), read.size()));
    note("writable", readyFor(ends[1], POLLOUT));
    calls_.write(ends[1], "rest", 4);
    calls_.close(ends[1]);
    note("the rest and the end", readyFor(ends[0], POLLIN));
    note("read the rest", calls_.read(ends[0], read.data(), read.size()));
    note("the end", readyFor(ends[0], POLLIN));
    note("read the end", calls_.read(ends[0], read.data(), read.size()));
    calls_.close(ends[0]);
    linux_.pipe2(ends, O_CLOEXEC | O_NONBLOCK);
    calls_.close(ends[0]);
    note("write without a reader", calls_.write(ends[1], "x", 1));
    note("no reader", readyFor(ends[1], POLLOUT) & POLLERR);
    calls_.close(ends[1]);
  }

  void polling() {
    const int poller = linux_.epollCreate(EPOLL_CLOEXEC);
    const int wake = linux_.eventfd(0, O_CLOEXEC | O_NONBLOCK);
    const int file = open("lock", O_RDWR);
    epoll_event event = {};
    event.events = EPOLLIN;
    note("watch a file", linux_.epollControl(poller, EPOLL_CTL_ADD, file, &event));
    note("watch an event", linux_.epollControl(poller, EPOLL_CTL_ADD, wake, &event));
    note("watch it again", linux_.epollControl(poller, EPOLL_CTL_ADD, wake, &event));
    note("nothing is ready", linux_.epollWait(poller, &event, 1, 0));
    const std::uint64_t one = 1;
    calls_.write(wake, &one, sizeof one);
    calls_.write(wake, &one, sizeof one);
    note("it is ready", linux_.epollWait(poller, &event, 1, 0));
    std::uint64_t count = 0;
    note("read it", calls_.read(wake, &count, sizeof count));
    note("it has counted", static_cast<long>(count));
    note("stop watching", linux_.epollControl(poller, EPOLL_CTL_DEL, wake, nullptr));
    note("once more", linux_.epollControl(poller, EPOLL_CTL_DEL, wake, nullptr));
    const int process = opened("its own process", linux_.pidfdOpen(calls_.getpid()));
    note("it runs", readyFor(process, POLLIN));
    opened("no process", linux_.pidfdOpen(999'999'999));
    note("signal no process", calls_.kill(999'999'999, 0));
    for (const int descriptor : {process, file, wake, poller}) calls_.close(descriptor);
  }

  Platform::SystemCalls& calls_;
  Platform::LinuxCalls& linux_;
  const std::string folder_;
  std::vector<std::string> answers_;
  char answer_[64] = {};
};

std::vector<std::string> realAnswers() {
  std::string folder = std::filesystem::temp_directory_path() / "corvane-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) return {};
  ::signal(SIGPIPE, SIG_IGN);
  Platform::SystemCalls calls;
  Platform::LinuxCalls linuxCalls;
  auto answers = CallScript(calls, linuxCalls, folder).all();
  std::filesystem::remove_all(folder);
  return answers;
}

std::vector<std::string> simulatedAnswers() {
  Generator random(0);
  Watcher watcher;
  Kernel kernel(random, watcher, 0);
  Calls calls(kernel);
  LinuxOnlyCalls linuxCalls(kernel);
  kernel.files().makeFolders("/folder");
  std::vector<std::string> answers;
  const auto process = kernel.start(
      "asked", 1, {}, [&] { answers = CallScript(calls, linuxCalls, "/folder").all(); });
  while (kernel.step()) continue;
  return answers;
}

}  // namespace

std::vector<std::string> differences() {
  const auto real = realAnswers();
  const auto simulated = simulatedAnswers();
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < std::max(real.size(), simulated.size()); ++i) {
    const std::string here = i < real.size() ? real[i] : "nothing";
    const std::string there = i < simulated.size() ? simulated[i] : "nothing";
    if (here == there) continue;
    lines.emplace_back("this system: ").append(here).append("; the simulated one: ").append(there);
  }
  return lines;
}

}  // namespace corvane::Simulation
