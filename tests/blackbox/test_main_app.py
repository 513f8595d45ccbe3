"""The stand-in for the main application, with the host's side of the link played from here.

Archives are written and read with plistlib, so that what both programs share is not what is tested.
"""

import contextlib
import fcntl
import os
import plistlib
import secrets
import signal
import socket
import struct
import time
import unittest

from host import APPLICATION, DEADLINE, Container, MainApplication

STEPS_OF_REQUEST = ["after-lock", "after-read", "after-truncate", "after-unlock"]
STEPS_OF_REPLY = ["opened", "locked", "half", "written", "unlocked", "posted"]


def archive(record):
    """The keyed archive of a container; `record["body"]` holds texts, numbers and booleans."""
    objects = ["$null"]

    def add(value):
        objects.append(value)
        return plistlib.UID(len(objects) - 1)

    def entry(name):
        return add({"$classname": name, "$classes": [name, "NSObject"]})

    def encoded(value):
        if value is None:
            return add({"$class": entry("NSNull")})
        if not isinstance(value, dict):
            return add(value)
        place = add(None)
        objects[place.data] = {"NS.keys": [add(key) for key in value],
                               "NS.objects": [encoded(content) for content in value.values()],
                               "$class": entry("NSDictionary")}
        return place

    top = {"root": encoded(record)}
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top,
                           "$objects": objects}, fmt=plistlib.FMT_BINARY)


def unarchived(data):
    """Dictionaries as such, other objects as their fields."""
    content = plistlib.loads(data)
    assert content["$version"] == 100000 and content["$archiver"] == "NSKeyedArchiver"
    objects = content["$objects"]

    def value(uid):
        item = objects[uid.data]
        if not isinstance(item, dict):
            return None if item == "$null" else item
        if "NS.keys" in item:
            return dict(zip(map(value, item["NS.keys"]), map(value, item["NS.objects"])))
        fields = {key: value(field) if isinstance(field, plistlib.UID) else field
                  for key, field in item.items() if key != "$class"}
        return fields or None  # NSNull has none

    return value(content["$top"]["root"])


def framed(data):
    return data + struct.pack("<I", len(data))


