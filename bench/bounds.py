"""bounds.py FOLDER HOST BESIDE [CASE…]: what a host uses when it is sent far too much.

Prints a Markdown table. HOST and BESIDE are executables. Unless BESIDE is empty, both get the same,
each in a process of its own for each row, and the case "lengths" draws FOLDER/message-memory.svg.
Without a CASE all cases are run. Runs below private-home only, with CORVANE_NM set.
"""

import contextlib
import itertools
import os
import re
import select
import socket
import sys
import threading
import time
from pathlib import Path

import bench_plot
from archives import archive, framed
from host import PUSH, Container, Host, MainApplication, Observers, frame, request
from standstill import stopped_holder

LIMIT = 60.0  # seconds; then a host that has not answered is killed
WAITING = 15.0  # seconds; likewise, where requests can't be answered
STALLED = 2.0  # seconds; a host that reads nothing for this long has stopped reading
LATER = 1.0  # seconds from the answer to the second look at the memory
MB = 1_000_000
DEPTH = 500  # of nested values; the limit is 512, the message itself included
MANY = 500_000  # requests
ID = "0" * 36  # stands for a host's identifier, which has the same length
IDENTIFIER = re.compile(rb'"requestId":"([^"]*)"')
AFTER = frame(request("getCurrentAppState", "after"))  # how long it takes says how long others wait
SMALL = b'{"a":1}'
LENGTHS = [100, 1000, 10_000, 100_000, MB, 10 * MB, 64 * MB]
HEADS = ["sent", "host", "processor, s", "peak memory, MB", "1 s later, MB", "log, KB",
         "answered after, s", ""]


class Browser:
    """Writes to a host and reads from it at the same time, and counts what it reads."""

    def __init__(self, host):
        self.host = host
        self.output = host.process.stdout.fileno()
        self.taken = self.pushes = self.longest = 0
        self.awaited, self.unread = set(), bytearray()
        self.answered = "none"

    def read(self):
        """False at the end of the host's output."""
        piece = os.read(self.output, 1 << 20)
        self.unread += piece
        start = 0
        while len(self.unread) >= start + 4:
            end = start + 4 + int.from_bytes(self.unread[start:start + 4], sys.byteorder)
            if len(self.unread) < end:
                break
            self.count(self.unread[start + 4:end])
            start = end
        del self.unread[:start]
        return bool(piece)

    def count(self, body):
        identifier = IDENTIFIER.search(body)[1].decode()
        self.longest = max(self.longest, len(body))
        self.pushes += identifier == PUSH
        self.awaited.discard(identifier)

    def talk(self, data, awaited=("after",), limit=LIMIT, reads=True, until=lambda: False):
        """Sends `data` and returns once the requests `awaited` are answered, `limit` has passed,
        the host has ended or `until` returns true. Unless it `reads`, it returns once all is sent
        or the host has stopped reading."""
        self.awaited = set(awaited)
        begin = time.monotonic()
        if self.write_and_read(data, begin + limit, reads, until):
            self.answered = f"{time.monotonic() - begin:,.2f}"
        elif time.monotonic() > begin + limit:
            self.answered = f"not in {limit:.0f}"

    def write_and_read(self, data, end, reads, until):
        """Returns whether all that is awaited was answered."""
        source, rest = self.host.process.stdin.fileno(), memoryview(data)
        moved = time.monotonic()
        while self.awaited and not until() and time.monotonic() < end:
            poll = select.poll()
            if reads:
                poll.register(self.output, select.POLLIN)
            elif not rest or time.monotonic() > moved + STALLED:
                return False
            if rest:
                poll.register(source, select.POLLOUT)
            for descriptor, _ in poll.poll(100):
                if descriptor == self.output:
                    if not self.read():
                        return False
                    continue
                try:
                    count = os.write(source, rest)
                except BlockingIOError:
                    continue
                except BrokenPipeError:
                    return False
                self.taken, rest, moved = self.taken + count, rest[count:], time.monotonic()
        return not self.awaited


class Trial:
    """A new host in a new container, with the stand-in for the main application if `options` are
    given for it."""

    def __init__(self, stack, executable, options):
        self.container = Container()
        if options is not None:
            self.application = stack.enter_context(MainApplication(*options))
        self.host = stack.enter_context(Host(executable))
        self.host.ask("init", "1")
        self.browser = Browser(self.host)

    def used(self):
        """Processor time in seconds, peak and present memory in MB; None if the host has ended."""
        folder = Path(f"/proc/{self.host.pid}")
        ticks = folder.joinpath("stat").read_text().rpartition(")")[2].split()[11:13]
        status = dict(re.findall(r"(\w+):\s+(\d+) kB", folder.joinpath("status").read_text()))
        if "VmHWM" not in status:
            return None
        return (sum(map(int, ticks)) / os.sysconf("SC_CLK_TCK"),
                int(status["VmHWM"]) * 1024 / MB, int(status["VmRSS"]) * 1024 / MB)

    def log_size(self):
        return sum(path.stat().st_size for path in self.container.logs.glob("*")) / 1000


