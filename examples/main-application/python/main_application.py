#!/usr/bin/python3
"""An example main application for Linux, written with the standard library of Python 3.

It follows docs/linux-contract.md: the quoted words in the comments are its headings. What a real
product would do (filter, show windows, keep rules) is replaced by a few variables in `Product`.

Start it, wait for the line "ready", and run `corvane-nmctl check-main-app --changes`. SIGTERM,
SIGINT (Ctrl-C) and SIGHUP end it. One thread does everything: it sleeps in `select` until there is a
notification, a signal, or an announcement to be made.

Known limit: plistlib refuses text with unpaired surrogates, so such a request is not answered.
"""

import contextlib
import fcntl
import os
import plistlib
import pwd
import re
import select
import signal
import socket
import stat
import struct
import sys
import time
from pathlib import Path
from typing import NamedTuple
from urllib.parse import urlsplit

STARTED = time.monotonic()
GROUP = "CVN4TEAM01.com.corvane.app"
APP = "com.corvane.application"
PREFIX = f"{APP}.DARWIN_NOTIFICATION."
OWN_NAME = f"{os.getpid()}.{os.urandom(8).hex()}"  # of the socket and of the registration
LARGEST_FILE = 10_240_000  # a longer one is full
LARGEST_ARCHIVE = 1_024_000
DEEPEST = 64  # objects inside one another
MOST_VALUES = 250_000


# "The archive"


class Object(NamedTuple):
    """An error object or a state record."""

    class_name: str
    fields: dict


def archive(root):
    objects = ["$null"]

    def add(entry):
        objects.append(entry)
        return plistlib.UID(len(objects) - 1)

    def instance(class_name, fields):
        class_entry = {"$classname": class_name, "$classes": [class_name, "NSObject"]}
        return add(fields | {"$class": add(class_entry)})

    def encoded(value):
        if value is None:
            return instance("NSNull", {})
        if value == "$null":  # in place it would stand for nothing
            return instance("NSString", {"NS.string": value})
        if isinstance(value, dict):
            keys, values = [encoded(key) for key in value], [encoded(one) for one in value.values()]
            return instance("NSDictionary", {"NS.keys": keys, "NS.objects": values})
        if isinstance(value, Object):  # numbers and booleans stand in place, texts do not
            return instance(value.class_name,
                            {key: field if isinstance(field, int) else encoded(field)
                             for key, field in value.fields.items()})
        return add(value)

    top = {"$version": 100_000, "$archiver": "NSKeyedArchiver", "$top": {"root": encoded(root)},
           "$objects": objects}
    return plistlib.dumps(top, fmt=plistlib.FMT_BINARY, sort_keys=False)


def unarchive(data):
    """Raises an exception of any class when `data` is no archive or holds what requests may not."""
    top = plistlib.loads(data, fmt=plistlib.FMT_BINARY)
    if (top["$version"], top["$archiver"]) != (100_000, "NSKeyedArchiver"):
        raise ValueError("not a keyed archive")
    objects, count = top["$objects"], 0

    def decoded(uid, depth):
        nonlocal count
        count += 1
        if count > MOST_VALUES:
            raise ValueError("too many values")
        entry = objects[uid.data]
        if isinstance(entry, (str, bool, int, float)) and entry != "$null":
            return entry
        class_name = objects[entry["$class"].data]["$classname"]
        if class_name == "NSNull":
            return None
        if class_name in ("NSString", "NSMutableString"):
            return entry["NS.string"] + ""  # which raises unless it is text
        if class_name not in ("NSDictionary", "NSMutableDictionary") or depth > DEEPEST:
            raise ValueError(f"refused: {class_name}")  # also what contains itself
        keys, values = entry["NS.keys"], entry["NS.objects"]
        if len(keys) != len(values):
            raise ValueError("other keys than values")
        return {decoded(key, depth + 1) + "": decoded(value, depth + 1)
                for key, value in zip(keys, values)}

    return decoded(top["$top"]["root"], 1)


# "Notifications"


@contextlib.contextmanager
def address_of(folder):
    """A short path of `folder`: a socket's address has room for 107 bytes."""
    descriptor = os.open(folder, os.O_PATH | os.O_DIRECTORY | os.O_NOFOLLOW)
    try:
        yield f"/proc/self/fd/{descriptor}"
    finally:
        os.close(descriptor)


