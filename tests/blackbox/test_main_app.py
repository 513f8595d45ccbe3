"""The stand-in for the main application, with the host's side of the link played from here.

Archives are written and read with plistlib, so that what both programs share is not what is tested.
What the two programs do together is in test_link.
"""

import contextlib
import fcntl
import itertools
import os
import plistlib
import signal
import struct
import time
import unittest

from host import APPLICATION, Container, Host, MainApplication, Observers, request

HOST = "6F9619FF-8B86-4D01-B42D-00C04FC964FF"  # the identifier of the one that is played here


def archive(record):
    """The keyed archive of a container; `record["body"]` holds texts, numbers and booleans."""
    objects = ["$null"]

    def add(value):
        objects.append(value)
        return plistlib.UID(len(objects) - 1)

    def instance(name, fields):
        return add(fields | {"$class": add({"$classname": name, "$classes": [name, "NSObject"]})})

    def encoded(value):
        if value is None:
            return instance("NSNull", {})
        if isinstance(value, tuple):  # a class and its fields, of which integers stand in place
            return instance(value[0], {key: field if isinstance(field, int) else encoded(field)
                                       for key, field in value[1].items()})
        if not isinstance(value, dict):
            return add(value)
        return instance("NSDictionary", {"NS.keys": [add(key) for key in value],
                                         "NS.objects": [encoded(one) for one in value.values()]})

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


def asking(name, body=None, identifier=HOST):
    return framed(archive({"id": identifier, "name": name, "body": body}))


@contextlib.contextmanager
def locked(path):
    """The open file; fails when somebody else has the lock of it."""
    with open(path, "r+b") as file:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        yield file


