"""fail_calls.py SCENARIO SLICE SLICES all|quick|CALL:ORDINAL:FAILURE|descriptors|DESCRIPTORS

Runs one scenario on the host repeatedly. Each time a different system call of the host fails, in a
different way; or the host has 0 to 8 free descriptors. Afterwards the next request and the next
push must be right, no descriptor may be leaked, and all files must be well formed. Prints a JSON
object per case. The cases are divided among SLICES processes. Runs below `run --mounted`.
"""

import contextlib
import ctypes
import errno
import fcntl
import itertools
import json
import mmap
import os
import re
import resource
import select
import shutil
import signal
import socket
import stat
import struct
import sys
import tempfile
import time
import zlib
from collections import Counter

import host as harness
from asking import PAGE, TIMEOUT, page_in, send
from exchange_file import records_in
from host import (ALONE, APPLICATION, LOG_LINE, MAIN_APPLICATION, PUSH, Container, Host,
                  MainApplication, Observers, kill_launched, request)

FAILING = MAIN_APPLICATION.with_name("corvane-nm-failing")
REPLY, RETRY = 3.0, 0.5  # seconds; how long the host waits for a reply, and until it looks again
ANSWER = 3 * REPLY + 2  # seconds; a push and two exchanges that time out, on a busy machine
KNOWN_ERRORS = (TIMEOUT, "Can't start main app.")
STOPPED = ("corvane-nm: stopped: (the shared container of .* can't be used: .*|"
           "the shared logs folder is unavailable: .*|the group settings cannot be opened: .*|"
           "the standard streams cannot be set up: .*|"
           "the system lacks what an event loop needs|"
           "the executable of the calling browser cannot be found)\n")

SHORT = -1  # in place of an errno: a short transfer
EPOLL_CTL_ADD = 1
LOOKING, MAKING, RESOURCES = "EACCES EIO ENOMEM", "EACCES EIO ENOMEM ENOSPC", "EMFILE ENFILE ENOMEM"
OPENING, READING = "EINTR EMFILE ENFILE ENOMEM EACCES EIO", "EINTR EIO SHORT"
WRITING = "EINTR ENOSPC EIO SHORT"
FAILURES = {  # how each call may fail, whatever its flags
    "open": OPENING, "openat": OPENING, "close": "EINTR EIO", "pread": READING, "pwritev": WRITING,
    "ftruncate": "EINTR EIO", "fstat": "EIO ENOMEM", "stat": LOOKING, "lstat": LOOKING,
    "fstatat": LOOKING, "fchmod": LOOKING, "mkdir": MAKING, "mkdirat": MAKING, "rmdir": LOOKING,
    "unlink": LOOKING, "unlinkat": LOOKING, "linkat": MAKING, "readlink": LOOKING,
    "access": LOOKING, "dup2": "EINTR EBUSY", "flock": "ENOLCK", "lockRecord": "EINTR ENOLCK",
    "poll": "EINTR ENOMEM", "socket": RESOURCES + " ENOBUFS", "bind": MAKING,
    "connect": "EINTR EACCES ENOMEM", "send": "EINTR ENOMEM", "kill": "EPERM",
    "recv": "EINTR ENOMEM", "fork": "EAGAIN ENOMEM", "waitpid": "EINTR", "startThread": "EAGAIN",
    "epollCreate": RESOURCES, "epollWait": "EINTR", "eventfd": RESOURCES, "getdents": "EIO ENOMEM",
    "pidfdOpen": RESOURCES, "pipe2": RESOURCES, "setAttribute": MAKING, "getAttribute": LOOKING,
    ("read", stat.S_IFREG): READING, ("write", stat.S_IFREG): WRITING,  # an eventfd does not
    ("read", stat.S_IFIFO): READING, ("write", stat.S_IFIFO): "EINTR EPIPE SHORT"}


