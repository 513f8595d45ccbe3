"""Runs corvane-nmctl where its output is read as it comes."""

import json
import signal
import subprocess
from pathlib import Path

from host import DEADLINE, EXECUTABLE

TOOL = Path(EXECUTABLE).with_name("corvane-nmctl")


class Tool:
    """One that goes on until it is interrupted. Leaving the `with` block kills what still runs."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE)
        self.lines = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def next(self):
        """The next line of JSON."""
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError("it has ended")
        self.lines.append(json.loads(line))
        return self.lines[-1]

    def interrupt(self):
        """Its exit status then."""
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(DEADLINE)
