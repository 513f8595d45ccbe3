"""The stand-in for the main application, with the host's side of the link played from here.

Archives are written and read with plistlib, so that what both programs share is not what is tested.
What the two programs do together is in test_link.
"""

import fcntl
import plistlib
import signal
import struct
import unittest

from host import APPLICATION, Container, MainApplication, Observers

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


class MainApp(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.requests = self.container.folder / "Data/ExchangeRequestContainer.data"
        self.responses = self.requests.with_name(f"ExchangeResponseContainer.{HOST}.data")
        self.listening = Observers(self.container, "exchange")
        self.app = self.enterContext(MainApplication("--print", "--locale", "de"))

    def ask(self, name, body=None):
        """Asks, waits for the reply, and takes it: the newest record of the responses."""
        self.app.exchanges.clear()
        with open(self.requests, "ab") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            file.write(framed(archive({"id": HOST, "name": name, "body": body})))
        self.listening.post()
        kind = record = None
        while kind != "reply" or record["id"] != HOST:
            kind, record = self.app.exchanged()
        with open(self.responses, "r+b") as file:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)  # it holds no lock any more
            data = file.read()
            begin = len(data) - 4 - struct.unpack("<I", data[-4:])[0]
            self.assertGreaterEqual(begin, 0)
            file.truncate(begin)
        record = unarchived(data[begin:-4])
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
