#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Platform/OwnedDescriptor.h"

namespace corvane::testing {

/// The two ends of a pipe or of a pair of sockets. Assigning `{}` closes one.
struct Ends {
  static Ends ofPipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) throw std::runtime_error("pipe");
    return {Platform::OwnedDescriptor(ends[0]), Platform::OwnedDescriptor(ends[1])};
  }
  static Ends ofSockets(int type) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, type, 0, ends.data()) != 0) throw std::runtime_error("socketpair");
    return {Platform::OwnedDescriptor(ends[0]), Platform::OwnedDescriptor(ends[1])};
  }

  Platform::OwnedDescriptor reader;
  Platform::OwnedDescriptor writer;
};

inline bool isReady(int descriptor, short event) {
  pollfd entry = {descriptor, event, 0};
  return ::poll(&entry, 1, 0) == 1;
}

/// Writes `bytes`, which must fit.
inline void put(const Platform::OwnedDescriptor& writer, std::string_view bytes) {
  if (::write(writer.number(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("write");
}

/// Reads what is there, with one call; "" when that is nothing, and at the end.
inline std::string taken(const Platform::OwnedDescriptor& reader, std::size_t most = 65536) {
  std::string bytes(most, '\0');
  const bool isThere = isReady(reader.number(), POLLIN);
  const ssize_t count = isThere ? ::read(reader.number(), bytes.data(), bytes.size()) : 0;
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

/// Reads all that is there.
inline std::string allTaken(const Platform::OwnedDescriptor& reader) {
  std::string all;
  for (std::string piece = taken(reader); !piece.empty(); piece = taken(reader)) all += piece;
  return all;
}

}  // namespace corvane::testing