class MainApp(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.requests = self.container.folder / "Data/ExchangeRequestContainer.data"
        self.responses = self.responses_of(HOST)
        self.listening = Observers(self.container, "exchange")
        self.app = self.enterContext(MainApplication("--print", "--locale", "de"))

    def responses_of(self, identifier):
        return self.requests.with_name(f"ExchangeResponseContainer.{identifier}.data")

    def send(self, data):
        with open(self.requests, "ab") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            file.write(data)
        self.listening.post()

    def exchange(self, name, body=None):
        """Asks, and waits for the reply."""
        self.app.exchanges.clear()
        self.send(asking(name, body))
        kind = record = None
        while kind != "reply" or record["id"] != HOST:
            kind, record = self.app.exchanged()

    def take(self):
        """The newest record of the responses, decoded."""
        with locked(self.responses) as file:
            data = file.read()
            (length,) = struct.unpack("<I", data[-4:])
            begin = len(data) - 4 - length
            assert begin >= 0
            file.truncate(begin)
        return unarchived(data[begin:-4])

    def ask(self, name, body=None):
        self.exchange(name, body)
        record = self.take()
        self.assertEqual((record["id"], record["name"]), (HOST, name))
        return record["body"]

    def test_answers_and_what_they_change(self):
        rule, page = {"ruleText": "||example.org^"}, {"url": "https://www.example.org/x"}
        look = page | {"port": 443, "app": "b"}
        certificate = {"domain": "www.example.org", "port": 443, "app": "b"}
        seen = {"isFilteringEnabled": True, "isHttpsFilteringEnabled": True,
                "isPageFilteredByUserFilter": True, "blockedAdsCount": 3, "totalBlockedCount": 3,
                "originalCertIssuer": "Example Authority", "originalCertStatus": "valid"}
        cases = [  # a number stands for the error of that code
            ("appState", None, {"isProtectionEnabled": True, "locale": "de"}),
            ("addRule", rule, None),
            ("getCurrentFilteringState", look, seen),
            ("addRule", {"ruleText": "||other.example^"}, None),
            ("removeCustomRules", page, None),
            ("removeRule", rule, 3),
            ("openOriginalCert", certificate, None),
            ("openOriginalCert", certificate | {"domain": "x"}, 4),
            ("setHttpFilteringStatus", page | {"enabled": False}, None),
            ("setHttpsFilteringStatus", page | {"enabled": False}, True),
            ("getCurrentFilteringState", look, seen | {
                "isFilteringEnabled": False, "isHttpsFilteringEnabled": False,
                "isPageFilteredByUserFilter": False, "originalCertStatus": "bypassed"}),
            ("setProtectionStatus", {"enabled": 1}, 2),
            ("setProtectionStatus", {"enabled": False}, None),
            ("appState", None, {"isProtectionEnabled": False, "locale": "de"}),
            ("reportSite", page | {"referrer": "", "userAgent": "b"},
             "https://reports.example.org/1?host=www.example.org"),
            *((name, None, None) for name in ("openFilteringLog", "openSettings", "updateApp")),
            ("appstate", None, 1),
        ]
        for name, body, expected in cases:
            with self.subTest(name, body=body):
                answer = self.ask(name, body)
                if type(expected) is int:
                    error = answer["error"]
                    answer["result"] = error["NSDomain"], error["NSCode"]
                    expected = f"{APPLICATION}.ErrorDomain", expected
                self.assertEqual(answer.get("result"), expected)
        self.assertEqual(self.app.state()["rules"], ["||other.example^"])
        self.assertEqual(set(self.app.state()["opened"].values()), {1})
        modes = [path.stat().st_mode & 0o777 for path in (self.requests, self.responses)]
        self.assertEqual(modes, [0o600, 0o600])

    def test_all_requests_are_taken_at_once_and_what_is_none_is_thrown_away(self):
        rules = [asking("addRule", {"ruleText": str(number)}) for number in range(3)]
        nobodys, whole = asking("appState", identifier="x" * 101), asking("appState")
        self.send(b"rubbish below" + b"".join([*rules[:2], nobodys, rules[2]]))
        while self.app.state()["exchange"]["given"] < len(rules):
            pass
        self.assertEqual(self.app.state()["rules"], ["0", "1", "2"])
        self.assertEqual([self.take()["body"] for _ in rules], [{}] * 3)
        self.assertEqual(len(list(self.requests.parent.iterdir())), 2)  # none for "xxx..."
        lost = len(b"rubbish below")
        for rubbish in (b"\0\0\0\0", whole[:-4], whole + framed(whole[:-5]), whole + b"\xff" * 4):
            with self.subTest(rubbish=rubbish[-8:]):
                lost += len(rubbish)
                self.send(rubbish)
                while (thrown_away := self.app.state()["exchange"]["bytesThrownAway"]) < lost:
                    pass
                self.assertEqual((thrown_away, self.requests.stat().st_size), (lost, 0))
        self.assertIn("result", self.ask("appState"))

    def test_a_start_clears_up(self):
        self.app.kill()
        self.requests.write_bytes(asking("appState"))
        old, used, young = map(self.responses_of, ("old", "used", "young"))
        for path, hours in ((old, 25), (used, 25), (young, 23)):
            path.touch()
            os.utime(path, (time.time() - 3600 * hours,) * 2)
        with locked(used):
            self.app.start()
        self.assertEqual((self.requests.stat().st_size, self.app.state()["exchange"]["taken"]),
                         (0, 0))
        self.assertEqual([path.exists() for path in (old, used, young)], [False, True, True])

    def test_announcements_each_of_which_a_host_pushes(self):
        def pushed(is_running):
            push = host.receive()
            self.assertEqual((push["requestId"], push["id"], push["result"]),
                             ("CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID", next(numbers), "ok"))
            self.assertIs(push["appState"]["isRunning"], is_running)
            return time.monotonic()

        numbers = map(str, itertools.count(2))
        self.app.kill()
        host = self.enterContext(Host())
        host.ask("getCurrentAppState", "s")  # it listens
        self.app.start()
        pushed(True)
        with MainApplication(expects=None) as second:
            self.assertEqual(second.wait(), 0)
            pushed(True)
        for command in ("protection off", "rule add x", "rule remove x", "announce"):
            self.app.command(command)
            pushed(True)
        begin = time.monotonic()
        self.ask("setHttpsFilteringStatus", {"url": "x", "enabled": True})
        self.assertGreater(pushed(True) - begin, 0.2)
        self.assertGreater(pushed(True) - begin, 2.2)
        for command in ("level 15", "announce"):
            self.app.command(command)
        pushed(True)
        # The line of the first waits for the change of the level.
        host.send(b"bad", b"bad", request("getCurrentAppState", "s"))
        self.assertEqual(host.receive()["id"], next(numbers))
        self.assertIn("(main: listen()) Message len: 3bytes", self.container.log())
        settings = plistlib.loads(self.container.settings.read_bytes())
        self.assertEqual(settings, {"DefaultsKeyLogLevel": 15})
        late = self.enterContext(Host())
        self.assertTrue(late.ask("getCurrentAppState", "s")["appState"]["isRunning"])
        for _ in range(2):  # an end is pushed at once, a start only when it is announced
            self.app.kill()
            pushed(False)
            self.assertFalse(late.receive()["appState"]["isRunning"])
            begin = time.monotonic()
            self.app.start()
            self.assertGreater(pushed(True) - begin, 0.5)
            self.assertTrue(late.receive()["appState"]["isRunning"])
        self.assertEqual(host.finish(), (0, b""))

    def test_faults_and_their_conditions(self):
        for fault in ("silent command=addRule", "late times=1 20", "file times=1 other",
                      "die command=addRule reply-opened"):
            self.app.command(f"fault {fault}")
        self.exchange("appState")
        self.assertFalse(self.responses.exists())
        self.assertEqual(unarchived(self.responses_of("other").read_bytes()[:-4])["id"], HOST)
        self.assertIn("result", self.ask("appState"))
        self.app.command("fault none")
        self.assertEqual(self.ask("addRule", {"ruleText": "x"}), {})
        for step, *left in (("after-read", True, False), ("after-truncate", False, False),
                            ("reply-locked", False, False), ("reply-half", False, True)):
            self.app.command(f"fault die {step}")
            self.send(asking("appState"))
            self.assertEqual(self.app.wait(), -signal.SIGKILL)
            files = (self.requests, self.responses)
            self.assertEqual([bool(path.read_bytes()) for path in files], left, step)
            self.app.restart()
        self.assertIn("result", self.ask("appState"))  # on top of the half reply
        for wrong in ("loud", "late", "die nowhere", "silent times=0", "die after-read times=1",
                      "error command=none"):
            with self.subTest(wrong), self.assertRaises(AssertionError):
                self.app.command(f"fault {wrong}")

    def test_the_end(self):
        for end in (lambda: self.app.command("quit"), lambda: self.app.process.stdin.close(),
                    lambda: self.app.process.send_signal(signal.SIGTERM),
                    lambda: self.app.process.send_signal(signal.SIGINT)):
            end()
            self.assertEqual((self.app.wait(), self.app.errors()), (0, ""))
            self.assertEqual([*self.container.folder.glob(f"*/*/{self.app.pid}.*")], [])
            self.app.restart()
        self.app.kill()
        self.container.folder.chmod(0o770)
        with MainApplication(expects=None) as refused:
            self.assertEqual(refused.wait(), 1)
            self.assertRegex(refused.errors(), r"\Acorvane-main-app: container: .+\n\Z")
