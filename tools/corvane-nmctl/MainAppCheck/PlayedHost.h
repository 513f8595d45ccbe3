#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "tools/corvane-nmctl/MainAppCheck/Bench.h"
#include "tools/corvane-nmctl/MainAppCheck/Ear.h"

namespace corvane::Nmctl::MainAppCheck {

/// `archive` with its length behind it, as it lies in an exchange file.
std::string framed(std::string archive);

/// The archive of a record, framed.
std::string recordBytes(const std::string& id, const std::string& name,
                        std::optional<Dictionary> body = std::nullopt);

/// One record that lay in a response file.
struct TakenRecord {
  std::optional<ExchangeRecord> record;
  std::string problem;  ///< why a host can't read it, when there is none
};

/// The records in `bytes`, the oldest first, read as hosts read them. What lies below one that
/// makes no sense is left out.
std::vector<TakenRecord> recordsIn(ByteView bytes);

/// The one record among `taken`, if it is the reply to the request `name` of the host `id`; ends as
/// `broken` otherwise.
ExchangeRecord theReply(const std::vector<TakenRecord>& taken, const std::string& id,
                        const std::string& name);

/// A host as the application sees one: an identifier, a socket, a response file. What it has in the
/// container goes with it. One thread; not longer than the bench.
class PlayedHost {
 public:
  /// Ends the examination when it can't observe.
  explicit PlayedHost(Bench& bench);
  ~PlayedHost();
  PlayedHost(const PlayedHost&) = delete;
  PlayedHost& operator=(const PlayedHost&) = delete;

  [[nodiscard]] const std::string& id() const { return id_; }
  [[nodiscard]] std::string responseFile() const { return bench_.responseFile(id_); }
  [[nodiscard]] std::string replyNotification() const;
  [[nodiscard]] std::string request(const std::string& name,
                                    std::optional<Dictionary> body = std::nullopt) const {
    return recordBytes(id_, name, std::move(body));
  }

  /// Hears the notification that `word` stands for, too.
  void observe(const std::string& word) { ear_.observe(Bench::notificationName(word)); }

  /// Puts `bytes` into the request file and says so. `replies`: how many this host is to have.
  void send(std::string_view bytes, int replies = 1);
  /// Likewise, with one reply, where nothing of anybody else's lies below.
  void sendAlone(std::string_view bytes);
  /// Notes that so many replies will come from now on, to what somebody else sends for this host.
  void expect(int replies);

  /// Waits until `end` for the notification `name`, and says when it came. What had come before it
  /// is forgotten.
  std::optional<Clock::time_point> hear(const std::string& name, Clock::time_point end);
  /// Likewise for a reply that lies there, as long after `expect` or `send` as a host waits; a
  /// second notification of the reply before is passed over.
  std::optional<Clock::time_point> hearReply() { return hearReply(sent_ + replyLimit); }
  std::optional<Clock::time_point> hearReply(Clock::time_point end);
  /// How many notifications of replies have come that `hearReply` has not given.
  int countUnheard();

  /// What lies in the response file, which is empty then.
  std::vector<TakenRecord> take();

  /// Sends a request and gives the reply. Ends as `broken` when there is none in time, or one that
  /// no host would take.
  ExchangeRecord ask(const std::string& name, std::optional<Dictionary> body = std::nullopt);

  [[nodiscard]] Clock::time_point sent() const { return sent_; }

 private:
  struct Heard {
    std::string name;
    Clock::time_point when;
  };
  void receive();

  Bench& bench_;
  const std::string id_;
  Ear ear_;
  std::deque<Heard> heard_;
  Clock::time_point sent_;
  int expected_ = 0;  // replies that have not been heard of
};

}  // namespace corvane::Nmctl::MainAppCheck
