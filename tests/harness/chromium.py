"""Chromium, driven over its debugging pipe.

Speaks the Chrome DevTools Protocol (https://chromedevtools.github.io/devtools-protocol/) as the
switch --remote-debugging-pipe offers it: JSON messages, each ended by a zero byte, on descriptors 3
and 4.
"""

import base64
import contextlib
import fcntl
import json
import os
import select
import subprocess
import time

from browser_process import DEADLINE, Browser, Page


class Chromium(Browser):
    name = "chromium"

    def __init__(self, home, profile=None):
        super().__init__(home, home / ".config" / (profile or "chromium"))
        self.manifests = self.profile / "NativeMessagingHosts"
        command = ["chromium", "--headless=new", f"--user-data-dir={self.profile}",
                   "--no-first-run", "--disable-background-networking", "--disable-component-update",
                   "--remote-debugging-pipe", "--enable-unsafe-extension-debugging", "about:blank"]
        if os.geteuid() == 0:
            command.insert(1, "--no-sandbox")  # Chromium has none for root
        self.unread, self.commands = b"", 0
        self.start(command)

    def start(self, command):
        from_us, self.output = os.pipe()
        self.input, to_us = os.pipe()
        # Out of the way of 3 and 4, which the shell below sets.
        inherited = [fcntl.fcntl(descriptor, fcntl.F_DUPFD, 20) for descriptor in (from_us, to_us)]
        streams = "3<&{0} 4>&{1} {0}<&- {1}>&-".format(*inherited)
        self.process = subprocess.Popen(
            ["/bin/bash", "-c", f'exec "$@" {streams}', "bash", *command], env=self.environment,
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log, pass_fds=inherited)
        for descriptor in (from_us, to_us, *inherited):
            os.close(descriptor)

    def __exit__(self, *details):
        super().__exit__(*details)
        os.close(self.output)
        os.close(self.input)

    def version(self):
        return self.call("Browser.getVersion")["product"]

    def install(self, folder):
        identifier = self.call("Extensions.loadUnpacked", path=str(folder))["id"]
        self.origin = f"chrome-extension://{identifier}/"

    def open(self, path):
        """Opens a page of the extension in a tab of its own."""
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self.call("Page.enable", session)
        self.call("Page.navigate", session, url=self.origin + path)
        self.wait_for(lambda one: one.get("method") == "Page.loadEventFired"
                      and one["sessionId"] == session)
        return ChromiumPage(self, target, session)

    def quit(self):
        self.call("Browser.close")

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


class ChromiumPage(Page):
    def __init__(self, browser, target, session):
        self.browser, self.target, self.session = browser, target, session

    def call(self, method, **parameters):
        return self.browser.call(method, self.session, **parameters)

    def evaluate(self, expression):
        """The value of a JavaScript expression, once it is there."""
        answer = self.call("Runtime.evaluate", expression=expression, awaitPromise=True,
                           returnByValue=True, userGesture=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["result"].get("description", answer["result"]))
        return answer["result"].get("value")

    def show_dark(self, is_dark):
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce"}])

    def screenshot(self, path):
        """Writes what the page shows, at its own size, as a PNG file."""
        box = self.evaluate("document.body.getBoundingClientRect().toJSON()")
        clip = {key: box[key] for key in ("x", "y", "width", "height")} | {"scale": 2}
        image = self.call("Page.captureScreenshot", clip=clip, captureBeyondViewport=True)["data"]
        path.write_bytes(base64.b64decode(image))

    def close(self):
        with contextlib.suppress(RuntimeError):
            self.browser.call("Target.closeTarget", targetId=self.target)
