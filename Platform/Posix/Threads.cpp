#include <system_error>
#include <thread>

#include "Platform/Threads.h"

namespace corvane::Platform {

Result<Done> startThread(const std::string& name, UniqueFunction<void()> body) {
  try {
    std::thread([name, body = std::move(body)]() mutable {
      nameThisThread(name);
      body();
    }).detach();
  } catch (const std::system_error& error) {
    return Failure{FailureCause::other, std::string("can't start a thread: ") + error.what()};
  }
  return Done{};
}

}  // namespace corvane::Platform
