#include "Platform/Threads.h"

#include <pthread.h>

namespace corvane::Platform {

void nameThisThread(const std::string& name) {
  constexpr std::size_t longest = 63;
  pthread_setname_np(name.substr(0, longest).c_str());
}

}  // namespace corvane::Platform
