#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

/// How any reply reaches its host, looked at from one side each.
namespace corvane::Nmctl::MainAppCheck {
namespace {

constexpr char plainCommand[] = "appState";

/// What came of one plain request, whatever that was.
struct Exchanged {
  std::string id;
  bool isHeard = false;
  std::optional<std::filesystem::perms> mode;  ///< of the response file, if there was one
  std::vector<TakenRecord> records;
};

/// The same exchange for all points, as each is about another side of it.
class PlainExchange {
 public:
  const Exchanged& of(Bench& bench) {
    if (!exchanged_) exchanged_ = make(bench);
    return *exchanged_;
  }

 private:
  static Exchanged make(Bench& bench) {
    PlayedHost host(bench);
    Exchanged exchanged;
    exchanged.id = host.id();
    host.send(host.request(plainCommand));
    exchanged.isHeard = host.hear(host.replyNotification(), host.sent() + replyLimit).has_value();
    std::error_code failed;
    const auto status = std::filesystem::symlink_status(host.responseFile(), failed);
    if (std::filesystem::exists(status)) exchanged.mode = status.permissions();
    exchanged.records = host.take();
    return exchanged;
  }

  std::optional<Exchanged> exchanged_;
};

void time(const Exchanged& exchanged) {
  if (!exchanged.isHeard && exchanged.records.empty())
    broken("no reply to a plain request, appState, came within 3.0 s");
}

void file(const Exchanged& exchanged) {
  if (!exchanged.isHeard && !exchanged.mode) notShown("no reply came");
  if (!exchanged.mode) broken("a notification came, but there is no such file");
  if (*exchanged.mode != std::filesystem::perms(0600)) broken("the file has another mode");
}

void notification(const Exchanged& exchanged, Bench& bench) {
  if (exchanged.records.empty()) notShown("no reply lies there");
  if (!exchanged.isHeard) broken("a reply lies there, but nothing was heard of it within 3.0 s");
  // What else comes after one reply has come when the next one does.
  PlayedHost host(bench);
  host.send(host.request(plainCommand) + host.request(plainCommand), 2);
  const bool areHeard = host.hearReply() && host.hearReply();
  PlayedHost next(bench);
  next.send(next.request(plainCommand));
  (void)next.hearReply();
  if (areHeard && host.countUnheard() > 0) broken("more than one came for one reply");
}

void record(const Exchanged& exchanged) {
  if (exchanged.records.empty()) notShown("no reply came");
  (void)theReply(exchanged.records, exchanged.id, plainCommand);
}

}  // namespace

Points replyPoints() {
  using Needs = Point::Needs;
  const auto plain = std::make_shared<PlainExchange>();
  return {
      {"reply-time", "A host waits 3.0 s for its reply; not to answer costs the browser as much.",
       Needs::nothing, [plain](Bench& bench) { time(plain->of(bench)); }},
      {"reply-file",
       "The application makes a host's response file, ExchangeResponseContainer.ID.data, mode "
       "0600, with the first reply to that host.",
       Needs::nothing, [plain](Bench& bench) { file(plain->of(bench)); }},
      {"reply-notification", "It appends, and posts PREFIXexchange.ID once for each reply.",
       Needs::nothing, [plain](Bench& bench) { notification(plain->of(bench), bench); }},
      {"reply-record",
       "A reply is an archive of a dictionary with the id and the name of its request and a body; "
       "anything but texts, numbers, booleans, null objects, dictionaries, error objects and the "
       "two records makes it undecodable.",
       Needs::nothing, [plain](Bench& bench) { record(plain->of(bench)); }},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
