#include <string>

#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/RawArchive.h"
#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

/// How requests are taken: all of them, in order, each for its own host.
namespace corvane::Nmctl::MainAppCheck {
namespace {

void several(Bench& bench) {
  const char* const names[] = {"getCurrentFilteringState", "appState", "corvaneNmctlUnknown",
                               "appState"};
  PlayedHost host(bench);
  std::string bytes;
  for (const char* name : names) bytes += host.request(name, Subject::look());
  host.send(bytes, 4);
  for (int i = 0; i < 4; ++i)
    if (!host.hearReply())
      broken("4 requests lay there, and only " + std::to_string(i) +
             " replies were heard of within 3.0 s");
  const auto taken = host.take();
  if (taken.size() != 4)
    broken("4 requests lay there, and " + std::to_string(taken.size()) + " replies came");
  for (std::size_t i = 0; i < 4; ++i)
    if (!taken[i].record || taken[i].record->name != names[i])
      broken("the reply at place " + std::to_string(i + 1) + " is not that to the request there");
}

void twoHosts(Bench& bench) {
  PlayedHost first(bench);
  PlayedHost second(bench);
  constexpr int rounds = 10;
  for (int round = 0; round < rounds; ++round) {
    second.expect(1);
    first.send(first.request("appState") +
               second.request("getCurrentFilteringState", Subject::look()));
    for (PlayedHost* host : {&first, &second})
      if (!host->hearReply()) broken("one of two hosts was not answered within 3.0 s");
    (void)theReply(first.take(), first.id(), "appState");
    (void)theReply(second.take(), second.id(), "getCurrentFilteringState");
  }
}

void nothingThere(Bench& bench) {
  for (int i = 0; i < 3; ++i) bench.post("exchange");
  (void)PlayedHost(bench).ask("appState");
}

/// Requests that nobody can be answered, below one that is answered behind them.
void noAddress(Bench& bench) {
  PlayedHost host(bench);
  const std::string tooLong = host.id() + std::string(101 - host.id().size(), 'a');
  std::string bytes;
  for (const std::string& id : {std::string(), host.id() + "/b", "../" + host.id(),
                                host.id() + std::string("\0b", 2), tooLong})
    bytes += recordBytes(id, "appState");
  bool isMade = false;
  {
    const Afterwards remove(bench, "", [&] {
      for (const std::string& path :
           {bench.responseFile(""), bench.responseFile(tooLong),
            bench.dataFolder() + "/ExchangeResponseContainer." + host.id()})  // up to the zero byte
        isMade = static_cast<bool>(Platform::removeFile(path)) || isMade;
    });
    host.sendAlone(bytes + host.request("appState"));
    if (!host.hearReply()) broken("the request behind them was not answered within 3.0 s");
    (void)theReply(host.take(), host.id(), "appState");
  }
  if (isMade) broken("a file was made in Data/ for one of them");
}

void goneHost(Bench& bench) {
  std::string bytes;
  {
    PlayedHost gone(bench);
    bytes = gone.request("appState");
    gone.expect(1);  // its file is removed in the end
  }
  PlayedHost host(bench);
  host.send(bytes + host.request("appState"));
  if (!host.hearReply()) broken("the next host was not answered within 3.0 s");
}

void otherKeys(Bench& bench) {
  PlayedHost host(bench);
  // With the dictionary around them that makes 64 inside one another.
  constexpr std::size_t most = 63;
  for (const char* className : {"NSDictionary", "NSMutableDictionary"}) {
    host.sendAlone(RawRequest{host.id(), "appState", "other", most, 1, className}.bytes());
    if (!host.hearReply())
      broken(
          std::string("a request with another key and 64 objects inside one another, of class ") +
          className + ", was not answered within 3.0 s");
    (void)theReply(host.take(), host.id(), "appState");
  }
}

}  // namespace

Points requestPoints() {
  using Needs = Point::Needs;
  return {
      {"several-requests",
       "The application takes all records that lie there under one lock and answers them in the "
       "order in which they came.",
       Needs::answers, several},
      {"two-hosts", "A reply bears the id of its request and lies in the file of that host.",
       Needs::answers, twoHosts},
      {"nothing-there", "A notification may find the file empty: that is no error.", Needs::answers,
       nothingThere},
      {"no-address",
       "An id that can't be part of a file name (empty, a slash or zero byte in it, above 100 "
       "bytes) is thrown away with its request.",
       Needs::answers, noAddress},
      {"gone-host", "A host that has ended may leave replies unread; others are answered.",
       Needs::answers, goneHost},
      {"other-keys",
       "Other keys than id, name and body are ignored; objects may stand in any order, mutable "
       "dictionaries pass, and up to 64 objects may stand inside one another.",
       Needs::answers, otherKeys},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
