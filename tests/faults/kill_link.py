"""Kills real processes of one link: a host, the stand-in for the main application, or both.

Prints in words what was counted; the exit status is 1 if anything was wrong. Runs below
private-home only. The simulation kills at every system call; this shows that processes do the same.
"""

import os
import random
import sys
import time
from collections import Counter

from asking import PAGE, TIMEOUT, page_in, send
from exchange_file import records_in
from host import APPLICATION, DEADLINE, PUSH, Container, Host, MainApplication

HOSTS, AT_ONCE = 4, 4  # and how many requests each of them is given at once
VICTIMS = ["host"] * 10 + ["application"] * 5 + ["both"] * 5
WORDS = {"exchanges": "exchanges answered", "host": "kills of a host",
         "application": "kills of the main application",
         "both": "kills of a host and the main application together",
         "timed out": "requests that failed by timeout",
         "late": "late replies taken by the next request",
         "half records": "exchange files left that end in half a record"}


class Link:
    def __init__(self):
        self.container = Container()
        self.application, self.hosts = MainApplication(), [Host() for _ in range(HOSTS)]
        self.asked, self.counts, self.slowest = 0, Counter(), 0.0
        self.early = {}  # replies that came before the one that was waited for

    def ask(self, host, count):
        """Sends `host` `count` requests, each for a new page; returns the pages."""
        pages = [f"{self.asked + i}.{host.pid}.invalid" for i in range(count)]
        self.asked += count
        for page in pages:
            send(host, PAGE, page)
        return pages

    def reply_about(self, host, page):
        """The reply about `page`, or None at the end. A later request may be answered first: it does
        without an exchange if the application has died since the earlier one was read."""
        while page not in self.early and (reply := host.receive()):
            if reply["requestId"] != PUSH:
                self.early[reply["requestId"]] = reply
        return self.early.pop(page, None)

    def read(self, host, page):
        """Whether the reply holds what the application says about `page`."""
        begin, reply = time.monotonic(), self.reply_about(host, page)
        assert reply, f"a host has ended: {host.errors()}"
        self.slowest = max(self.slowest, time.monotonic() - begin)
        if reply["result"] == "error" and reply["data"] == TIMEOUT:
            self.counts["timed out"] += 1
            return False
        answered = page_in(reply)
        own = answered.partition(".")[2] == page.partition(".")[2]
        assert own and reply["result"] == "ok", f"for {page}: {reply}"
        self.counts["late"] += answered != page
        self.counts["exchanges"] += 1 + reply["appState"]["isRunning"]  # it is asked for first
        return answered == page and reply["appState"]["isRunning"]

    def works(self):
        return all([self.read(host, *self.ask(host, 1)) for host in self.hosts])

    def kill(self, victim):
        """Kills `victim` while all hosts have requests in flight, then replaces it."""
        self.counts[victim] += 1
        random.shuffle(self.hosts)
        pages = {host: self.ask(host, AT_ONCE) for host in self.hosts}
        first, *_, last = self.hosts
        for _ in range(random.randrange(AT_ONCE)):
            self.read(first, pages[first].pop(0))
        if victim != "application":
            last.process.kill()
            last.__exit__()
            del pages[last]
            self.hosts[-1] = Host()
        if victim != "host":
            self.application.restart()
        for host, left in pages.items():
            for page in left:
                self.read(host, page)
        assert not self.early, f"replies to no request: {self.early}"
        # What came too late may be taken for the answer to one request, no more.
        assert self.works() or self.works(), f"not answered after the kill: {victim}"

    def end(self):
        self.application.kill()
        for host in self.hosts:
            host.__exit__()

    def dead_sockets(self):
        alive = {str(self.application.pid), str(self.hosts[0].pid)}
        return [name for _, _, names in os.walk(self.container.folder / "Notifications")
                for name in names if name[0] != "." and name.partition(".")[0] not in alive]

    def check_what_is_left(self):
        """A new application and a new host can use all files, and remove what dead processes left."""
        self.end()
        data = self.container.folder / "Data"
        for path in data.iterdir():
            self.counts["half records"] += records_in(path) is None
            os.utime(path, (time.time() - 25 * 3600,) * 2)  # a day later
        self.application, self.hosts = MainApplication(), [Host()]
        end = time.monotonic() + DEADLINE
        while self.works() and self.dead_sockets():
            assert time.monotonic() < end, f"left behind: {self.dead_sockets()}"
        running = [*self.container.folder.glob(f"Applications/{APPLICATION}/*")]
        left = len([*data.iterdir()]), len(running)
        assert left == (2, 1), f"exchange files and registrations after a fresh start: {left}"
        assert self.works(), "a fresh start is not answered"


def main():
    link, wrong, begin = Link(), None, time.monotonic()
    try:
        for victim in random.sample(VICTIMS, len(VICTIMS)):
            link.kill(victim)
        link.check_what_is_left()
    except AssertionError as failure:
        wrong = failure
    finally:
        link.end()
    for key, words in WORDS.items():
        print(f"{link.counts[key]:8,}  {words}")
    print(f"{link.slowest:8.1f}  seconds until the slowest reply")
    print(f"wrong: {wrong or 'nothing'}; in {time.monotonic() - begin:.0f} s")
    sys.exit(bool(wrong))


main()
