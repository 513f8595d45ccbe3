"""Real browsers without a window, each with a home, a profile and an extension of its own.

    with start("firefox", home) as browser:
        browser.install(EXTENSION)
        page = browser.open("popup.html")
        page.until("document.body.dataset.link === 'live'")

Nothing here sleeps: every wait ends with its event or, as a failure, at its deadline. Browsers keep
the home of their environment, hosts that of the user database: run this below private-home.
"""

import contextlib
import json
import os
import select
import signal
import subprocess
import tempfile
import time
from pathlib import Path

EXTENSION = Path(__file__).resolve().parents[2] / "packaging/extension"
HOST = "com.corvane.nm"  # the host's name in manifests
DEADLINE = 40.0  # seconds, for any one answer of a browser
END_DEADLINE = 10.0  # seconds, for a browser and for its hosts to go
MUTE_LIMIT = 9.0  # seconds, after which a host that says nothing counts as mute

NO_TEXT = "(no text)"  # the browser tells its extension of the end, but gives no error
MUTE = "(nothing: no answer, no error)"

# One connection and one greeting; gives ["reply"], ["ended", the browser's text or null], ["mute"].
CONNECT = """new Promise((resolve) => {
  const api = globalThis.browser ?? chrome;
  try {
    const port = api.runtime.connectNative(%s);
    port.onMessage.addListener(() => resolve(["reply"]));
    port.onDisconnect.addListener((ended) =>
      resolve(["ended", (ended.error ?? api.runtime.lastError)?.message ?? null]));
    port.postMessage({type: "init", id: "1", parameters: {apiVersion: "1"}});
  } catch (error) {
    resolve(["ended", error.message]);
  }
  setTimeout(() => resolve(["mute"]), %d);
})"""

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


def kill_hosts(descriptors):
    for descriptor in descriptors:
        signal.pidfd_send_signal(descriptor, signal.SIGKILL)
    if wait_for_end(descriptors):
        raise RuntimeError("a killed host does not end")


def start(name, home, profile=None):
    """Starts "chromium" or "firefox" in the folder `home`; further profiles want names."""
    from chromium import Chromium
    from firefox import Firefox

    return {"chromium": Chromium, "firefox": Firefox}[name](Path(home), profile)


def write_probe(extension, folder):
    """Writes an extension that is `extension` to browsers, and of which nothing runs by itself."""
    manifest = json.loads((extension / "manifest.json").read_text())
    kept = ("manifest_version", "name", "version", "key", "browser_specific_settings")
    probe = {key: manifest[key] for key in kept if key in manifest}
    probe["permissions"] = ["nativeMessaging"]
    (folder / "manifest.json").write_text(json.dumps(probe))
    (folder / "blank.html").write_text("<!DOCTYPE html><title>Blank</title>")


def connect_error(name, extension, home, host=HOST):
    """What the browser `name` in `home` tells `extension` that connects to the host `host`.

    None when the host answers the greeting; otherwise the browser's own text, NO_TEXT when it gives
    none, or MUTE when nothing happens at all. `extension` is a folder, of which only the identity
    is used. Manifests are looked for as always: for Chromium in `.config/chromium` of the home, for
    Firefox in `.mozilla`, and in the system's folders.
    """
    with tempfile.TemporaryDirectory() as folder, start(name, home) as browser:
        write_probe(Path(extension), Path(folder))
        browser.install(Path(folder))
        said = said_on(browser.open("blank.html"), host)
        browser.quit()
        wait_for_end([os.pidfd_open(browser.process.pid)])
    return said


def said_on(page, host=HOST):
    """The same on a page of an extension that is open already."""
    outcome = page.evaluate(CONNECT % (json.dumps(host), MUTE_LIMIT * 1000))
    if outcome[0] == "ended":
        return NO_TEXT if outcome[1] is None else outcome[1]
    return MUTE if outcome[0] == "mute" else None
