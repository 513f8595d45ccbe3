"""Browsers that ask about pages of their own, which the answers to some commands name."""

import json
import random
import signal
import threading
import time
from collections import Counter

from host import DEADLINE, PUSH, Host, request

TIMEOUT = "Can't connect to main app, timeout reached."
KINDS = {"getCurrentFilteringState": 8, "reportSite": 4, "openSettings": 2,
         "getCurrentAppState": 2, "setProtectionStatus": 1}  # and how often each
NAMED_IN = {"getCurrentFilteringState": "originalCertIssuer", "reportSite": "reportUrl"}


class ForeignReply(AssertionError):
    """A whole frame that answers another request than the one that is due."""


def page_in(kind, reply):
    """The page that the main application answered for, where its answers tell: NAMED_IN."""
    return (reply.get("parameters") or {}).get(NAMED_IN[kind], "").rpartition("?host=")[2]


def send(host, kind, page, **parameters):
    """Asks about `page`, a host name that is the request's identifier, too."""
    common = {"forceStartApp": False, "port": 443, "url": f"https://{page}/",
              "referrer": "", "userAgent": "test"}
    host.send(request(kind, page, common | parameters))


def receive(host, page):
    """The reply to the request about `page`, without the pushes before it; None at the end."""
    while (reply := host.receive()) and reply["requestId"] == PUSH:
        pass
    if reply and reply["requestId"] != page:
        raise ForeignReply(f"a reply to {reply['requestId']} in place of {page}")
    return reply


class Browser(threading.Thread):
    """Asks without a pause, judges each answer, and starts its host anew when that is killed.

    `counts` says what came, `slowest` the seconds that the slowest reply of each kind took, `wrong`
    what must not happen. `answered` is notified of each exchange.
    """

    def __init__(self, number, seed, answered=None):
        super().__init__()
        self.answered = answered or threading.Condition()
        self.number, self.dice = number, random.Random(seed)
        self.counts, self.slowest, self.wrong = Counter(), {}, []
        self.asked = 0
        self.lock = threading.Condition()  # guards what is below: the killer uses it, too; notified
        #                                    when a host is replaced
        self.host, self.generation, self.is_doomed, self.is_done = Host(), 0, False, False

    def page(self, number):
        return f"{number}.{self.number}-{self.generation}.invalid"

    def kill_host(self):
        """Kills one that lives: what is killed already is replaced first."""
        with self.lock:
            assert self.lock.wait_for(lambda: not self.is_doomed, DEADLINE), "no host in its place"
            self.is_doomed = True
            self.host.process.kill()

    def replace_host(self):
        with self.lock:
            status = self.host.wait()
            if (status, self.is_doomed) != (-signal.SIGKILL, True):
                self.wrong.append(f"a host ended with {status}: {self.host.errors()}")
            self.host.__exit__()
            self.host, self.is_doomed = Host(), False
            self.generation += 1
            self.lock.notify_all()

    def ask(self, kind):
        """True when it is answered and rightly; None when the host is killed meanwhile."""
        self.asked += 1
        page, begin = self.page(self.asked), time.monotonic()
        try:
            send(self.host, kind, page, **({"isEnabled": True} if kind[:3] == "set" else {}))
            reply = receive(self.host, page)
        except ForeignReply:  # wrong also where its host is killed
            raise
        except (BrokenPipeError, AssertionError):
            if self.is_doomed:  # also one whose last frame was cut
                return None
            raise
        if reply is None:
            return None
        self.slowest[kind] = max(self.slowest.get(kind, 0), time.monotonic() - begin)
        return self.is_right(kind, reply)

    def is_right(self, kind, reply):
        is_running = reply["appState"]["isRunning"]
        if reply["result"] == "error" and reply["data"] == TIMEOUT:
            self.counts["timed out"] += 1
            return False
        with self.answered:
            self.counts["exchanges"] += is_running + (kind != "getCurrentAppState")  # and its state
            self.answered.notify_all()
        is_right = reply["result"] == "ok"
        if kind in NAMED_IN:
            answered = page_in(kind, reply)
            if answered in map(self.page, range(self.asked)):
                self.counts["late"] += 1
                return False
            is_right = answered == self.page(self.asked)
        if not is_right:
            self.wrong.append(f"{kind} for {self.page(self.asked)}: {json.dumps(reply)}")
        return is_right and is_running

    def prove(self):
        """Asks for everything: whether all is well again."""
        results = [self.ask(kind) for kind in KINDS]
        return all(results)

    def run(self):
        try:
            while not self.is_done:
                (kind,) = self.dice.choices([*KINDS], KINDS.values())
                if self.ask(kind) is None:
                    self.counts["cut off"] += 1
                    self.replace_host()
            if self.is_doomed:
                self.replace_host()
            if not self.prove() and not self.prove():  # what is left may harm one request, no more
                self.wrong.append(f"browser {self.number} is not answered after all kills")
        except Exception as failure:  # among them that nothing came within the deadline
            self.wrong.append(f"browser {self.number}: {failure!r}")
