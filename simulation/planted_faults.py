"""planted_faults.py [--markdown] [--list] [NAME...]: whether the simulation sees faults.

Plants one fault at a time in a copy of the sources below build/planted, builds the simulation and
runs it with the seeds from 1 on until it sees the fault. Prints how many seeds that took. Fails if
the unchanged sources break a promise, if a fault is not seen within the limits, or if the text that
a fault replaces is not in its file exactly once.
"""

import argparse
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parents[1]
PLANTED = ROOT / "build/planted"
SOURCE, BUILD = PLANTED / "source", PLANTED / "build"
MOST_RUNS = 20_000
LIMIT = 180  # seconds for the runs of one fault
LONGEST_RUN = 60  # seconds more for runs that have begun; no run comes near it
UNCHANGED_RUNS = 5000


class Fault(NamedTuple):
    name: str
    file: str
    text: str  # in the file exactly once
    by: str  # what is put in its place
    breaks: str


HOST, REQUESTS = "corvane-nm/", "corvane-nm/RequestProcessing/"
SHARED, CONTAINER = "SharedComponents/", "Platform/Container/"
APPLICATION, EXCHANGE = "tools/corvane-main-app/", SHARED + "Exchange/"

FAULTS = [
    # The exchange.
    Fault("listens-late", EXCHANGE + "RequestSignalling.cpp", """\
  if (!pending_->replyName.empty()) {
    (void)center_.observe(
        pending_->replyName, [this] { replyReceived(); },
        Platform::NotificationCenter::Audience::thisProcessOnly);
  }
  Begin begin = std::move(pending_->begin);  // the request may end inside the call
  if (!begin) return post();
  begin([this](bool isPublished) {
""", """\
  Begin begin = std::move(pending_->begin);
  begin([this](bool isPublished) {
    (void)center_.observe(
        pending_->replyName, [this] { replyReceived(); },
        Platform::NotificationCenter::Audience::thisProcessOnly);
""", "a host listens for the reply only after it has appended the request"),
    Fault("posts-early", EXCHANGE + "RequestSignalling.cpp", """\
  if (!begin) return post();
  begin([this](bool isPublished) {
    if (isPublished) return post();
    finish(Outcome::refused);
  });
}

void RequestSignalling::post() {
  VCLogCDebugTrace({file, sendFunction});
  center_.post(notificationName(pending_->name));
""", """\
  center_.post(notificationName(pending_->name));
  begin([this](bool isPublished) {
    if (isPublished) return post();
    finish(Outcome::refused);
  });
}

void RequestSignalling::post() {
""", "a host posts a request before it has appended it"),
    Fault("no-reply-limit", EXCHANGE + "RequestSignalling.cpp",
          "loop_.at(replyDeadline_, [this]",
          "loop_.at(Platform::EventLoop::Clock::time_point::max(), [this]",
          "a host waits for a reply without limit"),
    Fault("id-not-checked", EXCHANGE + "ExchangeBuffer.cpp", "!id || *id == record->id;",
          "!id || !id->empty();", "a host takes a reply whatever its id"),
    Fault("command-not-checked", SHARED + "ExtensionBrowserApi/ExtensionBrowserApiClient.cpp",
          "if (record && record->name == rawValue(exchange->action))", "if (record)",
          "a host takes a reply whatever command it answers"),
    Fault("order-lost", SHARED + "ExtensionBrowserApi/ExtensionBrowserApiClient.cpp",
          "self->link_.workQueue.hold()}", "{}}", "exchanges of a host do not wait for each other"),
    Fault("length-first", EXCHANGE + "ExchangeBuffer.cpp",
          "writeAt(bytesOf(archive), length, exchange.length())",
          "writeAt(length, bytesOf(archive), exchange.length())",
          "a host writes the length of a record before its archive"),
    Fault("part-stays", EXCHANGE + "ExchangeBuffer.cpp",
          "  truncate(exchange, exchange.length(), setFunction);\n", "",
          "a host leaves a record that it could write in part only"),
    Fault("reply-stays", EXCHANGE + "ExchangeBuffer.cpp",
          "if (!isMatch || !truncate(exchange, extent->start, getFunction))", "if (!isMatch)",
          "a host leaves the reply that it takes in the file"),
    Fault("lock-ignored", EXCHANGE + "ExchangeFile.cpp", "if (locker_->lock()) {",
          "if (locker_->lock() || locker_->isContended()) {",
          "a host uses an exchange file that another process has locked"),
    Fault("lock-waited-for", EXCHANGE + "ExchangeFile.cpp", "if (locker_->lock()) {",
          "if (locker_->waitLock()) {", "a host's event loop waits for the lock of an exchange file"),
    Fault("descriptor-leaks", EXCHANGE + "ExchangeFile.cpp", "  logOpening(nullptr);\n",
          "  logOpening(nullptr);\n  (void)new auto(File::open(path_, File::Access::update));\n",
          "a host leaves a descriptor open at each exchange"),
    Fault("no-wake", "Platform/Linux/Poller.cpp", "  implementation_->wake();\n", "",
          "a host does not wake up when its thread has got the lock of a file"),
    # Announcements.
    Fault("signal-kept", REQUESTS + "AppStateListener.cpp",
          "if (saved_) signalling_.setHandler(appState, std::exchange(saved_, nullptr));",
          "saved_ = nullptr;", "a command keeps the signal that it has intercepted"),
    Fault("no-state-limit", REQUESTS + "AppStateListener.cpp",
          "loop_.at(Platform::EventLoop::now() + limit_,",
          "loop_.at(Platform::EventLoop::Clock::time_point::max(),",
          "a host waits for an announcement without limit"),
    Fault("wait-not-held", REQUESTS + "CommandHandlers.cpp",
          "hold = environment_.workQueue.hold()](bool came)", "hold = 0](bool came)",
          "exchanges go on while a command waits for its announcement"),
    Fault("push-dropped", HOST + "MainAppWatch.cpp", "  if (mayPush()) return push();\n",
          "  if (pendingPushes_ > 0) return;\n  if (mayPush()) return push();\n",
          "a host drops an announcement that comes during a push"),
    Fault("handlers-late", HOST + "Host.cpp", "  watch.registerHandlers();\n",
          "  const auto later = loop.at(Platform::EventLoop::now() + std::chrono::milliseconds(50),\n"
          "                             [this] { watch.registerHandlers(); });\n",
          "a host listens for announcements only after its first requests"),
    # Replies to the browser.
    Fault("reply-twice", HOST + "BrowserChannel.cpp", "    writer_.send(json.view());\n",
          "    writer_.send(json.view());\n    writer_.send(json.view());\n", "a host sends each reply twice"),
    Fault("serial-skipped", REQUESTS + "CommandHandlers.cpp",
          "  work.response.id = serial_.takeNext();\n",
          "  (void)serial_.takeNext();\n  work.response.id = serial_.takeNext();\n",
          "a host skips serial numbers"),
    Fault("rest-lost", HOST + "FrameWriter.cpp", "frame.written += count.value();",
          "frame.written += count.value() > 0 ? piece.size() : 0;",
          "a host loses what a short write leaves"),
    Fault("pieces-misread", HOST + "FrameReader.cpp", "  bufferEnd_ = available();\n",
          "  bufferEnd_ = 0;\n", "a host forgets the first bytes of a length that comes in pieces"),
    Fault("end-unnoticed", HOST + "FrameReader.cpp", "if (!count || count.value() == 0) {",
          "if (!count) {", "a host does not notice the end of its input"),
    Fault("writes-blocking", "Platform/Linux/PipeOpening.cpp", "O_WRONLY | O_NONBLOCK | O_CLOEXEC",
          "O_WRONLY | O_CLOEXEC", "writing to a browser that does not read blocks"),
    Fault("answers-late", HOST + "BrowserChannel.cpp",
          "if (outgoing_.size() == 1) loop_.post([this] { sendOutgoing(); });", """\
if (outgoing_.size() == 1)
    (void)new auto(loop_.at(EventLoop::now() + std::chrono::seconds(2), [this] { sendOutgoing(); }));
""", "a host sends each reply two seconds late"),
    Fault("leaves-at-once", HOST + "BrowserChannel.cpp",
          "const auto end = EventLoop::now() + limits_.lastSlice;",
          "const auto end = EventLoop::now();",
          "a host leaves at the end of input without answering what is pending"),
    # Which applications run.
    Fault("application-end-unnoticed", CONTAINER + "ApplicationObservation.cpp",
          "    watched.end = loop_.onReadable(process, [this] { look(); });\n", "",
          "a host does not notice the end of the application"),
    Fault("failed-look-is-none", CONTAINER + "ApplicationObservation.cpp", """\
  const bool isAllKnown = directory ? findIn(directory.value(), changed)
                                    : directory.failure().cause == FailureCause::notFound;
""", """\
  if (directory) (void)findIn(directory.value(), changed);
  const bool isAllKnown = true;
""", "a host takes a registry that it can't read for an empty one"),
    Fault("failed-look-is-kept", CONTAINER + "RunningApplications.cpp",
          "if (!found) return found.failure();\n  look.instance", """\
if (!found) return look;
  look.instance""", "a host keeps on believing that nothing runs after a failed look"),
    Fault("looks-early", CONTAINER + "RunningApplications.cpp", """\
  (void)center_.observe(ApplicationRegistry::launchedName(bundleIdentifier),
                        [watched = observation.get()] { watched->look(); });
  return observation->begin();
""", """\
  auto begun = observation->begin();
  (void)center_.observe(ApplicationRegistry::launchedName(bundleIdentifier),
                        [watched = observation.get()] { watched->look(); });
  return begun;
""", "a host looks for the application before it listens for its start"),
    Fault("unsettled-stamp", "Platform/Linux/DirectoryStamp.cpp",
          "constexpr std::chrono::milliseconds settling{50};",
          "constexpr std::chrono::milliseconds settling{0};",
          "the time stamp of a directory is trusted at once"),
    # Notifications.
    Fault("receives-no-more", CONTAINER + "NotificationChannel.cpp",
          "readable_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { watch(); });",
          "readable_ = {};", "after a failed receive notifications are not received any more"),
    Fault("observes-no-more", "Platform/Posix/NotificationCenter.cpp", """\
listening.failure().description());
      listenAgainSoon();
""", """\
listening.failure().description());
""", "a name that could not be observed is not tried again"),
    Fault("watches-no-more", "Platform/Posix/EventLoop.cpp", """\
    refused_.push_back({id, descriptor, event});
    watchAgain_ = at(now() + retryPause, [this] { watchAgain(); });
""", """\
    refused_.push_back({id, descriptor, event});
""", "a descriptor that could not be watched is not tried again"),
    Fault("receives-blocking", CONTAINER + "NotificationSocket.cpp",
          "buffer_.data(), buffer_.size(), MSG_DONTWAIT)", "buffer_.data(), buffer_.size(), 0)",
          "receiving a notification blocks when there is none"),
    Fault("links-stay", CONTAINER + "NotificationChannel.cpp", """\
      for (const std::string& name : linked_) notifications_->unlink(socketName_, name);
      notifications_->removeSocket(socketName_);
""", "", "a host leaves its socket and links behind"),
    Fault("dead-stay", CONTAINER + "NotificationChannel.cpp",
          "    cleaner_.emplace(loop_, *notifications_);\n", "",
          "nothing removes the sockets of hosts that were killed"),
    Fault("observers-not-listed", CONTAINER + "NotificationConnections.cpp",
          "if (!directory_ || !stamp_.holdsFor(directory_)) {", "if (!directory_) {",
          "observers that come after the first post are not told"),
    Fault("full-queue-skipped", CONTAINER + "NotificationConnections.cpp",
          "if (sent == Sent::full || sent == Sent::refused) await(observer, sent);",
          "if (sent == Sent::refused) await(observer, sent);",
          "a post is lost when the queue of an observer is full"),
    # The application.
    Fault("registration-stays", CONTAINER + "ApplicationRegistration.cpp",
          "  removeLeftovers(directory.value());\n", "  (void)removeLeftovers;\n",
          "nothing removes the registration of an application that was killed"),
    Fault("start-told-early", CONTAINER + "ApplicationRegistration.cpp",
          "  auto file = makeLockedFile(directory.value(), name);\n",
          "  center.post(ApplicationRegistry::launchedName(bundleIdentifier));\n"
          "  auto file = makeLockedFile(directory.value(), name);\n"
          "  if (file)\n"
          "    return ApplicationRegistration(std::make_unique<Implementation>(\n"
          "        std::move(directory).value(), std::move(file).value(), std::move(name)));\n",
          "the application tells of its start before it is registered"),
    Fault("reply-posted-early", APPLICATION + "Exchange.cpp",
          "  const auto archive = ExchangeRecord::archive(reply);\n",
          "  surroundings_.center.post(replyNotificationName(request.id));\n"
          "  const auto archive = ExchangeRecord::archive(reply);\n"
          "  if (archive) return static_cast<bool>(responses_.append(file, archive.value()));\n",
          "the application posts a reply before it has appended it"),
    Fault("replies-mixed-up", APPLICATION + "Exchange.cpp",
          "for (ExchangeRecord& request : requests.value()) receive(std::move(request));", """\
for (ExchangeRecord& request : requests.value()) {
    if (&request != &requests->front()) request.id = requests->front().id;
    receive(std::move(request));
  }""", "the application answers all hosts that ask together in the file of the first"),
    Fault("announces-early", APPLICATION + "Exchange.cpp", """\
  if (!give(file, reply, request)) ++failedCount_;
  if (isChange) surroundings_.announcer.changedByRequest();
""", """\
  if (isChange) surroundings_.announcer.changedHere();
  if (!give(file, reply, request)) ++failedCount_;
""", "the application announces a change before it replies"),
    Fault("start-unannounced", APPLICATION + "Application.cpp",
          "application.announcer.started(Platform::steadyNow());", "(void)application;",
          "the application does not announce its state when it is started again"),
    Fault("requests-cut-unread", APPLICATION + "RequestFile.cpp",
          "    bytes_.resize(locked.size());\n",
          "    bytes_.resize(locked.size());\n    (void)locked.file().truncate(0);\n",
          "the application empties the request file before it reads it"),
    Fault("requests-cut-unlocked", APPLICATION + "RequestFile.cpp",
          "  }\n  return locked.file().truncate(0);\n",
          "  }\n  (void)locked.file().unlock();\n  return locked.file().truncate(0);\n",
          "the application empties the request file after it has given the lock back"),
    Fault("application-lock-ignored", APPLICATION + "LockedFile.cpp",
          "if (auto locked = file->waitLock(); !locked) return locked.failure();",
          "(void)file->tryLock();",
          "the application uses an exchange file that another process has locked"),
]


