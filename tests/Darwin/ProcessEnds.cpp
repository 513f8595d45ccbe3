// The running applications of these builds are those of Linux, told of by process descriptors. The
// loop of Darwin watches pipes and sockets only; so here a pipe that ends with the process stands
// for it.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "Platform/Linux/LinuxCalls.h"

namespace corvane::Platform {
namespace {

void await(int process, int writer) {
  std::array<pollfd, 2> ends = {pollfd{process, POLLIN, 0}, pollfd{writer, 0, 0}};
  ::poll(ends.data(), ends.size(), -1);
  ::close(process);
  ::close(writer);
}

class Calls final : public LinuxCalls {
 public:
  int pidfdOpen(pid_t process) override {
    const int descriptor = LinuxCalls::pidfdOpen(process);
    int ends[2] = {-1, -1};
    if (descriptor < 0 || ::pipe2(ends, O_CLOEXEC) != 0) return -1;
    pollfd ended = {descriptor, POLLIN, 0};
    if (::poll(&ended, 1, 0) == 0) {
      std::thread(await, descriptor, ends[1]).detach();
    } else {
      await(descriptor, ends[1]);
    }
    return ends[0];
  }
};

Calls calls;
const LinuxCalls::Replacement replacement(calls);

}  // namespace
}  // namespace corvane::Platform
