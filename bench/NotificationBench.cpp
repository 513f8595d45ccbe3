// From posting a notification to the end of a wait for it, within one process.

#include <benchmark/benchmark.h>

#include <thread>

#include "Platform/NotificationCenter.h"
#include "bench/Arrivals.h"
#include "bench/FloorSocket.h"
#include "bench/NewFolder.h"

namespace corvane::bench {
namespace {

void ours(benchmark::State& state) {
  const std::string name = "com.example.application.DARWIN_NOTIFICATION.exchange";
  const NewFolder folder(".");
  Arrivals arrivals;
  Platform::NotificationCenter receiver(folder.path());
  Platform::NotificationCenter sender(folder.path());
  receiver.observe(name, [&] { arrivals.come(); });
  while (state.KeepRunning()) {
    sender.post(name);
    arrivals.await();
  }
}

void floor(benchmark::State& state) {
  const NewFolder folder(".");
  Arrivals arrivals;
  const FloorSocket receiver(folder.path() + "/to");
  const FloorSocket sender(folder.path() + "/from");
  std::thread thread([&] {
    while (receiver.receive()) arrivals.come();
  });
  while (state.KeepRunning()) {
    sender.sendTo(receiver);
    arrivals.await();
  }
  receiver.close();
  thread.join();
}

BENCHMARK(ours)->Name("post to callback")->MinTime(0.01)->UseRealTime();
BENCHMARK(floor)->Name("post to callback/floor")->MinTime(0.01)->UseRealTime();

}  // namespace
}  // namespace corvane::bench