def refresh_copy():
    """Copies what has changed, so that only that is built again."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True)
    names = {name for name in listed.stdout.decode().split("\0") if (ROOT / name).is_file()}
    for name in names:
        content, copy = (ROOT / name).read_bytes(), SOURCE / name
        if not copy.is_file() or copy.read_bytes() != content:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(content)
    for old in [path for path in SOURCE.rglob("*") if path.is_file()]:
        if str(old.relative_to(SOURCE)) not in names:
            old.unlink()


def quietly(*command):
    outcome = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if outcome.returncode != 0:
        sys.exit(f"{outcome.stdout}failed: {' '.join(map(str, command))}")


def configure():
    quietly("cmake", "-S", SOURCE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
            "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1", "-DCORVANE_SIMULATION=ON",
            "-DCORVANE_TESTS=OFF", "-DCORVANE_BENCHMARKS=OFF")


def first_violation(runs):
    """Returns the lowest seed with a violation, and its text; (None, the last line) without one."""
    quietly("cmake", "--build", BUILD, "--target", "corvane-simulation")
    process = subprocess.Popen(
        [BUILD / "bin/corvane-simulation", "--from", "1", "--runs", str(runs), "--unshortened",
         str(LIMIT)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, process_group=0)
    try:
        text, _ = process.communicate(timeout=LIMIT + LONGEST_RUN)
    except BaseException as why:
        os.killpg(process.pid, signal.SIGKILL)
        text, _ = process.communicate()
        if not isinstance(why, subprocess.TimeoutExpired):
            raise
        text += "a run does not end"
    seen = [(int(seed), what) for seed, what in re.findall(r"^seed (\d+): (.*)", text, re.M)]
    made = re.search(r"^\d+ runs", text, re.M)
    if not seen and process.returncode != 0 and "a run does not end" not in text:
        sys.exit(f"{text}the simulation has failed without a violation")
    return min(seen, default=(None, made[0] if made else text.splitlines()[-1]))


def changed(fault):
    """The file's text with the fault."""
    content = (ROOT / fault.file).read_text()
    if content.count(fault.text) != 1:
        sys.exit(f"{fault.name}: its text is {content.count(fault.text)} times in {fault.file}")
    return content.replace(fault.text, fault.by)


