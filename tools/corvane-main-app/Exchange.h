#pragma once

#include <map>
#include <string>
#include <vector>

#include "Base/Json.h"
#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "tools/corvane-main-app/Announcer.h"
#include "tools/corvane-main-app/ApplicationState.h"
#include "tools/corvane-main-app/Faults.h"
#include "tools/corvane-main-app/Output.h"
#include "tools/corvane-main-app/RequestFile.h"
#include "tools/corvane-main-app/ResponseFiles.h"

namespace corvane::MainApp {

/// What an exchange needs of the rest of the application; all of it must outlive the exchange.
struct Surroundings {
  Platform::NotificationCenter& center;
  Platform::EventLoop& loop;
  Announcer& announcer;
  ApplicationState& state;
  Faults& faults;
  const Output& output;
};

/// The application's side of the link: takes requests, has them answered, gives the replies. On
/// the loop's thread.
class Exchange {
 public:
  /// `requests` and `responses` must outlive it as well.
  Exchange(RequestFile& requests, ResponseFiles& responses, Surroundings surroundings)
      : requests_(requests), responses_(responses), surroundings_(surroundings) {}

  /// Begins to hear of requests; from then on this object must stay. False when the system gives no
  /// means to hear of them.
  bool listen();

  /// Takes all requests that are there and answers them in the order in which they came.
  void takeRequests();

  /// How many requests were taken and replies given, and what was thrown away.
  [[nodiscard]] JsonObject counts() const;

 private:
  using Misdeeds = std::vector<Fault>;

  void receive(ExchangeRecord request);
  void answer(const ExchangeRecord& request, const Misdeeds& misdeeds);
  bool give(const std::string& file, const ExchangeRecord& reply, const ExchangeRecord& request);

  RequestFile& requests_;
  ResponseFiles& responses_;
  const Surroundings surroundings_;
  bool isTakingPosted_ = false;
  std::int64_t takenCount_ = 0;
  std::int64_t givenCount_ = 0;
  std::int64_t failedCount_ = 0;
  std::map<std::int64_t, Platform::EventLoop::Registration> late_;  // by the request's number
};

}  // namespace corvane::MainApp
