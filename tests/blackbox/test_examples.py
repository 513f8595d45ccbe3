"""The example main applications keep every point of the contract."""

import subprocess
import tempfile
import unittest
from pathlib import Path

from host import APPLICATION, DEADLINE, GROUP
from test_check_main_app import ELSEWHERE, check

EXAMPLES = Path(__file__).parents[2] / "examples/main-application"
KEPT = (b"ready\n", set(), 0, [])


def checked(command):
    """What the example says first, what is not shown to hold, its exit status, what it leaves."""
    with tempfile.TemporaryDirectory() as home:
        entry = Path(home, f".local/share/applications/{APPLICATION}.desktop")
        entry.parent.mkdir(parents=True)
        entry.write_text(f"[Desktop Entry]\nExec={command}\n")
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
        self.assertEqual(checked(EXAMPLES / "python/main_application.py"), KEPT)
