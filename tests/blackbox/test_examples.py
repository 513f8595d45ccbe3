"""The example main applications keep every point of the contract."""

import subprocess
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from host import APPLICATION, DEADLINE, GROUP
from test_check_main_app import ELSEWHERE, check

EXAMPLES = Path(__file__).parents[2] / "examples/main-application"
PYTHON = EXAMPLES / "python/main_application.py"
GO = Path("/usr/bin/go")  # scripts/test --all installs it
KEPT = (b"ready\n", set(), 0, [])


def checked(command):
    """What the example says first, what is not shown to hold, its exit status, what it leaves."""
    with tempfile.TemporaryDirectory() as home:
        entry = Path(home, f".local/share/applications/{APPLICATION}.desktop")
        entry.parent.mkdir(parents=True)
        entry.write_text(f'[Desktop Entry]\nExec="{command}"\n')
        application = subprocess.Popen([*ELSEWHERE, home, command], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL)
        with application:
            try:
                said, names = application.stdout.readline(), check("--changes", home=home)[1]
            finally:
                application.terminate()
            status = application.wait(DEADLINE)
        container = Path(home, ".local/share/group-containers", GROUP)
        left = [*container.glob("Applications/*/*"), *container.glob("Notifications/.*"),
                *container.glob("Notifications/*.exchange/*")]
        return said, names["broken"] | names["not shown"], status, left


class Examples(unittest.TestCase):
    def test_each_keeps_the_contract(self):
        commands = [PYTHON]
        with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor() as pool:
            if GO.exists():
                commands.append(Path(folder, "main.go"))
                subprocess.run([GO, "build", "-o", commands[1], EXAMPLES / "go/main.go"], check=True)
            for command, seen in zip(commands, pool.map(checked, commands)):
                with self.subTest(command.name):
                    self.assertEqual(seen, KEPT)
        if not GO.exists():
            self.skipTest("golang-go is not installed; the others keep it")

    def test_one_that_dies_is_started_again(self):
        with tempfile.TemporaryDirectory() as home:
            program = Path(home, "application.py")
            text = PYTHON.read_text().replace("def openSettings(self):\n        pass",
                                                "def openSettings(self):\n        os._exit(1)")
            program.write_text(text)
            _, names = check("--changes", "--only", "command-openSettings", "--only", "command-appState",
                             "--only", "command-updateApp", "--start", f"exec python3 '{program}'", home=home)
            container = Path(home, ".local/share/group-containers", GROUP)
            self.assertEqual(names["broken"], {"command-openSettings"})
            self.assertEqual(names["holds"], {"command-appState", "command-updateApp"})
            self.assertEqual([*container.glob("Applications/*/*")], [])