def connected(path):
    """A non-blocking socket connected to the one at `path`, or None if `path` is no socket, or is
    that of a dead process, which is removed."""
    sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
    with contextlib.suppress(OSError):  # another process has just removed it, for example
        if stat.S_ISSOCK(os.lstat(path).st_mode):  # lstat: symbolic links are never followed
            try:
                sender.connect(path)
                return sender
            except ConnectionRefusedError:
                os.unlink(path)
    sender.close()
    return None


def send_through(senders, datagram):
    """Sends through each of `senders` as soon as its observer has room, for 100 ms at the most."""
    end = time.monotonic() + 0.1
    while senders and (pause := end - time.monotonic()) > 0:
        for sender in select.select([], senders, [], pause)[1]:
            with contextlib.suppress(BlockingIOError):
                with contextlib.suppress(ConnectionError):  # it has died since it was connected
                    sender.send(datagram)
                senders.remove(sender)


class Notifications:
    def __init__(self, container):
        self.folder = container / "Notifications"
        self.folder.mkdir(exist_ok=True)
        self.observed = set()
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        with address_of(self.folder) as folder:
            self.socket.bind(f"{folder}/.{OWN_NAME}")
            self.remove_leftovers(folder)

    def remove_leftovers(self, folder):
        for name in os.listdir(folder):
            with contextlib.suppress(OSError):  # it has just gone, or is no folder
                age = time.time() - os.lstat(f"{folder}/{name}").st_ctime
                if not name.startswith("."):
                    self.senders_to(name)
                    if age > 3600:
                        os.rmdir(f"{folder}/{name}")  # fails unless it is empty
                elif age > 10 and is_gone(name[1:]):  # a younger one may be about to be bound
                    connected(f"{folder}/{name}")

    def observe(self, name):
        self.observed.add(name)
        while True:
            (self.folder / name).mkdir(exist_ok=True)
            with contextlib.suppress(FileNotFoundError):  # the empty folder was removed: once more
                return os.link(self.folder / f".{OWN_NAME}", self.folder / name / OWN_NAME)

    def take(self):
        """The names of all notifications that have arrived; does not wait."""
        names = set()
        with contextlib.suppress(BlockingIOError):
            while True:
                names.add(self.socket.recv(201).decode(errors="replace"))
        return names & self.observed

    def senders_to(self, name):
        """A connected socket for each observer of `name`. Removes what dead ones left."""
        with address_of(self.folder / name) as folder:
            entries = os.listdir(folder)
            senders = [one for entry in entries if (one := connected(f"{folder}/{entry}"))]
            if entries and not os.listdir(folder):
                os.rmdir(self.folder / name)
        return senders

    def post(self, name):
        with contextlib.suppress(OSError):  # there is no folder when nobody observes it
            send_through(self.senders_to(name), name.encode())

    def close(self):
        for name in self.observed:
            (self.folder / name / OWN_NAME).unlink(missing_ok=True)
        (self.folder / f".{OWN_NAME}").unlink(missing_ok=True)


# "Exchange files"


@contextlib.contextmanager
def locked(path):
    """The descriptor of the file `path`, which is made if it is missing, under its lock."""
    while True:
        descriptor = os.open(path, os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW | os.O_NONBLOCK, 0o600)
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX)
            if os.fstat(descriptor).st_nlink:  # otherwise it was removed meanwhile: once more
                yield descriptor
                return
        finally:
            os.close(descriptor)  # gives the lock back


def split(data):
    """The requests in `data`, oldest first: (id, name, body). Below damage nothing is certain."""
    requests, end = [], len(data)
    while end > 4:
        start = end - 4 - int.from_bytes(data[end - 4:end], "little")
        try:
            if start < 0:
                raise ValueError("the length is too great")
            record = unarchive(data[start:end - 4])
            identifier, name, body = record["id"] + "", record["name"] + "", record.get("body")
        except Exception as why:  # whatever is wrong with it; the archive is another program's
            print(f"a request can't be read: {why!r}", file=sys.stderr)
            break
        requests.append((identifier, name, body if isinstance(body, dict) else {}))
        end = start
    return reversed(requests)


