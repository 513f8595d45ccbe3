"""Runs the host as a browser does: frames over pipes, in a group container of the test's own.

Runs below scripts/lib/private-home only. Nothing here sleeps: every wait ends with its event or,
as a failure, at its deadline.
"""

import contextlib
import ctypes
import json
import os
import plistlib
import pwd
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time
from pathlib import Path

GROUP = "CVN4TEAM01.com.corvane.app"
APPLICATION = "com.corvane.application"
ORIGIN = "chrome-extension://abcdefghijklmnopabcdefghijklmnop/"  # the first argument from a browser
EXECUTABLE = os.environ.get("CORVANE_NM")
MAIN_APPLICATION = EXECUTABLE and Path(EXECUTABLE).with_name("corvane-main-app")
SLOWER = float(os.environ.get("CORVANE_SLOWER", "1"))  # how much slower all runs: valgrind
DEADLINE = 30.0 * SLOWER  # seconds; no wait comes near it, also under the sanitizers
HARD_STOP = signal.Signals[os.environ.get("CORVANE_HARD_STOP", "SIGABRT")]  # its own end
NOBODY = 65534
PUSH = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID"  # the requestId of a reply that answers no request

LOG_NAME = re.compile(r"corvane-nm \d{4}-\d\d-\d\d--\d\d-\d\d-\d\d-\d{3}\.log")
LOG_LINE = re.compile(r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d:\d{3}  (.*)\n")


def frame(message):
    """The frame of a body, or of a JSON value as browsers write it."""
    if not isinstance(message, bytes):
        message = json.dumps(message, separators=(",", ":")).encode()
    return struct.pack("=I", len(message)) + message


def request(kind, identifier, parameters=None):
    message = {"type": kind, "id": identifier}
    return message if parameters is None else message | {"parameters": parameters}


ALONE = request("setProtectionStatus", "alone")  # an error that no main application is asked about


class Container:
    """A new group container in the private home, in place of the one before, which no host uses."""

    def __init__(self, level=None):
        home = Path(pwd.getpwuid(os.geteuid()).pw_dir)
        if os.environ.get("CORVANE_PRIVATE_HOME") != str(home):
            raise RuntimeError("this would empty a real home's container: use tests/blackbox/run")
        self.folder = home / ".local/share/group-containers" / GROUP
        if (home / ".local").exists():
            shutil.rmtree(home / ".local")
        self.folder.parent.mkdir(parents=True)
        self.folder.mkdir(mode=0o700)
        self.logs = self.folder / "Logs" / APPLICATION / "corvane-nm"
        self.settings = self.folder / "Library/Preferences" / f"{GROUP}.plist"
        if level is not None:
            self.write_settings({"DefaultsKeyLogLevel": level})

    def write_settings(self, content):
        if not isinstance(content, bytes):
            content = plistlib.dumps(content, fmt=plistlib.FMT_BINARY)
        self.settings.parent.mkdir(parents=True, exist_ok=True)
        new = self.settings.with_suffix(".new")  # a host may be reading them at any time
        new.write_bytes(content)
        new.replace(self.settings)

    def install(self, command_line):
        """Has the desktop start the main application with `command_line`."""
        entries = self.folder.parents[1] / "applications"
        entries.mkdir(exist_ok=True)
        (entries / f"{APPLICATION}.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=The Application\nExec={command_line}\n")

    def uninstall(self):
        (self.folder.parents[1] / f"applications/{APPLICATION}.desktop").unlink()

    def give_away(self, owner=NOBODY):
        for path in [self.folder, *self.folder.rglob("*")]:
            os.chown(path, owner, owner)

    def log(self):
        """What all log files say, oldest first, without the times. Every line must be whole."""
        messages = []
        for path in sorted(self.logs.glob("*")):
            for line in path.read_bytes().decode().splitlines(keepends=True):
                match = LOG_LINE.fullmatch(line)
                if not match or not LOG_NAME.fullmatch(path.name):
                    raise AssertionError(f"broken line in, or wrong name of, {path.name}: {line!r}")
                messages.append(match[1])
        return messages


class Observers:
    """The hosts that observe one notification of the main application, seen from its side."""

    def __init__(self, container, name, kind="DARWIN_NOTIFICATION."):
        self.name = f"{APPLICATION}.{kind}{name}"
        self.folder = container.folder / "Notifications" / self.name
        self.folder.mkdir(parents=True, mode=0o700, exist_ok=True)
        (self.folder / "kept").touch()  # nobody removes a folder that is not empty
        libc = ctypes.CDLL(None, use_errno=True)
        self.watch = libc.inotify_init1(os.O_CLOEXEC)
        if libc.inotify_add_watch(self.watch, os.fsencode(self.folder), 0x100) < 0:  # IN_CREATE
            raise OSError(ctypes.get_errno(), "inotify_add_watch")

    def wait_for(self, count):
        """Returns once `count` hosts can be reached."""
        end = time.monotonic() + DEADLINE
        while len(list(self.folder.iterdir())) < count + 1:
            wait_for(self.watch, select.POLLIN, end)
            os.read(self.watch, 1 << 16)

    def post(self, flags=0):
        """Posts to all observers, but for sockets that killed processes have left. Blocks while a
        socket is full; fails when that lasts until the deadline."""
        folder = os.open(self.folder, os.O_PATH)  # paths of containers are too long for addresses
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            limit = struct.pack("ll", int(DEADLINE), 0)
            sender.setsockopt(socket.SOL_SOCKET, socket.SO_SNDTIMEO, limit)
            for path in self.folder.glob("*.*"):
                with contextlib.suppress(ConnectionRefusedError):
                    sender.sendto(self.name.encode(), flags, f"/proc/self/fd/{folder}/{path.name}")
        os.close(folder)


class Host:
    """One running host. Leaving the `with` block kills what still runs."""

    def __init__(self, executable=EXECUTABLE, closed=(), **options):
        """Starts it without the descriptors `closed`; `options` are those of subprocess.Popen.

        `executable` may be a list: a command that starts the host given the origin as its last
        argument. `pid` is that of the command then.
        """
        closing = "".join(f" {descriptor}>&-" for descriptor in closed)
        words = executable if isinstance(executable, list) else [str(executable)]
        command = ["/bin/bash", "-c", f'exec "$0" "$@"{closing}', *words, ORIGIN]
        self.error_file = tempfile.TemporaryFile()
        streams = dict(stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.error_file)
        self.process = subprocess.Popen(command if closed else command[3:], **(streams | options))
        self.pid = self.process.pid
        if self.process.stdin:
            os.set_blocking(self.process.stdin.fileno(), False)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        for stream in (self.process.stdin, self.process.stdout, self.error_file):
            if stream:
                stream.close()

    def send_bytes(self, data):
        """Returns when the pipe has taken everything: the host has read all but the last 64 KiB."""
        descriptor, rest = self.process.stdin.fileno(), memoryview(data)
        end = time.monotonic() + DEADLINE
        while rest:
            wait_for(descriptor, select.POLLOUT, end)
            try:
                rest = rest[os.write(descriptor, rest) :]
            except BlockingIOError:
                pass

    def send(self, *messages):
        self.send_bytes(b"".join(map(frame, messages)))

    def read(self, count, end=None):
        """Exactly `count` bytes of standard output, fewer only at its end."""
        descriptor, data = self.process.stdout.fileno(), b""
        end = end or time.monotonic() + DEADLINE
        while len(data) < count:
            wait_for(descriptor, select.POLLIN, end)
            piece = os.read(descriptor, min(count - len(data), 1 << 20))
            if not piece:
                break
            data += piece
        return data

    def receive_body(self):
        """The body of the next frame; nothing at the end of standard output."""
        length = self.read(4)
        if not length:
            return None
        (size,) = struct.unpack("=I", length)
        body = self.read(size)
        if len(body) < size:
            raise AssertionError(f"a frame of {size} bytes ends after {len(body)}")
        return body

    def receive(self):
        body = self.receive_body()
        return None if body is None else json.loads(body)

    def receive_until(self, identifier):
        """The replies up to the one to `identifier`, and the pushes among them."""
        replies = []
        while not replies or replies[-1]["requestId"] != identifier:
            replies.append(self.receive())
            if replies[-1] is None:
                raise AssertionError(f"no reply to {identifier!r} before the end: {self.errors()}")
        return replies

    def ask(self, kind, identifier, parameters=None):
        self.send(request(kind, identifier, parameters))
        return self.receive()

    def wait(self, limit=DEADLINE):
        """The exit status, negative for a signal; fails when it runs for longer than `limit`."""
        descriptor = os.pidfd_open(self.pid)
        try:
            wait_for(descriptor, select.POLLIN, time.monotonic() + limit)
        finally:
            os.close(descriptor)
        return self.process.wait()

    def finish(self, limit=DEADLINE):
        """Ends the input; gives the exit status and what is left of standard output."""
        self.process.stdin.close()
        rest = self.read(1 << 30, time.monotonic() + limit) if self.process.stdout else b""
        return self.wait(limit), rest

    def errors(self):
        self.error_file.seek(0)
        return self.error_file.read().decode(errors="replace")

    def peak_memory(self):
        """The most memory that it has had resident so far, in bytes."""
        status = Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]) * 1024


