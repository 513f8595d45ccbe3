#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "Base/Bytes.h"
#include "Base/Uuid.h"
#include "Platform/Random.h"
#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

namespace corvane::Nmctl::MainAppCheck {
namespace {

using Platform::File;

constexpr std::size_t lengthSize = 4;

TakenRecord decoded(ByteView archive) {
  if (archive.size() > ExchangeBuffer::maximumObjectLength)
    return {std::nullopt,
            "its archive has " + std::to_string(archive.size()) + " bytes, above 1,024,000"};
  static constexpr const RecordClass* records[] = {&EBAAppStateResponse::recordClass,
                                                   &EBACurrentFilteringStateResponse::recordClass};
  auto value = KeyedUnarchiver::unarchive(archive, {records, true});
  if (!value) return {std::nullopt, "it can't be decoded: " + value.failure().text};
  auto record = ExchangeRecord::fromValue(std::move(value).value());
  if (!record) return {std::nullopt, "it is no dictionary with the texts \"id\" and \"name\""};
  return {std::move(record), ""};
}

}  // namespace

std::string framed(std::string archive) {
  for (std::size_t i = 0, length = archive.size(); i < lengthSize; ++i)
    archive += static_cast<char>(length >> (8 * i) & 0xFF);
  return archive;
}

std::string recordBytes(const std::string& id, const std::string& name,
                        std::optional<Dictionary> body) {
  auto archive = ExchangeRecord::archive({id, name, std::move(body)});
  if (!archive) notShown("a request can't be archived: " + archive.failure().text);
  return framed(std::move(archive).value());
}

std::vector<TakenRecord> recordsIn(ByteView bytes) {
  std::vector<TakenRecord> records;
  while (!bytes.empty() && (records.empty() || records.back().record)) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < std::min(lengthSize, bytes.size()); ++i)
      length = length << 8 | std::to_integer<std::size_t>(bytes[bytes.size() - 1 - i]);
    if (bytes.size() < lengthSize || length == 0 || length > bytes.size() - lengthSize) {
      records.push_back({std::nullopt, "the length behind it is no length"});
    } else {
      bytes = bytes.first(bytes.size() - lengthSize);
      records.push_back(decoded(bytes.last(length)));
      bytes = bytes.first(bytes.size() - length);
    }
  }
  std::reverse(records.begin(), records.end());
  return records;
}

ExchangeRecord theReply(const std::vector<TakenRecord>& taken, const std::string& id,
                        const std::string& name) {
  if (taken.empty()) broken("no reply to " + name + " lies in the host's response file");
  if (taken.size() > 1)
    broken(std::to_string(taken.size()) + " replies to one request " + name + " lie there");
  const TakenRecord& one = taken.front();
  if (!one.record) broken("the reply to " + name + " can't be read: " + one.problem);
  if (one.record->id != id)
    broken("the reply to " + name + " bears the id \"" + one.record->id + "\"");
  if (one.record->name != name)
    broken("the reply to " + name + " bears the name \"" + one.record->name + "\"");
  return *one.record;
}

PlayedHost::PlayedHost(Bench& bench)
    : bench_(bench),
      id_(uuidFrom(Platform::randomBytes<16>())),
      ear_(bench.notifications()),
      sent_(Clock::now()) {
  ear_.observe(replyNotification());
}

PlayedHost::~PlayedHost() {
  if (expected_ > 0) bench_.expectLate(id_, sent_);
  (void)Platform::removeFile(responseFile());
}

std::string PlayedHost::replyNotification() const {
  return Bench::notificationName("exchange." + id_);
}

void PlayedHost::expect(int replies) {
  receive();
  heard_.clear();
  expected_ += replies;
  sent_ = Clock::now();
}

void PlayedHost::send(std::string_view bytes, int replies) {
  expect(replies);
  bench_.append(bytes);
  sent_ = Clock::now();
  bench_.post("exchange");
}

void PlayedHost::sendAlone(std::string_view bytes) {
  expect(1);
  bench_.appendAlone(bytes);
  sent_ = Clock::now();
  bench_.post("exchange");
}

void PlayedHost::receive() {
  constexpr int most = 1000;  // at a time: somebody may go on sending
  for (int i = 0; i < most; ++i) {
    auto name = ear_.receive();
    if (!name) return;
    heard_.push_back({std::move(*name), Clock::now()});
  }
}

std::optional<Clock::time_point> PlayedHost::hear(const std::string& name, Clock::time_point end) {
  for (;;) {
    receive();
    const auto found = std::find_if(heard_.begin(), heard_.end(),
                                    [&name](const Heard& one) { return one.name == name; });
    if (found != heard_.end()) {
      const auto when = found->when;
      heard_.erase(heard_.begin(), std::next(found));
      if (expected_ > 0 && name == replyNotification()) --expected_;
      return when;
    }
    if (Clock::now() >= end || !bench_.wait(ear_.descriptor(), end)) return std::nullopt;
  }
}

std::optional<Clock::time_point> PlayedHost::hearReply(Clock::time_point end) {
  auto when = hear(replyNotification(), end);
  while (when && !holdsAnything(responseFile())) when = hear(replyNotification(), end);
  return when;
}

int PlayedHost::countUnheard() {
  receive();
  const std::string name = replyNotification();
  return static_cast<int>(std::count_if(heard_.begin(), heard_.end(),
                                        [&name](const Heard& one) { return one.name == name; }));
}

std::vector<TakenRecord> PlayedHost::take() {
  if (!Platform::statusOf(responseFile())) return {};
  File file = bench_.locked(responseFile(), File::Access::update);
  const auto bytes = file.readAll(ExchangeBuffer::maximumBufferLength * 2);
  if (!bytes && bytes.failure().cause == FailureCause::malformed)
    broken("the response file has more than 20,480,000 bytes");
  if (!bytes) notShown("the response file can't be read: " + bytes.failure().text);
  auto records = recordsIn(bytes.value());
  (void)file.truncate(0);
  return records;
}

ExchangeRecord PlayedHost::ask(const std::string& name, std::optional<Dictionary> body) {
  send(request(name, std::move(body)));
  if (!hearReply()) broken("the request " + name + " was not answered within 3.0 s");
  return theReply(take(), id_, name);
}

}  // namespace corvane::Nmctl::MainAppCheck
