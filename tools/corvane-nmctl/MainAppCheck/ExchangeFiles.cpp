#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

/// What the application does with exchange files that others use, too.
namespace corvane::Nmctl::MainAppCheck {
namespace {

using namespace std::chrono_literals;
using Platform::File;

/// How long others are kept from a file: long enough for one that does not care to show it.
constexpr auto holdingTime = 500ms;

std::uint64_t sizeOf(const File& file) {
  const auto status = file.status();
  return status ? status->size : 0;
}

File::Status statusOf(const std::string& path) {
  const auto status = Platform::statusOf(path);
  if (!status) broken(path + " is gone");
  return status.value();
}

void keptRequestFile(Bench& bench) {
  // Held open, so that the inode number of a replaced file is not given to a later one.
  const auto held = File::open(bench.requestFile(), File::Access::read);
  const auto before = held ? held->status() : held.failure();
  if (!before) notShown("it can't be opened");
  for (int i = 0; i < 3; ++i) (void)PlayedHost(bench).ask("appState");
  const auto after = statusOf(bench.requestFile());
  if (after.inode != before->inode || after.device != before->device)
    broken("another file lies in its place after three requests");
  if (!bench.awaitTaken()) broken("requests that were answered stay in the file");
}

void lockOfRequests(Bench& bench) {
  PlayedHost host(bench);
  {
    File file = bench.locked(bench.requestFile(), File::Access::update);
    const std::string request = host.request("appState");
    const std::uint64_t size = sizeOf(file);
    Bench::appendTo(file, request);
    host.expect(1);
    bench.post("exchange");
    if (host.hearReply(Clock::now() + holdingTime))
      broken("a request was answered while another process had the lock of the request file");
    if (sizeOf(file) != size + request.size())
      broken("the request file was changed while another process had its lock");
  }
  if (!host.hearReply(Clock::now() + replyLimit))
    broken("a request was not answered within 3.0 s after the lock was given back");
  (void)theReply(host.take(), host.id(), "appState");
}

/// Has a reply wait for the lock of its file, and `change` that file meanwhile.
template <class Change>
void lockOfReplies(Bench& bench, const Change& change) {
  PlayedHost host(bench);
  (void)host.ask("appState");
  {
    File file = bench.locked(host.responseFile(), File::Access::update);
    host.send(host.request("appState"));
    if (host.hearReply(Clock::now() + holdingTime) || sizeOf(file) != 0)
      broken("a reply was written while another process had the lock of the response file");
    change(host);
  }
  if (!host.hearReply(Clock::now() + replyLimit))
    broken("the reply was not given within 3.0 s after the lock was given back");
  (void)theReply(host.take(), host.id(), "appState");
}

void removedResponseFile(Bench& bench) {
  PlayedHost host(bench);
  (void)host.ask("appState");
  (void)Platform::removeFile(host.responseFile());
  (void)host.ask("appState");
  lockOfReplies(bench,
                [](PlayedHost& waited) { (void)Platform::removeFile(waited.responseFile()); });
}

void olderRecords(Bench& bench) {
  PlayedHost host(bench);
  const std::string older = recordBytes("SOMEBODY-ELSE", "addRule") + host.request("addRule");
  {
    File file = bench.locked(host.responseFile(), File::Access::readWrite);
    Bench::appendTo(file, older);
  }
  host.send(host.request("appState"));
  if (!host.hearReply()) broken("the request appState was not answered within 3.0 s");
  const auto taken = host.take();
  if (taken.size() != 3) broken("two records lay there, and they did not stay as they were");
  (void)theReply({taken.back()}, host.id(), "appState");
}

/// A file of `size` zero bytes for the replies to `host`.
void makeResponseFile(Bench& bench, const PlayedHost& host, std::uint64_t size) {
  File file = bench.locked(host.responseFile(), File::Access::readWrite);
  if (!file.truncate(size)) notShown("so long a file can't be made");
}

void fullResponseFile(Bench& bench) {
  constexpr std::uint64_t most = ExchangeBuffer::maximumBufferLength;
  PlayedHost full(bench);
  makeResponseFile(bench, full, most + 1);
  full.send(full.request("appState"), 0);
  (void)PlayedHost(bench).ask("appState");  // what was asked before has been seen to then
  if (statusOf(full.responseFile()).size != most + 1)
    broken("a reply was appended to a file of 10,240,001 bytes");
  makeResponseFile(bench, full, most);
  full.send(full.request("appState"));
  if (!full.hearReply() || statusOf(full.responseFile()).size <= most)
    broken("no reply was appended to a file of 10,240,000 bytes");
}

void plantedLink(Bench& bench) {
  PlayedHost host(bench);
  const PlayedHost target(bench);
  makeResponseFile(bench, target, 0);
  std::error_code failed;
  std::filesystem::create_symlink(std::filesystem::path(target.responseFile()).filename(),
                                  host.responseFile(), failed);
  if (failed) notShown("no symbolic link can be made in Data/");
  host.send(host.request("appState"), 0);
  (void)PlayedHost(bench).ask("appState");
  if (statusOf(target.responseFile()).size != 0)
    broken("a reply was written to what a symbolic link in place of the response file names");
}

}  // namespace

Points exchangeFilePoints() {
  using Needs = Point::Needs;
  return {
      {"request-file-kept",
       "Never rename a file over an exchange file, and never remove the request file: requests are "
       "taken by cutting it to 0.",
       Needs::answers, keptRequestFile},
      {"request-lock",
       "Whoever reads or writes an exchange file holds an exclusive flock on it, from before the "
       "first look to after the last change, and waits for it without a limit.",
       Needs::answers, lockOfRequests},
      {"reply-lock", "The same of the response files.", Needs::answers,
       [](Bench& bench) { lockOfReplies(bench, [](PlayedHost&) {}); }},
      {"reply-file-removed",
       "The application makes a response file that is missing; with no link left it was removed "
       "meanwhile: begin anew.",
       Needs::answers, removedResponseFile},
      {"older-records", "A reply is appended; what lies below it stays.", Needs::answers,
       olderRecords},
      {"full-reply-file",
       "To a file longer than 10,240,000 bytes nothing is appended; what has just so many passes.",
       Needs::answers, fullResponseFile},
      {"planted-link", "Never follow a symbolic link in the last component of a path.",
       Needs::answers, plantedLink},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
