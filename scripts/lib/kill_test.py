"""kill_test.py SEED EXCHANGES KILLS LINKS: many links under kills side by side; what came of it.

Each link is a run of tests/faults/kill_link.py in a home and a mount namespace of its own. A kill
of the main application costs whoever waits for it 3 s; side by side that is waited for together.
"""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LIMIT = 540  # seconds for all links together; far more than any run takes
ROWS = [  # what is counted, and in which words it is printed
    ("exchanges", "exchanges answered"),
    ("host", "kills of a host"),
    ("application", "kills of the main application"),
    ("both", "kills of a host and the main application together"),
    ("step", "deaths of the main application in the midst of one step"),
    ("cut off", "requests cut off by the death of their host"),
    ("timed out", "requests that failed by timeout"),
    ("late", "late replies taken by the next request of the same command"),
    ("buffer is corrupted", 'records thrown away as "buffer is corrupted"'),
    ("Can't convert exchange object", "records that could not be decoded"),
    ("half records", "exchange files left that end in half a record"),
]


def start(number, seed, share):
    home = tempfile.TemporaryDirectory(prefix="corvane-kill.")
    process = subprocess.Popen(
        [ROOT / "scripts/lib/private-home", home.name, sys.executable,
         ROOT / "tests/faults/kill_link.py", f"{seed}-{number}", *map(str, share)],
        stdout=subprocess.PIPE, text=True, process_group=0)
    return home, process


def report_of(process, end):
    """What a link printed until `end`, and why there is no more."""
    try:
        text, _ = process.communicate(timeout=max(0.0, end - time.monotonic()))
        return json.loads(text), None
    except subprocess.TimeoutExpired:
        return None, f"did not end within {LIMIT} s"
    except ValueError:
        return None, f"ended with status {process.returncode}: {text}"


def clean_up(running):
    """Ends links that still run, with all that they started."""
    for home, process in running:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        home.cleanup()


def share_of(number, links, total):
    return total * (number + 1) // links - total * number // links


def main(seed, *numbers):
    exchanges, kills, links = map(int, numbers)
    print(f"seed {seed}, {links} links side by side")
    begin = time.monotonic()
    running, counts, slowest, wrong = [], Counter(), {}, []
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended early"))
    try:
        for number in range(links):
            running.append(start(number, seed, (share_of(number, links, exchanges),
                                                share_of(number, links, kills))))
        reports = [report_of(process, begin + LIMIT) for _, process in running]
    finally:
        clean_up(running)
    for number, (report, failure) in enumerate(reports):
        if failure:
            wrong.append(f"link {number} {failure}")
            continue
        for kind, seconds in report["slowest"].items():
            slowest[kind] = max(slowest.get(kind, 0), seconds)
        counts += Counter(report["counts"])
        wrong += [f"link {number}: {line}" for line in report["wrong"]]
    for key, words in ROWS:
        print(f"{counts[key]:8,}  {words}")
    for kind, seconds in slowest.items():
        print(f"{seconds:8.1f}  seconds until the slowest reply to {kind}")
    print(f"{len(wrong):8,}  things that must not happen, in {time.monotonic() - begin:.0f} s")
    print("\n".join(wrong))
    killed = sum(counts[key] for key in ("host", "application", "both", "step"))
    sys.exit(bool(wrong) or counts["exchanges"] < exchanges or killed < kills)


main(*sys.argv[1:])