class Entry(ctypes.Structure):
    """A call that the host made; as in FailingCalls.cpp."""

    _fields_ = [("call", ctypes.c_char * 16), ("where", ctypes.c_char * 104),
                ("flags", ctypes.c_int), ("mode", ctypes.c_uint)]

    def failures(self):
        """How it may fail."""
        call, flags, kind = self.call.decode(), self.flags, stat.S_IFMT(self.mode)
        conditional = {
            "ENOSPC": call in ("open", "openat") and flags & os.O_CREAT,
            "EAGAIN": call in ("send", "recv") and flags & socket.MSG_DONTWAIT or
            call == "flock" and flags & fcntl.LOCK_NB or
            call in ("read", "write") and kind == stat.S_IFIFO and flags & os.O_NONBLOCK,
            "EINTR": call == "flock" and not flags & fcntl.LOCK_UN,
            "EMFILE": call == "fcntl" and flags == fcntl.F_DUPFD_CLOEXEC,
            "ENOMEM": call == "epollControl" and flags == EPOLL_CTL_ADD}
        names = FAILURES.get(call) or FAILURES.get((call, kind), "")
        return names.split() + [name for name, is_one in conditional.items() if is_one]


class Control(ctypes.Structure):
    _fields_ = [("armed", ctypes.c_uint), ("failure", ctypes.c_int), ("ordinal", ctypes.c_uint),
                ("call", ctypes.c_char * 16), ("matched", ctypes.c_uint), ("fired", ctypes.c_uint),
                ("traced", ctypes.c_uint), ("trace", Entry * 4096)]


def is_soft(call, failure):
    """Whether the failure only asks for another attempt, so that nobody may notice it."""
    return failure == "EINTR" or failure == "SHORT" and call in ("read", "pread") or \
        failure == "EAGAIN" and call in ("read", "write", "send", "recv", "flock")


class Missing(AssertionError):
    """An expected frame did not come, or the host ended before."""


def expect(seen, wanted):
    if seen != wanted:
        raise AssertionError(f"{seen!r} in place of {wanted!r}")


