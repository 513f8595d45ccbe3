#include "Platform/Threads.h"

#include <memory>
#include <utility>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

struct Start {
  std::string name;
  UniqueFunction<void()> body;
};

void* run(void* argument) {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
  nameThisThread(start->name);
  start->body();
  return nullptr;
}

}  // namespace

Result<Done> startThread(const std::string& name, UniqueFunction<void()> body) {
  auto start = std::make_unique<Start>(Start{name, std::move(body)});
  if (systemCalls().startThread(run, start.get()) != 0) return failureFromErrno("start a thread");
  (void)start.release();  // the new thread owns it now
  return Done{};
}

}  // namespace corvane::Platform
