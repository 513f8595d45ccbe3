"""The tool for people, beside a link that lives."""

import contextlib
import fcntl
import os
import shutil
import stat
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from host import (DEADLINE, EXECUTABLE, MAIN_APPLICATION, NOBODY, Container, Host, MainApplication,
                  request)
from standstill import stopped
from tool import TOOL, parsed

TOKEN = "0b7a3c1e-5d2f-4e6a-9c8b-1f2e3d4c5b6a"
SECRETS = ("ads.example", "secret", "q=", "somebody", TOKEN)
PAGE = f"https://secret.example.org/somebody?q={TOKEN}"
RULE = "||ads.example^$third-party"
EVERYTHING = 31  # the log level


def nmctl(*arguments, tool=TOOL, **options):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, timeout=60, check=False,
                          **options)


def result(*arguments, status=(0, 1), **options):
    """What a command says as JSON. There is no result, but a problem, if its exit status is 2."""
    answer = nmctl(*arguments, "--json", **options)
    said = parsed(answer.stdout)
    assert said["exitStatus"] == answer.returncode and answer.returncode in status, said
    return said["result"] or said["problems"]


def outside_the_container():
    """What lies in the home, other than what host and application share."""
    home = Path(os.environ["HOME"])
    return {path for path in home.rglob("*") if path.relative_to(home).parts[0] != ".local"}


