"""soak.py MINUTES RATE FOLDER: hosts at work for a long time; what they use is to stay as it is.

Runs below private-home. Prints a summary and draws the curves into FOLDER; the exit status says
whether all of them are flat.
"""

import os
import re
import statistics
import sys
import threading
import time
from pathlib import Path

import bench_plot
from host import Container, Host, MainApplication, request

HOSTS = 4
SAMPLE = 5.0  # seconds from one sample to the next
RESTART = 60.0  # seconds from one restart of the main application to the next
SLOW = 6.5  # seconds; a reply has two exchanges of 3 s, where the main application has gone
LOST_BY_A_RESTART = 2  # requests of each host at most: the one under way, and one more
PAGES = 500  # different ones that are asked for
LEVELS = ("15", "7")  # in turn at each restart: every second minute is logged in detail
WARM_UP = 0.1  # the share of the time that is not judged
MOST_LOGS = 8  # files: seven are kept, one more for a moment while they roll
LOG_BYTES = MOST_LOGS * 520_000  # each is rolled by the line that makes it 512,000 long

# How much more the median of the last third may be than that of the first: a share and, beside it,
# what always passes.
SLACK = {"memory, KB": (0.05, 128), "descriptors": (0, 2), "threads": (0, 1),
         "files in the container": (0, 0), "bytes in the container": (0, 16_384)}


class Browser(threading.Thread):
    """One host and who asks it; behind its schedule it asks at once until it has caught up."""

    def __init__(self, number, rate, end):
        super().__init__(daemon=True)
        self.number, self.period, self.end = number, 1 / rate, end
        self.host = Host()
        self.answered = self.refused = self.pushes = 0
        self.slowest = 0.0
        self.failure = None

    def ask(self, kind, parameters):
        identifier = str(self.answered + self.refused)
        begin = time.monotonic()
        self.host.send(request(kind, identifier, parameters))
        while (reply := self.host.receive())["requestId"] != identifier:
            self.pushes += 1
        took = time.monotonic() - begin
        self.slowest = max(self.slowest, took)
        if took > SLOW:
            print(f"{time.strftime('%H:%M:%S')} host {self.number} took {took:.1f} s for {kind}: "
                  f"{reply['result']}", flush=True)
        if reply["result"] == "ok" and reply["appState"]["isRunning"]:
            self.answered += 1
        else:
            self.refused += 1

    def work(self):
        begin, turn = time.monotonic(), 0
        while (now := time.monotonic()) < self.end:
            time.sleep(max(0.0, begin + turn * self.period - now))
            page = f"https://{turn % PAGES}.{self.number}.invalid/"
            rule = {"ruleText": f"||{turn // 10 % PAGES}.{self.number}.example^"}
            if turn % 10 == 0:
                self.ask("addRule", rule)
            elif turn % 10 == 1:
                self.ask("removeRule", rule)
            elif turn % 10 == 2:
                self.ask("reportSite", {"url": page, "referrer": "", "userAgent": "soak"})
            else:
                self.ask("getCurrentFilteringState",
                         {"forceStartApp": False, "url": page, "port": 443})
            turn += 1

    def run(self):
        try:
            self.work()
        except Exception as failure:
            self.failure = failure
            raise


def standstill():
    """Seconds since its start that no processor has spent: a virtual machine did not run then."""
    up = float(Path("/proc/uptime").read_text().split()[0])
    spent = sum(map(int, Path("/proc/stat").read_text().split()[1:9]))
    return up - spent / os.sysconf("SC_CLK_TCK") / os.cpu_count()


def used_by(process):
    """Proportional memory in KB, descriptors, threads; nothing of one that has just ended."""
    folder = Path(f"/proc/{process}")
    try:
        memory = re.search(r"^Pss:\s+(\d+) kB", (folder / "smaps_rollup").read_text(), re.M)
        return {"memory, KB": int(memory[1]), "descriptors": len(os.listdir(folder / "fd")),
                "threads": len(os.listdir(folder / "task"))}
    except (OSError, TypeError):
        return None


def files_in(folder, but=None):
    """How many files are in it at any depth, and their bytes; without those in `but`."""
    sizes = []
    for place, _, names in os.walk(folder):
        for name in names if place != str(but) else ():
            try:
                sizes.append(os.lstat(os.path.join(place, name)).st_size)
            except FileNotFoundError:  # just removed
                pass
    return len(sizes), sum(sizes)


