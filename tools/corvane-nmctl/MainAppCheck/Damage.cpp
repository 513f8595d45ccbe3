#include <string>
#include <utility>
#include <vector>

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedArchiver.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/RawArchive.h"

/// What the application makes of a request file that holds what is no request.
namespace corvane::Nmctl::MainAppCheck {
namespace {

struct Damage {
  const char* what;
  std::string bytes;
};

/// Puts each alone into the file: it must be cut away, and the next request answered.
void requireRecovered(Bench& bench, const std::vector<Damage>& damages) {
  PlayedHost host(bench);
  for (const auto& [what, bytes] : damages) {
    bench.appendAlone(bytes);
    bench.post("exchange");
    if (!bench.awaitTaken()) {
      // Not to be left to the hosts of the user; unless one has appended its own meanwhile.
      bench.seeTo(std::string(what) + " may stay in the request file",
                  [&bench, size = bytes.size()] {
                    auto file = bench.locked(bench.requestFile(), Platform::File::Access::update);
                    const auto status = file.status();
                    if (!status || status->size != size || !file.truncate(0))
                      notShown("it is not alone there");
                  });
      broken(std::string(what) + " stayed in the request file");
    }
    host.send(host.request("appState"));
    if (!host.hearReply())
      broken(std::string("after ") + what + " the next request was not answered within 3.0 s");
    (void)theReply(host.take(), host.id(), "appState");
  }
}

void damaged(Bench& bench) {
  const std::string whole = recordBytes("SOMEBODY", "appState");
  requireRecovered(bench, {{"3 bytes", "abc"},
                           {"a length of 0", std::string(4, '\0')},
                           {"a record without its length", whole.substr(0, whole.size() - 4)},
                           {"half a record", whole.substr(0, whole.size() / 2)},
                           {"a length of 4 GiB", "garbage\xff\xff\xff\xff"},
                           {"zero bytes", std::string(10'000, '\0')}});
}

std::string archived(const Value& root) {
  auto archive = KeyedArchiver::archive(root);
  if (!archive) notShown("an archive can't be made: " + archive.failure().text);
  return framed(std::move(archive).value());
}

void undecodable(Bench& bench) {
  const std::string whole = recordBytes("SOMEBODY", "appState");
  requireRecovered(bench,
                   {{"an archive of garbage", framed("garbage")},
                    {"an archive that is cut off", framed(whole.substr(0, whole.size() / 2))},
                    {"an archive of a text", archived("text")},
                    {"a record without a name", archived(Dictionary{{"id", "SOMEBODY"}})},
                    {"a record of which the id is an integer",
                     archived(Dictionary{{"id", 1}, {"name", "appState"}, {"body", Value()}})}});
}

/// Puts `bytes`, which ask something for `refused`, below a good request: only that is answered.
void requireRefused(Bench& bench, PlayedHost& refused, const std::string& bytes,
                    const std::string& what) {
  PlayedHost host(bench);
  refused.expect(0);
  host.sendAlone(bytes + host.request("appState"));
  if (!host.hearReply())
    broken("a request that lay on top of " + what + " was not answered within 3.0 s");
  (void)theReply(host.take(), host.id(), "appState");
  if (!refused.take().empty()) broken(what + " was answered");
}

void below(Bench& bench) {
  PlayedHost host(bench);
  requireRefused(bench, host, "garbage", "garbage");
  requireRefused(bench, host, host.request("appState") + framed("garbage"),
                 "an archive of garbage with a request below it");
}

void classes(Bench& bench) {
  PlayedHost host(bench);
  const EBAAppStateResponse state;
  requireRefused(bench, host, host.request("appState", Dictionary{{"url", state.record()}}),
                 "a request with a state record in it");
  RawRequest unknown{host.id(), "appState", "body", 1, 1, "CorvaneUnknown"};
  requireRefused(bench, host, unknown.bytes(), "a request of a class that nobody knows");
}

void deep(Bench& bench) {
  PlayedHost host(bench);
  for (const std::size_t levels : {64U, 10'000U})
    requireRefused(bench, host, RawRequest{host.id(), "appState", "body", levels}.bytes(),
                   "a request of " + std::to_string(levels + 1) + " objects inside one another");
}

void many(Bench& bench) {
  PlayedHost host(bench);
  constexpr std::size_t levels = 12;
  constexpr std::size_t uses = 16;
  requireRefused(bench, host, RawRequest{host.id(), "appState", "body", levels, uses}.bytes(),
                 "a request that unfolds to 16^12 values");
}

}  // namespace

Points damagePoints() {
  using Needs = Point::Needs;
  return {
      {"damaged-file",
       "At most 4 bytes, or a length greater than what lies before it: cut the file to 0.",
       Needs::answers, damaged},
      {"undecodable-record",
       "The application cuts the file to 0 when the record can't be decoded or is no container.",
       Needs::answers, undecodable},
      {"damage-below",
       "The application decodes from the end until something can't be decoded, and answers what "
       "could be.",
       Needs::answers, below},
      {"refused-classes",
       "Requests hold texts, numbers, booleans, null objects and dictionaries; anything else makes "
       "the whole record undecodable.",
       Needs::answers, classes},
      {"deep-request", "A reader refuses more than 64 objects inside one another.", Needs::answers,
       deep},
      {"many-values", "A reader refuses more than 250,000 values.", Needs::answers, many},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
