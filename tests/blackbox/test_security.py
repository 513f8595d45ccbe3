"""What other users, extensions and what lies in the container can't do: see docs/security.md."""

import contextlib
import os
import re
import shutil
import subprocess
import unittest

from host import (APPLICATION, EXECUTABLE, NOBODY, ORIGIN, Container, Host, MainApplication, frame,
                  request)
from tool import TOOL

EVERYTHING = 31  # the log level
RULE = {"ruleText": "||ads.example^"}
FORGED = "2026/01/01 00:00:00:000  (main: send(_:)) Error forged"
BREAKS = ("\n", "\r", "\x0b", "\x0c", "\x1b[2J", "\x1c", "\x85", "\x9b2J", "\u2028", "\u2029", "\u202e")
HOSTILE = "x" + "".join(one + FORGED for one in BREAKS)
CONTROL = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]")


class Security(unittest.TestCase):
    def setUp(self):
        self.container = Container(EVERYTHING)

    @unittest.skipIf(os.geteuid() != 0, "only root can play another user")
    def test_another_user_reaches_nothing_whatever_the_umask(self):
        folder = self.container.folder
        folder.chmod(0o755)  # which is taken, so what is below must keep others out by itself
        self.addCleanup(os.umask, os.umask(0))
        with MainApplication(), Host() as host:
            self.assertEqual(host.ask("addRule", "1", RULE)["result"], "ok")
            below = [path for name in ("Data", "Notifications", "Applications", "Logs")
                     for path in [folder / name, *(folder / name).rglob("*")]]
            modes = {(path.is_dir(), path.is_socket(), path.stat().st_mode & 0o777) for path in below}
            self.assertEqual(modes, {(True, False, 0o700), (False, True, 0o600), (False, False, 0o600)})
            reach = ["find", *below, "-maxdepth", "0", "(", "-readable", "-o", "-writable", ")"]
            options = {"capture_output": True, "timeout": 60, "check": False}
            other = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
            self.assertEqual(subprocess.run(reach, **options, **other).stdout, b"")
            self.assertEqual(subprocess.run(reach, **options).stdout.count(b"\n"), len(below))

    def test_nothing_from_outside_forges_a_log_line_or_commands_a_terminal(self):
        browser = shutil.copy("/bin/bash", self.container.folder.parents[3] / f"{''.join(BREAKS)}forged")
        self.addCleanup(os.unlink, browser)
        page = {"url": HOSTILE, "port": 443, "forceStartApp": False, HOSTILE: HOSTILE}
        messages = [request("addRule", HOSTILE, {"ruleText": HOSTILE, HOSTILE: HOSTILE}),
                    request("getCurrentFilteringState", "1", page), request(HOSTILE, "2", page),
                    request("removeRule", "3", {"ruleText": HOSTILE}), HOSTILE.encode()]
        with MainApplication() as application:
            error = re.sub("[\n\r]", "", HOSTILE)  # it takes its orders by lines
            application.command(f"fault error command=removeRule {error}")
            said = subprocess.run([browser, "-c", '"$0" "$1"; exit', EXECUTABLE, ORIGIN], timeout=60,
                                  input=b"".join(map(frame, messages)), capture_output=True, check=True)
            self.assertGreaterEqual(said.stdout.count(b'"requestId"'), 3)  # there may be pushes
            log = self.container.log()  # fails when a line is not whole
            self.assertIn("\\x1B[2J" + FORGED, "".join(log))
            self.assertEqual([line for line in log if line.startswith("(main: send(_:)) Error f")], [])
            self.assertFalse([line for line in log if CONTROL.search(line)])
            with open(sorted(self.container.logs.iterdir())[-1], "a") as file:  # not by a host
                file.write(f"{FORGED} \x1b]0;title\x07 \x9b2J \u2028{FORGED}\n")
            for command in (["log"], ["log", "--json"], ["doctor"], ["doctor", "--json"], ["report", "-"]):
                with self.subTest(command):
                    text = subprocess.run([TOOL, *command], timeout=60, capture_output=True,
                                          check=False).stdout.decode()
                    self.assertTrue(text)
                    self.assertIsNone(CONTROL.search(text))

    def test_links_and_pipes_where_files_should_be(self):
        victim = self.container.folder.parents[3] / "victim"
        folder = self.container.folder
        for name, kind in ((self.container.settings, "symlink"), (self.container.settings, "pipe"),
                           (folder / "Data", "symlink"), (folder / "Data", "pipe"), (folder / "Logs", "symlink"),
                           (folder / "Logs" / APPLICATION, "symlink"), (self.container.logs, "symlink"),
                           (folder / "Notifications", "symlink"), (folder / "Applications", "symlink")):
            Container()
            name.parent.mkdir(parents=True, exist_ok=True)
            victim.mkdir()
            self.addCleanup(shutil.rmtree, victim, True)
            (victim / "kept").write_bytes(b"bplist00")
            os.mkfifo(name) if kind == "pipe" else name.symlink_to(
                victim / "kept" if name == self.container.settings else victim)
            with self.subTest(name.name, kind=kind), Host(stderr=subprocess.DEVNULL) as host:
                is_data = name.name == "Data"
                asked = request("addRule", "1", RULE) if is_data else request("getCurrentAppState", "1")
                with contextlib.suppress(BrokenPipeError):  # it has stopped
                    host.send(b"bad", asked)
                reply = host.receive()
                stops = is_data or name == self.container.settings or name.name in ("Logs", APPLICATION)
                self.assertEqual(reply is None, stops)
            self.assertEqual([path.name for path in victim.iterdir()], ["kept"])
            shutil.rmtree(victim)

    def test_no_environment_says_what_is_started(self):
        home = self.container.folder.parents[3]
        planted = home / "planted"
        (planted / "applications").mkdir(parents=True)
        self.addCleanup(shutil.rmtree, planted)
        (planted / "applications" / f"{APPLICATION}.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=x\nExec=touch {planted}/started\n")
        names = ("HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "PATH", "XDG_CONFIG_HOME")
        with Host(env=dict.fromkeys(names, str(planted))) as host:
            page = {"url": "", "port": 443, "forceStartApp": True}
            self.assertEqual(host.ask("getCurrentFilteringState", "1", page)["data"],
                             "Can't start main app.")
        self.assertFalse((planted / "started").exists())

    def test_many_small_frames_leave_nothing_behind(self):
        Container()
        with Host() as host:
            host.ask("init", "1")
            before = host.peak_memory()
            host.send_bytes(frame({}) * 300_000)
            host.ask("init", "2")
            self.assertLess(host.peak_memory() - before, 8 << 20)
