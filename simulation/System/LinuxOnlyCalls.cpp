#include <dirent.h>
#include <poll.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "simulation/System/Calls.h"

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;

/// epoll(7) events have the same values as poll(2) events.
static_assert(EPOLLIN == POLLIN && EPOLLOUT == POLLOUT && EPOLLHUP == POLLHUP &&
              EPOLLERR == POLLERR);
constexpr std::uint32_t alwaysWatched = EPOLLHUP | EPOLLERR;

}  // namespace

int LinuxOnlyCalls::epollCreate(int /*flags*/) {
  if (const int error = kernel_.enter("epoll_create", "", {EMFILE, ENOMEM})) return failed(error);
  return kernel_.addDescriptor(std::make_shared<OpenFile>(Kind::epoll));
}

int LinuxOnlyCalls::epollControl(int epoll, int operation, int descriptor,
                                 struct epoll_event* event) {
  const bool adds = operation == EPOLL_CTL_ADD;
  const int error =
      adds ? kernel_.enter("epoll_ctl", "add", {ENOMEM, ENOSPC}) : kernel_.enter("epoll_ctl");
  if (error != 0) return failed(error);
  auto& watches = fileOf(epoll)->watches;
  const File file = fileOf(descriptor);
  if (!file) return failed(EBADF);
  if (!adds) return watches.erase(descriptor) > 0 ? 0 : failed(ENOENT);
  if (file->node || file->kind == Kind::null) return failed(EPERM);
  const auto found = watches.find(descriptor);
  if (found != watches.end() && found->second.file.lock() == file) return failed(EEXIST);
  watches[descriptor] = {event->events, event->data.u64, file};
  return 0;
}

/// Returns ready events in random order.
int LinuxOnlyCalls::epollWait(int epoll, struct epoll_event* events, int count, int milliseconds) {
  if (const int error = kernel_.enter("epoll_wait", "", {EINTR})) return failed(error);
  OpenFile* const file = fileOf(epoll).get();
  const auto eventsOf = [this](const OpenFile::Watch& watch) {
    const File watched = watch.file.lock();
    return watched ? readiness(*watched) & (watch.events | alwaysWatched) : 0U;
  };
  const auto isReady = [file, eventsOf] {
    return std::any_of(file->watches.begin(), file->watches.end(),
                       [&](const auto& entry) { return eventsOf(entry.second) != 0; });
  };
  const Time deadline =
      milliseconds < 0 ? Time::max() : kernel_.now() + std::chrono::milliseconds(milliseconds);
  kernel_.block("epoll_wait", isReady, deadline);
  std::vector<epoll_event> ready;
  for (const auto& [descriptor, watch] : file->watches) {
    epoll_event event = {};
    event.events = eventsOf(watch);
    event.data.u64 = watch.data;
    if (event.events != 0) ready.push_back(event);
  }
  for (std::size_t i = ready.size(); i > 1; --i)
    std::swap(ready[i - 1], ready[kernel_.random().below(i)]);
  ready.resize(std::min(ready.size(), static_cast<std::size_t>(count)));
  std::copy(ready.begin(), ready.end(), events);
  return static_cast<int>(ready.size());
}

int LinuxOnlyCalls::eventfd(unsigned /*initial*/, int /*flags*/) {
  if (const int error = kernel_.enter("eventfd", "", {EMFILE, ENOMEM})) return failed(error);
  return kernel_.addDescriptor(std::make_shared<OpenFile>(Kind::event));
}

ssize_t LinuxOnlyCalls::getdents(int folder, void* entries, std::size_t count) {
  if (const int error = kernel_.enter("getdents", "", {EIO, ENOMEM})) return failed(error);
  OpenFile* const file = fileOf(folder).get();
  if (file == nullptr || !file->node) return failed(EBADF);
  if (file->node->links == 0) return failed(ENOENT);
  if (file->offset == 0)
    for (const auto& [name, node] : file->node->entries) file->listing.push_back(name);
  std::size_t filled = 0;
  while (static_cast<std::size_t>(file->offset) < file->listing.size()) {
    const std::string& name = file->listing[static_cast<std::size_t>(file->offset)];
    const std::size_t size = (offsetof(dirent64, d_name) + name.size() + 8) / 8 * 8;
    if (filled + size > count) break;
    char* const at = static_cast<char*>(entries) + filled;
    std::memset(at, 0, size);
    const auto length = static_cast<unsigned short>(size);
    std::memcpy(at + offsetof(dirent64, d_reclen), &length, sizeof length);
    name.copy(at + offsetof(dirent64, d_name), name.size());
    filled += size;
    ++file->offset;
  }
  return static_cast<ssize_t>(filled);
}

int LinuxOnlyCalls::pidfdOpen(pid_t process) {
  if (const int error = kernel_.enter("pidfd_open", "", {EMFILE, ENOMEM})) return failed(error);
  if (!kernel_.isThere(process)) return failed(ESRCH);
  auto file = std::make_shared<OpenFile>(Kind::process);
  file->process = process;
  return kernel_.addDescriptor(std::move(file));
}

int LinuxOnlyCalls::pipe2(int* ends, int flags) {
  if (const int error = kernel_.enter("pipe", "", {EMFILE, ENFILE})) return failed(error);
  const auto pipe = std::make_shared<Pipe>();
  auto reader = std::make_shared<OpenFile>(Kind::reader, flags);
  auto writer = std::make_shared<OpenFile>(Kind::writer, flags);
  reader->pipe = writer->pipe = pipe;
  pipe->readers = pipe->writers = 1;
  kernel_.current().lastPipeWriter = writer;
  ends[0] = kernel_.addDescriptor(std::move(reader));
  ends[1] = kernel_.addDescriptor(std::move(writer));
  return 0;
}

int LinuxOnlyCalls::clockGettime(clockid_t /*clock*/, struct timespec* time) {
  *time = kernel_.coarseTime();
  return 0;
}

int LinuxOnlyCalls::setAttribute(const char* /*path*/, const char* /*name*/) {
  return failed(ENOTSUP);
}

ssize_t LinuxOnlyCalls::getAttribute(const char* /*path*/, const char* /*name*/) {
  return failed(ENODATA);
}

}  // namespace corvane::Simulation