class Exchange:
    def __init__(self, container, notifications):
        self.folder, self.notifications = container / "Data", notifications
        self.folder.mkdir(exist_ok=True)
        self.requests = self.folder / "ExchangeRequestContainer.data"

    def prepare(self):
        with locked(self.requests) as descriptor:
            os.ftruncate(descriptor, 0)
        for path in self.folder.glob("ExchangeResponseContainer.*.data"):
            with contextlib.suppress(OSError):  # BlockingIOError: somebody has its lock
                self.remove_if_old(path)

    def remove_if_old(self, path):
        descriptor = os.open(path, os.O_RDWR | os.O_NOFOLLOW | os.O_NONBLOCK)
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
            if os.fstat(descriptor).st_mtime < time.time() - 24 * 3600:
                path.unlink()
        finally:
            os.close(descriptor)

    def take_requests(self):
        with locked(self.requests) as descriptor:
            size = os.fstat(descriptor).st_size
            if size == 0:
                return []
            is_sound = size <= LARGEST_FILE + LARGEST_ARCHIVE + 4
            data = os.pread(descriptor, size, 0) if is_sound else b""
            os.ftruncate(descriptor, 0)
        return split(data)

    def reply(self, identifier, name, body):
        data = archive({"id": identifier, "name": name, "body": body})
        length = struct.pack("<I", len(data))
        with locked(self.folder / f"ExchangeResponseContainer.{identifier}.data") as descriptor:
            size = os.fstat(descriptor).st_size
            if size > LARGEST_FILE or len(data) > LARGEST_ARCHIVE:
                raise OSError("the response file is full, or the reply too long")
            try:  # one call, so that no death comes between the two
                is_whole = os.pwritev(descriptor, [data, length], size) == len(data) + 4
            except OSError:
                is_whole = False
            if not is_whole:
                os.ftruncate(descriptor, size)
                raise OSError("the disk is full")
        self.notifications.post(f"{PREFIX}exchange.{identifier}")


def is_usable(identifier):
    return 0 < len(identifier.encode()) <= 100 and not {"/", "\0"} & {*identifier}


# "Running applications"


def process_of(name):
    """The process that a file name such as 4711.0123456789abcdef begins with, or None."""
    match = re.fullmatch(r"([1-9]\d*)\.[0-9a-fA-F]{16}", name)
    return int(match[1]) if match else None


def is_gone(name):
    """Whether the process that the file name `name` begins with has ended."""
    try:
        os.kill(process_of(name) or os.getpid(), 0)
    except ProcessLookupError:
        return True
    except PermissionError:
        pass
    return False


def file_lock(kind):
    """A `struct flock` for the whole file: type, whence, start, length, process, with padding."""
    return struct.pack("hhqqi4x", kind, os.SEEK_SET, 0, 0, 0)


class Registration:
    def __init__(self, container):
        self.folder = container / "Applications" / APP
        self.descriptor = None

    def is_locked(self, path):
        descriptor = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
        try:
            answer = fcntl.fcntl(descriptor, fcntl.F_OFD_GETLK, file_lock(fcntl.F_RDLCK))
        finally:
            os.close(descriptor)
        return struct.unpack("hhqqi4x", answer)[0] == fcntl.F_WRLCK

    def somebody_is_registered(self):
        for path in self.folder.glob("[1-9]*"):
            with contextlib.suppress(OSError):
                if process_of(path.name) and self.is_locked(path):
                    return True
        return False

    def make(self):
        for folder in (self.folder.parent, self.folder):
            folder.mkdir(exist_ok=True)
        for path in self.folder.iterdir():
            name = path.name.lstrip(".")
            with contextlib.suppress(OSError):
                is_certain = name == path.name or is_gone(name)
                if process_of(name) and is_certain and not self.is_locked(path):
                    path.unlink()
        hidden = self.folder / f".{OWN_NAME}"
        self.descriptor = os.open(hidden, os.O_RDWR | os.O_CREAT | os.O_EXCL, 0o600)
        fcntl.fcntl(self.descriptor, fcntl.F_OFD_SETLK, file_lock(fcntl.F_WRLCK))
        hidden.rename(self.folder / OWN_NAME)

    def give_back(self):
        (self.folder / OWN_NAME).unlink(missing_ok=True)
        os.close(self.descriptor)


