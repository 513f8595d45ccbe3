"""Each fault provoked for real: what the host does, what its browser is told, and what comes after.

Prints a line for each with what was seen. Runs below tests/faults/run only.
"""

import contextlib
import datetime
import os
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from asking import PAGE, TIMEOUT, page_in, receive, send
from host import ALONE, DEADLINE, EXECUTABLE, PUSH, Container, Host, MainApplication, Observers, \
    wait_for
from standstill import stopped, stopped_holder

DYNAMIC = Path(EXECUTABLE).with_name("corvane-nm-failing")  # can be made to load a library
REPLY, LAST_SLICE, NAME_SERVICE = 3.0, 5.0, 5.0  # seconds
TOLERANCE = 10.0  # seconds; a busy machine comes late, a host that has no limit much later


def page_of(host, number):
    return f"{number}.{host.pid}.invalid"


class Faults(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.system_log = self.enterContext(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
        self.system_log.bind("/dev/log")
        self.addCleanup(os.unlink, "/dev/log")
        self.number = self.taken = 0

    def link(self, hosts=1, **options):
        """Hosts and a main application that has been announced: no push is due any more."""
        self.hosts = [self.enterContext(Host(**options)) for _ in range(hosts)]
        for host in self.hosts:
            self.assertFalse(self.ask(host, "getCurrentAppState")["appState"]["isRunning"])
        self.application = self.enterContext(MainApplication())
        for host in self.hosts:
            self.assertEqual(host.receive()["requestId"], PUSH)
            self.assert_works(host)

    def system_lines(self):
        lines = b""
        with contextlib.suppress(BlockingIOError):
            while True:
                lines += self.system_log.recv(1 << 14, socket.MSG_DONTWAIT) + b"\n"
        return lines.decode()

    def ask(self, host, kind=PAGE, **parameters):
        self.number += 1
        page = page_of(host, self.number)
        send(host, kind, page, **parameters)
        return receive(host, page)

    def assert_works(self, host):
        """The answer is there, and is that to this request of this host."""
        reply = self.ask(host)
        self.assertEqual(page_in(reply), page_of(host, self.number), reply)
        self.assertTrue(reply["appState"]["isRunning"])

    def assert_waits_no_longer(self, host, exchanges=2):
        """The request fails, once its exchanges have had their time and no later."""
        begin = time.monotonic()
        reply = self.ask(host)
        seconds = time.monotonic() - begin
        self.assertEqual((reply["data"], reply["appState"]["isRunning"]), (TIMEOUT, False))
        self.assert_took(seconds, exchanges * REPLY)
        self.waited = f"told of it after {seconds:.1f} s"

    def assert_took(self, seconds, limit):
        self.assertTrue(limit - 0.5 < seconds < limit + TOLERANCE, seconds)

    def assert_ends(self, host):
        self.assertEqual((host.finish(LAST_SLICE + TOLERANCE)[0], host.errors()), (0, ""))

    def assert_withstood(self, fault, text, end):
        """Each host waits no longer and the system log has `text`; after `end`, all is well."""
        for host in self.hosts:
            self.assert_waits_no_longer(host)
        self.assertRegex(self.system_lines(), text)
        end()
        for host in self.hosts:
            self.assert_works(host)
            self.assertEqual(self.ask(host, "setProtectionStatus", isEnabled=True)["result"], "ok")
        for host in self.hosts:
            self.assert_ends(host)
        self.seen(fault, self.waited)

    def seen(self, fault, *texts):
        print(f"\nfault: {fault}: {'; '.join(texts)}", flush=True)

    def await_taken(self, count):
        """Returns once the main application has taken `count` more requests than last time."""
        end, before = time.monotonic() + DEADLINE, self.taken
        while (taken := self.application.state()["exchange"]["taken"]) < before + count:
            self.assertLess(time.monotonic(), end, "the requests are not taken")
        self.taken = taken

    def mount(self, *arguments):
        subprocess.run(["mount", *arguments, self.container.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", self.container.folder], check=True)

    def remount(self, mode):
        subprocess.run(["mount", "-o", f"remount,bind,{mode}", self.container.folder], check=True)

    def test_stopped_with_the_lock_of_the_requests(self):
        """Exchanges stand still for as long as that lasts, and nothing else does."""
        self.link(2)
        held, leaving = self.hosts
        with stopped_holder(self.container.folder / "Data/ExchangeRequestContainer.data"):
            for host in self.hosts:
                send(host, PAGE, page_of(host, 100))
            held.send(ALONE)
            self.assertEqual(receive(held, "alone")["data"], "Invalid request paramaters.")
            self.assertFalse(select.select([held.process.stdout], [], [], REPLY + 1)[0])
            self.assert_ends(leaving)
        self.assertEqual(page_in(receive(held, page_of(held, 100))), page_of(held, 100))
        self.assert_works(held)
        self.seen("stopped with the lock of the requests", "answers without an exchange at once",
                  "the end of input ends a host", "the rest once the process goes on")

    def test_stopped_main_application_and_its_full_queue(self):
        """No post waits for a full queue for long; what was asked meanwhile is nobody's answer."""
        self.link()
        (host,) = self.hosts
        listening = Observers(self.container, "exchange")
        self.await_taken(0)
        with stopped(self.application.pid):
            with self.assertRaises(BlockingIOError):
                while True:
                    listening.post(socket.MSG_DONTWAIT)
            self.assert_waits_no_longer(host)
        self.await_taken(2)  # they are carried out all the same
        self.ask(host)  # may find the late answer to the state in place of its own
        self.assert_works(host)
        self.seen("stopped main application, full queue", self.waited)

    def test_full_disk(self):
        self.mount("-t", "tmpfs", "-o", "size=512k,mode=700", "tmpfs")
        self.link()
        ballast = self.container.folder / "ballast"
        self.hosts[0].send(b"bad")  # its log has a block of the disk
        self.assert_works(self.hosts[0])
        with open(ballast, "wb", 0) as file, self.assertRaisesRegex(OSError, "No space"):
            while True:
                file.write(bytes(4096))
        self.hosts.append(self.enterContext(Host()))
        self.assert_withstood("full disk", "No space", ballast.unlink)
        self.assertTrue(any("No space" in line for line in self.container.log()))

    def test_read_only_container(self):
        self.link()
        self.hosts.append(self.enterContext(Host()))  # has asked for nothing yet
        self.mount("--bind", self.container.folder)
        self.remount("ro")
        self.hosts.append(self.enterContext(Host()))
        self.assert_withstood("read-only container", "no exchange: open .*: Read-only file system",
                              lambda: self.remount("rw"))

    def test_container_removed(self):
        self.link()
        (host,) = self.hosts
        shutil.rmtree(self.container.folder)
        self.assert_waits_no_longer(host, 1)
        self.assertFalse(self.container.folder.exists())  # it is not a host's to make
        self.assertIn(TIMEOUT, self.system_lines())
        with Host() as late:
            self.assertEqual(late.wait(), -signal.SIGABRT)
            self.assertRegex(late.errors(), r"\Acorvane-nm: .+\n\Z")
        self.application.restart()
        with Host() as fresh:
            self.assert_works(fresh)
        self.assert_waits_no_longer(host)  # until its browser starts it anew
        self.assert_ends(host)
        self.seen("container removed", self.waited)

    def test_silent_name_service(self):
        """Where the file is not asked first, getent is, and for a while only."""
        home, folder = os.environ["HOME"], Path(self.enterContext(tempfile.TemporaryDirectory()))
        os.mkfifo(folder / "alive")
        getent, configuration = folder / "getent", folder / "nsswitch.conf"
        configuration.write_text("passwd: sss files\n")
        getent.write_text(f"#!/bin/sh\necho user:x:{os.geteuid()}:0::{home}:\n")
        getent.chmod(0o755)
        for file, path in (getent, "/usr/bin/getent"), (configuration, "/etc/nsswitch.conf"):
            subprocess.run(["mount", "--bind", file, path], check=True)
            self.addCleanup(subprocess.run, ["umount", path], check=True)
        self.link()
        getent.write_text(f"#!/bin/sh\nexec /bin/sleep 1000 3>{folder}/alive\n")
        begin = time.monotonic()
        with Host() as host, open(os.open(folder / "alive", os.O_RDONLY)) as alive:
            self.assertEqual(host.wait(), -signal.SIGABRT)
            self.assert_took(time.monotonic() - begin, NAME_SERVICE)
            self.assertIn("read the user database: /usr/bin/getent: it did not end", host.errors())
            wait_for(alive, select.POLLHUP, time.monotonic() + DEADLINE)
        getent.write_text("#!/bin/sh\nexit 2\n")
        with Host() as host:
            self.assertEqual(host.wait(), -signal.SIGABRT)
            self.assertIn("read the user database: getent finds no user", host.errors())
        self.seen("silent name service", "a host stops after 5 s")

    def test_clock_set_back_and_forth(self):
        library, *_ = Path("/usr/lib").glob("*/faketime/libfaketime.so.1")
        clock = self.container.folder.parent / "clock"
        clock.write_text("+0")
        self.link(env=os.environ | {
            "LD_PRELOAD": str(library), "FAKETIME_TIMESTAMP_FILE": str(clock),
            "FAKETIME_NO_CACHE": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1", "NO_FAKE_STAT": "1"},
            executable=DYNAMIC)
        (host,) = self.hosts
        self.application.command("fault silent")
        host.send(b"bad")  # begins a log
        self.ask(host, "setProtectionStatus")
        for days, files in (3, 2), (-400, 2), (0, 2), (6, 3):
            self.await_taken(0)
            send(host, "getCurrentAppState", page_of(host, 100))
            begin = time.monotonic()
            self.await_taken(1)
            clock.write_text(f"{days:+}d")
            self.assertFalse(receive(host, page_of(host, 100))["appState"]["isRunning"])
            waited = time.monotonic() - begin
            self.assert_took(waited, REPLY)  # and the error line was logged by the new time
            send(host, "setProtectionStatus", page_of(host, 101))
            shown = receive(host, page_of(host, 101))["appState"]["lastCheckTime"]
            today = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days)
            self.assertLess(abs(datetime.datetime.fromisoformat(shown) - today),
                            datetime.timedelta(minutes=1))
            self.assertEqual(len(list(self.container.logs.iterdir())), files)
            self.seen(f"clock set to {days:+} days", f"a wait took {waited:.1f} s",
                      *(path.name for path in sorted(self.container.logs.iterdir())))
        self.application.command("fault none")
        self.assert_works(host)
