// One whole exchange between two threads: the request is appended, announced, taken, answered, the
// reply announced and taken. The files are on disk.

#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"
#include "bench/FloorFile.h"
#include "bench/FloorSocket.h"
#include "bench/LoopThread.h"
#include "bench/NewFolder.h"
#include "bench/Samples.h"

namespace corvane::bench {
namespace {

const std::string requestKey = "ExchangeRequestContainer";
const std::string responseKey = "ExchangeResponseContainer." + sampleIdentifier;
const std::string application = "com.example.application";
constexpr std::chrono::seconds replyLimit{3};

/// A folder with both exchange files, empty.
class Files {
 public:
  Files() : folder_(".") {
    for (const std::string& key : {requestKey, responseKey}) std::ofstream made(pathOf(key));
  }
  [[nodiscard]] const std::string& path() const { return folder_.path(); }
  [[nodiscard]] std::string pathOf(const std::string& key) const {
    return path() + "/" + key + ".data";
  }

 private:
  const NewFolder folder_;
};

/// What one process has for its side of the link.
struct Side {
  Side(Platform::EventLoop& loop, const Files& files)
      : center(loop, files.path()),
        handlers(loop, "SharedResourcesQueue"),
        requests(loop, "SharedResourcesQueue.Requests"),
        work(loop, "ExtensionBrowserApiClient.sharedWorkQueue"),
        exchange(loop, [&files] { return files.path(); }),
        signalling(loop, center, {handlers, requests}, application, replyLimit) {}

  Platform::NotificationCenter center;
  SerialQueue handlers;
  SerialQueue requests;
  SerialQueue work;
  ExchangeBuffer exchange;
  RequestSignalling signalling;
};

/// Answers every request.
class Answering {
 public:
  Answering(Platform::EventLoop& loop, const Files& files) : loop_(loop), side_(loop, files) {
    const std::string name = side_.signalling.notificationName(RequestResponseName::exchange);
    (void)side_.center.observe(name, [this] {
      ++unfinished_;
      answerNext();
    });
  }
  /// An operation that waits for a lock refers to this object.
  ~Answering() {
    while (unfinished_ > 0) loop_.turnUntil(Platform::EventLoop::now());
  }
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;

 private:
  void answerNext() {
    side_.exchange.getExchange(requestKey, std::nullopt, [this](const auto& request) {
      if (request) return answer(*request);
      --unfinished_;
    });
  }
  void answer(const ExchangeRecord& request) {
    ExchangeRecord answer = sampleFilteringState();
    side_.exchange.setExchange(
        responseKey, request.id, request.name, std::move(answer.body),
        [this, id = request.id](bool /*isTaken*/) {
          side_.center.post(side_.signalling.notificationName(RequestResponseName::exchange, id));
          answerNext();
        });
  }

  Platform::EventLoop& loop_;
  Side side_;
  int unfinished_ = 0;  // notifications of which the requests are being taken
};

void ours(benchmark::State& state) {
  const Files files;
  const LoopThread<Answering> answering(files);
  Platform::EventLoop loop;
  Side side(loop, files);
  const auto client = ExtensionBrowserApiClient::make(
      {loop, side.exchange, side.signalling, side.work, sampleIdentifier});
  bool isAnswered = true;
  while (state.KeepRunning()) {
    client->getCurrentFilteringState(sampleUrl, samplePort, sampleBrowser,
                                     [&](const auto& result, const auto& error) {
                                       isAnswered = result && !error;
                                       loop.endTurn();
                                     });
    loop.turnUntil(Platform::EventLoop::Clock::time_point::max());
    if (!isAnswered) return state.SkipWithError("no reply");
  }
}

void floor(benchmark::State& state) {
  const Files files;
  const FloorFile requests(files.pathOf(requestKey));
  const FloorFile responses(files.pathOf(responseKey));
  const FloorSocket host(files.path() + "/host");
  const FloorSocket peer(files.path() + "/peer");
  std::string request = ExchangeRecord::archive(sampleRequest()).value();
  std::thread answering([&, record = request]() mutable {
    while (peer.receive()) {
      requests.take(record);
      responses.append(record);
      peer.sendTo(host);
    }
  });
  while (state.KeepRunning()) {
    requests.append(request);
    host.sendTo(peer);
    host.receive();
    responses.take(request);
  }
  peer.close();
  answering.join();
}

// Long enough for the start of the threads not to count.
BENCHMARK(ours)->Name("exchange in one process")->MinTime(0.02)->UseRealTime();
BENCHMARK(floor)->Name("exchange in one process/floor")->MinTime(0.02)->UseRealTime();

}  // namespace
}  // namespace corvane::bench