class Exchange:
    """The scenario that the others are made from: a request about a page.

    `ready`, `step` and `prove` each leave all as they found it, or fail.
    """

    level = None
    runs = True  # the main application, before each step

    def __init__(self, executable):
        self.executable = executable
        self.file = tempfile.NamedTemporaryFile()
        self.file.truncate(ctypes.sizeof(Control))
        self.control = Control.from_buffer(mmap.mmap(self.file.fileno(), 0))
        self.system_log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.system_log.bind("/dev/log")
        self.container = Container(self.level)
        self.app_state = Observers(self.container, "appState")
        self.app_reconfig = Observers(self.container, "appReconfig")
        self.application, self.host = MainApplication(), None
        self.number, self.log_ends, self.pushed = 0, Counter(), []
        self.restart()

    def restart(self):
        """Begins anew, after a failure."""
        if self.host:
            self.host.__exit__()
        self.host = None
        self.application.kill()
        kill_launched()
        if self.runs:
            self.application.start()
            while not self.application.state()["announced"]:  # what it pushes later is no surprise
                select.select([], [], [], 0.05)

    def start(self):
        self.host = Host(self.executable, env=os.environ | {"CORVANE_FAILING": self.file.name})

    def ready(self):
        """Has a host that knows and has opened what it needs, but has to list folders anew."""
        if not self.host:
            self.start()
            self.says_running()  # it observes by then
            for _ in range(2):
                self.host.send(b"bad")  # begins a log
                self.step()
                self.prove()
            self.usual = len(self.descriptors())
        for folder in self.container.folder.glob(f"[AN]*/{APPLICATION}*"):
            (folder / "new").touch()
            (folder / "new").unlink()

    def step(self):
        """What is disturbed. Returns its outcome: "nothing" if the browser noticed nothing."""
        return self.page()

    def make_up(self):
        """Waits for what a disturbance delayed, once it is over."""

    def settle(self):
        """Lets the application answer requests whose announcement failed: it does so with the next.

        Their late replies may end the wait of that next one. What the host began in the step is over
        when a page's reply has come, as exchanges run one after another.
        """
        is_settled = not self.host or self.application.process.poll() is not None
        while not is_settled:
            self.page()
            counts = self.application.state()["exchange"]
            untold = records_in(self.container.folder / "Data/ExchangeRequestContainer.data")
            is_settled = not untold and counts["taken"] == counts["given"]

    def prove(self):
        """Fails unless all is right at once."""
        self.pushed.clear()
        expect(self.page(), "nothing")
        expect(self.says_running(), True)
        self.application.command("announce")
        expect(self.push(True), "nothing")
        expect(self.pushed, [])

    def receive(self, identifier, limit=ANSWER):
        """The reply; the states pushed before it are added to `pushed`."""
        end = time.monotonic() + limit
        while True:
            try:
                length = self.host.read(4, end)
                body = length and self.host.read(*struct.unpack("=I", length), end)
            except AssertionError:
                raise Missing(f"nothing came for {identifier!r}") from None
            if not body:
                raise Missing(f"the host ended with {self.host.wait()}: {self.host.errors()}")
            reply = json.loads(body)
            if reply["requestId"] == identifier:
                return reply
            expect(reply["requestId"], PUSH)
            self.pushed.append(reply["appState"]["isRunning"])

    def page(self, force=False):
        self.number += 1
        page = f"{self.number}.invalid"
        send(self.host, PAGE, page, forceStartApp=force)
        reply = self.receive(page)
        if reply["result"] == "ok":
            expect(page_in(reply), page)
            return "nothing" if reply["appState"]["isRunning"] else "error"
        if reply["data"] not in KNOWN_ERRORS:
            raise AssertionError(f"an unknown error: {reply['data']}")
        return "error"

    def says_running(self):
        self.host.send(ALONE)
        return self.receive("alone")["appState"]["isRunning"]

    def push(self, running, limit=REPLY + 1.5):
        is_right = self.receive(PUSH, limit)["appState"]["isRunning"] == running
        return "nothing" if is_right else "error"

    def descriptors(self):
        return {int(name) for name in os.listdir(f"/proc/{self.host.pid}/fd")}

    def check(self):
        """Fails if descriptors were leaked or files are malformed."""
        end = time.monotonic() + RETRY
        while self.host and len(self.descriptors()) > self.usual:
            self.says_running()
            if time.monotonic() > end:
                raise AssertionError(f"{len(self.descriptors())} descriptors, not {self.usual}")
        for path in self.container.folder.glob("Data/*"):
            expect((path.name, records_in(path) is None), (path.name, False))
        self.new_lines()
        with contextlib.suppress(BlockingIOError):
            while True:
                self.system_log.recv(1 << 14, socket.MSG_DONTWAIT)

    def new_lines(self):
        """What was logged since the last call. Fails if a line is not whole."""
        new = b""
        for path in sorted(self.container.logs.glob("*")):
            with contextlib.suppress(FileNotFoundError), open(path, "rb") as file:
                file.seek(self.log_ends[path])
                whole, end, _ = file.read().rpartition(b"\n")
                self.log_ends[path] += len(whole + end)
                new += whole + end
        lines = new.decode().splitlines(keepends=True)
        # A log that takes a part of a line gets the next one on a new line.
        if (self.control.call, self.control.failure) != (b"write", SHORT):
            expect([line for line in lines if not LOG_LINE.fullmatch(line)], [])
        return lines

    def failed(self):
        """The call that failed, if any."""
        fired = self.control.fired
        return self.control.trace[fired - 1] if fired else None

    def has_lost_browser(self):
        """Whether a pipe of the browser's failed for good, and the host ends with its input."""
        entry, lost = self.failed(), {b"read": errno.EIO, b"write": errno.EPIPE}
        if not entry or not stat.S_ISFIFO(entry.mode) or \
                lost.get(entry.call) != self.control.failure:
            return False
        status = self.host.process.poll()
        return (self.host.finish()[0] if status is None else status) == 0


class Init(Exchange):
    """A request without a main application, and a line of the log."""

    runs = False

    def step(self):
        self.host.send(b"bad", request("init", "init", {"apiVersion": "1"}))
        reply = self.receive("init")
        expect((reply["result"], reply["appState"]["isRunning"]), ("ok", False))
        return "nothing"

    def prove(self):
        self.pushed.clear()
        self.step()
        self.app_state.post()
        expect(self.push(False), "nothing")
        expect(self.pushed, [])


class Push(Exchange):
    def step(self):
        self.application.command("announce")
        return self.push(True)


class AppStarts(Exchange):
    runs = False

    def step(self):
        self.application.start()
        return self.push(True)

    def prove(self):
        super().prove()
        self.application.kill()
        expect(self.push(False, 1.5), "nothing")