class Curves:
    def __init__(self, container, browsers):
        self.container, self.browsers = container, browsers
        self.begin = time.monotonic()
        self.times, self.samples = [], {}

    def add(self, owner, kind, value):
        self.samples.setdefault((owner, kind), []).append(value)

    def sample(self, application):
        self.times.append((time.monotonic() - self.begin) / 60)
        owners = {f"host {one.number}": one.host.pid for one in self.browsers}
        for owner, process in (owners | {"main application": application}).items():
            for kind, value in (used_by(process) or dict.fromkeys(list(SLACK)[:3])).items():
                self.add(owner, kind, value)
        logs = self.container.logs
        for place, files, size in (("container", *files_in(self.container.folder, logs)),
                                   ("logs", *files_in(logs))):
            self.add(place, f"files in the {place}", files)
            self.add(place, f"bytes in the {place}", size)

    def thirds(self, values):
        """The values of the first and of the last third after the warm-up."""
        kept = values[int(len(values) * WARM_UP):]
        third = len(kept) // 3
        return ([one for one in part if one is not None] for part in (kept[:third], kept[-third:]))

    def judge(self):
        """Prints what was seen; the number of curves that are not flat."""
        wrong = 0
        print(f"{'':18}{'':24}{'first third':>12}{'last third':>12}{'most':>12}")
        for (owner, kind), values in self.samples.items():
            first, last = map(statistics.median, self.thirds(values))
            most = max(one for one in values if one is not None)
            if kind in SLACK:
                share, always = SLACK[kind]
                is_flat = last <= first + max(first * share, always)
            else:
                is_flat = most <= (LOG_BYTES if kind.startswith("bytes") else MOST_LOGS)
            wrong += not is_flat
            print(f"{owner:18}{kind:24}{first:12,.0f}{last:12,.0f}{most:12,.0f}"
                  f"{'' if is_flat else '  NOT FLAT'}")
        return wrong

    def most_of_hosts(self, kind):
        rows = zip(*(self.samples[f"host {one.number}", kind] for one in self.browsers))
        return [max((one for one in row if one is not None), default=None) for row in rows]

    def labels(self):
        step = max(1, round(self.times[-1] / 6))
        marked, labels = 0, []
        for minute in self.times:
            labels.append(str(marked) if minute >= marked else "")
            marked += step if labels[-1] else 0
        return labels

    def draw(self, folder):
        labels, below = self.labels(), "minutes"
        application = "main application"
        bench_plot.write(f"{folder}/soak-processes.svg", [
            (kind, below, labels, {"host that uses most": self.most_of_hosts(kind),
                                   application: self.samples[application, kind]})
            for kind in list(SLACK)[:3]])
        bench_plot.write(f"{folder}/soak-files.svg", [
            ("files", below, labels, {
                place: self.samples[place, f"files in the {place}"]
                for place in ("container", "logs")}),
            ("KB", below, labels, {
                place: [one / 1000 for one in self.samples[place, f"bytes in the {place}"]]
                for place in ("container", "logs")})])


def soak(minutes, rate):
    container = Container()
    end = time.monotonic() + 60 * minutes
    restarts = 0
    with MainApplication() as application:
        browsers = [Browser(number, rate / HOSTS, end) for number in range(HOSTS)]
        curves = Curves(container, browsers)
        for one in browsers:
            one.start()
        next_sample = next_restart = time.monotonic()
        while time.monotonic() < end and any(one.is_alive() for one in browsers):
            if next_restart <= time.monotonic():
                if restarts % 2:
                    application.command("quit")
                    application.wait()
                application.restart()  # killed, the other times
                application.command(f"level {LEVELS[restarts % 2]}")
                restarts += 1
                next_restart += RESTART
            next_sample += SAMPLE
            time.sleep(max(0.0, next_sample - time.monotonic()))
            curves.sample(application.pid)
        for one in browsers:
            one.join()
        statuses = [one.host.finish()[0] for one in browsers]
    return browsers, curves, restarts, statuses


def main(minutes, rate, folder):
    minutes, rate = int(minutes), int(rate)
    stood_still = standstill()
    browsers, curves, restarts, statuses = soak(minutes, rate)
    stood_still = standstill() - stood_still
    answered, refused = (sum(getattr(one, what) for one in browsers)
                         for what in ("answered", "refused"))
    print(f"{minutes} minutes, {HOSTS} hosts, {restarts} restarts of the main application: "
          f"{answered:,} requests answered, {refused:,} not, "
          f"{(answered + refused) / 60 / minutes:.1f} a second, "
          f"{sum(one.pushes for one in browsers)} pushes, "
          f"the slowest {max(one.slowest for one in browsers):.1f} s; "
          f"the machine itself stood still for {max(0.0, stood_still):.1f} s")
    wrong = curves.judge()
    os.makedirs(folder, exist_ok=True)
    curves.draw(folder)
    failures = [str(one.failure) for one in browsers if one.failure] + \
        [f"a host ended with status {status}" for status in statuses if status]
    if refused > LOST_BY_A_RESTART * HOSTS * restarts:
        failures.append("more requests were not answered than restarts explain")
    # What waits for a restart at the end does not catch up any more.
    if answered + refused < rate * (60 * minutes - SLOW):
        failures.append(f"fewer than {rate} requests a second")
    if wrong:
        failures.append(f"{wrong} curves are not flat")
    print("\n".join(failures) or "all curves are flat")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
