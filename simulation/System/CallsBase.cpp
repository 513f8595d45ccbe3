#include "simulation/System/Calls.h"

#include <poll.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <string_view>

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;

constexpr std::string_view descriptorFolder = "/proc/self/fd/";

}  // namespace

std::optional<int> CallsBase::takeDescriptor(std::string_view& path) {
  if (!path.starts_with(descriptorFolder)) return std::nullopt;
  path.remove_prefix(descriptorFolder.size());
  int descriptor = -1;
  const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), descriptor);
  path.remove_prefix(static_cast<std::size_t>(end - path.data()));
  if (error != std::errc()) return std::nullopt;
  return descriptor;
}

CallsBase::File CallsBase::fileOf(int descriptor) const {
  const auto& descriptors = kernel_.current().descriptors;
  const auto found = descriptors.find(descriptor);
  return found == descriptors.end() ? nullptr : found->second;
}

FileSystem::Place CallsBase::find(int folder, const char* path) const {
  std::string_view rest = path;
  if (const auto descriptor = takeDescriptor(rest)) {
    const File file = fileOf(*descriptor);
    if (!file || !file->node) return {nullptr, "", nullptr, ENOENT};
    if (rest.empty()) return {nullptr, "", file->node};
    return kernel_.files().find(file->node, rest.substr(1));
  }
  if (rest.empty()) return {nullptr, "", nullptr, ENOENT};
  if (rest.starts_with('/')) return kernel_.files().find(nullptr, rest);
  const File file = fileOf(folder);
  if (!file || !file->node) return {nullptr, "", nullptr, EBADF};
  return kernel_.files().find(file->node, rest);
}

unsigned CallsBase::readiness(const OpenFile& file) const {
  unsigned ready = 0;
  switch (file.kind) {
    case Kind::reader:
      if (!file.pipe->bytes.empty()) ready |= POLLIN;
      if (file.pipe->writers == 0) ready |= POLLHUP;
      break;
    case Kind::writer:
      if (file.pipe->bytes.size() + PIPE_BUF <= file.pipe->capacity) ready |= POLLOUT;
      if (file.pipe->readers == 0) ready |= POLLERR;
      break;
    case Kind::socket:
      if (!file.socket->unread.empty()) ready |= POLLIN;
      if (!file.peer || file.peer->isClosed || file.peer->unread.size() < Socket::maximumUnread)
        ready |= POLLOUT;
      break;
    case Kind::event:
      ready |= POLLOUT;
      if (file.eventCount > 0) ready |= POLLIN;
      break;
    case Kind::process:
      if (!kernel_.isThere(file.process)) ready |= POLLIN;
      break;
    default:
      ready |= POLLIN | POLLOUT;
  }
  return ready;
}

int CallsBase::failed(int error) {
  errno = error;
  return -1;
}

}  // namespace corvane::Simulation
