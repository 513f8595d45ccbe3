"""The kit that says which points of the contract a main application keeps."""

import contextlib
import fcntl
import json
import os
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from archives import archive, framed, unarchived
from host import APPLICATION, DEADLINE, GROUP, MAIN_APPLICATION, Container, MainApplication
from tool import TOOL, parsed

PREFIX = f"{APPLICATION}.DARWIN_NOTIFICATION."
LOOK = {"url": str, "port": int, "app": str}
PARAMETERS = {"getCurrentFilteringState": LOOK, "removeCustomRules": {"url": str},
              "addRule": {"ruleText": str}, "removeRule": {"ruleText": str}}
# Runs a program where another folder lies over the home, so that several can run at once.
ELSEWHERE = ["unshare", "--mount", *(["--user", "--map-current-user", "--keep-caps"] if os.geteuid() else []),
             "--", "sh", "-c", 'mount --bind "$0" "$HOME" && exec "$@"']
OWN_FAULTS = {"deep-request", "refused-classes"}  # of what is written in few lines, below


def start_check(*arguments, home=None):
    elsewhere = [] if home is None else [*ELSEWHERE, home]
    return subprocess.Popen([*elsewhere, TOOL, "check-main-app", "--json", *arguments], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def check(*arguments, home=None):
    """The exit status, and the names of the points by their outcome."""
    with start_check(*arguments, home=home) as tool:
        said = parsed(tool.communicate(timeout=120)[0])["result"]
    names = {"holds": set(), "broken": set(), "not shown": set()}
    for point in said["points"]:
        names[point["outcome"]].add(point["name"])
    return tool.returncode, names


def only(names):
    return [word for name in names for word in ("--only", name)]


class Careless(threading.Thread):
    """A main application in few lines, a thread of this process, with bad `habits`."""

    def __init__(self, container, habits):
        super().__init__()
        self.habits, self.data, self.rules = habits, container / "Data", set()
        self.notifications = container / "Notifications"
        registry = container / "Applications"
        for folder in (self.data, self.notifications, registry, registry / APPLICATION):
            folder.mkdir(mode=0o700)
        self.requests = self.data / "ExchangeRequestContainer.data"
        self.requests.touch(0o600)
        name = f"{os.getpid()}.{os.urandom(8).hex()}"
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        with self.opened(self.notifications) as path:
            self.socket.bind(f"{path}/.{name}")
        for word in ("exchange", "ready"):
            (self.notifications / (PREFIX + word)).mkdir(mode=0o700)
            os.link(self.notifications / f".{name}", self.notifications / (PREFIX + word) / name)
        self.registered = os.open(registry / APPLICATION / name, os.O_CREAT | os.O_RDWR, 0o600)
        fcntl.fcntl(self.registered, 37, struct.pack("hhqqi4x", fcntl.F_WRLCK, 0, 0, 0, 0))  # OFD

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.post(PREFIX + "exchange", b"end")
        self.join()
        os.close(self.registered)
        self.socket.close()

    @contextlib.contextmanager
    def opened(self, folder):
        descriptor = os.open(folder, os.O_PATH)
        yield f"/proc/self/fd/{descriptor}"
        os.close(descriptor)

    def post(self, name, data=None):
        with contextlib.suppress(FileNotFoundError), self.opened(self.notifications / name) as path:
            for entry in os.listdir(path):
                with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                    sender.settimeout(1 if "patient" in self.habits else 0.1)
                    try:
                        sender.connect(f"{path}/{entry}")
                        sender.send(data or name.encode())
                    except TimeoutError:
                        pass
                    except ConnectionRefusedError:
                        is_socket = Path(path, entry).is_socket()
                        if is_socket != ("mixes up the dead" in self.habits):
                            os.unlink(f"{path}/{entry}")

    def lock(self, file):
        if "no locks" not in self.habits:
            fcntl.flock(file, fcntl.LOCK_EX)

    def run(self):
        while (heard := self.socket.recv(300)) != b"end":
            if heard == (PREFIX + "ready").encode():
                wait = 0.1 if "hasty" in self.habits else 0.55
                threading.Timer(wait, self.post, [PREFIX + "appState"]).start()
            elif heard == (PREFIX + "exchange").encode():
                self.take()

    def take(self):
        with open(self.requests, "r+b") as file:
            self.lock(file)
            data, records = file.read(), []
            with contextlib.suppress(Exception):
                while len(data) > 4:
                    end = len(data) - 4 - struct.unpack("<I", data[-4:])[0]
                    record = unarchived(data[end:-4]) if end >= 0 else None
                    records.insert(0, (record["id"] + "", record["name"] + "", record["body"]))
                    data = data[:end]
            if "replaces" in self.habits:
                self.requests.with_suffix(".new").touch(0o600)
                self.requests.with_suffix(".new").replace(self.requests)
            elif not data or "leaves damage" not in self.habits:
                file.truncate(0)
        for record in reversed(records) if "newest first" in self.habits else records:
            self.answer(*record)

    def answer(self, identifier, name, asked):
        if not 0 < len(identifier) <= 100 or {*identifier} & {"/", "\0"}:
            return
        body = {"error": ("NSError", {"NSDomain": "d", "NSCode": 1, "NSUserInfo": {}})}
        if name == "appState":
            body = {"result": ("EBAAppStateResponse", {"isProtectionEnabled": True, "locale": "en"})}
        elif "unchecked" in self.habits or ("converts" in self.habits and name.endswith("Rule")) or (
                PARAMETERS.get(name) == {key: type(one) for key, one in (asked or {}).items()}):
            result = ("EBACurrentFilteringStateResponse", {"isFilteringEnabled": True})
            body = {"result": result} if name == "getCurrentFilteringState" else {}
            if name.endswith("Rule"):
                {"addRule": self.rules.add, "removeRule": self.rules.discard}[name](str(asked))
        reply = framed(archive({"id": identifier, "name": name, "body": body}))
        if name != "removeCustomRules":
            return self.give(identifier, reply)
        early = "early" in self.habits  # as nobody waits yet
        for after in (0.45 if early else 0.75, 2.75):
            threading.Timer(after, self.post, [PREFIX + "appState"]).start()
        threading.Timer(0.5, self.give, [identifier, reply]).start()

    def give(self, identifier, reply):
        follow = 0 if "follows" in self.habits else os.O_NOFOLLOW
        path = self.data / f"ExchangeResponseContainer.{identifier}.data"
        notification = f"{PREFIX}exchange.{identifier}"
        try:
            file = open(os.open(path, os.O_RDWR | os.O_CREAT | follow, 0o600), "r+b")
        except OSError:
            return
        with file:
            self.lock(file)
            if not os.fstat(file.fileno()).st_nlink:
                return self.give(identifier, reply)
            size = file.seek(0, os.SEEK_SET if "starts anew" in self.habits else os.SEEK_END)
            file.truncate(size)
            if size <= 10_240_000 or "fills" in self.habits:
                file.write(reply)
                file.flush()
        if size <= 10_240_000:
            for _ in range(2 if "twice" in self.habits else 1):
                self.post(notification)


def check_careless(run):
    """What is broken with the habits and of the points of `run`, and the rules that stay."""
    habits, points = run
    with tempfile.TemporaryDirectory() as home:
        container = Path(home, ".local/share/group-containers", GROUP)
        container.parent.mkdir(parents=True)
        container.mkdir(0o700)
        with Careless(container, habits) as application:
            return check("--changes", *only(points), home=home)[1]["broken"], application.rules


class CheckMainApp(unittest.TestCase):
    def setUp(self):
        self.container = Container()

    def test_the_stand_in_keeps_all_and_nothing_is_left(self):
        self.assertIn("does not run", start_check().communicate(timeout=30)[0])
        self.container.install(f'"{MAIN_APPLICATION}"')
        with MainApplication() as application:
            application.command("protection off")
            before, said = sorted(self.container.folder.rglob("*")), application.state()
            status, names = check("--changes")
            self.assertEqual((status, names["broken"], names["not shown"]), (0, set(), set()))
            status, names = check(*only(["announce-ready", "command-appState", "command-openSettings"]))
            self.assertEqual((status, *map(len, names.values())), (0, 2, 0, 1))
            with start_check("--changes", "--only", "announce-other-changes") as tool:
                end = time.monotonic() + DEADLINE
                while not application.state()["rules"]:
                    self.assertIsNone(tool.poll())
                    self.assertLess(time.monotonic(), end)
                tool.send_signal(signal.SIGINT)
                self.assertEqual(tool.wait(30), 1)
                self.assertEqual(parsed(tool.stdout.read())["problems"][0]["code"], "interrupted")
            self.assertEqual(sorted(self.container.folder.rglob("*")), before)
            kept = ("protection", "rules", "level")
            self.assertEqual([application.state()[key] for key in kept], [said[key] for key in kept])

    def test_faults_of_the_stand_in_are_named(self):
        points = ["reply-time", "reply-file", "reply-notification", "reply-record", "command-appState",
                  "command-getCurrentFilteringState", "error-missing-parameter", "two-hosts"]
        for fault, *broken in (
                ("late 3100", "reply-time"), ("file other", "reply-file"),
                ("id other", "reply-record"),
                ("name other", "reply-record"), ("wrong-type command=appState", "command-appState"),
                ("string-error command=getCurrentFilteringState", "command-getCurrentFilteringState",
                 "error-missing-parameter")):
            self.container = Container()
            with self.subTest(fault), MainApplication("--fault", fault):
                is_slow = fault in ("late 3100", "file other")  # every further point would take its time
                status, names = check(*only(points[:4] if is_slow else points))
                self.assertEqual((status, names["broken"]), (1, set(broken)))
                self.assertEqual(len(list((self.container.folder / "Data").iterdir())),
                                 1 + (fault == "file other"))

    def test_what_lies_wrong_is_named(self):
        with MainApplication() as application:
            folder = self.container.folder
            (file,) = folder.glob("Applications/*/*")
            for point, path, mode in (
                    ("folders", folder / "Data", 0o755), ("registration", file, 0o644),
                    ("request-file", folder / "Data/ExchangeRequestContainer.data", 0o640)):
                path.chmod(mode)
                self.assertEqual(check(*only([point]))[1]["broken"], {point})
            for link in folder.glob(f"Notifications/*.ready/{application.pid}.*"):
                link.unlink()
            self.container.write_settings(b"bplist00")
            self.assertEqual(check(*only(["observes-ready", "settings"]))[1]["broken"],
                             {"observes-ready", "settings"})

    def test_bad_habits_are_named(self):
        of_habits = {
            "no locks": {"request-lock", "reply-lock", "reply-file-removed"}, "hasty": {"announce-ready"},
            "unchecked": {"error-unknown-command", "error-missing-parameter", "error-wrong-kind",
                          "error-parameters-of-changes"},
            "follows": {"planted-link"}, "fills": {"full-reply-file"},
            "mixes up the dead": {"dead-observer", "no-socket"},
            "replaces": {"request-file-kept"}, "newest first": {"several-requests"},
            "starts anew": {"older-records", "full-reply-file", "several-requests"},
            "patient": {"full-observer"}, "leaves damage": {"damaged-file"},
            "twice": {"reply-notification"}, "early": {"announce-removeCustomRules"},
            "converts": {"error-parameters-of-changes"}}
        every = OWN_FAULTS.union(["registration", "two-hosts", "no-address"], *of_habits.values())
        runs = [((), every - of_habits["early"]), ((), of_habits["early"]), (list(of_habits)[1:6], every)]
        for habits in (["no locks"], ["replaces", "newest first"], ["starts anew"], ["patient"],
                       ["twice", "early"], ["leaves damage"], ["converts"]):
            runs.append((habits, {"two-hosts"}.union(*(of_habits[habit] for habit in habits))))
        with ThreadPoolExecutor(len(runs)) as pool:  # they wait for most of their time
            for (habits, points), seen in zip(runs, pool.map(check_careless, runs)):
                with self.subTest(habits):
                    broken = OWN_FAULTS.union(*(of_habits[habit] for habit in habits)) & points
                    self.assertEqual(seen, (broken, set()))
