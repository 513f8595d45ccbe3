"""kill_link.py SEED EXCHANGES KILLS: one link whose processes are killed again and again.

Four browsers ask without a pause; their hosts, the stand-in for the main application or both are
killed at random moments and started anew. Prints as one object of JSON what it counted, and in
"wrong" whatever must not happen. Runs below private-home, beside others of its kind.
"""

import json
import os
import random
import signal
import sys
import threading
import time
from collections import Counter

from asking import KINDS, Browser
from exchange_file import records_in
from host import APPLICATION, DEADLINE, Container, MainApplication

HOSTS = 4
LATEST = 0.004  # seconds; a kill comes up to so long after the exchange that makes it due, but
#                 not after the next one
VICTIMS = ["host"] * 4 + ["application"] * 3 + ["step"] + ["both"] * 2
STEPS = ["after-lock", "after-read", "after-truncate", "after-unlock", "reply-opened",
         "reply-locked", "reply-half", "reply-written", "reply-unlocked", "reply-posted"]
YOUNG = 10  # seconds; for so long what a dead process left may be one that is just being made


def is_alive(name):
    return os.path.exists("/proc/" + name.lstrip(".").partition(".")[0])


class Link:
    def __init__(self, seed):
        self.dice = random.Random(seed)
        self.container = Container()
        self.application = MainApplication()
        self.answered = threading.Condition()
        self.browsers = [Browser(number, f"{seed} {number}", self.answered)
                         for number in range(HOSTS)]
        self.counts, self.wrong = Counter(), []

    def exchanges(self):
        return sum(browser.counts["exchanges"] for browser in self.browsers)

    def await_exchanges(self, wanted):
        with self.answered:
            while self.exchanges() < wanted:
                assert self.answered.wait(DEADLINE), "nobody is answered any more"
            self.answered.wait(self.dice.uniform(0, LATEST))

    def kill(self, victim):
        self.counts[victim] += 1
        if self.application.process.poll() is not None:
            raise AssertionError("the main application ended by itself")
        if victim in ("host", "both"):
            self.dice.choice(self.browsers).kill_host()
        if victim == "step":
            self.application.command("fault die " + self.dice.choice(STEPS))
            assert self.application.wait() == -signal.SIGKILL
        if victim != "host":
            self.application.restart()

    def play(self, exchanges, kills):
        for browser in self.browsers:
            browser.start()
        try:
            for _ in range(kills):
                self.await_exchanges(self.exchanges() + self.dice.uniform(1, 2 * exchanges / kills))
                self.kill(self.dice.choice(VICTIMS))
            self.await_exchanges(exchanges)
        finally:
            for browser in self.browsers:
                browser.is_done = True
            for browser in self.browsers:
                browser.join()

    def check_what_is_left(self):
        data = self.container.folder / "Data"
        left = {path: records_in(path) for path in data.iterdir()}
        self.counts["half records"] = [*left.values()].count(None)
        for browser in self.browsers:
            browser.host.__exit__()
        self.application.kill()
        for path in left:
            os.utime(path, (time.time() - 25 * 3600,) * 2)  # a day later
        begin, fresh = time.time(), Browser(HOSTS, "")
        with MainApplication(), fresh.host:
            is_well, files = fresh.prove(), [*data.iterdir()]
            dead = [path for path in self.container.folder.glob("Notifications/**/*")
                    if path.is_socket() and not is_alive(path.name) and
                    (path.name[0] != "." or begin - path.lstat().st_ctime > YOUNG)]
            running = [*self.container.folder.glob(f"Applications/{APPLICATION}/*")]
            if not is_well or dead or (len(files), len(running)) != (2, 1):
                self.wrong.append(f"a fresh start: {is_well}, {dead}, {files}, {running}")
        self.wrong += fresh.wrong

    def report(self):
        for browser in self.browsers:
            self.wrong += browser.wrong
            self.counts += browser.counts
        log = self.container.log()
        for text in ("buffer is corrupted", "Can't convert exchange object"):
            self.counts[text] = sum(text in line for line in log)
        slowest = {kind: max(browser.slowest.get(kind, 0) for browser in self.browsers)
                   for kind in KINDS}
        return {"counts": self.counts, "slowest": slowest, "wrong": self.wrong}


def main(seed, exchanges, kills):
    link = Link(seed)
    try:
        link.play(int(exchanges), int(kills))
        link.check_what_is_left()
    except AssertionError as failure:
        link.wrong.append(str(failure))
    finally:
        link.application.kill()
    print(json.dumps(link.report()))


main(*sys.argv[1:])
