"""What stands still beside the host, and what the host does nevertheless."""

import contextlib
import time
import unittest

from host import ALONE, PUSH, SLOWER, Container, Host, MainApplication, Observers, frame, request
from standstill import stopped_holder

SLICE = 5.0  # seconds; the host ends no later than this after the end of its input
LENGTH, ARRIVED = 100_000_000, 1_000_000  # of a body, in bytes
CUT_SHORT = ("(main: listen()) Message from browser invalid. "
             f"Must be {LENGTH}bytes length, but received {ARRIVED}bytes.")
ANNOUNCEMENTS = 30  # three times as many as a socket holds


# Each yields the identifiers of the requests that are answered once it is over, in their order.


@contextlib.contextmanager
def unfinished_body(host, _):
    start = b'{"type":"init","id":"large","parameters":{"apiVersion":"1"}'
    body = frame(start.ljust(LENGTH - 1) + b"}")
    before = host.peak_memory()
    host.send_bytes(body[:4 + ARRIVED])
    assert host.peak_memory() - before < 32 << 20, "memory is taken for what has not arrived"
    yield ["large"]
    if not host.process.stdin.closed:
        host.send_bytes(body[4 + ARRIVED:])


@contextlib.contextmanager
def unread_replies(host, _):
    identifiers = [str(number).zfill(1000) for number in range(300)]  # more than the pipe holds
    host.send(*(ALONE | {"id": identifier} for identifier in identifiers))
    yield identifiers


@contextlib.contextmanager
def held_lock(host, container):
    with stopped_holder(container.folder / "Data/ExchangeRequestContainer.data"):
        host.send(request("getCurrentAppState", "held"))
        yield ["held"]


# And what the browser sees meanwhile: pushes, that requests are read, that they are answered.
STALLS = {
    "a body of which a part has arrived": (unfinished_body, {"pushed"}),
    "a browser that does not read": (unread_replies, {"read"}),
    "a lock that a stopped process holds": (held_lock, {"read", "answered"}),
}


class Stalls(unittest.TestCase):
    def start(self, stack, count=1):
        """A container, and hosts that have pushed what the main application announces first."""
        container = Container()
        hosts = [stack.enter_context(Host()) for _ in range(count)]
        for host in hosts:
            host.ask("init", "1")
        stack.enter_context(MainApplication())
        for host in hosts:
            self.assertEqual(host.receive()["requestId"], PUSH)
        return container, *hosts

    def test_nothing_else_stands_still_and_nothing_is_lost(self):
        for name, (stall, seen) in STALLS.items():
            with self.subTest(name), contextlib.ExitStack() as stack:
                container, host = self.start(stack)
                app_state = Observers(container, "appState")
                pushes = []
                with stall(host, container) as pending:
                    for _ in range(ANNOUNCEMENTS):  # goes on only while the host takes them
                        app_state.post()
                    if "pushed" in seen:
                        pushes = [host.receive() for _ in range(ANNOUNCEMENTS)]
                    if "read" in seen:
                        host.send(*[{"dropped": "x" * 1000}] * 300, ALONE)
                        pending.append("alone")
                    if "answered" in seen:
                        self.assertEqual(host.receive()["requestId"], pending.pop())
                host.send(request("getCurrentAppState", "last"))
                pending.append("last")
                due = ANNOUNCEMENTS - len(pushes) + len(pending)
                replies = [host.receive() for _ in range(due)]
                pushes += [reply for reply in replies if reply["requestId"] == PUSH]
                self.assertEqual([push["appState"]["isRunning"] for push in pushes],
                                 [True] * ANNOUNCEMENTS)
                self.assertEqual([reply["requestId"] for reply in replies
                                  if reply["requestId"] != PUSH], pending)
                self.assertEqual(host.finish(), (0, b""))

    def test_the_end_of_input_ends_the_host(self):
        with contextlib.ExitStack() as stack:
            container, *hosts = self.start(stack, len(STALLS))
            for host, (stall, _) in zip(hosts, STALLS.values()):
                stack.enter_context(stall(host, container))
            end = time.monotonic() + (SLICE + 1) * SLOWER
            for host in hosts:
                host.process.stdin.close()
            for host, name in zip(hosts, STALLS):
                with self.subTest(name):
                    self.assertEqual(host.wait(end - time.monotonic()), 0)
            self.assertEqual(container.log(), [CUT_SHORT])