class AppEnds(Exchange):
    def step(self):
        self.application.kill()
        return self.push(False)

    def make_up(self):
        expect(self.push(False, 2 * RETRY), "nothing")

    def prove(self):
        expect(self.says_running(), False)
        self.application.start()
        expect(self.push(True), "nothing")
        super().prove()


class Launch(Exchange):
    """A host starts the main application, which has none of the host's limits."""

    runs = False

    def __init__(self, executable):
        super().__init__(executable)
        script = self.container.folder.parent / "start"
        script.write_text(f"#!/bin/sh\nulimit -Sn 1024\nexec '{MAIN_APPLICATION}' --daemon\n")
        script.chmod(0o755)
        self.container.install(script)

    def step(self):
        return self.page(force=True)

    def end_application(self):
        ran = self.says_running()
        if not ran:  # it may have been started all the same
            select.select([], [], [], 0.1)
        kill_launched()
        if ran:
            expect(self.push(False, 1.5), "nothing")
        expect(self.says_running(), False)

    def prove(self):
        self.end_application()
        expect(self.page(force=True), "nothing")
        self.end_application()


class AppReconfig(Exchange):
    level = 7

    def reconfigure(self, level, limit):
        """Sets the level; an error unless requests leave lines by it within `limit`."""
        self.container.write_settings({"DefaultsKeyLogLevel": level})
        files, end = [*self.container.logs.glob("*")], time.monotonic() + 0.2
        self.app_reconfig.post()
        while [*self.container.logs.glob("*")] == files and time.monotonic() < end:
            select.select([], [], [], 0.005)
        self.says_running()
        self.control.armed = 0  # what follows is no part of the step
        end = time.monotonic() + limit
        while time.monotonic() < end:
            self.new_lines()
            self.host.send(b"bad", ALONE, b"bad", ALONE)  # an error is in the log at once
            for _ in range(2):
                self.receive("alone")
            if (level == 15) == any("Debug trace" in line for line in self.new_lines()):
                return "nothing"
        return "error"

    def step(self):
        return self.reconfigure(15, 2 * RETRY)

    def prove(self):
        for level in (15, 7):
            expect(self.reconfigure(level, 1.5), "nothing")
        super().prove()


class Start(AppReconfig):
    """A process each time, without logs, up to its first reply and the cleaning that follows."""

    def ready(self):
        if not hasattr(self, "usual"):
            self.step()
            self.prove()
            self.usual = len(self.descriptors())
        if self.host:
            expect(self.host.finish()[0], 0)
            self.host.__exit__()
            self.host = None
        shutil.rmtree(self.container.folder / "Logs", ignore_errors=True)

    def step(self):
        self.start()
        try:
            outcome = self.page()
            select.select([], [], [], 0.05)
            return outcome
        except (Missing, BrokenPipeError):
            with contextlib.suppress(AssertionError, ProcessLookupError):
                self.host.wait(RETRY)
            if self.host.process.poll() != -signal.SIGABRT or self.host.process.stdout.read() \
                    or not re.fullmatch(STOPPED, self.host.errors()):
                raise
            self.host = None
            return "stopped"

    def prove(self):
        if not self.host:
            return
        self.host.send(b"bad")  # begins a log, if none was begun
        self.application.command("announce")
        with contextlib.suppress(Missing):  # it may be about to listen again
            self.push(True, RETRY)
        self.reconfigure(15, RETRY)
        super().prove()
        self.application.kill()
        expect(self.push(False, 1.5), "nothing")
        self.application.start()
        expect(self.push(True), "nothing")


class Leave(Exchange):
    """A process each time. An error: it left its socket or links, or took its time."""

    def ready(self):
        self.start()
        expect(self.page(), "nothing")

    def step(self):
        begin, host, self.host = time.monotonic(), self.host, None
        status, rest = host.finish(7)
        expect((status, rest, host.errors()), (0, b"", ""))
        left = [*self.container.folder.glob(f"Notifications/**/*{host.pid}.*")]
        return "error" if left or time.monotonic() - begin > 1 else "nothing"

    def prove(self):
        pass


SCENARIOS = {"start": Start, "init": Init, "exchange": Exchange, "push": Push,
             "app-starts": AppStarts, "app-ends": AppEnds, "launch": Launch,
             "appReconfig": AppReconfig, "leave": Leave}


