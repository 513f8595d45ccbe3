"""The logs of all hosts as one stream."""

import os
import re
import subprocess
import unittest
from pathlib import Path

from host import Container, Host, MainApplication
from tool import TOOL, Tool, parsed

SOURCES = Path(__file__).resolve().parents[2]
CALL = re.compile(r'VCLogC?(Error|Warn|Info|Debug)\((?:\{[^}]*\}|[\w()]+),\s*"((?:[^"\\]|\\.)*)"')
LEVELS = {"Error": "error", "Warn": "warning", "Info": "info", "Debug": "debug"}
NAME = "corvane-nm 2024-10-27--00-{}-00-000.log"


def log(*arguments, **environment):
    said = subprocess.run([TOOL, "log", "--json", *arguments], env=os.environ | environment,
                          capture_output=True, text=True, timeout=60, check=True)
    return [parsed(line) for line in said.stdout.splitlines()]


class Log(unittest.TestCase):
    def setUp(self):
        self.container = Container(31)

    def write(self, minute, *lines):
        self.container.logs.mkdir(parents=True, exist_ok=True)
        (self.container.logs / NAME.format(minute)).write_text("".join(lines))

    def test_files_are_merged_by_the_time_that_clocks_show_twice(self):
        self.write("30", "2024/10/27 02:30:00:000  one\n",
                   "2024/10/27 02:59:59:500  three\n and\n more\n",
                   "2024/10/27 02:00:01:000  four\n", "2024/10/27 02:40:00:000  si")
        self.write("45", "2024/10/27 02:45:00:000  two\n", "2024/10/27 02:30:00:000  five\n")
        said = log(TZ="CET-1CEST,M3.5.0,M10.5.0/3")
        self.assertEqual([one["message"] for one in said],
                         ["one", "two", "three\n and\n more", "four", "five", "si"])
        self.assertEqual([said[0]["time"], said[3]["time"]],
                         ["2024-10-27T00:30:00.000+00:00", "2024-10-27T01:00:01.000+00:00"])
        self.assertEqual(len(log("--since", "2024-10-27 02:45", TZ="UTC")), 2)
        self.assertEqual(log("--since", "1d"), [])

    def test_levels_are_those_of_the_host(self):
        calls = []
        for folder in ("corvane-nm", "SharedComponents"):
            for path in sorted((SOURCES / folder).rglob("*.cpp")):
                calls += CALL.findall(path.read_text())
        calls = [(LEVELS[kind], text) for kind, text in calls if text != "%@"]
        self.assertGreater(len(calls), 30)
        head = "2024/03/05 14:07:09:123  "
        traces = [f"{kind}race - File: name(_:)" for kind in ("Error t", "Debug t", "T")]
        lines = [f"(File[0x1] name(_:b:)) {text}" for _, text in calls] + traces
        self.write("00", *(f"{head}{line}\n" for line in lines))
        expected = [level for level, _ in calls] + ["error", "debug", "verbose"]
        self.assertEqual([one["level"] for one in log()], expected, calls)
        self.assertEqual({one["level"] for one in log("--level", "warning")}, {"error", "warning"})

    def test_following_goes_on_across_a_roll_of_two_hosts(self):
        with Tool("log", "--follow", "--json") as tool, MainApplication() as application:
            with Host() as first, Host() as second:
                for host in (first, second):
                    host.ask("addRule", "1", {"ruleText": "||ads.example^"})
                before = tool.next()["file"]
                application.command("level 15")  # the hosts roll, and log less
                while tool.next()["file"] == before:
                    pass
                for host in (first, second):
                    host.ask("removeRule", "2", {"ruleText": "||ads.example^"})
                    self.assertEqual(host.finish()[0], 0)
            written = self.container.log()
            while len(tool.lines) < len(written):
                tool.next()
            self.assertEqual(tool.interrupt(), 0)
        self.assertEqual(sorted(one["message"] for one in tool.lines), sorted(written))
        said = log()
        self.assertEqual(len({one["file"] for one in said}), 2)
        self.assertEqual([one["time"] for one in said], sorted(one["time"] for one in said))
        self.assertEqual(sorted(one["message"] for one in said), sorted(written))
