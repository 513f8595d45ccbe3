#include "simulation/System/Calls.h"

#include <cerrno>

namespace corvane::Simulation {

int Calls::kill(pid_t process, int /*signal*/) {
  (void)kernel_.enter("kill");
  return kernel_.isThere(process) ? 0 : failed(ESRCH);
}

/// The watcher takes the child's place and reports the outcome through the pipe that was created
/// last.
pid_t Calls::fork() {
  if (const int error = kernel_.enter("fork", "", {EAGAIN, ENOMEM})) return failed(error);
  kernel_.watcher().launches(kernel_.current(), kernel_.current().lastPipeWriter.lock());
  return 1;
}

pid_t Calls::waitpid(pid_t process, int* /*status*/, int /*options*/) {
  if (const int error = kernel_.enter("waitpid", "", {EINTR})) return failed(error);
  return process;
}

int Calls::startThread(void* (*body)(void*), void* argument) {
  if (const int error = kernel_.enter("startThread", "", {EAGAIN})) return failed(error);
  kernel_.startThread([body, argument] { body(argument); });
  return 0;
}

std::thread::id Calls::thisThread() {
  return std::thread::id(static_cast<std::thread::native_handle_type>(kernel_.currentThread()));
}

int Calls::getentropy(void* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    static_cast<unsigned char*>(bytes)[i] =
        static_cast<unsigned char>(kernel_.random().next() >> 56U);
  return 0;
}

}  // namespace corvane::Simulation
