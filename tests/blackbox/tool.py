"""Runs corvane-nmctl where its output is read as it comes."""

import json
import os
import select
import signal
import subprocess
import time
from pathlib import Path

from host import DEADLINE, EXECUTABLE, wait_for

TOOL = Path(EXECUTABLE).with_name("corvane-nmctl")


class Tool:
    """One that goes on until it is interrupted. Leaving the `with` block kills what still runs."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, bufsize=0)
        self.lines, self.text = [], b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def next(self):
        """The next line of JSON."""
        end = time.monotonic() + DEADLINE
        while b"\n" not in self.text:
            wait_for(self.process.stdout.fileno(), select.POLLIN, end)
            piece = os.read(self.process.stdout.fileno(), 1 << 16)
            if not piece:
                raise AssertionError("it has ended")
            self.text += piece
        line, _, self.text = self.text.partition(b"\n")
        self.lines.append(json.loads(line))
        return self.lines[-1]

    def interrupt(self):
        """Its exit status then."""
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(DEADLINE)
