"""Chromium without a window, driven over its debugging pipe.

Speaks the Chrome DevTools Protocol (https://chromedevtools.github.io/devtools-protocol/) as the
switch --remote-debugging-pipe offers it: JSON messages, each ended by a zero byte, on descriptors 3
and 4.
"""

import contextlib
import fcntl
import json
import os
import select
import shutil
import subprocess
import time
from pathlib import Path

EXTENSION = Path(__file__).resolve().parents[2] / "packaging/extension"
DEADLINE = 60.0  # seconds, for any one answer of the browser
END_DEADLINE = 10.0  # seconds, for the browser and for its hosts to go

# What the extension's page shows, once it shows everything: [type, reply, milliseconds] each.
PAGE_CONTENT = """new Promise((resolve) => {
  const entry = (type) => {
    const reply = type.nextSibling;
    return [type.textContent, reply.textContent, reply.dataset.milliseconds];
  };
  const finish = () => document.body.dataset.state === "done" &&
      resolve([...document.querySelectorAll("dt")].map(entry));
  new MutationObserver(finish).observe(document.body, {attributes: true});
  finish();
})"""


class Browser:
    """A Chromium with a profile of its own. Leaving the `with` block kills what still runs."""

    def __init__(self, profile, error_file):
        from_us, to_browser = os.pipe()
        from_browser, to_us = os.pipe()
        # Out of the way of 3 and 4, which the shell below sets.
        inherited = [fcntl.fcntl(descriptor, fcntl.F_DUPFD, 20) for descriptor in (from_us, to_us)]
        os.close(from_us)
        os.close(to_us)
        command = ["chromium", "--headless=new", f"--user-data-dir={profile}", "--no-first-run",
                   "--remote-debugging-pipe", "--enable-unsafe-extension-debugging", "about:blank"]
        if os.geteuid() == 0:
            command.insert(1, "--no-sandbox")  # Chromium has none for root
        streams = "3<&{0} 4>&{1} {0}<&- {1}>&-".format(*inherited)
        self.process = subprocess.Popen(
            ["/bin/bash", "-c", f'exec "$@" {streams}', "bash", *command],
            stdin=subprocess.DEVNULL, stdout=error_file, stderr=error_file, pass_fds=inherited)
        for descriptor in inherited:
            os.close(descriptor)
        self.output, self.input = to_browser, from_browser
        self.unread = b""
        self.commands = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.output)
        os.close(self.input)

    def call(self, method, session=None, **parameters):
        self.commands += 1
        message = {"id": self.commands, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self.output, json.dumps(message).encode() + b"\0")
        answer = self.wait_for(lambda one: one.get("id") == message["id"])
        if "error" in answer:
            raise RuntimeError(f'the browser refuses {method}: {answer["error"]["message"]}')
        return answer["result"]

    def wait_for(self, wanted):
        end = time.monotonic() + DEADLINE
        while True:
            message = json.loads(self.next_message(end))
            if wanted(message):
                return message

    def next_message(self, end):
        while b"\0" not in self.unread:
            if not select.select([self.input], [], [], max(0.0, end - time.monotonic()))[0]:
                raise RuntimeError("the browser does not answer")
            piece = os.read(self.input, 1 << 16)
            if not piece:
                raise RuntimeError("the browser has ended before its time")
            self.unread += piece
        message, self.unread = self.unread.split(b"\0", 1)
        return message

    def page_content(self, url):
        """Opens the extension's page and gives what it shows, as PAGE_CONTENT says."""
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self.call("Page.enable", session)
        self.call("Page.navigate", session, url=url)
        self.wait_for(lambda one: one.get("method") == "Page.loadEventFired")
        shown = self.call("Runtime.evaluate", session, expression=PAGE_CONTENT, awaitPromise=True,
                          returnByValue=True)
        return shown["result"]["value"]


def hosts_below(parent, executable):
    """Process descriptors of what `parent` has started from `executable`."""
    found = []
    for entry in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            father = int((entry / "stat").read_text().rsplit(")", 1)[1].split()[1])
            if father == parent and (entry / "exe").resolve() == executable:
                found.append(os.pidfd_open(int(entry.name)))
    return found


def wait_for_end(descriptors):
    """Which of the processes still run at the deadline."""
    end, left = time.monotonic() + END_DEADLINE, set(descriptors)
    while left:
        ended = select.select(list(left), [], [], max(0.0, end - time.monotonic()))[0]
        if not ended:
            break
        left.difference_update(ended)
    return left


def run_in_browser(executable, folder):
    """Runs the sample extension against the host.

    Yields what happens as texts, and for each request of the extension its type, the reply as the
    page saw it, and the milliseconds between the two. Raises RuntimeError when the browser fails or
    a host is left when it has ended.
    """
    built = next(executable.parents[1].glob("native-messaging/*.json"))  # as the build writes it
    identifier = json.loads(built.read_text())["allowed_origins"][0].split("/")[2]
    profile = folder / "profile"
    (profile / "NativeMessagingHosts").mkdir(parents=True, mode=0o700)
    shutil.copy(built, profile / "NativeMessagingHosts")
    with open(folder / "browser.log", "wb") as error_file, Browser(profile, error_file) as browser:
        yield f'{browser.call("Browser.getVersion")["product"]} runs'
        loaded = browser.call("Extensions.loadUnpacked", path=str(EXTENSION))["id"]
        if loaded != identifier:
            raise RuntimeError(f"the extension is {loaded}, not {identifier}")
        yield f"extension {loaded} is loaded"
        content = browser.page_content(f"chrome-extension://{identifier}/page.html")
        yield "its page has asked the host and shows"
        for kind, text, milliseconds in content:
            yield kind, json.loads(text), float(milliseconds)
        hosts = hosts_below(browser.process.pid, executable)
        yield f"hosts that the browser runs: {len(hosts)}; the browser is told to end"
        browser.call("Browser.close")
        own = os.pidfd_open(browser.process.pid)
        left = wait_for_end([own, *hosts])
        if own in left:
            raise RuntimeError("the browser does not end")
        if left:
            raise RuntimeError(f"hosts that are left after the browser's end: {len(left)}")
        yield "the browser and its host have ended"
