"""Processes that stand still, as in a debugger or a frozen terminal, and go on when that is over."""

import contextlib
import os
import signal
import subprocess
import sys

HOLDER = """import fcntl, sys
with open(sys.argv[1], "r+b") as file:
    fcntl.flock(file, fcntl.LOCK_EX)
    print(flush=True)
    sys.stdin.read()"""


@contextlib.contextmanager
def stopped(process):
    os.kill(process, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process, signal.SIGCONT)


@contextlib.contextmanager
def stopped_holder(path):
    """One that has the lock of the file `path`; in the end it gives that back."""
    with subprocess.Popen([sys.executable, "-c", HOLDER, path], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as holder:
        holder.stdout.readline()
        with stopped(holder.pid):
            yield