class Tool(unittest.TestCase):
    def setUp(self):
        self.container = Container(EVERYTHING)
        self.before = outside_the_container()  # other tests may have left something

    def test_status_counts_what_waits_and_who_observes(self):
        self.assertEqual(nmctl("status").returncode, 0)
        with MainApplication() as application, Host() as host:
            host.ask("getCurrentAppState", "1")
            requests = self.container.folder / "Data/ExchangeRequestContainer.data"
            with stopped(application.pid):  # what is asked waits
                os.waitid(os.P_PID, application.pid, os.WSTOPPED | os.WNOWAIT)
                host.send(request("addRule", "2", {"ruleText": RULE}))
                end = time.monotonic() + DEADLINE
                while not requests.stat().st_size:
                    self.assertLess(time.monotonic(), end)
                    os.sched_yield()
                said = result("status")
            host.receive()
            with open(requests, "rb") as file:
                fcntl.flock(file, fcntl.LOCK_EX)
                self.assertEqual(result("status")["exchangeFiles"][0]["lockHolders"], [os.getpid()])
                cause = f"process {os.getpid()} ({Path(os.readlink('/proc/self/exe')).name}) has held"
                self.assertIn(cause, nmctl("doctor", "--browser", "firefox").stdout)
        self.assertTrue(said["isApplicationRunning"])
        self.assertEqual([one["process"] for one in said["applications"]], [application.pid])
        self.assertEqual([(one["process"], one["isGone"]) for one in said["hosts"]], [(host.pid, False)])
        self.assertIn(said["hosts"][0]["replyFile"], [one["name"] for one in said["exchangeFiles"]])
        self.assertLess(said["hosts"][0]["seconds"], DEADLINE)
        self.assertEqual(said["exchangeFiles"][0]["waiting"], 1)
        self.assertIn(host.pid, [one["process"] for one in said["observers"]])

    def test_each_command_answers_in_json(self):
        result("register", "--plan", "--browser", "firefox", "--host", EXECUTABLE, status=(0,))
        for command in ("list", "unregister", "repair", "report -", "check-main-app --list"):
            result(*command.split(), status=(0,))
        self.assertIn("did you mean list?", result("lst", status=(2,))[0]["cause"])
        for command, code in (("", "usage"), ("lst", "usage"), ("list --browser none", "usage"),
                              ("doctor --fix", "usage"), ("list --dir a", "usage"),
                              ("talk --host /none", "host-not-startable")):
            self.assertEqual(result(*command.split(), status=(2,))[0]["code"], code, command)

    def test_report_holds_nothing_of_what_people_do(self):
        with MainApplication() as application, Host() as host:
            page = {"url": PAGE, "port": 443, "forceStartApp": False}
            host.ask("getCurrentFilteringState", "secret", page)
            host.ask("addRule", RULE, {"ruleText": RULE})
            self.container.install(f'"{MAIN_APPLICATION}"')
            application.command(f"fault error times=1 {PAGE} {RULE}")
            host.ask("removeRule", "1", {"ruleText": RULE})
            application.command("fault string-error times=1 The rule ads.example of somebody")
            host.ask("removeRule", "2", {"ruleText": RULE})
            host.send(b'{"secret":')
            host.send(RULE.encode())
            host.ask("getCurrentAppState", "3")
            host.finish()
            kept, link = (Path(os.environ["HOME"], name) for name in ("kept", "link"))
            kept.write_text("precious")
            link.symlink_to(kept)
            self.addCleanup(kept.unlink)
            self.addCleanup(link.unlink)
            for path in (("--force", link), (kept,)):
                self.assertEqual(nmctl("report", *path).returncode, 1)
            self.assertEqual(kept.read_text(), "precious")
            if os.geteuid() == 0:  # who may write to disks
                disk = kept.with_name("disk")
                os.mknod(disk, stat.S_IFBLK | 0o600, os.makedev(240, 0))
                self.addCleanup(disk.unlink)
                self.assertIn("is not a file, terminal or pipe", nmctl("report", disk).stderr)
            report = nmctl("report", "/dev/stdout").stdout  # a pipe
        log = "\n".join(self.container.log())
        self.assertIn("secret", log)  # there was something to leave out
        for secret in (*SECRETS, os.environ["HOME"], Path(os.environ["HOME"]).name):
            self.assertNotIn(secret, report)
        self.assertNotIn("The report is in", report)
        self.assertIn("Error occured…", report)
        self.assertRegex(report, r"Message len… \d+bytes")
        self.assertGreater(report.count("\n"), len(log.splitlines()))
        self.assertIn("main application: it runs and answers", report)

    def test_new_extension_writes_nothing_before_it_can_register(self):
        home = Path(os.environ["HOME"])
        folder, blocked = home / "mine", home / "blocked"
        self.assertEqual(nmctl("new-extension", folder, "--dir", blocked).returncode, 2)
        self.assertFalse(folder.exists())
        blocked.touch()
        command = ("new-extension", "--browser", "firefox", "--dir")
        failed = nmctl(*command, blocked, f"{folder}/")
        self.assertEqual(failed.returncode, 1)
        self.assertNotIn("Load it", failed.stdout)
        again = failed.stdout.splitlines()[-1].partition("corvane-nmctl ")[2].split()
        blocked.unlink()
        self.assertEqual(nmctl(*again).returncode, 0)
        self.assertIn(again[-1], (blocked / "com.corvane.nm.json").read_text())
        made = nmctl(*command[:-1], f"{folder}2/").stdout
        self.assertIn(f" {folder}2/manifest.json\n", made)
        check = result(*made.splitlines()[-1].split()[1:])
        self.assertNotIn("Firefox", [one["subject"] for one in check["findings"]
                                     if one["state"] == "wrong"])
        self.assertEqual(nmctl("unregister").returncode, 0)
        for path in (folder, f"{folder}2", blocked):
            shutil.rmtree(path)

    def test_bash_completes_commands_and_names_of_browsers(self):
        script = Path(__file__).parents[2] / "packaging/completions/corvane-nmctl.bash"
        for words, expected in (("doc", "doctor"), ("list --browser chromi", "chromium")):
            line = (f'source "$0"; COMP_WORDS=("$1" {words}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); '
                    '_corvane_nmctl "$1"; echo "${COMPREPLY[@]}"; complete -p corvane-nmctl')
            said = subprocess.run(["bash", "-c", line, script, TOOL], capture_output=True, text=True,
                                  timeout=60, check=True)
            self.assertEqual(said.stdout.splitlines(),
                             [expected, "complete -F _corvane_nmctl corvane-nmctl"])

    def test_doctor_gives_one_cause_and_one_fix(self):
        def found(state="wrong"):
            said = result("doctor", "--browser", "chromium", "--browser", "firefox")
            return [one for one in said["findings"] if one["state"] == state]

        (self.container.folder / "Data").mkdir(mode=0o700)
        subjects = ["Chromium", "Firefox", "main application"]
        self.assertEqual([one["subject"] for one in found()], subjects)
        chromium = Path(os.environ["HOME"], ".config/chromium/NativeMessagingHosts/com.corvane.nm.json")
        chromium.parent.mkdir(parents=True)
        chromium.write_text('{"name": "other"}')  # not ours: only moved
        fixing = ("doctor", "--fix", "--browser", "chromium", "--browser", "firefox")
        self.assertIn("not registered", nmctl(*fixing, input="n\n").stdout)
        nmctl(*fixing, input="y\ny\n")
        self.assertEqual([one["subject"] for one in found()], subjects[2:])
        self.assertTrue(chromium.with_suffix(".json.broken").exists())
        with MainApplication() as application:
            self.assertIn("it has no desktop entry", found()[0]["cause"])
            self.container.install("/usr/bin")
            self.assertIn("/usr/bin is no program", found()[0]["cause"])
            self.container.install(f'"{MAIN_APPLICATION}"')
            application.command("fault silent times=1")
            self.assertEqual(found(), [])
            self.assertEqual(found("note"), [])  # no error that the doctor has caused before
            left = '>"$1/.corvane-nmctl.$$"; exec "$0" doctor --browser firefox'  # of one killed
            said = subprocess.run(["sh", "-c", left, TOOL, self.container.folder / "Data"], timeout=60,
                                  stdout=subprocess.PIPE, text=True, check=True)
            self.assertNotIn("no file can be written", said.stdout)
            self.assertEqual(list(self.container.folder.glob("Data/ExchangeResponse*")), [])
            for registered in self.container.folder.glob("Applications/*/*"):
                registered.unlink()
            self.assertIn(f"it runs as process {application.pid}", found()[0]["cause"])
        self.assertEqual(nmctl("unregister").returncode, 0)
        shutil.rmtree(chromium.parents[2])
        self.assertEqual(outside_the_container(), self.before)

    @unittest.skipIf(os.geteuid(), "only root can mount")
    def test_file_systems_that_take_nothing_are_named_once(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["mount", "-t", "tmpfs", "-o", "noexec", "tmpfs", folder], check=True)
            self.addCleanup(subprocess.run, ["umount", folder], check=True)
            host = shutil.copy(EXECUTABLE, folder)
            os.chmod(host, 0o700)  # which others may not run, but that is not what is wrong
            said = nmctl("register", "--browser", "firefox", "--host", host).stderr
            self.assertIn("mounted noexec", said)
            self.doCleanups()
        with MainApplication():
            pass
        for folder, options, words in (("", "size=32k", "is full"), ("", "nr_inodes=9", "no inodes"),
                                       ("Logs", "size=32k", "is full"), ("Data", "ro", "read-only")):
            path = self.container.folder / folder
            path.mkdir(exist_ok=True)
            with self.subTest(words, folder=folder):
                subprocess.run(["mount", "-t", "tmpfs", "-o", f"mode=700,{options}", "tmpfs", path],
                               check=True)
                self.addCleanup(subprocess.run, ["umount", path], check=True)
                for name in ("Data", *map(str, range(9))) if not folder else ():
                    with contextlib.suppress(OSError):
                        (path / name).mkdir(mode=0o700)
                if folder != "Data":
                    with contextlib.suppress(OSError):
                        (path / "filling").write_bytes(bytes(1 << 20))
                said = result("doctor", "--browser", "chromium")
                causes = [one["cause"] for one in said["findings"]
                          if one["state"] == "wrong" and words in one["cause"]]
                self.assertEqual(len(causes), 1, said)
                self.doCleanups()

    def test_what_refuses_is_named_and_told_apart(self):
        options = {}
        if os.geteuid() == 0:  # whom no folder refuses
            tools = [shutil.copy(path, os.environ["HOME"])
                     for path in (EXECUTABLE, TOOL, MAIN_APPLICATION)]
            options = {"tool": tools[1], "user": NOBODY, "group": NOBODY, "extra_groups": []}
        for name, change, what in (
                ("Applications", lambda path: path.chmod(0), "not permitted to look into {}"),
                ("Notifications", lambda path: path.chmod(0o500), "not permitted to write to {}"),
                ("Library", lambda path: path.chmod(0), "not permitted to look into {}"),
                ("Logs", Path.touch, "{} is not a folder"),
                ("Data", lambda path: (path.rename(f"{path}.kept"), path.symlink_to("Data.kept")),
                 "{} is a symbolic link, which is not followed"),
                ("Data/ExchangeRequestContainer.data", lambda path: (path.unlink(), path.mkdir()),
                 "{} is not a file"),
                ("Data", lambda path: path.chmod(0), "not permitted to look into {}"),
                ("Logs", lambda path: (Path(f"{path}.kept/com.corvane.application").mkdir(parents=True),
                                       path.symlink_to("Logs.kept")),
                 "{} is a symbolic link, which is not followed"),
                ("Notifications", lambda path: path.chmod(0), "not permitted to look into {}"),
        ):
            container = Container(EVERYTHING)
            path = container.folder / name
            with self.subTest(what.format(name)):
                with MainApplication():
                    pass  # it has made what is in the container
                change(path)
                if options:
                    container.give_away()
                causes = [one["cause"] for one in
                          result("doctor", "--browser", "chromium", **options)["findings"]
                          if one["state"] == "wrong"]
                self.assertEqual(causes[1:], [what.format(path)])  # the browser is not registered
                self.assertEqual(list(container.folder.rglob(".corvane-nmctl-trials")), [])
        status = nmctl("status", "--json", **options)
        self.assertIn(what.format(path), status.stderr)
        self.assertIsNone(parsed(status.stdout)["result"]["exchangeFiles"][0]["isLeft"])