@contextlib.contextmanager
def failing(scenario, call="", ordinal=0, failure=0):
    """Traces the calls and lets one of them fail, if one is given."""
    control = scenario.control
    control.call, control.ordinal, control.failure = call.encode(), ordinal, failure
    control.matched = control.fired = control.traced = 0
    control.armed = 1
    try:
        yield
    finally:
        control.armed = 0


@contextlib.contextmanager
def short_of_descriptors(scenario, count):
    """Leaves the host `count` free descriptors."""
    taken, process = scenario.descriptors(), scenario.host.process
    free = (number for number in itertools.count() if number not in taken)
    limit = next(itertools.islice(free, count, None))
    usual = resource.prlimit(process.pid, resource.RLIMIT_NOFILE)
    resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (limit, usual[1]))
    try:
        yield
    finally:
        if process.poll() is None:
            resource.prlimit(process.pid, resource.RLIMIT_NOFILE, usual)


def calls_in(scenario):
    """How each call of the step may fail, by its name and ordinal."""
    found = {}
    for _ in range(3):  # they come in a slightly different order each time
        scenario.ready()
        with failing(scenario):
            scenario.step()
        ordinals = Counter()
        for entry in scenario.control.trace[:scenario.control.traced]:
            call = entry.call.decode()
            ordinals[call] += 1
            found[call, ordinals[call]] = entry.failures()
        scenario.prove()
    return found


def is_chosen(call, ordinal, names, failure):
    """For a quick run: every soft failure, and one of the others in turn."""
    hard = [name for name in names if not is_soft(call, name)]
    return failure not in hard or hard[ordinal % len(hard)] == failure


def one_case(scenario, disturbance, is_strict):
    """The outcome and what is wrong with it, if anything."""
    outcome, phase, scenario.control.fired = "wrong", "before", 0
    try:
        scenario.ready()
        phase = "in it"
        try:
            with disturbance(scenario):
                outcome = scenario.step()
        except Missing:
            if scenario.has_lost_browser():
                scenario.restart()
                return "browser lost", None
            if is_strict:
                raise
            outcome = "late"
            scenario.make_up()
        phase = "afterwards"
        if outcome in ("error", "late"):
            scenario.settle()
        scenario.prove()
        scenario.check()
    except Exception as failure:
        ended = scenario.host and scenario.host.process.poll()
        scenario.restart()
        return outcome, f"{phase}: {failure!r}" + (f", it ended with {ended}" if ended else "")
    return outcome, None


def fail(scenario, call, ordinal, failure):
    number = SHORT if failure == "SHORT" else getattr(errno, failure)
    outcome, wrong = one_case(
        scenario, lambda one: failing(one, call, ordinal, number), is_strict=True)
    entry = scenario.failed()
    if entry and failure not in entry.failures():  # threads took turns: it cannot fail so
        entry = wrong = None
    if entry and not wrong and is_soft(call, failure) and outcome != "nothing":
        wrong = "a soft failure was noticed"
    return {"call": call, "ordinal": ordinal, "failure": failure, "wrong": wrong,
            "where": entry.where.decode() if entry else "",
            "outcome": outcome if entry or wrong else "not reached"}


def run_short(scenario, count):
    outcome, wrong = one_case(
        scenario, lambda one: short_of_descriptors(one, count), is_strict=False)
    return {"descriptors": count, "outcome": outcome, "wrong": wrong}


def main(name, part, parts, what):
    harness.DEADLINE = ANSWER
    is_short = what == "descriptors" or what.isdigit()
    scenario = SCENARIOS[name](harness.EXECUTABLE if is_short else FAILING)
    if is_short:
        cases = (run_short(scenario, count)
                 for count in (range(9) if what == "descriptors" else [int(what)]))
    elif ":" in what:
        call, ordinal, failure = what.split(":")
        cases = [fail(scenario, call, int(ordinal), failure)]
    else:
        cases = (fail(scenario, call, ordinal, failure)
                 for (call, ordinal), names in calls_in(scenario).items() for failure in names
                 if zlib.crc32(f"{call}{ordinal}{failure}".encode()) % int(parts) == int(part)
                 and (what == "all" or is_chosen(call, ordinal, names, failure)))
    for case in cases:
        print(json.dumps({"scenario": name} | case), flush=True)
    scenario.restart()


main(*sys.argv[1:])
