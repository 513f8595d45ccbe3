"""package_use.py PACKAGE: uses the package PACKAGE, which is installed, as its users do.

Runs below private-home, as root. Both browsers start the host by the manifests for all users; then
the package is installed anew under a host that runs.
"""

import os
import subprocess
import sys
from pathlib import Path

import browser

HOST = "/usr/libexec/corvane-nm/corvane-nm"
os.environ["CORVANE_NM"] = HOST

from host import Container, Host  # noqa: E402: it looks for the host when it is read


def main(package):
    Container()
    home = Path(os.environ["HOME"])
    for name in ("chromium", "firefox"):
        error = browser.connect_error(name, browser.EXTENSION, home)
        if error is not None:
            sys.exit(f"{name} says: {error}")
        print(f"  used by {name}, by the manifest for all users")
    with Host() as host:
        before = host.ask("init", "1", {"apiVersion": "1"})
        options = ["-o", "DPkg::Lock::Timeout=300", "--yes", "--reinstall"]
        subprocess.run(["apt-get", "-qq", *options, "install", package], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        program = os.readlink(f"/proc/{host.pid}/exe")
        if not program.endswith(" (deleted)"):
            sys.exit(f"the update did not replace the program: {program}")
        after = host.ask("init", "2", {"apiVersion": "1"})
        if (before["result"], after["result"], host.finish()) != ("ok", "ok", (0, b"")):
            sys.exit("a host that ran while the package was updated does not answer any more")
    print("  updated: a host that ran goes on, the next one is the new program")


main(sys.argv[1])
