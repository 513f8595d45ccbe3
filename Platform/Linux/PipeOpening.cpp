#include "Platform/Posix/PipeOpening.h"

#include <fcntl.h>

#include <string>

#include "Platform/SystemCalls.h"

namespace corvane::Platform {

int openPipeForWriting(int descriptor) {
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return systemCalls().open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
}

}  // namespace corvane::Platform