class MainApplication:
    """The stand-in for the main application, ready. Leaving the `with` block kills what still runs.

    `--print` must be among the options for `exchanged` to give anything.
    """

    def __init__(self, *options, executable=MAIN_APPLICATION, expects="ready"):
        """Returns once it has said the line `expects`; None: nothing, which ends its output."""
        self.command_line = [str(executable), *options]
        self.expects = expects
        self.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def start(self):
        self.exchanges, self.text = [], b""
        self.error_file = tempfile.TemporaryFile()
        self.process = subprocess.Popen(self.command_line, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=self.error_file)
        self.pid = self.process.pid
        line = self.line()
        if line != self.expects:
            errors = self.errors()
            self.kill()
            raise AssertionError(f"the main application said {line!r}: {errors}")

    def kill(self):
        """Also collects what has died already, as `wait` does."""
        if self.process.poll() is None:
            self.process.kill()
        self.wait()
        for stream in (self.process.stdin, self.process.stdout, self.error_file):
            stream.close()

    def restart(self):
        self.kill()
        self.start()

    def wait(self):
        """The exit status, negative for a signal."""
        try:
            return self.process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            raise AssertionError("the main application does not end") from None

    def line(self):
        """The next line of its output; nothing at the end."""
        end = time.monotonic() + DEADLINE
        while b"\n" not in self.text:
            wait_for(self.process.stdout.fileno(), select.POLLIN, end)
            piece = os.read(self.process.stdout.fileno(), 1 << 16)
            if not piece:
                return None
            self.text += piece
        line, _, self.text = self.text.partition(b"\n")
        return line.decode()

    def command(self, text):
        """Has it do `text`; gives what it says before its "ok": the state, after "state"."""
        self.process.stdin.write(text.encode() + b"\n")
        self.process.stdin.flush()
        said = None
        while (line := self.line()) != "ok":
            if line is None or line.startswith("error"):
                raise AssertionError(f"{text}: {line}; {self.errors()}")
            entry = json.loads(line)
            if "state" in entry:
                said = entry["state"]
            else:
                self.exchanges.append(entry)
        return said

    def state(self):
        return self.command("state")

    def exchanged(self):
        """The next request taken or reply given: ("request" or "reply", {id, name, body})."""
        if not self.exchanges:
            line = self.line()
            if line is None:
                raise AssertionError(f"the main application has ended: {self.errors()}")
            self.exchanges.append(json.loads(line))
        ((kind, record),) = self.exchanges.pop(0).items()
        return kind, record

    def errors(self):
        self.error_file.seek(0)
        return self.error_file.read().decode(errors="replace")


def kill_launched():
    """Kills all main applications of this mount namespace, which is the test's own: those that
    hosts have started, and second starts that are just ending."""
    ours = (Path(MAIN_APPLICATION).resolve(), Path("/proc/self/ns/mnt").readlink())
    for process in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):  # it is gone, or somebody else's
            if ((process / "exe").readlink(), (process / "ns/mnt").readlink()) == ours:
                handle = os.pidfd_open(int(process.name))
                signal.pidfd_send_signal(handle, signal.SIGKILL)
                wait_for(handle, select.POLLIN, time.monotonic() + DEADLINE)
                os.close(handle)


def wait_for(descriptor, event, end):
    poll = select.poll()
    poll.register(descriptor, event)
    if not poll.poll(max(0.0, end - time.monotonic()) * 1000):
        raise AssertionError(f"nothing happened on descriptor {descriptor} in time")
