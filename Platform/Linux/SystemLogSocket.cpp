#include "Platform/Linux/SystemLogSocket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

constexpr std::size_t longestText = 8000;

/// "<11>Mar  5 14:07:09 program[42]: "
std::string headOf(int priority, const std::string& program) {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  ::localtime_r(&now, &local);
  std::array<char, 32> time{};
  std::strftime(time.data(), time.size(), "%b %e %H:%M:%S", &local);
  return "<" + std::to_string(priority) + ">" + time.data() + " " + program + "[" +
         std::to_string(::getpid()) + "]: ";
}

}  // namespace

SystemLogSocket::SystemLogSocket(std::string path, std::string program)
    : path_(std::move(path)), program_(std::move(program)) {}

void SystemLogSocket::send(int priority, std::string_view text) {
  const std::string record = headOf(priority, program_) + std::string(text.substr(0, longestText));
  const std::lock_guard lock(mutex_);
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!socket_ && !connect()) return;
    const ssize_t sent = systemCalls().send(socket_.number(), record.data(), record.size(),
                                            MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0 || errno == EAGAIN) return;
    socket_ = OwnedDescriptor();  // a daemon that was restarted has a new socket
  }
}

bool SystemLogSocket::connect() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return false;
  path_.copy(address.sun_path, path_.size());
  socket_ =
      OwnedDescriptor(systemCalls().socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket_ &&
      systemCalls().connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address),
                            sizeof address) == 0) {
    return true;
  }
  socket_ = OwnedDescriptor();
  return false;
}

}  // namespace corvane::Platform
