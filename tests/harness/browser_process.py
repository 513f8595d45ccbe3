"""What Chromium and Firefox share: the process, its environment, and its end."""

import contextlib
import os
import select
import subprocess
import time
from pathlib import Path

HOST = "com.corvane.nm"  # the host's name in manifests
DEADLINE = 40.0  # seconds, for any one answer of a browser
END_DEADLINE = 10.0  # seconds, for a browser and for its hosts to go

# Resolves once the expression holds; looks again whenever the page changes.
UNTIL = """new Promise((resolve) => {
  const look = () => { if (%s) { watch.disconnect(); resolve(true); } };
  const watch = new MutationObserver(look);
  watch.observe(document, {subtree: true, childList: true, attributes: true, characterData: true});
  look();
})"""


class Page:
    """A page in a tab. Browsers fill in `evaluate`, `resize`, `screenshot` and `close`."""

    def until(self, condition):
        """Returns once the JavaScript `condition` holds, which must follow from the page's nodes."""
        try:
            self.evaluate(UNTIL % condition)
        except RuntimeError as failure:
            shown = self.evaluate("document.body.outerHTML")
            raise RuntimeError(f"{condition} does not come true: {failure}; {shown}") from None


class Browser:
    """What browsers share. Leaving the `with` block kills what still runs."""

    name: str
    manifests: Path  # where it looks for those of its user first
    process: subprocess.Popen
    origin = None  # of the extension's pages, once it is installed

    def __init__(self, home, profile):
        self.home, self.profile = home, profile
        profile.mkdir(parents=True, exist_ok=True, mode=0o700)
        self.log = open(profile.with_name(profile.name + ".log"), "wb")
        kept = {key: value for key, value in os.environ.items() if not key.startswith("XDG_")}
        self.environment = kept | {"HOME": str(home), "MOZ_CRASHREPORTER_DISABLE": "1"}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()
        self.log.close()

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def register(self, executable):
        """Has it know the host, as people do; gives the manifest."""
        command = [executable.with_name("corvane-nmctl"), "register", "--browser", self.name,
                   "--dir", self.manifests, "--host", executable]
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True)
        if done.returncode:
            raise RuntimeError(f"the host is not registered: {done.stdout}{done.stderr}")
        return self.manifests / f"{HOST}.json"

    def hosts(self, executable):
        """Process descriptors of the hosts that it has started from `executable`."""
        found = []
        for entry in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                father = int((entry / "stat").read_text().rsplit(")", 1)[1].split()[1])
                if father == self.process.pid and (entry / "exe").resolve() == executable:
                    found.append(os.pidfd_open(int(entry.name)))
        return found

    def end(self, executable):
        """Has it end in good order; raises RuntimeError when it or one of its hosts stays."""
        own, hosts = os.pidfd_open(self.process.pid), self.hosts(executable)
        self.quit()
        left = wait_for_end([own, *hosts])
        if own in left:
            raise RuntimeError("the browser does not end")
        if left:
            raise RuntimeError(f"hosts that are left after the browser's end: {len(left)}")


def wait_for_end(descriptors):
    """Which of the processes still run at the deadline."""
    end, left = time.monotonic() + END_DEADLINE, set(descriptors)
    while left:
        ended = select.select(list(left), [], [], max(0.0, end - time.monotonic()))[0]
        if not ended:
            break
        left.difference_update(ended)
    return left
