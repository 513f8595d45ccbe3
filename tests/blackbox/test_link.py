"""The host and the stand-in for the main application together, as the browser sees them."""

import concurrent.futures
import json
import os
import select
import unittest

from asking import TIMEOUT, receive
from host import (APPLICATION, MAIN_APPLICATION, PUSH, Container, Host, MainApplication,
                  kill_launched, request)

URL = "https://example.org/page"
CALLER = os.path.basename(os.path.realpath("/proc/self/exe"))
STATE = ("appState", None)
RULE = {"ruleText": "||a.example^"}
CERTIFICATE = {"domain": "example.org", "port": 443}
REPORT = {"url": URL, "referrer": "", "userAgent": "A/1"}
PAGE = {"isFilteringEnabled": True, "isHttpsFilteringEnabled": True,
        "isPageFilteredByUserFilter": False, "blockedAdsCount": 3, "totalBlockedCount": 3,
        "originalCertIssuer": "Example Authority", "originalCertStatus": "valid"}
NO_PAGE = {key: type(value)() for key, value in PAGE.items()}
HELLO = {"version": "2.4.8.797", "apiVersion": "1", "isValidatedOnHost": True, "platform": "mac"}

# What the browser sends, and the records that it leads to, in their order.
COMMANDS = {
    "getCurrentAppState": ({}, [STATE]),
    "init": ({"apiVersion": "1"}, [STATE]),
    "getCurrentFilteringState": (
        {"forceStartApp": False, "url": URL, "port": 443},
        [STATE, ("getCurrentFilteringState", {"url": URL, "port": 443, "app": CALLER})]),
    "setProtectionStatus": (
        {"isEnabled": True}, [("setProtectionStatus", {"enabled": True}), STATE]),
    "setFilteringStatus": (
        {"url": URL, "isEnabled": True, "isHttpsEnabled": False},
        [("setHttpFilteringStatus", {"url": URL, "enabled": True}),
         ("setHttpsFilteringStatus", {"url": URL, "enabled": False}), STATE]),
    "addRule": (RULE, [STATE, ("addRule", RULE)]),
    "removeRule": (RULE, [STATE, ("removeRule", RULE)]),
    "removeCustomRules": ({"url": URL}, [("removeCustomRules", {"url": URL}), STATE]),
    "openOriginalCert": (
        CERTIFICATE, [STATE, ("openOriginalCert", CERTIFICATE | {"app": CALLER})]),
    "reportSite": (REPORT, [STATE, ("reportSite", REPORT)]),
    "openFilteringLog": ({}, [STATE, ("openFilteringLog", None)]),
    "openSettings": ({}, [STATE, ("openSettings", None)]),
    "updateApp": ({}, [STATE, ("updateApp", None)]),
}
# What is in the reply, and what there is when the main application says nothing of use.
RESULTS = {"init": HELLO, "getCurrentFilteringState": PAGE,
           "reportSite": {"reportUrl": "https://reports.example.org/1?host=example.org"}}
NO_RESULTS = {"init": HELLO, "getCurrentFilteringState": NO_PAGE, "reportSite": {"reportUrl": ""}}
CHANGES = {"setProtectionStatus", "setFilteringStatus", "removeCustomRules"}


def ask(host, kind, parameters=None, identifier="r"):
    host.send(request(kind, identifier, parameters))
    return receive(host, identifier)


def text(value):
    """For comparing: true and 1 are two things here, though not in Python."""
    return json.dumps(value, sort_keys=True)


def outcome(reply):
    return text([reply["result"], reply.get("data"), reply.get("parameters")])


class Commands(unittest.TestCase):
    """Thirteen commands in each situation; a stopped main application is for the other tests."""

    def setUp(self):
        self.container = Container()

    def start(self, *faults):
        options = [option for fault in faults for option in ("--fault", fault)]
        return self.enterContext(MainApplication("--print", "--locale", "de", *options))

    def play(self, application, host, announces=False):
        """Each command once: its outcome, its state, and what the main application took for it.
        Where it refuses a change as nobody understands it, it has to be told to announce one."""
        for kind, (parameters, _) in COMMANDS.items():
            host.send(request(kind, "r", parameters))
            if kind in CHANGES and announces:
                while not select.select([host.process.stdout], [], [], 0.05)[0]:
                    application.command("announce")
            reply = receive(host, "r")
            application.command("state")
            records = [(record["name"], record["body"]) for taken, record in
                       (entry.popitem() for entry in application.exchanges) if taken == "request"]
            application.exchanges.clear()
            yield kind, outcome(reply), reply["appState"], records

    def test_a_main_application_that_answers(self):
        host = self.enterContext(Host())
        for kind, seen, state, records in self.play(self.start(), host):
            with self.subTest(kind):
                wanted = COMMANDS[kind][1]
                self.assertEqual(seen, text(["ok", None, RESULTS.get(kind)]))
                self.assertEqual(text(records[:len(wanted)]), text(wanted))
                self.assertTrue(state["isRunning"] and state["isProtectionEnabled"])
                self.assertEqual(state["locale"], "de")

    def test_a_main_application_that_answers_an_error(self):
        error = (f'Error Domain={APPLICATION}.ErrorDomain Code=100 "No window" '
                 "UserInfo={NSLocalizedDescription=No window}")
        host = self.enterContext(Host())
        for kind, seen, _, records in self.play(self.start("error No window"), host):
            with self.subTest(kind):
                parameters = HELLO if kind == "init" else None
                self.assertEqual(seen, text(["error", error, parameters]))
                self.assertEqual(text(records), text(COMMANDS[kind][1][:1]))

    def test_a_main_application_that_answers_nonsense(self):
        for fault in ("wrong-type", "no-result", "string-error x"):
            application = self.start(fault)
            host = self.enterContext(Host())
            for kind, seen, state, _ in self.play(application, host, fault == "string-error x"):
                with self.subTest(kind, fault=fault):
                    self.assertEqual(seen, text(["ok", None, NO_RESULTS.get(kind)]))
                    self.assertEqual((state["isRunning"], state["locale"]), (True, "en"))
            application.kill()

    def test_a_main_application_that_does_not_answer(self):
        """Silent, or under the name or identifier of another; one host for each, side by side."""
        for fault in ("silent", "name addRule?", "id X"):
            application = self.start(fault)
            hosts = {kind: self.enterContext(Host()) for kind in COMMANDS}
            with concurrent.futures.ThreadPoolExecutor(len(hosts)) as pool:
                replies = {kind: pool.submit(ask, host, kind, COMMANDS[kind][0])
                           for kind, host in hosts.items()}
            for kind, host in hosts.items():
                with self.subTest(kind, fault=fault):
                    reply = replies[kind].result()
                    only_state = COMMANDS[kind][1] == [STATE]
                    answer = ["ok", None] if only_state else ["error", TIMEOUT]
                    self.assertEqual(outcome(reply), text([*answer, NO_RESULTS.get(kind)]))
                    self.assertEqual(reply["appState"]["isRunning"], kind in CHANGES)
                host.finish()
            application.kill()