CASES = {}


def case(name, title, *options, application=True):
    """Adds a row to the case `name`. The function sends what `title` says in the Trial that it is
    given, and may return a remark for the table. `options` are those of the stand-in."""
    def add(run):
        CASES.setdefault(name, []).append((title, options if application else None, run))
    return add


def with_data(content):
    """The frame of a message with the JSON `content` under an ignored key, and AFTER."""
    return frame(b'{"type":"getCurrentAppState","id":"sent","data":%b}' % content) + AFTER


def with_keys(keys):
    return with_data(b"{%b}" % b",".join(b'"%b":0' % key for key in keys))


def colliding_keys(count):
    """Keys whose hashes in Boost.JSON 1.81 end in the same 12 bits.

    Its hash is FNV-1a with the address of the object's table as salt, and its low bits depend on no
    higher ones. malloc takes a table of this size from mmap, 16 bytes into a page, so those bits of
    the salt are known. The table has as many buckets as keys, and 4096 must divide that: then all
    keys fall into one bucket of every 4096.
    """
    mask, prime, salt, basis = 0xFFF, 0x1B3, 16, 0x325
    letters = b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"
    inverse = pow(prime, -1, mask + 1)
    endings = {0: b""}  # by the hash that each turns to 0
    for _ in range(3):
        endings = {(after * inverse & mask) ^ letter: bytes([letter]) + ending
                   for after, ending in endings.items() for letter in letters}

    def keys():
        for start in itertools.product(letters, repeat=4):
            state = basis + salt
            for letter in start:
                state = (letter ^ state) * prime & mask
            if state in endings:
                yield bytes(start) + endings[state]

    return itertools.islice(keys(), count)


