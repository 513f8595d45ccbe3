// A task handed to a serial queue whose thread sleeps, until its effect is seen: beside a thread
// that waits for a condition.

#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "VCommons/Logging/DispatchQueue.h"
#include "bench/Arrivals.h"

namespace corvane::bench {
namespace {

void ours(benchmark::State& state) {
  Arrivals done;
  DispatchQueue queue("bench");
  while (state.KeepRunning()) {
    queue.async([&] { done.come(); });
    done.await();
  }
}

void floor(benchmark::State& state) {
  Arrivals handedOver;
  Arrivals done;
  std::atomic<bool> isEnding = false;
  std::thread worker([&] {
    for (handedOver.await(); !isEnding; handedOver.await()) done.come();
  });
  while (state.KeepRunning()) {
    handedOver.come();
    done.await();
  }
  isEnding = true;
  handedOver.come();
  worker.join();
}

// Long enough for the start of the thread not to count.
BENCHMARK(ours)->Name("queue hand-over")->MinTime(0.02)->UseRealTime();
BENCHMARK(floor)->Name("queue hand-over/floor")->MinTime(0.02)->UseRealTime();

}  // namespace
}  // namespace corvane::bench
