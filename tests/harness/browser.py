"""Real browsers without a window, each with a home, a profile and an extension of its own.

    with start("firefox", home) as browser:
        browser.install(EXTENSION)
        page = browser.open("popup.html")
        page.until("document.body.dataset.link === 'live'")

Nothing here sleeps: every wait ends with its event or, as a failure, at its deadline. Browsers keep
the home of their environment, hosts that of the user database: run this below private-home.
"""

import json
import os
import signal
import tempfile
from pathlib import Path

from browser_process import HOST, wait_for_end
from chromium import Chromium
from firefox import Firefox

EXTENSION = Path(__file__).resolve().parents[2] / "packaging/extension"
MUTE_LIMIT = 9.0  # seconds, after which a host that says nothing counts as mute

NO_TEXT = "(no text)"  # the browser tells its extension of the end, but gives no error
MUTE = "(nothing: no answer, no error)"

# One connection and one greeting; gives ["reply"], ["ended", the browser's text or null], ["mute"].
CONNECT = """new Promise((resolve) => {
  const api = globalThis.browser ?? chrome;
  try {
    const port = api.runtime.connectNative(%s);
    port.onMessage.addListener((message) => {
      if (message.requestId === "1") resolve(["reply"]);
    });
    port.onDisconnect.addListener((ended) =>
      resolve(["ended", (ended.error ?? api.runtime.lastError)?.message ?? null]));
    port.postMessage({type: "init", id: "1", parameters: {apiVersion: "1"}});
  } catch (error) {
    resolve(["ended", error.message]);
  }
  setTimeout(() => resolve(["mute"]), %d);
})"""


def kill_hosts(descriptors):
    for descriptor in descriptors:
        signal.pidfd_send_signal(descriptor, signal.SIGKILL)
    if wait_for_end(descriptors):
        raise RuntimeError("a killed host does not end")


def start(name, home, profile=None):
    """Starts "chromium" or "firefox" in the folder `home`; further profiles want names."""
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