# "Commands"

PARAMETERS = {
    "appState": {},
    "getCurrentFilteringState": {"url": str, "port": int, "app": str},
    "setProtectionStatus": {"enabled": bool},
    "setHttpFilteringStatus": {"url": str, "enabled": bool},
    "setHttpsFilteringStatus": {"url": str, "enabled": bool},
    "addRule": {"ruleText": str},
    "removeRule": {"ruleText": str},
    "removeCustomRules": {"url": str},
    "openOriginalCert": {"domain": str, "port": int, "app": str},
    "reportSite": {"url": str, "referrer": str, "userAgent": str},
    "openFilteringLog": {},
    "openSettings": {},
    "updateApp": {},
}
CHANGES = {"setProtectionStatus", "setHttpFilteringStatus", "setHttpsFilteringStatus", "addRule",
           "removeRule", "removeCustomRules"}


class Refusal(Exception):
    """Refusal(code, text): becomes an error object."""


def host_of(url):
    try:
        return urlsplit(url).hostname or ""
    except ValueError:
        return ""


class Product:
    """What the application is there for. Each command is the method of the same name."""

    def __init__(self):
        self.is_protected, self.rules = True, []
        self.not_filtered = {"http": set(), "https": set()}  # hosts
        self.certificates = set()  # hosts

    def appState(self):
        return Object("EBAAppStateResponse",
                      {"isProtectionEnabled": self.is_protected, "locale": "en"})

    def getCurrentFilteringState(self, url, port, app):
        host, is_https = host_of(url), url.startswith("https:")
        if is_https:
            self.certificates.add(host)
        return Object("EBACurrentFilteringStateResponse", {
            "isFilteringEnabled": self.is_protected and host not in self.not_filtered["http"],
            "isHttpsFilteringEnabled": self.is_protected and host not in self.not_filtered["https"],
            "isPageFilteredByUserFilter": any(self.rules_for(host)),
            "blockedAdsCount": 0,
            "totalBlockedCount": 0,
            "originalCertIssuer": "Example Authority" if is_https else "",
            "originalCertStatus": "valid" if is_https else "notfound"})

    def setProtectionStatus(self, enabled):
        self.is_protected = enabled

    def setHttpFilteringStatus(self, url, enabled):
        self.switch("http", url, enabled)

    def setHttpsFilteringStatus(self, url, enabled):
        self.switch("https", url, enabled)
        return True

    def addRule(self, ruleText):
        if ruleText not in self.rules:
            self.rules.append(ruleText)

    def removeRule(self, ruleText):
        if ruleText not in self.rules:
            raise Refusal(3, "The rule does not exist.")
        self.rules.remove(ruleText)

    def removeCustomRules(self, url):
        for rule in list(self.rules_for(host_of(url))):
            self.rules.remove(rule)

    def openOriginalCert(self, domain, port, app):
        if domain not in self.certificates:
            raise Refusal(4, "The certificate is not known.")

    def reportSite(self, url, referrer, userAgent):
        return f"https://reports.example.org/?host={host_of(url)}"

    def openFilteringLog(self):
        pass

    def openSettings(self):
        pass

    def updateApp(self):
        pass

    def switch(self, kind, url, enabled):
        hosts = self.not_filtered[kind]
        (hosts.discard if enabled else hosts.add)(host_of(url))

    def rules_for(self, host):
        """The rules that begin with a domain, as ||example.org^ does, that `host` belongs to."""
        for rule in self.rules:
            match = re.match(r"(?:@@)?\|\|([^/^$]+)", rule)
            if match and f".{host}".endswith(f".{match[1].lower()}"):
                yield rule

    def answer(self, name, body):
        """The body of the reply, and whether the state is to be announced."""
        try:
            if name not in PARAMETERS:
                raise Refusal(1, "The command is not known.")
            for key, kind in PARAMETERS[name].items():
                if type(body.get(key)) is not kind:  # type: True is an instance of int, too
                    raise Refusal(2, f'The parameter "{key}" is missing or of another kind.')
            result = getattr(self, name)(**{key: body[key] for key in PARAMETERS[name]})
        except Refusal as refusal:
            code, text = refusal.args
            error = {"NSDomain": f"{APP}.ErrorDomain", "NSCode": code,
                     "NSUserInfo": {"NSLocalizedDescription": text}}
            return {"error": Object("NSError", error)}, False
        return {} if result is None else {"result": result}, name in CHANGES