def repeated(item, size):
    """A JSON array of `size` bytes, each value of which is `item`."""
    return b"[" + b",".join([item] * (size // (len(item) + 1))) + b"]"


for count in (1 << 18, 1 << 20):
    @case("keys", f"object with {count:,} keys", application=False)
    def _(trial, count=count):
        trial.browser.talk(with_keys(b"%08x" % number for number in range(count)))

for count in (3 << 17, 1 << 20):  # a table for 1 << 18 keys does not come from mmap
    @case("collisions", f"object with {count:,} keys that collide", application=False)
    def _(trial, count=count):
        trial.browser.talk(with_keys(colliding_keys(count)))

for title, item in {
        "arrays, 500 deep": b"[" * DEPTH + b"]" * DEPTH,
        "objects, 500 deep": b'{"a":' * DEPTH + b"0" + b"}" * DEPTH,
        "zeros": b"0", "empty arrays": b"[]", "objects with one key": SMALL}.items():
    @case("values", f"32 MB of {title}", application=False)
    def _(trial, item=item):
        trial.browser.talk(with_data(repeated(item, 32 * MB)))


@case("values", "32 MB of escaped surrogates without a partner, 500 deep", application=False)
def _(trial):
    text = rb"\ud800" * (32 * MB // 6)
    trial.browser.talk(with_data(b"[" * DEPTH + b'"%b"' % text + b"]" * DEPTH))


@case("strings", "string of 32 MB in `data`", application=False)
def _(trial):
    trial.browser.talk(with_data(b'"%b"' % (b"x" * 32 * MB)))


for kind, key in (("addRule", "ruleText"), ("removeCustomRules", "url")):
    @case("strings", f"`{kind}` with a string of 32 MB")
    def _(trial, kind=kind, key=key):
        trial.browser.talk(frame(request(kind, "sent", {key: "x" * 32 * MB})) + AFTER)


def reply(body, name="addRule"):
    """The archive of a reply to the host ID."""
    return archive({"id": ID, "name": name, "body": body})


def answer(trial, replies):
    """Has `addRule` answered by `replies`, with the host's identifier in place of ID."""
    def give():
        while (exchange := trial.application.exchanged())[1]["name"] != "addRule":
            pass
        identifier = exchange[1]["id"]
        path = trial.container.folder / f"Data/ExchangeResponseContainer.{identifier}.data"
        with open(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600), "wb") as file:
            for one in replies:  # needs no lock: the host reads after the notification
                file.write(framed(one.replace(ID.encode(), identifier.encode())))
        Observers(trial.container, f"exchange.{identifier}").post()

    giver = threading.Thread(target=give)
    giver.start()
    rule = frame(request("addRule", "sent", {"ruleText": "||example.org^"}))
    trial.browser.talk(rule + AFTER, ("sent", "after"))
    giver.join()


def unanswered(name, title):
    """Adds a row whose stand-in leaves the answer to the first `addRule` to `answer`."""
    return case(name, title, "--print", "--fault", "silent command=addRule times=1")


@unanswered("replies", "reply of 5 MB of zero bytes")
def _(trial):
    answer(trial, [bytes(5 * MB)])


@unanswered("replies", "reply of 5 MB, the last of 200,000 values not allowed")
def _(trial):
    values = {f"{number:09}": number for number in range(100_000)}
    answer(trial, [reply({"values": values, "last": b"data"})])


@unanswered("replies", "100 replies of 1 MB under another name")
def _(trial):
    answer(trial, [reply({f"{number:09}": number for number in range(20_000)}, "other")] * 100)


@unanswered("error", "error with 10 MB of control characters")
def _(trial):
    text = "\1" * (5 * MB)
    answer(trial, [reply({"error": ("NSError", {
        "NSDomain": text, "NSCode": 1, "NSUserInfo": {"NSLocalizedDescription": text}})})])
    return f"longest reply: {trial.browser.longest:,} bytes"


def post(container, count, end):
    """Posts `appState` to the one host until `end`; returns how often the host took it."""
    observers = Observers(container, "appState")
    observers.wait_for(1)
    folder = os.open(observers.folder, os.O_PATH)
    (path,) = observers.folder.glob("*.*")
    posted = 0
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender, \
            contextlib.suppress(OSError):  # the host has ended, or took none until the timeout
        sender.settimeout(LIMIT)
        sender.connect(f"/proc/self/fd/{folder}/{path.name}")
        while posted < count and time.monotonic() < end:
            sender.send(observers.name.encode())
            posted += 1
    os.close(folder)
    return posted


@case("notifications", "1,000,000 notifications `appState`")
def _(trial):
    posted = []
    poster = threading.Thread(target=lambda: posted.append(
        post(trial.container, 1_000_000, time.monotonic() + LIMIT)))
    poster.start()
    trial.browser.talk(b"", until=lambda: not poster.is_alive())
    poster.join()
    trial.browser.talk(AFTER)
    return f"{posted[0]:,} posted, {trial.browser.pushes:,} pushes"


def many(kind, parameters=None):
    return frame(request(kind, "0", parameters)) * MANY


def requests_taken(trial, data):
    return f"{MANY * trial.browser.taken // len(data):,} requests taken"


@case("unread", f"{MANY:,} requests, no reply is read", application=False)
def _(trial):
    data = many("getCurrentAppState")
    trial.browser.talk(data, reads=False)
    return requests_taken(trial, data)


@case("waiting", f"{MANY:,} requests, the request file stays locked")
def _(trial):
    with stopped_holder(trial.container.folder / "Data/ExchangeRequestContainer.data"):
        data = many("openSettings") + AFTER
        trial.browser.talk(data, limit=WAITING)
    return requests_taken(trial, data)


@case("waiting", f"{MANY:,} requests, the main application is silent", "--fault", "silent")
def _(trial):
    data = many("openSettings") + AFTER
    trial.browser.talk(data, limit=WAITING)
    return requests_taken(trial, data)


for length in LENGTHS:
    @case("lengths", f"{bench_plot.byte_count(length)} of objects with one key", application=False)
    def _(trial, length=length):
        trial.browser.talk(with_data(repeated(SMALL, length)))


def measure(executable, options, run):
    """Returns the cells for one host, and its peak and later memory in MB."""
    with contextlib.ExitStack() as stack:
        trial = Trial(stack, executable, options)
        remark = run(trial) or ""
        time.sleep(LATER)
        used = trial.used()
        cells = [f"{value:,.2f}" for value in used] if used else ["ended"] * 3
        cells += [f"{trial.log_size():,.1f}", trial.browser.answered, remark]
        return cells, used[1:] if used else (None, None)


def show(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def draw(folder, memory):
    labels = [bench_plot.byte_count(length) for length in LENGTHS]
    below = "length of a message of small objects"
    bench_plot.write(f"{folder}/message-memory.svg", [
        (title, below, labels,
         {name: [row[column] for row in rows] for name, rows in memory.items()}, True)
        for column, title in enumerate(("peak memory, MB", "resident a second later, MB"))])


def main(folder, host, beside, *names):
    hosts = {"before": beside, "after": host} if beside else {"": host}
    names = names or CASES
    for name in names:
        if name not in CASES:
            sys.exit(f"no case \"{name}\", only {', '.join(CASES)}")
    memory = {name: [] for name in hosts}
    show(HEADS)
    show(["---"] * 2 + ["---:"] * 5 + ["---"])
    for name in names:
        for (title, options, run), (version, executable) in itertools.product(
                CASES[name], hosts.items()):
            cells, sizes = measure(executable, options, run)
            show([title, version, *cells])
            if name == "lengths":
                memory[version].append(sizes)
    if beside and "lengths" in names:
        draw(folder, memory)


if __name__ == "__main__":
    main(*sys.argv[1:])
