// Kernel queues as kqueue(2) of Darwin describes them, as far as Platform/macOS uses them, on
// epoll, inotify and an eventfd. What is beyond that is refused with EINVAL.
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/event.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <compare>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <utility>

#include "tests/Darwin/Control.h"

namespace {

constexpr std::uint32_t entries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

struct Key {
  int ident;
  int filter;
  auto operator<=>(const Key&) const = default;
};

/// What one change has added to a queue.
struct Note {
  struct kevent wanted = {};
  bool isActive = false;  // for what epoll does not tell
  std::uint32_t happened = 0;
  std::uint16_t flags = 0;
  // Of files only:
  int watch = -1;
  int parent = -1;  // of the directory above
  nlink_t links = 0;
};

struct Queue {
  int epoll = -1;
  int activity = -1;  // readable while a note is active: the queue can be waited for itself
  int files = -1;     // for inotify
  std::map<Key, Note> notes;
};

// Never destroyed: descriptors are closed until the very end.
std::mutex& mutex = *new std::mutex;
std::map<int, Queue>& queues = *new std::map<int, Queue>;
int calls = 0;

void closeForGood(int descriptor) {
  ::syscall(SYS_close, descriptor);
}

/// For a folder, which counts those in it too, at most 1.
nlink_t linksOf(int file) {
  struct stat status = {};
  if (::fstat(file, &status) != 0) return 0;
  return S_ISDIR(status.st_mode) ? std::min<nlink_t>(status.st_nlink, 1) : status.st_nlink;
}

/// Watches the file, and the folder above it: Linux tells only there of the end of a folder, and
/// in which order names come and go.
bool watchFile(const Queue& queue, int file, Note& note) {
  // The same for all: there is but one watch for a file, and notes share it.
  constexpr std::uint32_t all = IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | entries;
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  std::array<char, 4096> path = {};
  const ssize_t length = ::readlink(link.c_str(), path.data(), path.size());
  std::string above(path.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
  above.resize(above.find_last_of('/') + 1);
  note.watch = ::inotify_add_watch(queue.files, link.c_str(), all);
  note.parent = ::inotify_add_watch(queue.files, above.c_str(), all);
  note.links = linksOf(file);
  return note.watch >= 0;
}

/// Tells epoll what the notes of a descriptor want of it. A closed descriptor is gone already.
bool tellEpoll(const Queue& queue, int descriptor) {
  const bool reads = queue.notes.contains({descriptor, EVFILT_READ});
  const bool writes = queue.notes.contains({descriptor, EVFILT_WRITE});
  epoll_event event = {};
  event.events = (reads ? EPOLLIN | EPOLLRDHUP : 0U) | (writes ? EPOLLOUT : 0U);
  event.data.fd = descriptor;
  if (!reads && !writes) return ::epoll_ctl(queue.epoll, EPOLL_CTL_DEL, descriptor, nullptr) == 0;
  return ::epoll_ctl(queue.epoll, EPOLL_CTL_MOD, descriptor, &event) == 0 ||
         ::epoll_ctl(queue.epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void showActivity(const Queue& queue) {
  std::uint64_t count = 0;
  for (const auto& [key, note] : queue.notes) count += note.isActive ? 1 : 0;
  std::uint64_t before = 0;
  [[maybe_unused]] const auto taken = ::read(queue.activity, &before, sizeof before);
  if (count == 0) return;
  [[maybe_unused]] const auto told = ::write(queue.activity, &count, sizeof count);
}

/// The inotify watch stays: removing it is slow, and its events are ignored without a note.
void forget(Queue& queue, const Key& key) {
  if (queue.notes.erase(key) == 0) return;
  if (key.filter == EVFILT_READ || key.filter == EVFILT_WRITE) tellEpoll(queue, key.ident);
}

/// Gives 0 or the error. EV_ADD of what is there already replaces what is wanted of it.
int change(Queue& queue, const struct kevent& wanted) {
  const Key key = {static_cast<int>(wanted.ident), wanted.filter};
  const auto found = queue.notes.find(key);
  if ((wanted.flags & EV_DELETE) != 0) {
    if (found == queue.notes.end()) return ENOENT;
    forget(queue, key);
    return 0;
  }
  const bool isOfDescriptor = wanted.filter == EVFILT_READ || wanted.filter == EVFILT_WRITE;
  if (!isOfDescriptor && wanted.filter != EVFILT_VNODE && wanted.filter != EVFILT_USER)
    return EINVAL;
  if ((wanted.flags & ~(isOfDescriptor ? EV_ADD : EV_ADD | EV_CLEAR)) != 0) return EINVAL;
  if ((wanted.flags & EV_ADD) == 0 && found == queue.notes.end()) return ENOENT;
  if (wanted.filter == EVFILT_USER && found != queue.notes.end()) {
    if ((wanted.fflags & NOTE_TRIGGER) != 0) found->second.isActive = true;
    return 0;
  }
  Note note;
  note.wanted = wanted;
  if (wanted.filter != EVFILT_USER && ::fcntl(key.ident, F_GETFD) < 0) return EBADF;
  if (wanted.filter == EVFILT_VNODE && !watchFile(queue, key.ident, note)) return errno;
  queue.notes[key] = note;
  if (!isOfDescriptor || tellEpoll(queue, key.ident)) return 0;
  const int error = errno;
  queue.notes.erase(key);
  return error;
}

void happen(Note& note, std::uint32_t what) {
  note.happened |= note.wanted.fflags & what;
  if (note.happened != 0) note.isActive = true;
}

/// kqueue(2): NOTE_WRITE for a folder says that entries came, went or were renamed; NOTE_DELETE
/// says that unlink(2) was called, whatever other names the file has. Of the latter Linux tells as
/// a change of the file's attributes, and next of the entry above it: `changed` remembers which.
void happen(Queue& queue, const inotify_event& event, std::set<Key>& changed) {
  const auto changedBefore = std::exchange(changed, {});
  for (auto& [key, note] : queue.notes) {
    const bool isAbove = event.wd == note.parent;
    if (key.filter != EVFILT_VNODE || (event.wd != note.watch && !isAbove)) continue;
    const bool isOfEntry = (event.mask & entries) != 0;
    const bool isOfItself = event.wd == note.watch && event.len == 0;
    if (event.wd == note.watch && (isOfEntry || (isOfItself && (event.mask & IN_MODIFY) != 0)))
      happen(note, NOTE_WRITE);
    if (isOfItself && (event.mask & IN_ATTRIB) != 0) changed.insert(key);
    if (isOfItself && (event.mask & IN_MOVE_SELF) != 0) watchFile(queue, key.ident, note);
    const bool lostName = isAbove && (event.mask & IN_DELETE) != 0 && changedBefore.contains(key);
    const nlink_t linksBefore = std::exchange(note.links, linksOf(key.ident));
    if (lostName || note.links < linksBefore) happen(note, NOTE_DELETE);
  }
}

void takeFileEvents(Queue& queue) {
  alignas(inotify_event) std::array<char, 65536> bytes = {};
  std::set<Key> changed;
  for (ssize_t size = 0; (size = ::read(queue.files, bytes.data(), bytes.size())) > 0;) {
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event = {};
      std::memcpy(&event, bytes.data() + at, sizeof event);
      happen(queue, event, changed);
      at += sizeof event + event.len;
    }
  }
}

/// EV_EOF once the other end is gone.
void takeDescriptors(const Queue& queue, std::span<struct kevent> events, std::size_t& count) {
  std::array<epoll_event, 64> ready = {};
  const int found = ::epoll_wait(queue.epoll, ready.data(), ready.size(), 0);
  for (const epoll_event& one :
       std::span(ready).first(static_cast<std::size_t>(std::max(found, 0)))) {
    for (const int filter : {EVFILT_READ, EVFILT_WRITE}) {
      const auto note = queue.notes.find({one.data.fd, filter});
      const std::uint32_t end = EPOLLHUP | EPOLLERR | (filter == EVFILT_READ ? EPOLLRDHUP : 0U);
      const std::uint32_t wanted = end | (filter == EVFILT_READ ? EPOLLIN : EPOLLOUT);
      if (note == queue.notes.end() || (one.events & wanted) == 0 || count == events.size())
        continue;
      events[count] = note->second.wanted;
      events[count++].flags = (one.events & end) != 0 ? EV_EOF : 0;
    }
  }
}

/// EV_CLEAR: the state is reset when the event was retrieved. Else it stays.
void takeActive(Queue& queue, std::span<struct kevent> events, std::size_t& count) {
  for (auto& [key, note] : queue.notes) {
    if (!note.isActive || count == events.size()) continue;
    struct kevent& event = events[count++] = note.wanted;
    event.flags = note.flags;
    event.fflags = note.happened;
    if ((note.wanted.flags & EV_CLEAR) == 0) continue;
    note.isActive = false;
    note.happened = 0;
    note.flags = 0;
  }
  showActivity(queue);
}

int take(Queue& queue, std::span<struct kevent> events) {
  std::size_t count = 0;
  takeFileEvents(queue);
  takeActive(queue, events, count);
  takeDescriptors(queue, events, count);
  return static_cast<int>(count);
}

}  // namespace

/// kqueue(2): -1 and EMFILE or the like when the system has none left.
int kqueue() {
  if (const int error = corvane::darwin::failureOf("kqueue"); error != 0) {
    errno = error;
    return -1;
  }
  Queue queue;
  queue.epoll = ::epoll_create1(EPOLL_CLOEXEC);
  queue.activity = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  queue.files = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  for (const int own : {queue.activity, queue.files}) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = -1;
    if (::epoll_ctl(queue.epoll, EPOLL_CTL_ADD, own, &event) == 0) continue;
    for (const int descriptor : {queue.epoll, queue.activity, queue.files})
      closeForGood(descriptor);
    errno = EMFILE;
    return -1;
  }
  const std::lock_guard lock(mutex);
  queues[queue.epoll] = queue;
  return queue.epoll;
}

/// kevent(2), without a timeout or with one of 0. A change that fails is told by the result only:
/// callers leave no room for both.
int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist,
           int nevents, const struct timespec* timeout) {
  const std::span changes(changelist, static_cast<std::size_t>(nchanges));
  const std::span events(eventlist, static_cast<std::size_t>(nevents));
  std::unique_lock lock(mutex);
  ++calls;
  auto queue = queues.find(kq);
  for (const auto& wanted : queue == queues.end() ? std::span<const struct kevent>() : changes)
    if ((errno = change(queue->second, wanted)) != 0) return -1;
  while (queue != queues.end()) {
    showActivity(queue->second);
    if (events.empty()) return 0;
    const int count = take(queue->second, events);
    if (count > 0 || timeout != nullptr) return count;
    lock.unlock();
    pollfd waiting = {kq, POLLIN, 0};
    if (::poll(&waiting, 1, -1) < 0) return -1;
    lock.lock();
    queue = queues.find(kq);  // it may have been closed
  }
  errno = EBADF;
  return -1;
}

