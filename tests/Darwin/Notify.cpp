// notify(3), between all processes that share a home: a socket of each process that registers lies
// in the group container and is linked there below each name, as on Linux, so that what posts and
// observes there is met.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <notify.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/Darwin/Control.h"

namespace {

constexpr std::uint32_t invalidToken = 2;
constexpr std::uint32_t invalidFile = 4;
constexpr std::uint32_t failed = 1000000;

struct Registration {
  std::string name;
  int reader = -1;  // what the caller was given
  int writer = -1;
};

/// What the system's daemon has of this process.
struct Registrations {
  std::mutex mutex;
  int folder = -1;
  int socket = -1;
  std::string entry;  // its name in the folder
  int lastToken = 0;
  std::map<int, Registration> byToken;
  bool isDelayed = false;
  std::vector<std::pair<int, std::uint32_t>> delayed;  // writers and what they are to write
};

Registrations& all() {
  static auto& registrations = *new Registrations;
  return registrations;
}

std::string container() {
  const passwd* const user = ::getpwuid(::geteuid());  // NOLINT(concurrency-mt-unsafe)
  return std::string(user == nullptr ? "" : user->pw_dir) +
         "/.local/share/group-containers/" APP_GROUP "/Notifications";
}

/// Below /proc, as paths of containers are too long for addresses.
sockaddr_un addressOf(int folder, const std::string& entry) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ("/proc/self/fd/" + std::to_string(folder) + "/" + entry)
      .copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

/// A caller that does not read misses what there is no room for.
void deliver(Registrations& own, const std::string& name) {
  for (const auto& [token, registration] : own.byToken) {
    if (registration.name != name) continue;
    own.delayed.emplace_back(registration.writer, htonl(static_cast<std::uint32_t>(token)));
  }
  if (own.isDelayed) return;
  for (const auto& [writer, inNetworkOrder] : std::exchange(own.delayed, {}))
    [[maybe_unused]] const auto told = ::write(writer, &inNetworkOrder, sizeof inNetworkOrder);
}

/// What the daemon does for this process.
void receive(int socket) {
  std::array<char, 256> name = {};
  for (ssize_t size = 0; (size = ::recv(socket, name.data(), name.size(), 0)) > 0;) {
    const std::lock_guard lock(all().mutex);
    deliver(all(), std::string(name.data(), static_cast<std::size_t>(size)));
  }
  ::close(socket);
}

/// Makes the socket unless there is one.
bool begin(Registrations& own) {
  if (own.socket >= 0) return true;
  ::mkdir(container().c_str(), 0700);
  own.folder = ::open(container().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  own.socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  static int sockets = 0;
  own.entry = std::to_string(::getpid()) + "." + std::to_string(++sockets);
  const sockaddr_un address = addressOf(own.folder, "." + own.entry);
  ::fchmod(own.socket, 0600);
  if (::bind(own.socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    return false;
  std::thread(receive, own.socket).detach();
  return true;
}

/// The descriptors go with their last registration.
void end(Registrations& own) {
  ::unlinkat(own.folder, ("." + own.entry).c_str(), 0);
  ::shutdown(own.socket, SHUT_RDWR);  // the thread closes it
  ::close(own.folder);
  own.socket = -1;
}

int writerOf(const Registrations& own, int reader) {
  for (const auto& [token, registration] : own.byToken)
    if (registration.reader == reader) return registration.writer;
  return -1;
}

/// Sends `name` to a socket of another process; waits while it is full, as long as `socket` says.
void send(int socket, int folder, const std::string& entry, const std::string& name) {
  const sockaddr_un address = addressOf(folder, entry);
  if (::sendto(socket, name.data(), name.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address) >= 0)
    return;
  struct stat status = {};
  if (errno == ECONNREFUSED && ::fstatat(folder, entry.c_str(), &status, 0) == 0 &&
      S_ISSOCK(status.st_mode))
    ::unlinkat(folder, entry.c_str(), 0);  // of a process that was killed
}

/// Delivers `name` in this process. Returns the entry of its socket, which needs no message.
std::string deliverHere(const std::string& name) {
  Registrations& own = all();
  const std::lock_guard lock(own.mutex);
  if (own.socket < 0) return "";
  deliver(own, name);
  return own.entry;
}

}  // namespace

/// notify_register_file_descriptor(3). Failing, it closes the descriptor that it made and leaves
/// its number there.
uint32_t notify_register_file_descriptor(const char* name, int* notifyFd, int flags,
                                         int* outToken) {
  Registrations& own = all();
  const std::lock_guard lock(own.mutex);
  const int failure = corvane::darwin::failureOf("notify_register_file_descriptor");
  int ends[2] = {*notifyFd, writerOf(own, *notifyFd)};
  const bool isNew = (flags & NOTIFY_REUSE) == 0;
  if (isNew && ::pipe2(ends, O_NONBLOCK) != 0) return failed;
  if (ends[1] < 0) return invalidFile;
  if (isNew) ::fcntl(*notifyFd = ends[0], F_SETFL, 0);
  if (failure != 0 || !begin(own)) {
    if (isNew) ::close(ends[0]);
    if (isNew) ::close(ends[1]);
    return failure != 0 ? static_cast<std::uint32_t>(failure) : failed;
  }
  ::mkdirat(own.folder, name, 0700);
  ::linkat(own.folder, ("." + own.entry).c_str(), own.folder, (name + ("/" + own.entry)).c_str(),
           0);
  *outToken = ++own.lastToken;
  own.byToken[*outToken] = {name, ends[0], ends[1]};
  return NOTIFY_STATUS_OK;
}

/// notify_cancel(3): closes the descriptor with its last registration.
uint32_t notify_cancel(int token) {
  Registrations& own = all();
  const std::lock_guard lock(own.mutex);
  const auto removed = own.byToken.extract(token);
  if (removed.empty()) return invalidToken;
  const Registration& registration = removed.mapped();
  if (std::ranges::none_of(own.byToken,
                           [&](const auto& one) { return one.second.name == registration.name; }))
    ::unlinkat(own.folder, (registration.name + "/" + own.entry).c_str(), 0);
  if (writerOf(own, registration.reader) < 0) {
    ::close(registration.reader);
    ::close(registration.writer);
  }
  if (own.byToken.empty()) end(own);
  return NOTIFY_STATUS_OK;
}

/// notify_post(3). What receives must not be kept waiting by what posts: so no lock is held while
/// messages are sent.
uint32_t notify_post(const char* name) {
  const std::string entries = container() + "/" + name;
  const int folder = ::open(entries.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  DIR* const listing = ::opendir(entries.c_str());
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const timeval limit = {1, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  const std::string own = deliverHere(name);
  while (const dirent* const entry = listing == nullptr ? nullptr : ::readdir(listing)) {
    if (entry->d_name != own && entry->d_name[0] != '.') send(socket, folder, entry->d_name, name);
  }
  if (listing != nullptr) ::closedir(listing);
  if (folder >= 0) ::close(folder);
  ::close(socket);
  return NOTIFY_STATUS_OK;
}

namespace corvane::darwin {

void delayNotifications(bool isDelayed) {
  const std::lock_guard lock(all().mutex);
  all().isDelayed = isDelayed;
  deliver(all(), "");
}

int registrations() {
  const std::lock_guard lock(all().mutex);
  return static_cast<int>(all().byToken.size());
}

}  // namespace corvane::darwin
