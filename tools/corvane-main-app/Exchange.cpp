#include "tools/corvane-main-app/Exchange.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

#include "Platform/Clocks.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-main-app/Answers.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {
namespace {

using Kind = Fault::Kind;

const Fault* find(const std::vector<Fault>& faults, Kind kind) {
  const auto found = std::find_if(faults.begin(), faults.end(),
                                  [kind](const Fault& fault) { return fault.kind == kind; });
  return found == faults.end() ? nullptr : &*found;
}

/// The refusal that a fault asks for; the request is then not done.
std::optional<Answer> refusalFor(const std::vector<Fault>& misdeeds) {
  constexpr std::int64_t toldToRefuse = 100;
  if (const Fault* error = find(misdeeds, Kind::error))
    return refusal(errorObject(toldToRefuse, error->text));
  if (const Fault* error = find(misdeeds, Kind::stringError)) return refusal(error->text);
  return std::nullopt;
}

/// Does to the reply what faults ask for.
void spoil(ExchangeRecord& reply, std::string& file, const std::vector<Fault>& misdeeds) {
  constexpr int wrongKind = 42;
  const std::string result(rawValue(ExtensionBrowserApiConstants::ApiCommandParam::result));
  if (find(misdeeds, Kind::noResult) != nullptr) reply.body = Dictionary();
  if (find(misdeeds, Kind::wrongType) != nullptr) reply.body->set(result, wrongKind);
  if (const Fault* name = find(misdeeds, Kind::name)) reply.name = name->text;
  if (const Fault* id = find(misdeeds, Kind::id)) reply.id = id->text;
  if (const Fault* other = find(misdeeds, Kind::file)) file = other->text;
}

}  // namespace

bool Exchange::listen() {
  const auto observed = surroundings_.center.observe(notificationName("exchange"), [this] {
    if (std::exchange(isTakingPosted_, true)) return;
    surroundings_.loop.post([this] {
      surroundings_.center.deliverPending();  // one look is enough for all that have come
      isTakingPosted_ = false;
      takeRequests();
    });
  });
  return static_cast<bool>(observed);
}

void Exchange::takeRequests() {
  auto requests = requests_.takeAll();
  if (!requests) {
    std::cerr << "corvane-main-app: requests: " << requests.failure().description() << '\n';
    return;
  }
  for (ExchangeRecord& request : requests.value()) receive(std::move(request));
}

void Exchange::receive(ExchangeRecord request) {
  ++takenCount_;
  surroundings_.output.exchanged("request", request);
  if (!isUsableIdentifier(request.id)) {  // there is nobody to answer
    ++failedCount_;
    return;
  }
  const Misdeeds misdeeds = surroundings_.faults.takeFor(request.name);
  if (find(misdeeds, Kind::silent) != nullptr) return;
  const Fault* late = find(misdeeds, Kind::late);
  if (late == nullptr) return answer(request, misdeeds);
  late_[takenCount_] =
      surroundings_.loop.at(Platform::steadyNow() + std::chrono::milliseconds(late->number),
                            [this, number = takenCount_, request = std::move(request), misdeeds] {
                              answer(request, misdeeds);
                              late_.erase(number);
                            });
}

void Exchange::answer(const ExchangeRecord& request, const Misdeeds& misdeeds) {
  std::optional<Answer> answer = refusalFor(misdeeds);
  if (!answer) answer = answerTo(request, surroundings_.state);
  const bool isChange = answer->isChange;
  ExchangeRecord reply{request.id, request.name, std::move(answer->body)};
  std::string file = request.id;
  spoil(reply, file, misdeeds);
  if (!give(file, reply, request)) ++failedCount_;
  if (isChange) surroundings_.announcer.changedByRequest();
}

/// Puts `reply` into the file of `file`, and tells the host that sent `request`.
bool Exchange::give(const std::string& file, const ExchangeRecord& reply,
                    const ExchangeRecord& request) {
  const auto archive = ExchangeRecord::archive(reply);
  const Result<Done> appended =
      archive ? responses_.append(file, archive.value()) : Result<Done>(archive.failure());
  if (!appended) {
    std::cerr << "corvane-main-app: reply: " << appended.failure().description() << '\n';
    return false;
  }
  surroundings_.center.post(replyNotificationName(request.id));
  ++givenCount_;
  surroundings_.output.exchanged("reply", reply);
  return true;
}

JsonObject Exchange::counts() const {
  return {{"taken", takenCount_},
          {"given", givenCount_},
          {"failed", failedCount_},
          {"bytesThrownAway", requests_.bytesThrownAway()}};
}

}  // namespace corvane::MainApp