class PlayedHost:
    """A host as the exchange files and the notifications show one."""

    def __init__(self, container, identifier="6F9619FF-8B86-4D01-B42D-00C04FC964FF"):
        self.container, self.identifier = container, identifier
        self.requests = container.folder / "Data/ExchangeRequestContainer.data"
        self.responses = container.folder / f"Data/ExchangeResponseContainer.{identifier}.data"
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.settimeout(DEADLINE)
        self.folder = container.folder / "Notifications"
        self.folder.mkdir(mode=0o700, exist_ok=True)
        self.name = f"{os.getpid()}.{secrets.token_hex(8)}"
        with self.opened(self.folder) as here:
            self.socket.bind(f"/proc/self/fd/{here}/.{self.name}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for link in [*self.folder.glob(f"*/{self.name}"), self.folder / f".{self.name}"]:
            link.unlink()
        self.socket.close()

    @staticmethod
    @contextlib.contextmanager
    def opened(folder):  # paths of containers are too long for addresses
        descriptor = os.open(folder, os.O_PATH)
        yield descriptor
        os.close(descriptor)

    def observe(self, word):
        folder = self.folder / f"{APPLICATION}.DARWIN_NOTIFICATION.{word}"
        folder.mkdir(mode=0o700, exist_ok=True)
        os.link(self.folder / f".{self.name}", folder / self.name)

    def heard(self):
        return self.socket.recv(1000).decode().removeprefix(f"{APPLICATION}.DARWIN_NOTIFICATION.")

    def post(self, word):
        name = f"{APPLICATION}.DARWIN_NOTIFICATION.{word}"
        with self.opened(self.folder / name) as here:
            for path in (self.folder / name).iterdir():
                self.socket.sendto(name.encode(), f"/proc/self/fd/{here}/{path.name}")

    @contextlib.contextmanager
    def locked(self, path):
        """The open file; fails when somebody else has the lock of it."""
        with open(path, "r+b") as file:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            yield file

    def append(self, *data):
        with open(self.requests, "r+b") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            file.seek(0, os.SEEK_END)
            file.write(b"".join(data))

    def request(self, name, body=None, identifier=None):
        return framed(archive({"id": identifier or self.identifier, "name": name, "body": body}))

    def take(self):
        """The newest record of the responses, decoded."""
        with self.locked(self.responses) as file:
            data = file.read()
            (length,) = struct.unpack("<I", data[-4:])
            begin = len(data) - 4 - length
            assert begin >= 0
            file.truncate(begin)
        return unarchived(data[begin:-4])

    def exchange(self, name, body=None):
        """Asks, and waits for the notification of the reply."""
        self.append(self.request(name, body))
        self.post("exchange")
        while self.heard() != f"exchange.{self.identifier}":
            pass

    def ask(self, name, body=None):
        self.exchange(name, body)
        record = self.take()
        assert (record["id"], record["name"]) == (self.identifier, name), record
        return record["body"]


class MainApp(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        self.app = stack.enter_context(MainApplication("--print", "--locale", "de"))
        self.host = stack.enter_context(PlayedHost(self.container))
        self.host.observe(f"exchange.{self.host.identifier}")

    def until(self, condition):
        """Asks for the state until `condition` holds for it."""
        end = time.monotonic() + DEADLINE
        while not condition(state := self.app.state()):
            self.assertLess(time.monotonic(), end, state)
        return state

    def announced_after(self, moment):
        self.assertEqual(self.host.heard(), "appState")
        self.assertGreater(time.monotonic(), moment)

    def test_the_thirteen_commands(self):
        def page(url="https://www.example.org/x", port=443):
            return ask("getCurrentFilteringState", {"url": url, "port": port, "app": "b"})["result"]

        def refused(body):
            return (body["error"]["NSDomain"], body["error"]["NSCode"])

        ask, rule, url = self.host.ask, {"ruleText": "||example.org^"}, "http://example.org"
        state = {"isProtectionEnabled": True, "locale": "de"}
        self.assertEqual(ask("appState"), {"result": state})
        self.assertEqual(ask("addRule", rule), {})
        expected = {"isFilteringEnabled": True, "isHttpsFilteringEnabled": True,
                    "isPageFilteredByUserFilter": True, "blockedAdsCount": 3,
                    "totalBlockedCount": 3, "originalCertIssuer": "Example Authority",
                    "originalCertStatus": "valid"}
        self.assertEqual(page(), expected)
        self.assertEqual(ask("removeRule", rule), {})
        domain = f"{APPLICATION}.ErrorDomain"
        self.assertEqual(refused(ask("removeRule", rule)), (domain, 3))
        for own in ("example.org##.banner", "@@||www.example.org^", "||other.example^"):
            self.assertEqual(ask("addRule", {"ruleText": own}), {})
        self.assertEqual(ask("removeCustomRules", {"url": "https://www.example.org"}), {})
        self.assertEqual(self.app.state()["rules"], ["||other.example^"])
        certificate = {"domain": "www.example.org", "port": 443, "app": "b"}
        self.assertEqual(ask("openOriginalCert", certificate), {})
        self.assertEqual(refused(ask("openOriginalCert", certificate | {"domain": "x"})),
                         (domain, 4))
        self.assertEqual(ask("setHttpFilteringStatus", {"url": url, "enabled": False}), {})
        off = {"url": "https://www.example.org/", "enabled": False}
        self.assertEqual(ask("setHttpsFilteringStatus", off), {"result": True})
        self.assertEqual((page()["isHttpsFilteringEnabled"], page()["originalCertStatus"],
                          page(url, 80)["isFilteringEnabled"], page()["blockedAdsCount"]),
                         (False, "bypassed", False, 3))
        self.assertEqual(ask("setProtectionStatus", {"enabled": False}), {})
        self.assertFalse(ask("appState")["result"]["isProtectionEnabled"])
        report = ask("reportSite", {"url": url, "referrer": "", "userAgent": "b"})["result"]
        self.assertEqual(report, "https://reports.example.org/1")
        for name in ("openFilteringLog", "openSettings", "updateApp"):
            self.assertEqual(ask(name), {})
        self.assertEqual(set(self.app.state()["opened"].values()), {1})
        self.assertEqual(refused(ask("setProtectionStatus", {"enabled": 1})), (domain, 2))
        self.assertEqual(refused(ask("appstate")), (domain, 1))
        modes = [path.stat().st_mode & 0o777 for path in (self.host.requests, self.host.responses)]
        self.assertEqual(modes, [0o600, 0o600])

    def test_all_requests_are_taken_at_once(self):
        ours = [self.host.request("addRule", {"ruleText": str(number)}) for number in range(3)]
        whole = self.host.request("appState")
        self.host.append(b"rubbish below", ours[0], ours[1],
                         self.host.request("appState", identifier="x" * 101), ours[2])
        self.host.post("exchange")
        self.assertEqual([self.host.heard() for _ in range(3)],
                         [f"exchange.{self.host.identifier}"] * 3)
        state = self.app.state()
        self.assertEqual(state["rules"], ["0", "1", "2"])
        self.assertEqual(state["exchange"]["bytesThrownAway"], len(b"rubbish below"))
        self.assertEqual(len(list(self.host.requests.parent.iterdir())), 2)  # none for "xxx..."
        kinds = [self.app.exchanged()[0] for _ in range(7)]
        self.assertEqual((kinds.count("request"), kinds.count("reply")), (4, 3))
        self.assertEqual([self.host.take()["body"] for _ in range(3)], [{}] * 3)
        thrown_away = 13
        for rubbish in (b"\0\0\0\0", whole[:-4], whole + framed(whole[:-5]), whole + b"\xff" * 4):
            with self.subTest(rubbish=rubbish[-8:]):
                thrown_away += len(rubbish)
                self.host.append(rubbish)
                self.host.post("exchange")
                self.until(lambda s: s["exchange"]["bytesThrownAway"] == thrown_away)
                self.assertEqual(self.host.requests.stat().st_size, 0)
        self.assertIn("result", self.host.ask("appState"))

    def test_a_death_leaves_no_lock_and_no_half_reply(self):
        for step in STEPS_OF_REQUEST + ["reply-" + step for step in STEPS_OF_REPLY]:
            with self.subTest(step):
                self.app.command(f"fault die {step}")
                self.host.append(self.host.request("appState"))
                self.host.post("exchange")
                self.assertEqual(self.app.wait(), -signal.SIGKILL)
                with self.host.locked(self.host.requests) as file:
                    self.assertEqual(bool(file.read()), step in ("after-lock", "after-read"))
                if step in ("reply-written", "reply-unlocked", "reply-posted"):
                    self.assertIn("result", self.host.take()["body"])
                if step == "reply-posted":
                    self.host.heard()
                self.app.restart()
                self.assertEqual(self.app.state()["exchange"]["taken"], 0)
                self.assertIn("result", self.host.ask("appState"))  # on top of what lay there
                self.assertEqual(bool(self.host.responses.read_bytes()), step == "reply-half")
                self.host.responses.unlink()

    def test_a_start_clears_up(self):
        self.app.kill()
        self.host.append(self.host.request("appState"))
        old, used, young = (self.host.responses.with_name(f"ExchangeResponseContainer.{name}.data")
                            for name in ("old", "used", "young"))
        for path, hours in ((old, 25), (used, 25), (young, 23)):
            path.touch()
            os.utime(path, (time.time() - 3600 * hours,) * 2)
        with self.host.locked(used):
            self.app.start()
        self.assertEqual((self.host.requests.stat().st_size, self.app.state()["exchange"]["taken"]),
                         (0, 0))
        self.assertEqual([path.exists() for path in (old, used, young)], [False, True, True])

    def test_announcements(self):
        self.host.observe("appState")
        self.host.observe("appReconfig")
        self.assertEqual(self.host.heard(), "appState")  # it has started
        with MainApplication(expects=None) as second:
            self.assertEqual((second.wait(), self.host.heard()), (0, "appState"))
        for command in ("protection off", "rule add x", "rule remove x", "announce"):
            self.app.command(command)
            self.assertEqual(self.host.heard(), "appState")
        first = time.monotonic()
        self.host.ask("setHttpsFilteringStatus", {"url": "x", "enabled": True})
        self.announced_after(first + 0.2)
        second = time.monotonic()
        self.host.ask("setProtectionStatus", {"enabled": False})
        for moment in (second + 0.2, first + 2.2, second + 2.2):
            self.announced_after(moment)
        self.app.command("level 15")
        self.assertEqual(self.host.heard(), "appReconfig")
        settings = plistlib.loads(self.container.settings.read_bytes())
        self.assertEqual(settings, {"DefaultsKeyLogLevel": 15})

    def test_faults(self):
        def asked(fault):
            self.app.command(f"fault {fault}")
            return self.host.ask("appState")

        self.assertEqual(asked("wrong-type times=1"), {"result": 42})
        self.assertEqual(asked("no-result command=appState times=1"), {})
        self.assertEqual(asked("string-error times=1 No window."), {"error": "No window."})
        self.assertEqual(asked("error times=1 No.")["error"]["NSUserInfo"],
                         {"NSLocalizedDescription": "No."})
        self.assertIn("result", asked("silent command=addRule"))
        self.assertIn("result", asked("late times=1 20"))
        for fault, key, value in (("name times=1 addRule", "name", "addRule"),
                                  ("id times=1 other", "id", "other")):
            self.app.command(f"fault {fault}")
            self.host.exchange("appState")
            self.assertEqual(self.host.take()[key], value)
        self.app.command("fault file times=1 other")
        self.host.exchange("appState")
        self.assertEqual(self.host.responses.read_bytes(), b"")
        other = self.host.responses.with_name("ExchangeResponseContainer.other.data")
        self.assertEqual(unarchived(other.read_bytes()[:-4])["id"], self.host.identifier)
        self.app.command("fault die command=addRule reply-opened")
        self.app.command("fault none")
        self.assertEqual(self.host.ask("addRule", {"ruleText": "x"}), {})
        for wrong in ("loud", "late", "die nowhere", "silent times=0", "die after-read times=1",
                      "error command=none"):
            with self.subTest(wrong), self.assertRaises(AssertionError):
                self.app.command(f"fault {wrong}")

    def test_the_end(self):
        def leave(how):
            how()
            self.assertEqual((self.app.wait(), self.app.errors()), (0, ""))
            left = [*self.container.folder.glob(f"Notifications/*/{self.app.pid}.*"),
                    *self.container.folder.glob(f"Applications/*/{self.app.pid}.*")]
            self.assertEqual(left, [])

        leave(lambda: self.app.command("quit"))
        for number in (signal.SIGTERM, signal.SIGINT):
            self.app.restart()
            leave(lambda: self.app.process.send_signal(number))
        self.app.restart()
        leave(self.app.process.stdin.close)
        self.app.kill()
        self.container.folder.chmod(0o770)
        with MainApplication(expects=None) as refused:
            self.assertEqual(refused.wait(), 1)
            self.assertRegex(refused.errors(), r"\Acorvane-main-app: container: .+\n\Z")
