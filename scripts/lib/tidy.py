"""tidy.py [--quick] BUILDFOLDER: clang-tidy on all that the configured build there compiles.

With --quick it leaves out the static analyser and the checks that don't suit joined sources. Prints
what clang-tidy finds; the exit status says whether it found nothing. A source that passed is not
looked at again until it, a header that it includes, its command or the configuration changes.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^#include "(.+)"', re.M)
NOT_OURS = {"Base/BoostJson.cpp"}
ANALYSER = "-clang-analyzer-*"
# It goes through all templates of the libraries, and is for what the host is made of.
VALUE_PARAMETERS = "-performance-unnecessary-value-param"
# Not for joined sources: these do include sources, and exception-escape follows calls through all of
# them, to exceptions of the library that can't be thrown.
ALONE = "-bugprone-suspicious-include,-bugprone-exception-escape"


def included(source, folders):
    """`source` and all of the project and generated that it includes, at any depth."""
    found, waiting = set(), [source]
    while waiting:
        file = waiting.pop()
        if file in found:
            continue
        found.add(file)
        for name in INCLUDE.findall(file.read_text()):
            waiting += [path for folder in folders if (path := folder / name).is_file()][:1]
    return sorted(found)


class Source:
    def __init__(self, build, entry, is_quick):
        self.build, self.command = build, entry["command"]
        self.file = Path(entry["file"])
        # One that joins others lies below the build folder as its target does below the root.
        place = self.file.relative_to(build if self.file.is_relative_to(build) else ROOT)
        self.name = str(place)
        is_host = place.parts[0] not in ("tests", "bench", "simulation", "tools")
        checks = [] if is_host else [ANALYSER, VALUE_PARAMETERS]
        if is_quick:
            checks += [ANALYSER, ALONE]
        self.checks = ",".join(checks)

    def stamp(self, common):
        """The file that says: just this text has passed."""
        text = hashlib.sha256(common + f"{self.checks} {self.command}".encode())
        folders = [Path(one[2:]) for one in shlex.split(self.command) if one.startswith("-I")]
        for file in included(self.file, folders):
            text.update(f"{file}\n".encode() + file.read_bytes())
        return ROOT / "build/tidy" / text.hexdigest()

    def passes(self, common):
        stamp = self.stamp(common)
        if stamp.exists():
            return True
        done = subprocess.run(["clang-tidy", "-p", self.build, "--quiet", f"--checks={self.checks}",
                               "--extra-arg=-Wno-unknown-warning-option", self.file],
                              capture_output=True, text=True)
        # It counts what it suppressed on standard error.
        errors = re.sub(r"^.*warnings?( and \d+ errors?)? generated\.\n", "", done.stderr, flags=re.M)
        print(done.stdout + errors, end="", flush=True)
        if done.returncode == 0:
            stamp.touch()
        return done.returncode == 0


def main(arguments):
    build = Path(arguments[-1]).resolve()
    entries = json.loads((build / "compile_commands.json").read_text())
    by_file = {entry["file"]: entry for entry in entries if not entry["file"].endswith(".c")}
    sources = [Source(build, entry, "--quick" in arguments) for entry in by_file.values()]
    common = b"".join(path.read_bytes() for path in (ROOT / ".clang-tidy", Path(__file__)))
    (ROOT / "build/tidy").mkdir(exist_ok=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        passed = list(pool.map(lambda one: one.passes(common),
                               (one for one in sources if one.name not in NOT_OURS)))
    return 0 if all(passed) else 1


sys.exit(main(sys.argv[1:]))