def plant(fault):
    path = SOURCE / fault.file
    content = path.read_text()
    path.write_text(changed(fault))
    try:
        return first_violation(MOST_RUNS)
    finally:
        path.write_text(content)


def markdown(found):
    print("| what is wrong | in | seeds | what was seen |\n|---|---|---:|---|")
    for fault, seed, what in found:
        what = re.sub(r"\b(host|application) [\d.]+", r"\1", what).split(":")[0]
        print(f"| {fault.breaks} | `{fault.file}` | {seed or '-'} | {what} |")


def main():
    parser = argparse.ArgumentParser(prog="simulate --planted")
    parser.add_argument("names", nargs="*", metavar="NAME", help="plant only these")
    parser.add_argument("--list", action="store_true", help="print the names of all faults")
    parser.add_argument("--markdown", action="store_true", help="print a table for the docs")
    parser.add_argument("--unchanged", type=int, default=UNCHANGED_RUNS, metavar="RUNS",
                        help="how many runs the unchanged sources must pass first")
    options = parser.parse_args()
    unknown = set(options.names) - {fault.name for fault in FAULTS}
    if unknown:
        parser.error(f"no such fault: {', '.join(sorted(unknown))}; --list prints all")
    faults = [fault for fault in FAULTS if not options.names or fault.name in options.names]
    for fault in faults:
        changed(fault)
        if options.list:
            print(f"{fault.name:26} {fault.breaks}")
    if options.list:
        return
    refresh_copy()
    configure()
    if options.unchanged > 0:
        seed, what = first_violation(options.unchanged)
        if seed is not None:
            sys.exit(f"the unchanged sources break a promise with seed {seed}: {what}")
    found = []
    for fault in faults:
        begin = time.monotonic()
        found.append((fault, *plant(fault)))
        print(f"{fault.name:26} {found[-1][1] or 'NOT SEEN':>8}  {found[-1][2]}  "
              f"({time.monotonic() - begin:.0f} s)", file=sys.stderr, flush=True)
    if options.markdown:
        markdown(found)
    unseen = sum(seed is None for _, seed, _ in found)
    print(f"{len(found) - unseen} of {len(found)} faults seen")
    sys.exit(bool(unseen))


signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
main()
