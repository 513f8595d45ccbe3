"""How the host starts, what it logs, and how it ends."""

import contextlib
import itertools
import os
import re
import resource
import shutil
import subprocess
import time
import unittest

from host import (ALONE, EXECUTABLE, HARD_STOP, NOBODY, PUSH, Container, Host, MainApplication,
                  Observers, frame, request)

SLICE = 5.0  # seconds; the host ends no later than this after the end of its input
STATE = request("getCurrentAppState", "s")
FAILURE = "Can't convert browser message to dictionary: "

# What makes a start impossible, and the reason that is given; each is done to a container that is
# well.
DAMAGE = {
    "no container": (lambda c: shutil.rmtree(c.folder), "is missing"),
    "a file in its place": (lambda c: (shutil.rmtree(c.folder), c.folder.write_bytes(b"")),
                            "is not a directory"),
    "its group may write": (lambda c: c.folder.chmod(0o770), "other users may write to"),
    "others may write": (lambda c: c.folder.chmod(0o707), "other users may write to"),
    "no folder for logs": (lambda c: (c.folder / "Logs").write_bytes(b""), ""),
    "settings that are no list": (lambda c: c.write_settings(b"bplist00 and nothing after it"), ""),
    "settings that are empty": (lambda c: c.write_settings(b""), ""),
    "a folder in their place": (lambda c: c.settings.mkdir(parents=True), ""),
    "settings of more than 16 MiB": (lambda c: c.write_settings({"x": bytes(16 << 20)}), ""),
    "settings of another kind": (lambda c: c.write_settings(["x"]), ""),
    "level below the range": (lambda c: c.write_settings({"DefaultsKeyLogLevel": -1}), ""),
    "level above the range": (lambda c: c.write_settings({"DefaultsKeyLogLevel": 2**32}), ""),
}
if os.geteuid() == 0:
    DAMAGE["a container of another user"] = (lambda c: c.give_away(), "belongs to another user")


class Leaving(unittest.TestCase):
    def test_the_end_of_input_is_not_waited_for(self):
        container = Container()
        begin = time.monotonic()
        with Host(stdin=subprocess.DEVNULL) as host:  # it has ended before the start
            self.assertEqual((host.wait(), host.process.stdout.read(), host.errors()), (0, b"", ""))
        with Host() as host:
            host.ask("init", "1")
            self.assertEqual((host.finish(), host.errors()), ((0, b""), ""))
        self.assertLess(time.monotonic() - begin, SLICE - 1)
        self.assertFalse([path for path in container.folder.rglob("*") if path.is_socket()])


