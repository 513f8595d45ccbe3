"""What the main application sets off by its notifications."""

import concurrent.futures
import os
import time
import unittest

from host import DEADLINE, PUSH, Container, Host, MainApplication, Observers, frame, request
from standstill import stopped_holder

STATE = request("getCurrentAppState", "s")
PATIENCE = 100  # requests answered in a row without a push: none is under way any more


def pushes(host, wanted, posting=None):
    """How many states were pushed when `wanted` were, or when none comes after `posting`."""
    count = futile = 0
    while count < wanted and futile < PATIENCE:
        host.send(STATE)
        came = len(host.receive_until("s")) - 1
        count += came
        futile = 0 if came or (posting and not posting.done()) else futile + 1
    return count


def started_with_a_request():
    """A host that finds its first request in standard input; returns at once after the reply."""
    reading, writing = os.pipe()
    os.write(writing, frame(request("init", "1", {"apiVersion": "1"})))
    host = Host(stdin=reading)
    os.close(reading)
    host.process.stdin = os.fdopen(writing, "wb", buffering=0)
    host.receive()
    return host


class Pushes(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.app_state = Observers(self.container, "appState")
        self.app_reconfig = Observers(self.container, "appReconfig")

    def start(self, count):
        hosts = [self.enterContext(Host()) for _ in range(count)]
        for observers in (self.app_state, self.app_reconfig):
            observers.wait_for(count)
        return hosts

    def wait_for_log(self, text):
        end = time.monotonic() + DEADLINE
        while text not in "".join(self.container.log()):
            self.assertLess(time.monotonic(), end, f"not logged: {text}")

    def reconfigure(self, hosts, level):
        """Sets the level and returns when it is in force in all `hosts`."""
        self.container.write_settings({"DefaultsKeyLogLevel": level})
        self.app_reconfig.post()
        self.app_state.post()  # handled after it
        for host in hosts:
            self.assertEqual(host.receive()["requestId"], PUSH)
            host.send(b"bad", STATE)  # the line of the first waits for the change before it
            host.receive()

    def test_the_level_is_applied_at_once(self):
        (host,) = self.start(1)
        self.reconfigure([host], 15)
        self.app_state.post()
        host.receive()
        lines = len(self.container.log())
        self.reconfigure([host], 0)  # leaves it as it is
        self.assertGreater(len(self.container.log()), lines + 5)
        self.assertIn("(main: raiseAppSate()) Response sending (count: 4)", self.container.log())
        for settings in (b"bplist00 and", {"DefaultsKeyLogLevel": -1}):  # half written; no level
            self.container.write_settings(settings)
            self.app_reconfig.post()
            self.app_state.post()
            self.assertEqual(host.receive()["requestId"], PUSH)  # at the level that it had

    def test_eight_hosts_share_one_log_and_reconfigured_together_begin_one_file(self):
        hosts = self.start(8)
        for host in hosts:
            host.send(*[b"bad"] * 50)
        for host in hosts:
            host.ask("init", "1")
        self.assertEqual(len(self.container.log()), 400)
        files = len(list(self.container.logs.iterdir()))
        self.reconfigure(hosts, 7)
        self.assertEqual((files, len(list(self.container.logs.iterdir()))), (1, 2))

    def test_a_burst_of_announcements_right_after_the_first_reply(self):
        def post(count):
            for _ in range(count):
                self.app_state.post()

        with started_with_a_request() as host, concurrent.futures.ThreadPoolExecutor(1) as pool:
            post(100)  # their pushes fit into the pipe; a thread would start too late for them
            posting = pool.submit(post, 900)
            self.assertEqual(pushes(host, 1000, posting), 1000)
            posting.result()
            self.assertEqual(host.finish(), (0, b""))

    def test_announcements_beyond_a_hundred_are_merged(self):
        self.container.write_settings({"DefaultsKeyLogLevel": 7})
        (host,) = self.start(1)
        with MainApplication():
            self.assertEqual(host.receive()["requestId"], PUSH)
            with stopped_holder(self.container.folder / "Data/ExchangeRequestContainer.data"):
                for _ in range(300):
                    self.app_state.post()
                for _ in range(2):  # by then they have all been heard
                    host.ask("setProtectionStatus", "alone")
                host.send(STATE)
            self.assertEqual(len(host.receive_until("s")) - 1, 101)  # the first is being asked for
            self.assertEqual(host.receive()["requestId"], PUSH)
            self.assertEqual(host.finish(), (0, b""))
        said = [line for line in self.container.log() if "raiseAppSate" in line]
        self.assertEqual(said, ["(main: raiseAppSate()) Announcements are merged into one push: "
                                "101 pushes and 0 bytes of replies are pending"])

    def test_announcements_while_replies_are_unread_are_merged(self):
        self.container.write_settings({"DefaultsKeyLogLevel": 7})
        (host,) = self.start(1)
        identifiers = [str(number).zfill(1_000_000) for number in range(17)]  # above 16 MiB
        host.send(*(STATE | {"id": identifier} for identifier in identifiers))
        self.wait_for_log("The browser does not read")
        for _ in range(3):
            self.app_state.post()
        self.wait_for_log("Announcements are merged into one push: 0 pushes and")
        for identifier in identifiers:
            self.assertEqual(host.receive()["requestId"], identifier)
        self.assertEqual(pushes(host, 2), 1)
        self.assertEqual(host.finish(), (0, b""))

    def test_a_change_that_is_refused_leaves_the_pushes_on(self):
        requests = self.container.folder / "Data/ExchangeRequestContainer.data"
        cases = {"a record above the limit": (1_100_000, 0), "a full file": (10, 10_240_001)}
        for name, (length, filling) in cases.items():
            with self.subTest(name), Host() as host:
                host.ask("init", "1")
                with MainApplication() as application:
                    self.assertEqual(host.receive()["requestId"], PUSH)  # at its start
                    os.truncate(requests, filling)
                    known = len(self.container.log())
                    host.send(request("removeCustomRules", "refused", {"url": "x" * length}))
                    end = time.monotonic() + DEADLINE
                    while "maximum length" not in "".join(self.container.log()[known:]):
                        self.assertLess(time.monotonic(), end, "it is not refused")
                        host.ask("setProtectionStatus", "alone")
                    os.truncate(requests, 0)
                    application.command("announce")
                    self.assertEqual(pushes(host, 1), 1)
                    reply = host.ask("removeCustomRules", "taken", {"url": "x"})
                    self.assertEqual((reply["requestId"], reply["result"]), ("taken", "ok"))
