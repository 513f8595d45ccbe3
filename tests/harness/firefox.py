"""Firefox, driven by its Marionette.

Speaks what https://firefox-source-docs.mozilla.org/testing/marionette/Protocol.html describes: JSON
behind its length in decimal digits and a colon, over a connection that takes one client.
"""

import base64
import json
import queue
import re
import socket
import subprocess
import threading

from browser_process import DEADLINE, Browser, Page

# As if somebody clicked the extension's button: it opens the popup.
CLICK = """
const {ExtensionParent} = ChromeUtils.importESModule(
  "resource://gre/modules/ExtensionParent.sys.mjs");
const {extension} = WebExtensionPolicy.getByHostname(new URL("%s").hostname);
const button = ExtensionParent.apiManager.global.browserActionFor(extension);
button.triggerAction(Services.wm.getMostRecentWindow("navigator:browser"));"""

# A new profile does nothing but what it is told, and asks no server for anything.
SETTINGS = {
    "marionette.port": 0,  # one that is free
    "app.normandy.enabled": False,
    "browser.safebrowsing.malware.enabled": False,
    "browser.safebrowsing.phishing.enabled": False,
    "browser.startup.homepage_override.mstone": "ignore",
    "browser.topsites.contile.enabled": False,
    "datareporting.policy.dataSubmissionEnabled": False,
    "extensions.getAddons.cache.enabled": False,
    "extensions.update.enabled": False,
    "network.captive-portal-service.enabled": False,
    "network.connectivity-service.enabled": False,
    "services.settings.server": "data:,#no-server",
    "toolkit.telemetry.enabled": False,
    "layout.css.devPixelsPerPx": "2",
    "ui.prefersReducedMotion": 1,
}


class Firefox(Browser):
    name = "firefox"

    def __init__(self, home, profile=None):
        super().__init__(home, home / ".config" / (profile or "firefox"))
        self.manifests = home / ".mozilla/native-messaging-hosts"
        (self.profile / "user.js").write_text("".join(
            f"user_pref({json.dumps(name)}, {json.dumps(value)});\n"
            for name, value in SETTINGS.items()))
        self.process = subprocess.Popen(
            ["firefox-esr", "--headless", "--marionette", "--remote-allow-system-access",
             "--no-remote", "--profile", str(self.profile), "about:blank"],
            env=self.environment | {"MOZ_HEADLESS_WIDTH": "1600", "MOZ_HEADLESS_HEIGHT": "1600"},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.port, self.socket, self.commands = queue.Queue(), None, 0
        self.reader = threading.Thread(target=self.read_output)
        self.reader.start()
        try:
            self.connect()
        except BaseException:
            self.__exit__()
            raise

    def read_output(self):
        """Keeps its output, all of it, and looks for the port in it."""
        with self.process.stdout as output:
            for line in output:
                self.log.write(line)
                if match := re.search(rb"Listening on port (\d+)", line):
                    self.port.put(int(match[1]))
        self.port.put(None)

    def connect(self):
        try:
            port = self.port.get(timeout=DEADLINE)
        except queue.Empty:
            port = None
        if port is None:
            raise RuntimeError(f"the browser can't be driven; see {self.log.name}")
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=DEADLINE)
        self.stream = self.socket.makefile("rb")
        self.receive()  # it greets
        limit = int(DEADLINE * 1000)
        capabilities = {"timeouts": {"script": limit, "pageLoad": limit}}
        self.capabilities = self.call("WebDriver:NewSession", **capabilities)["capabilities"]

    def __exit__(self, *details):
        if self.socket:
            self.stream.close()
            self.socket.close()
        self.kill()
        self.reader.join()  # its children have its output, too: they have gone as well
        super().__exit__(*details)

    def version(self):
        return f'Firefox/{self.capabilities["browserVersion"]}'

    def install(self, folder):
        identifier = self.call("Addon:Install", path=str(folder), temporary=True)["value"]
        self.origin = self.run_inside(
            f"return WebExtensionPolicy.getByID({json.dumps(identifier)}).getURL('');")

    def click_button(self):
        self.run_inside(CLICK % self.origin)

    def run_inside(self, script):
        """Runs JavaScript in the browser itself, not in a page."""
        self.call("Marionette:SetContext", value="chrome")
        value = self.call("WebDriver:ExecuteScript", script=script, args=[])["value"]
        self.call("Marionette:SetContext", value="content")
        return value

    def open(self, path):
        """Opens a page of the extension in a tab of its own."""
        handle = self.call("WebDriver:NewWindow", type="tab")["handle"]
        page = FirefoxPage(self, handle)
        page.call("WebDriver:Navigate", url=self.origin + path)
        return page

    def quit(self):
        self.call("Marionette:Quit", flags=["eForceQuit"])

    def call(self, command, **parameters):
        self.commands += 1
        message = json.dumps([0, self.commands, command, parameters])
        self.socket.sendall(f"{len(message)}:{message}".encode())
        _, identifier, error, result = self.receive()
        if identifier != self.commands:
            raise RuntimeError(f"the browser answers {identifier} instead of {self.commands}")
        if error:
            raise RuntimeError(f'the browser refuses {command}: {error["message"]}')
        return result

    def receive(self):
        length = b""
        while not length.endswith(b":"):
            digit = self.stream.read(1)
            if not digit:
                raise RuntimeError("the browser has ended before its time")
            length += digit
        return json.loads(self.stream.read(int(length[:-1])))


class FirefoxPage(Page):
    def __init__(self, browser, handle):
        self.browser, self.handle = browser, handle

    def call(self, command, **parameters):
        self.browser.call("WebDriver:SwitchToWindow", handle=self.handle, focus=False)
        return self.browser.call(command, **parameters)

    def evaluate(self, expression):
        """The value of a JavaScript expression, once it is there."""
        return self.call("WebDriver:ExecuteScript", script=f"return {expression};", args=[],
                         sandbox=None)["value"]

    def show_dark(self, is_dark):
        setting = "layout.css.prefers-color-scheme.content-override"
        self.browser.run_inside(f"Services.prefs.setIntPref('{setting}', {0 if is_dark else 1});")
        # The page's process hears of the setting later.
        self.evaluate("""new Promise((resolve) => {
          const query = matchMedia("(prefers-color-scheme: dark)");
          query.onchange = () => { if (query.matches === %s) resolve(true); };
          query.onchange();
        })""" % json.dumps(is_dark))

    def screenshot(self, path):
        """Writes what the page shows, at its own size, as a PNG file."""
        body = self.call("WebDriver:FindElement", using="css selector", value="body")["value"]
        (identifier,) = body.values()
        image = self.call("WebDriver:TakeScreenshot", id=identifier, full=False)["value"]
        path.write_bytes(base64.b64decode(image))

    def close(self):
        self.call("WebDriver:CloseWindow")
