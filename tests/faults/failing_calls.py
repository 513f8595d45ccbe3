"""failing_calls.py [--quick] [--markdown] [--only SCENARIO[:CALL:ORDINAL:FAILURE]]

Makes each system call of each scenario fail, in each way that it knows, and plays each scenario
with 0 to 8 free descriptors: tests/faults/fail_calls.py, many of them side by side, as most of it
is waiting. With --quick a call fails in only one of the ways that are no request to try again.
SCENARIO:9 means 9 free descriptors.
"""

import argparse
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
ENVIRONMENT = {"CORVANE_NM": str(ROOT / "build/release/bin/corvane-nm"),
               "PYTHONPATH": str(ROOT / "tests/harness"), "PYTHONDONTWRITEBYTECODE": "1"}
LIMIT = 540  # seconds
SLICES = {"start": 9, "init": 1, "exchange": 4, "push": 3, "app-starts": 6, "app-ends": 3,
          "launch": 11, "appReconfig": 1, "leave": 1}
SHORT_OF_DESCRIPTORS = ["exchange", "app-starts", "app-ends", "launch", "appReconfig"]
OUTCOMES = ["nothing", "error", "stopped", "browser lost", "wrong"]


def run(arguments, end):
    """The cases that a process reports, and how it failed, if it did."""
    with tempfile.TemporaryDirectory(prefix="corvane-fail.", ignore_cleanup_errors=True) as home:
        process = subprocess.Popen(
            [ROOT / "scripts/lib/private-home", home, ROOT / "tests/faults/run", "--mounted",
             sys.executable, ROOT / "tests/faults/fail_calls.py", *map(str, arguments)],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, process_group=0,
            env=ENVIRONMENT | os.environ)
        try:
            text, _ = process.communicate(timeout=max(1.0, end - time.monotonic()))
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            text = process.communicate()[0] + f"it did not end within {LIMIT} s"
    cases = [json.loads(line) for line in text.splitlines() if line.startswith("{")]
    rest = [line for line in text.splitlines() if not line.startswith("{")]
    return cases, f"{' '.join(map(str, arguments))}: {rest[-1]}" if rest else None


def plan(options):
    if options.only and ":" in options.only:
        name, what = options.only.split(":", 1)
        return [(name, 0, 1, what)]
    extent = "quick" if options.quick else "all"
    jobs = [(name, part, parts, extent) for name, parts in SLICES.items() for part in range(parts)]
    jobs += [(name, 0, 1, "descriptors") for name in SHORT_OF_DESCRIPTORS]
    return [job for job in jobs if options.only in (None, job[0])]


def title(case):
    if "call" in case:
        return f"{case['scenario']}:{case['call']}:{case['ordinal']}:{case['failure']}"
    return f"{case['scenario']}:{case['descriptors']} descriptors"


def table(cases):
    """Markdown: for each call how often it failed in which ways, and what came of it."""
    failed = [case for case in cases if "call" in case and case["outcome"] != "not reached"]
    outcome_of = {id(case): "wrong" if case["wrong"] else case["outcome"] for case in failed}
    columns = [one for one in OUTCOMES if one in outcome_of.values()]
    print(f"| call | failures | times | {' | '.join(columns)} |\n|{'---|' * (3 + len(columns))}")
    for call in sorted({case["call"] for case in failed}):
        some = [case for case in failed if case["call"] == call]
        counts = Counter(outcome_of[id(case)] for case in some)
        print(f"| `{call}` | {', '.join(sorted({case['failure'] for case in some}))} | {len(some)} |",
              " | ".join(str(counts[one] or "") for one in columns), "|")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--markdown", action="store_true")
    parser.add_argument("--only")
    parser.add_argument("--verbose", action="store_true", help="print each case")
    options = parser.parse_args()
    begin, jobs = time.monotonic(), plan(options)
    with ThreadPoolExecutor(len(jobs)) as pool:
        done = [*pool.map(lambda job: run(job, begin + LIMIT), jobs)]
    cases = [case for some, _ in done for case in some]
    wrong = [f"{title(case)}: {case['wrong']} [{case.get('where', '')}]"
             for case in cases if case["wrong"]]
    wrong += [failure for _, failure in done if failure]
    if options.markdown:
        table(cases)
    if options.verbose:
        print(*(f"{title(case)}: {case['outcome']}" for case in cases), sep="\n")
    failed = [case for case in cases if "call" in case]
    outcomes = Counter(case["outcome"] for case in cases)
    print(f"{len({case['scenario'] for case in cases})} scenarios, "
          f"{len({(case['scenario'], case['call'], case['ordinal']) for case in failed})} calls in "
          f"them, {len(failed)} failures, {len(cases) - len(failed)} times few descriptors:")
    for outcome, count in outcomes.most_common():
        print(f"{count:8,}  {outcome}")
    print(f"{len(wrong):8,}  things that must not happen, in {time.monotonic() - begin:.0f} s")
    print("\n".join(wrong))
    sys.exit(bool(wrong) or not cases)


main()
