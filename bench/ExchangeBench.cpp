// One whole exchange between two threads: the request is appended, announced, taken, answered, the
// reply announced and taken. The files are on disk.

#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"
#include "bench/Arrivals.h"
#include "bench/FloorFile.h"
#include "bench/FloorSocket.h"
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
  explicit Side(const Files& files)
      : center(files.path()), exchange([&files] { return files.path(); }, handlers) {}

  Platform::NotificationCenter center;
  DispatchQueue handlers{"SharedResourcesQueue"};
  DispatchQueue requests{"SharedResourcesQueue.Requests"};
  ExchangeBuffer exchange;
  RequestSignalling signalling{center, {handlers, requests}, application, replyLimit};
  DispatchQueue work{"ExtensionBrowserApiClient.sharedWorkQueue"};  // uses all above to its end
};

/// Answers every request on a thread of its own.
class Answering {
 public:
  explicit Answering(const Files& files) : side_(files) {
    const std::string name = side_.signalling.notificationName(RequestResponseName::exchange);
    side_.center.observe(name, [this] { side_.work.async([this] { answerAll(); }); });
  }
  ~Answering() { side_.center.withdraw(); }  // nothing is queued any more
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;

 private:
  void answerAll() {
    while (const auto request = side_.exchange.getExchange(requestKey, std::nullopt)) {
      ExchangeRecord answer = sampleFilteringState();
      side_.exchange.setExchange(responseKey, request->id, request->name, std::move(answer.body));
      side_.center.post(
          side_.signalling.notificationName(RequestResponseName::exchange, request->id));
    }
  }

  Side side_;
};

void ours(benchmark::State& state) {
  const Files files;
  Answering answering(files);
  Side side(files);
  const auto client = ExtensionBrowserApiClient::make(
      {side.exchange, side.signalling, side.work, sampleIdentifier});
  Arrivals replies;
  bool isAnswered = true;
  while (state.KeepRunning()) {
    client->getCurrentFilteringState(sampleUrl, samplePort, sampleBrowser,
                                     [&](const auto& result, const auto& error) {
                                       isAnswered = result && !error;
                                       replies.come();
                                     });
    replies.await();
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