/// close(2), in place of the C library's: the last close of a descriptor takes its notes out of all
/// queues, and that of a queue ends it.
int close(int descriptor) {
  {
    const std::lock_guard lock(mutex);
    if (const auto queue = queues.extract(descriptor)) {
      closeForGood(queue.mapped().activity);
      closeForGood(queue.mapped().files);
    }
    for (auto& [number, queue] : queues)
      for (const int filter : {EVFILT_READ, EVFILT_WRITE, EVFILT_VNODE})
        forget(queue, {descriptor, filter});
  }
  return static_cast<int>(::syscall(SYS_close, descriptor));
}

namespace corvane::darwin {

/// kqueue(2): NOTE_REVOKE where it is wanted, and EV_EOF in any case.
void revoke(int descriptor) {
  const std::lock_guard lock(mutex);
  for (auto& [number, queue] : queues) {
    const auto found = queue.notes.find({descriptor, EVFILT_VNODE});
    if (found == queue.notes.end()) continue;
    happen(found->second, NOTE_REVOKE);
    found->second.flags = EV_EOF;
    found->second.isActive = true;
    showActivity(queue);
  }
}

int queueCalls() {
  const std::lock_guard lock(mutex);
  return calls;
}

int openQueues() {
  const std::lock_guard lock(mutex);
  return static_cast<int>(queues.size());
}

}  // namespace corvane::darwin
