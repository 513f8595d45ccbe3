// From posting a notification on one thread to its callback on another, within one process.

#include <benchmark/benchmark.h>

#include <thread>

#include "Platform/NotificationCenter.h"
#include "bench/Arrivals.h"
#include "bench/FloorSocket.h"
#include "bench/LoopThread.h"
#include "bench/NewFolder.h"

namespace corvane::bench {
namespace {

const std::string name = "com.example.application.DARWIN_NOTIFICATION.exchange";

struct Receiver {
  Receiver(Platform::EventLoop& loop, const NewFolder& folder, Arrivals& arrivals)
      : center(loop, folder.path()) {
    (void)center.observe(name, [&arrivals] { arrivals.come(); });
  }
  Platform::NotificationCenter center;
};

void ours(benchmark::State& state) {
  const NewFolder folder(".");
  Arrivals arrivals;
  const LoopThread<Receiver> receiver(folder, arrivals);
  Platform::EventLoop loop;  // a post that an observer takes needs no turn
  Platform::NotificationCenter sender(loop, folder.path());
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