# "From start to end", "Second start", "Announcing"


class Application:
    def __init__(self, container):
        self.notifications = Notifications(container)
        self.exchange = Exchange(container, self.notifications)
        self.registration, self.product = Registration(container), Product()
        self.due = []  # the times of announcements
        self.is_ending = False

    def become_instance(self, lock):
        """Returns once this is the only instance; False if another one runs and was told."""
        if try_lock(lock):
            return True
        self.notifications.observe(PREFIX + "appState")
        self.notifications.post(PREFIX + "ready")
        if select.select([self.notifications.socket], [], [], 2.0)[0]:
            if self.registration.somebody_is_registered():
                return False
            fcntl.flock(lock, fcntl.LOCK_EX)  # that one is ending
        elif not try_lock(lock):
            sys.exit("another instance runs and does not announce its state")
        return True

    def run(self):
        wakeup, woken_by = socket.socketpair()
        wakeup.setblocking(False)
        woken_by.setblocking(False)
        signal.set_wakeup_fd(woken_by.fileno())
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, self.end)
        self.notifications.observe(PREFIX + "exchange")
        self.notifications.observe(PREFIX + "ready")
        self.exchange.prepare()
        self.registration.make()
        self.notifications.post(f"{APP}.LAUNCHED")
        print("ready", flush=True)
        self.due.append(STARTED + 0.5)
        while not self.is_ending:
            select.select([self.notifications.socket, wakeup], [], [], self.pause())
            self.heed(self.notifications.take())
            self.announce_if_due()
        self.registration.give_back()
        if self.due:
            time.sleep(min(0.5, self.pause()))
            self.notifications.post(PREFIX + "appState")

    def pause(self):
        """How long until the next announcement; None if there is none."""
        return max(0.0, min(self.due) - time.monotonic()) if self.due else None

    def end(self, *_):
        self.is_ending = True

    def heed(self, names):
        if PREFIX + "ready" in names:
            self.due.append(time.monotonic() + 0.5)
        if PREFIX + "exchange" in names:
            try:
                requests = self.exchange.take_requests()
            except OSError as why:
                requests = []
                print(f"the requests can't be read: {why}", file=sys.stderr)
            for identifier, name, body in requests:
                if is_usable(identifier):
                    self.answer(identifier, name, body)

    def answer(self, identifier, name, body):
        reply, is_announced = self.product.answer(name, body)
        try:
            self.exchange.reply(identifier, name, reply)
        except OSError as why:  # this host hears nothing; the others are not concerned
            print(f"no reply to {identifier}: {why}", file=sys.stderr)
        if is_announced:
            now = time.monotonic()
            self.due += [now + 0.2, now + 2.2]

    def announce_if_due(self):
        """One announcement serves all causes that are due."""
        later = [when for when in self.due if when > time.monotonic()]
        if len(later) < len(self.due):
            self.due = later
            self.notifications.post(PREFIX + "appState")


def try_lock(file):
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        return False
    return True


def make_container():
    home = pwd.getpwuid(os.geteuid()).pw_dir  # never $HOME
    container = Path(home, ".local/share/group-containers", GROUP)
    container.mkdir(parents=True, exist_ok=True)
    status = container.stat()
    if status.st_uid != os.geteuid() or status.st_mode & 0o022:
        sys.exit(f"{container} belongs to somebody else, or others may write to it")
    (container / "Library").mkdir(exist_ok=True)
    return container


def main():
    os.umask(0o077)  # gives folders mode 0700 and files mode 0600
    container = make_container()
    with open(container / "Library" / f"{APP}.lock", "a") as lock:
        application = Application(container)
        try:
            if application.become_instance(lock):
                application.run()
        finally:
            application.notifications.close()


if __name__ == "__main__":
    main()
