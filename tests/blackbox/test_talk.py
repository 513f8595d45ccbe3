"""Talking with a host by hand."""

import os
import pty
import subprocess
import time
import unittest
from select import POLLIN

from host import DEADLINE, EXECUTABLE, Container, MainApplication, wait_for
from tool import TOOL, Tool, parsed

TALK = ("talk", "--host", EXECUTABLE)
RULE = 'example.org##.ad[title="a \\b"] > i'
SCRIPT = r"""
# what a script may hold
init apiVersion=1
addRule ruleText="example.org##.ad[title=\"a \\b\"] > i"
addRule ruleText=443
addRule ruleText=||a.example^
wait
removeRule ruleText='||never.added^'
setFilteringStatus url=https://a.example/?a=b isEnabled=true isHttpsEnabled:=false
getCurrentFilteringState url=https://a.example/?a=b port=443 forceStartApp=false
wait
removeCustomRules url=https://a.example/
{"type":"getCurrentAppState","id":"its own"}"""


def talk(*arguments, script=None):
    return subprocess.run([TOOL, *TALK, *arguments], input=script or "", capture_output=True,
                          text=True, timeout=60, check=False)


def read_until(descriptor, expected):
    shown, end = b"", time.monotonic() + DEADLINE
    while expected not in shown:
        wait_for(descriptor, POLLIN, end)
        shown += os.read(descriptor, 4096)
    return shown


class Talk(unittest.TestCase):
    def setUp(self):
        self.container = Container()

    def test_a_script_is_answered_line_by_line(self):
        with MainApplication() as application:
            said = talk("--json", script=SCRIPT)
            self.assertEqual(application.state()["rules"], [RULE, "443"])
        events = [parsed(line) for line in said.stdout.splitlines()]
        self.assertEqual([one["event"] for one in events], ["start"] + ["reply"] * 9, said.stderr)
        replies = {one["type"]: one["message"] for one in events[1:]}
        refused = {kind for kind, reply in replies.items() if reply["result"] == "error"}
        self.assertEqual((said.returncode, refused), (1, {"removeRule"}))
        self.assertTrue(replies["init"]["parameters"]["isValidatedOnHost"])
        page = replies["getCurrentFilteringState"]["parameters"]
        self.assertTrue(page["isFilteringEnabled"] and page["isPageFilteredByUserFilter"])
        self.assertFalse(page["isHttpsFilteringEnabled"])
        self.assertEqual(replies["getCurrentAppState"]["requestId"], "its own")
        self.assertTrue(all(one["milliseconds"] > 0 for one in events[1:]))

    def test_the_exit_status_tells_of_what_was_not_answered(self):
        said = talk("-c", "init", "-c", "quit")  # waits for the answer
        self.assertEqual((said.returncode, "✓ init" in said.stdout), (0, True), said.stdout)
        self.assertIn("did you mean addRule?", talk("-c", "adRule").stderr)
        for line in ("addRule ruleText", 'addRule ruleText="a', "addrule a=a", "{", "addRule a:=["):
            said = talk("-c", line)
            self.assertEqual((said.returncode, said.stdout), (2, ""), line)
        said = talk("--limit", "0.2", "-c", '{"type":"unknown","id":"1"}')
        self.assertEqual(said.returncode, 2)
        self.assertEqual(said.stdout, "✗ unknown (1): no answer within 0.2 s\n")
        self.container.folder.rename(self.container.folder.with_name("away"))  # the host stops
        said = talk("-c", "init")
        self.assertEqual(said.returncode, 2)
        self.assertRegex(said.stdout, r"the host has ended \(signal 6\); it says: .*\n.*no answer")

    def test_watching_shows_pushes_until_interrupted(self):
        watching = (*TALK, "--watch", "--json", "-c", "openSettings")
        with MainApplication() as application, Tool(*watching) as tool:
            self.assertEqual([tool.next()["event"], tool.next()["event"]], ["start", "reply"])
            application.command("protection off")
            while tool.next()["message"]["appState"]["isProtectionEnabled"]:
                pass  # an announcement of before
            self.assertEqual(tool.lines[-1]["event"], "push")
            self.assertEqual(tool.interrupt(), 0)

    def test_only_a_terminal_gets_prompt_and_colours_and_never_control_characters(self):
        master, slave = pty.openpty()
        with MainApplication() as application:
            application.command("fault error command=addRule \x1b]0;title\x07")
            plain = talk("-c", "addRule ruleText=a")
            tool = subprocess.Popen([TOOL, *TALK], stdin=slave, stdout=slave, stderr=slave)
            self.addCleanup(tool.wait)
            self.addCleanup(tool.kill)
            os.close(slave)
            shown = read_until(master, b"corvane-nm> ")
            os.write(master, b"\x15ge\x7f\x7fadd\truleText=a\n")  # erases, completes
            shown += read_until(master, b"x1B]0;title")
            application.command("fault none")
            os.write(master, b"\x1b[Ab\n")  # the line before, and more
            shown += read_until(master, b"addRule (2)")
            self.assertEqual(application.state()["rules"], ["ab"])
            os.write(master, b"\x04")
            self.assertEqual(tool.wait(DEADLINE), 1)
        os.close(master)
        self.assertIn("\\x1B]0;title\\x07", plain.stdout)
        self.assertNotRegex(plain.stdout, "[\x00-\x09\x0b-\x1f]|corvane-nm>")
        self.assertIn(b"\x1b[31m", shown)
        self.assertNotIn(b"\x1b]0", shown)
