#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Directories.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

/// What the application does with observers that are dead or do not read, and with what is sent to
/// its own socket.
namespace corvane::Nmctl::MainAppCheck {
namespace {

using namespace std::chrono_literals;

void deadObserver(Bench& bench) {
  PlayedHost host(bench);
  Ear dead(bench.notifications());
  dead.observe(host.replyNotification());
  dead.die();
  (void)host.ask("appState");
  // The post may still be under way; it is over when the next request is answered.
  (void)host.ask("appState");
  if (dead.isLinked(host.replyNotification()))
    broken("a socket that refuses is still among the observers after two posts");
}

void noSocket(Bench& bench) {
  PlayedHost host(bench);
  const std::string folder = bench.container() + "/Notifications/" + host.replyNotification();
  const std::string path = folder + "/" + Platform::ProcessFileName::make();
  (void)std::ofstream(path);
  const Afterwards remove(bench, path + " may stay", [&path] { (void)Platform::removeFile(path); });
  (void)host.ask("appState");
  (void)host.ask("appState");
  std::error_code failed;
  if (!std::filesystem::exists(path, failed)) broken("a file that is no socket was removed");
}

/// Has two hosts ask at once; gives how long it took until the second had heard of its reply.
std::chrono::milliseconds timeForTwo(PlayedHost& first, PlayedHost& second) {
  second.expect(1);
  first.send(first.request("appState") + second.request("appState"));
  const bool isFirstHeard = first.hearReply().has_value();
  const auto heard = second.hearReply();
  if (!isFirstHeard || !heard) broken("one of two hosts was not answered within 3.0 s");
  (void)first.take();
  (void)second.take();
  return std::chrono::duration_cast<std::chrono::milliseconds>(*heard - first.sent());
}

void fullObserver(Bench& bench) {
  constexpr auto allowed = 100ms;
  constexpr auto tolerance = 100ms;  // for a machine that is busy
  constexpr int attempts = 3;        // of which the best one counts
  PlayedHost first(bench);
  PlayedHost second(bench);
  const auto plain = timeForTwo(first, second);
  Ear full(bench.notifications());
  full.observe(first.replyNotification());
  full.fill();
  auto best = std::chrono::milliseconds::max();
  for (int i = 0; i < attempts && best > plain + allowed + tolerance; ++i)
    best = std::min(best, timeForTwo(first, second));
  if (best > plain + allowed + tolerance)
    broken("an observer that never reads held up the reply to another host for " +
           std::to_string((best - plain).count()) + " ms");
  if (!full.isLinked(first.replyNotification()))
    broken("an observer that lives and does not read was removed");
}

/// Whether the lock of `path` can be had within a moment.
bool isFree(Bench& bench, const std::string& path) {
  const auto end = Clock::now() + 50ms;  // others may use it, but not for so long
  do {
    auto file = Platform::File::open(path, Platform::File::Access::read);
    if (!file || file->tryLock()) return true;
    bench.waitUntil(Clock::now() + 1ms);
  } while (Clock::now() < end);
  return false;
}

/// Whether the lock of one of both files is held for long when a reply to `host` lies there.
bool isLockedWhilePosting(Bench& bench, PlayedHost& host) {
  host.send(host.request("appState"));
  const auto end = host.sent() + replyLimit;
  for (;;) {
    const auto status = Platform::statusOf(host.responseFile());
    if (status && status->size > 0) break;
    if (Clock::now() >= end) broken("the request appState was not answered within 3.0 s");
    bench.waitUntil(Clock::now() + 1ms);
  }
  const bool isLocked = !isFree(bench, host.responseFile()) || !isFree(bench, bench.requestFile());
  if (!host.hearReply()) broken("nothing was heard of a reply within 3.0 s");
  (void)host.take();
  return isLocked;
}

void postsUnlocked(Bench& bench) {
  PlayedHost host(bench);
  Ear full(bench.notifications());  // with it a post takes long enough to look meanwhile
  full.observe(host.replyNotification());
  full.fill();
  for (int attempt = 0; attempt < 3; ++attempt)
    if (!isLockedWhilePosting(bench, host)) return;
  broken("while a reply was posted, the lock of its file or of the request file was held");
}

void strangeDatagrams(Bench& bench) {
  const auto& all = bench.notifications().descriptor();
  const auto opened = Platform::Directories::open(all, Bench::notificationName("exchange"));
  bool isSent = false;
  for (const std::string& entry : entriesOf(opened)) {
    if (Platform::ProcessFileName::processOf(entry) != bench.instance().process) continue;
    const auto connection = Platform::NotificationSocket::connectedTo(*opened, entry);
    if (!connection) continue;
    for (const std::string& text : {std::string(), std::string(201, 'a'), std::string(2000, '\0'),
                                    std::string("of.nobody"), std::string("\xff/\n")})
      isSent = ::send(connection->number(), text.data(), text.size(), MSG_DONTWAIT) >= 0 || isSent;
  }
  if (!isSent) notShown("its socket can't be reached");
  (void)PlayedHost(bench).ask("appState");
}

/// Far more than any socket holds. Some may be lost meanwhile: they say nothing new.
void manyNotifications(Bench& bench) {
  constexpr int count = 2000;
  const auto end = Clock::now() + 1s;
  for (int i = 0; i < count && Clock::now() < end; ++i) bench.post("exchange");
  (void)PlayedHost(bench).ask("appState");
}

}  // namespace

Points observerPoints() {
  using Needs = Point::Needs;
  return {
      {"dead-observer",
       "Who refuses (ECONNREFUSED) and is a socket belongs to a dead process: remove the entry.",
       Needs::answers, deadObserver},
      {"no-socket", "Likewise; what is no socket stays.", Needs::answers, noSocket},
      {"full-observer",
       "Send one datagram to every entry without waiting; those that are full are then waited for, "
       "all together and no longer than 100 ms for the whole post.",
       Needs::answers, fullObserver},
      {"posts-unlocked", "Post only when no lock is held.", Needs::answers, postsUnlocked},
      {"strange-datagrams", "Throw away what is longer than 200 bytes or not observed.",
       Needs::answers, strangeDatagrams},
      {"many-notifications",
       "A socket for one name may be emptied by the thread that also does what the name asks for, "
       "if it takes all that lies there before it begins: what is lost meanwhile says nothing new.",
       Needs::answers, manyNotifications},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