class Announcements(unittest.TestCase):
    """The wait for a changed state, the pushes, and the start of the main application."""

    LAUNCH = {"forceStartApp": True, "url": URL, "port": 443}

    def setUp(self):
        self.container = Container()
        self.running = self.container.folder / "Applications" / APPLICATION
        self.addCleanup(kill_launched)

    def test_ones_own_change_is_answered_and_that_of_others_is_pushed(self):
        self.enterContext(MainApplication())
        mine, other = (self.enterContext(Host()) for _ in range(2))
        for host in (mine, other):  # both listen from here on
            ask(host, "getCurrentAppState")
        mine.send(request("setProtectionStatus", "change", {"isEnabled": False}))
        reply = mine.receive()
        self.assertEqual((reply["requestId"], reply["result"]), ("change", "ok"))
        self.assertFalse(reply["appState"]["isProtectionEnabled"])
        push = other.receive()
        self.assertEqual(push["requestId"], PUSH)
        self.assertFalse(push["appState"]["isProtectionEnabled"])
        self.assertEqual(mine.ask("init", "next")["requestId"], "next", "nothing was pushed before")

    def test_it_is_started_and_started_again_and_its_death_is_pushed(self):
        host = self.enterContext(Host())
        self.assertEqual(outcome(ask(host, "getCurrentFilteringState", self.LAUNCH)),
                         text(["error", "Can't start main app.", None]))
        self.container.install("no-such-program")
        self.assertEqual(ask(host, "getCurrentFilteringState", self.LAUNCH)["result"], "error")
        self.container.install(f'"{MAIN_APPLICATION}" --locale %% --daemon %U')
        for blocked in (3, 6):  # the second time it runs already
            reply = ask(host, "getCurrentFilteringState", self.LAUNCH)
            self.assertEqual((reply["result"], reply["parameters"]["blockedAdsCount"]),
                             ("ok", blocked))
            self.assertEqual((reply["appState"]["isRunning"], reply["appState"]["locale"]),
                             (True, "%"))
        self.assertEqual(len(list(self.running.glob("[0-9]*"))), 1)
        kill_launched()
        push = host.receive()
        while push["appState"]["isRunning"]:  # what it had announced
            push = host.receive()
        self.assertEqual((push["requestId"], push["result"]), (PUSH, "ok"))
        self.assertEqual(host.finish(), (0, b""))

    def test_the_end_of_input_ends_a_long_wait(self):
        host = self.enterContext(Host())
        ask(host, "getCurrentAppState")  # it listens
        application = self.enterContext(MainApplication("--print", "--fault", "string-error x"))
        self.assertEqual(host.receive()["requestId"], PUSH)  # what it announces when it starts
        host.send(request("setProtectionStatus", "s", {"isEnabled": True}))
        kind = name = None
        while (kind, name) != ("reply", "setProtectionStatus"):
            kind, record = application.exchanged()
            name = record["name"]
        self.assertEqual(host.finish(), (0, b""))


class Link(unittest.TestCase):
    def test_two_hosts_lose_and_cross_nothing(self):
        """Each page has a certificate that names it, so a reply tells whose it is."""
        def browse(host, name):
            for number in range(100):  # the state first: two exchanges each
                page = f"{number}.{name}.invalid"
                reply = ask(host, "getCurrentFilteringState", {
                    "forceStartApp": False, "url": f"https://{page}/", "port": 443}, str(number))
                self.assertEqual(reply["parameters"]["originalCertIssuer"], page)
                self.assertTrue(reply["appState"]["isRunning"])

        Container()
        self.enterContext(MainApplication())
        hosts = {name: self.enterContext(Host()) for name in ("left", "right")}
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for browsing in [pool.submit(browse, host, name) for name, host in hosts.items()]:
                browsing.result()
        for host in hosts.values():
            status, rest = host.finish()  # a push may have come last
            self.assertEqual((status, rest.count(b"originalCertIssuer")), (0, 0))
