"""counts.py PAIRS HOST OTHER: the user-mode instructions and the system calls of a request.

Prints rows for bench_table.py. HOST and OTHER are executables; OTHER may be empty. The stand-in for
the main application is beside HOST. Runs below private-home only, with CORVANE_NM set.

Two runs that differ only in the number of requests are subtracted, which leaves out the start and
the end; that is done PAIRS times. What happens once in a while and how the messages of the main
application happen to arrive change the counts a little, so the median is shown.
"""

import re
import subprocess
import sys
import tempfile
import time

from host import Container, Host, MainApplication, frame, request

FEW, MANY = 100, 600
PAGE = {"url": "https://www.example.com/articles/why?page=2", "port": 443, "forceStartApp": False}
REFUSED = request("setProtectionStatus", "alone")
STATE = request("getCurrentAppState", "12")
INIT = request("init", "1", {"apiVersion": "1"})
FILTERING = request("getCurrentFilteringState", "a1", PAGE)


class Instructions:
    """Counted by callgrind, for the host's process alone."""

    unit = "instructions"
    command = ["/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    total = re.compile(r"Collected : (\d+)")


class SystemCalls:
    unit = "system calls"
    command = ["/usr/bin/strace", "--follow-forks", "--summary-only"]
    total = re.compile(r"(\d+) +(?:\d+ +)?total")


def counted(kind, log):
    match = kind.total.search(log)
    if match is None:
        sys.exit(f"{kind.command[0]} did not count: {log}")
    return int(match[1])


def container():
    """A new container whose directories are old enough for the host to rely on their times."""
    Container()
    time.sleep(0.1)


def at_once(kind, host, message, count):
    """The count of a run that finds all its requests on its standard input, without an application."""
    container()
    with tempfile.TemporaryFile() as requests:
        requests.write(frame(message) * count)
        requests.seek(0)
        run = subprocess.run([*kind.command, host], stdin=requests, stdout=subprocess.DEVNULL,
                             stderr=subprocess.PIPE, text=True, timeout=60)
    return counted(kind, run.stderr)


def one_at_a_time(kind, host, message, count, is_running=False):
    """Likewise, each request sent once the one before is answered."""
    with Host([*kind.command, host]) as running:
        running.send(STATE)
        state = running.receive_until(STATE["id"])[-1]["appState"]
        if state["isRunning"] != is_running:
            sys.exit(f"unexpected isRunning: {state}")
        for _ in range(count):
            running.send(message)
            running.receive_until(message["id"])
        running.finish()
        return counted(kind, running.errors())


def alone(kind, host, message, count):
    container()
    return one_at_a_time(kind, host, message, count)


def linked(kind, host, message, count):
    Container()
    with MainApplication():
        return one_at_a_time(kind, host, message, count, is_running=True)


def print_row(kind, name, run, message, pairs, hosts):
    def of_a_request(host):
        return (run(kind, host, message, MANY) - run(kind, host, message, FEW)) / (MANY - FEW)

    rounds = [[of_a_request(host) for host in hosts] for _ in range(pairs)]
    ours, *other = (" ".join(f"{count:.2f}" for count in column) for column in zip(*rounds))
    print(f"{kind.unit} of a request, {name}, {message['type']}", "", ours, *(other or [""]),
          sep="\t", flush=True)


def main(pairs, host, other):
    pairs = int(pairs)
    hosts = [host, other] if other else [host]
    for message in (REFUSED, STATE, INIT):
        print_row(Instructions, "host alone", at_once, message, pairs, hosts)
    for message in (STATE, FILTERING):
        print_row(Instructions, "whole link", linked, message, pairs, hosts)
    print_row(SystemCalls, "host alone", alone, STATE, pairs, hosts)
    print_row(SystemCalls, "whole link", linked, STATE, pairs, hosts)


main(*sys.argv[1:])