class Starting(unittest.TestCase):
    def test_standard_descriptors_that_are_closed(self):
        Container()
        for closed in itertools.product((False, True), repeat=3):
            options = {"closed": [number for number in range(3) if closed[number]]}
            with self.subTest(closed=closed), Host(**options) as host:
                if not closed[0]:
                    # More than the pipe holds: when it has gone in, the host has started.
                    host.send(STATE, *[{"dropped": "x" * 1000}] * 300)
                    links = [os.readlink(f"/proc/{host.pid}/fd/{number}") for number in range(3)]
                    own = [link for link in links if ".log" in link or link.startswith("socket:")]
                    self.assertEqual(own, [])
                status, rest = host.finish()
                self.assertEqual((status, host.errors()), (0, ""))
                self.assertEqual(bool(rest), not closed[0] and not closed[1])

    def test_the_environment_is_not_read_and_any_level_is_taken(self):
        container = Container(2**32 - 1)
        container.folder.chmod(0o755)  # others may look
        elsewhere = container.folder.parents[3] / "elsewhere"
        variables = ("HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "TMPDIR", "PWD")
        with Host(env=dict.fromkeys(variables, str(elsewhere))) as host:
            host.send(b"bad", STATE)
            self.assertEqual(host.receive()["result"], "ok")
        self.assertTrue(container.log())
        self.assertFalse(elsewhere.exists())

    def test_what_stops_the_start(self):
        resource.setrlimit(resource.RLIMIT_CORE, (resource.getrlimit(resource.RLIMIT_CORE)[1],) * 2)
        for name, (damage, reason) in DAMAGE.items():
            damage(Container())
            with self.subTest(name), Host(stdin=subprocess.DEVNULL) as host:
                ended = os.waitid(os.P_PID, host.pid, os.WEXITED | os.WNOWAIT)
                # Killed: nothing was dumped.
                self.assertEqual((ended.si_code, ended.si_status), (os.CLD_KILLED, HARD_STOP))
                self.assertEqual(host.process.stdout.read(), b"")
                self.assertRegex(host.errors(), rf"\Acorvane-nm: .*{reason}.*\n\Z")

    def test_a_stop_does_not_wait_for_standard_error(self):
        shutil.rmtree(Container().folder)
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        os.set_blocking(writer, False)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(writer, bytes(4096))
        os.set_blocking(writer, True)
        with Host(stdin=subprocess.DEVNULL, stderr=writer) as host:
            os.close(writer)
            self.assertEqual(host.wait(), -HARD_STOP)

    def test_the_browser_may_end_before_the_first_page(self):
        browser = shutil.copy("/bin/bash", Container().folder.parents[3] / "browser")
        self.addCleanup(os.unlink, browser)
        starting = [browser, "-c", 'exec 3<&0; "$0" "$1" <&3 3<&- & wait', EXECUTABLE]
        with MainApplication("--print") as application, Host(starting) as host:
            # More than the pipe holds: when it has gone in, the host has started.
            host.send(*[{"dropped": "x" * 1000}] * 300)
            host.process.kill()
            host.process.wait()
            page = {"url": "https://example.org/", "port": 443, "forceStartApp": False}
            host.send(request("getCurrentFilteringState", "page", page))
            self.assertEqual(host.receive_until("page")[-1]["result"], "ok")
            seen = {"name": None}
            while seen["name"] != "getCurrentFilteringState":
                _, seen = application.exchanged()
            self.assertEqual(seen["body"]["app"], "browser")
            host.process.stdin.close()
            host.read(1 << 30)  # to the end: it has ended
            self.assertEqual(host.errors(), "")


class Logging(unittest.TestCase):
    def test_sending_is_logged_in_the_order_of_the_frames(self):
        container = Container(15)
        app_state = Observers(container, "appState")
        with MainApplication(), Host() as host:
            host.send(b"bad", STATE)  # the line of the first waits for the level to be in force
            replies = host.receive_until("s")
            for _ in range(50):  # replies of 4 entries, 5 and 6; to each second one by an exchange
                host.send(STATE, ALONE, request("init", "i", {"apiVersion": "2"}), ALONE)
                app_state.post()
            host.send(request("openSettings", "last"))
            replies += host.receive_until("last")
            host.send(b"bad", STATE)  # the line of the first waits for all lines before it
            replies += host.receive_until("s")
            host.finish()
        log = "\n".join(container.log())
        lines = re.findall(r"\(main: (.*)\) Response sending \(count: (\d+)\)$",
                           log[log.index(FAILURE):], re.MULTILINE)
        expected = [("raiseAppSate()" if reply["requestId"] == PUSH else "listen()",
                     str(len(reply))) for reply in replies]
        self.assertEqual({count for _, count in expected}, {"4", "5", "6"})
        self.assertGreater(len(lines), 201)
        self.assertEqual(lines, expected[-len(lines):])

    def test_lines_at_debug_level(self):
        def read(length, *outcome):
            texts = ("Message lenData: 4bytes", f"Message len: {length}bytes",
                     f"Data readed {length}bytes length.",
                     f"Message received {length}bytes length.", *outcome)
            lines = [f"(main: listen()) {text}" for text in texts]
            return ["Debug trace - main: listen()", *lines]

        container = Container(15)
        with Host() as host:
            # Before the host reads on, a failure's line is in the file, and all lines before it;
            # the change of the level that the start asks for has then been made, too.
            host.send(b"bad", STATE, request("init", "2", {"apiVersion": "1"}), b"[]", b"")
            self.assertEqual([host.receive()["id"] for _ in range(2)], ["1", "2"])
            host.send(b"bad", STATE)
            host.receive()
            host.send_bytes(frame(STATE)[:2])  # the input ends within a length
            host.finish()
        lines = ["".join(line.partition(FAILURE)[:2]) for line in container.log()]
        expected = read(38) + read(56) + read(2) + read(0, FAILURE) + read(3, FAILURE)
        received = [line for line in lines if "listen()" in line and "Response" not in line]
        first = next(i for i, line in enumerate(received) if FAILURE in line) + 1
        self.assertEqual(received[first : first + len(expected)], expected)
        ends = [read(0)[:1] + [f"(main: listen()) Message lenData: {count}bytes"] for count in (2, 0)]
        self.assertEqual(received[-4:], sum(ends, []))

    def test_log_folder_that_refuses_costs_only_lines(self):
        container, options = Container(), {}
        container.logs.mkdir(parents=True, mode=0o500)
        if os.geteuid() == 0:  # whom no folder refuses; nobody can't see into every build folder
            copy = shutil.copy(EXECUTABLE, container.folder.parents[3])
            container.give_away()
            options = {"executable": copy, "user": NOBODY, "group": NOBODY, "extra_groups": []}
        with Host(**options) as host:
            host.send(b"bad", STATE)
            self.assertEqual(host.receive()["result"], "ok")
            self.assertEqual(host.finish(), (0, b""))
        self.assertEqual(list(container.logs.iterdir()), [])
