"""The host in real browsers, started by the sample extension, beside the stand-in."""

import http.server
import json
import os
import shutil
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path

import browser
import browser_process
from host import EXECUTABLE, MAIN_APPLICATION, Container, MainApplication, kill_launched

HOST = Path(EXECUTABLE)
PICTURES = Path(os.environ["CORVANE_PICTURES"])
LARGEST = 1 << 20  # bytes; browsers take no more from a host
PAGE = "https://news.example.org/"
RULE = "||banner.example.org^"

# One command each, with what it changes or counts in the stand-in.
COMMANDS = [
    ("init", {"apiVersion": "1"}, {}),
    ("getCurrentAppState", None, {"protection": True}),
    ("getCurrentFilteringState", {"url": PAGE, "port": 443, "forceStartApp": False}, {}),
    ("setFilteringStatus", {"url": PAGE, "isEnabled": False, "isHttpsEnabled": True}, {}),
    ("setProtectionStatus", {"isEnabled": False}, {"protection": False}),
    ("addRule", {"ruleText": RULE}, {"rules": [RULE]}),
    ("removeRule", {"ruleText": RULE}, {"rules": []}),
    ("removeCustomRules", {"url": PAGE}, {"rules": []}),
    ("openOriginalCert", {"domain": "news.example.org", "port": 443}, {}),
    ("reportSite", {"url": PAGE, "referrer": "", "userAgent": "Test"}, {}),
    ("openFilteringLog", None, {}),
    ("openSettings", None, {}),
    ("updateApp", None, {"opened": {"originalCert": 1, "reportSite": 1, "filteringLog": 1,
                                    "settings": 1, "update": 1}})]

# Opens a port, sends one greeting of the identifier given, and closes it.
ASK_ONCE = """(id) => new Promise((resolve) => {
  const api = globalThis.browser ?? chrome;
  const port = api.runtime.connectNative("%s");
  port.onDisconnect.addListener((ended) =>
    resolve({error: (ended.error ?? api.runtime.lastError)?.message ?? null}));
  port.onMessage.addListener((reply) => {
    port.disconnect();
    resolve({size: JSON.stringify(reply).length});
  });
  port.postMessage({type: "init", id, parameters: {apiVersion: "1"}});
})""" % browser.HOST

# A client of its own; gives the reason why it has no link.
CONNECT_ONCE = """import(document.baseURI.replace(/[^/]*$/, "client/client.js"))
  .then(({CorvaneClient}) => {
    const client = new CorvaneClient();
    return client.connect().then(() => "live", ({reason}) => reason).finally(() => client.close());
  })"""


CLICK = 'document.getElementById("trouble-button").click()'


class QuietHandler(http.server.BaseHTTPRequestHandler):
    log_message = staticmethod(lambda *_: None)


def shows(identifier, text):
    return f'document.getElementById("{identifier}").textContent.endsWith("{text}")'


def has_tick(answer):
    return f'document.getElementById("shield").src.endsWith("icon.svg") === {answer}'


def says(identifier, text):
    return f'document.getElementById("{identifier}").textContent === "{text}"'


class Scenarios:
    """What holds in each browser, in a home of its own for each test; `name` says in which."""

    def setUp(self):
        self.home = Path(os.environ["HOME"])
        for folder in (".config", ".mozilla"):
            shutil.rmtree(self.home / folder, ignore_errors=True)
        self.container = Container()

    def application(self, *options):
        return self.enterContext(MainApplication(*options))

    def start(self, extension=browser.EXTENSION):
        started = self.enterContext(browser.start(self.name, self.home))
        self.manifest = started.register(HOST)
        started.install(extension)
        return started

    def send(self, page, command, parameters=None):
        return page.evaluate(f"send({json.dumps(command)}, {json.dumps(parameters)})")


    def probe(self):
        """A page of an extension of which nothing else runs."""
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        browser.write_probe(browser.EXTENSION, folder)
        started = self.start(folder)
        return started, started.open("blank.html")

    def picture(self, page, what):
        self.assertTrue(page.evaluate("document.body.scrollWidth <= document.body.clientWidth"), what)
        for is_dark in (False, True):
            page.show_dark(is_dark)
            page.screenshot(PICTURES / f"{self.name}-{what}-{'dark' if is_dark else 'light'}.png")

    def test_every_command(self):
        application = self.application()
        page = self.start().open("commands.html")
        for command, parameters, expected in COMMANDS:
            answer = self.send(page, command, parameters)
            self.assertEqual(answer.get("reply", answer).get("result"), "ok", command)
            self.assertLessEqual(expected.items(), application.state().items(), command)
        refused = self.send(page, "removeRule", {"ruleText": RULE})["error"]
        self.assertEqual(refused["reason"], "refused")
        self.assertIn("The rule does not exist.", refused["message"])

    def test_popup_follows_and_switches(self):
        application = self.application()
        started = self.start()
        page = started.open(f"popup.html?url={PAGE}")
        page.until(shows("certificate", "Example Authority"))
        page.until(has_tick("true"))
        self.picture(page, "live")
        application.command("protection off")
        page.until(shows("protection-text", "off"))
        page.until(has_tick("false"))
        self.picture(page, "off")
        application.command("fault error command=setProtectionStatus times=1 Not now.")
        page.evaluate('document.getElementById("protection").click()')
        page.until('document.getElementById("command-error").textContent.includes("Not now.")')
        self.picture(page, "refused")
        page.until('!document.getElementById("protection").disabled')
        page.evaluate('document.getElementById("protection").click()')
        page.until(shows("protection-text", "on") + ' && ' + says("command-error", ""))
        self.assertTrue(application.state()["protection"])
        page.until('!document.getElementById("https").disabled')
        page.evaluate('document.getElementById("https").click()')
        page.until(shows("certificate", "bypassed, by Example Authority"))
        self.assertFalse(application.state()["sites"]["news.example.org"]["https"])
        application.kill()
        page.until(shows("trouble-title", "not running"))
        self.picture(page, "stopped")

    def test_popup_starts_the_application_whatever_page_is_shown(self):
        page = self.start().open("popup.html?url=about:blank")
        page.until(shows("trouble-title", "not running"))
        page.until(has_tick("false"))
        page.evaluate(CLICK)
        page.until(shows("trouble-details", "Can't start main app."))
        self.picture(page, "not-started")
        self.addCleanup(kill_launched)
        self.container.install(f'"{MAIN_APPLICATION}" --daemon')
        page.evaluate(CLICK)
        page.until(says("chip", "connected") + " && " + has_tick("true"))
        self.picture(page, "no-page")

    def test_host_killed_under_the_browser(self):
        self.application()
        started = self.start()
        page = started.open("popup.html")
        page.until(says("chip", "connected"))
        hosts = started.hosts(HOST)
        self.assertEqual(len(hosts), 1)
        told = browser_process.UNTIL % shows("trouble-title", "has ended")
        page.evaluate(f"void {told}.then(() => (document.body.dataset.told = true))")
        browser.kill_hosts(hosts)
        page.until("document.body.dataset.told && " + says("chip", "connected"))
        self.assertEqual(len(started.hosts(HOST)), 1)

    def test_browser_killed(self):
        self.application()
        before = self.left_behind()
        started = self.start()
        started.open("popup.html").until(says("chip", "connected"))
        hosts = started.hosts(HOST)
        self.assertNotEqual(self.left_behind(), before)
        started.kill()
        self.assertEqual((len(hosts), browser_process.wait_for_end(hosts)), (1, set()))
        self.assertEqual(self.left_behind(), before)

    def left_behind(self):
        """By what hosts can be reached; the folders stay for the next."""
        return sorted(path for path in (self.container.folder / "Notifications").rglob("*")
                      if not path.is_dir())

    def test_reasons(self):
        started = self.start()
        page = started.open("commands.html")
        good = json.loads(self.manifest.read_text())
        is_chromium = self.name == "chromium"
        allowed = "allowed_origins" if is_chromium else "allowed_extensions"
        for changes, reason in (
                ({"path": "/nowhere/corvane-nm"}, "not found"),
                ({allowed: [f"chrome-extension://{'a' * 32}/"]},
                 "forbidden" if is_chromium else "not found"),
                ({"path": "/bin/false"}, "exited"),
                ({"path": "/bin/echo"}, "failed")):  # says something that is no frame
            with self.subTest(**changes):
                self.manifest.write_text(json.dumps(good | changes))
                self.assertEqual(page.evaluate(CONNECT_ONCE), reason)
        self.manifest.unlink()
        self.send(page, "getCurrentAppState")  # by the host that runs from before
        browser.kill_hosts(started.hosts(HOST))
        popup = started.open("popup.html")
        popup.until(shows("trouble-title", "not registered"))
        self.picture(popup, "not-connected")
        started.register(HOST)
        popup.evaluate(CLICK)
        popup.until(says("chip", "not running"))

    def test_an_extension_of_ones_own(self):
        self.application()
        folder = Path(self.enterContext(tempfile.TemporaryDirectory())) / "mine"
        started = self.enterContext(browser.start(self.name, self.home))
        command = [HOST.with_name("corvane-nmctl"), "--json", "new-extension", folder,
                   "--browser", self.name, "--dir", started.manifests]
        made = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)["result"]
        started.install(folder)
        page = started.open("popup.html")
        page.until(says("text", "live"))
        if self.name == "chromium":
            self.assertEqual(page.evaluate("chrome.runtime.id"), made["chromium"])
        again = subprocess.run(command, check=False, capture_output=True)
        self.assertEqual(again.returncode, 1)

    def test_two_hundred_ports(self):
        started, page = self.probe()
        begin = time.monotonic()
        page.evaluate("""(async (askOnce) => {
          for (let i = 0; i < 200; ++i)
            if (!(await askOnce("1")).size) throw new Error(`nothing came to port ${i}`);
        })(%s)""" % ASK_ONCE)
        self.assertEqual(browser_process.wait_for_end(started.hosts(HOST)), set())
        print(f"{self.name}: 200 ports in {time.monotonic() - begin:.1f} s")

    def test_largest_reply(self):
        _, page = self.probe()
        size = page.evaluate(f'({ASK_ONCE})("")')["size"]
        reply = page.evaluate(f'({ASK_ONCE})("x".repeat({LARGEST - size}))')
        self.assertEqual(reply, {"size": LARGEST})

    def test_too_large_reply_to_the_client(self):
        self.application()
        page = self.start().open("commands.html")
        site = {"url": "http://" + '"' * (LARGEST // 2), "referrer": "", "userAgent": ""}
        error = self.send(page, "reportSite", site)["error"]  # said in the reply, with backslashes
        self.assertEqual(error["reason"], "too large", error)
        page.until('document.body.dataset.link === "live"')
        self.assertEqual(self.send(page, "openSettings")["reply"]["result"], "ok")


class InChromium(Scenarios, unittest.TestCase):
    name = "chromium"

    def test_a_page_starts_the_stopped_background_script(self):
        self.application()
        started = self.start()
        page = started.open("popup.html")
        page.until(says("chip", "connected"))
        hosts = started.hosts(HOST)
        told = browser_process.UNTIL % says("chip", "connecting")
        page.evaluate(f"void {told}.then(() => (document.body.dataset.told = true))")
        (script,) = (target["targetId"] for target in started.call("Target.getTargets")["targetInfos"]
                     if target["type"] == "service_worker")
        started.call("Target.closeTarget", targetId=script)
        self.assertEqual(browser_process.wait_for_end(hosts), set())
        page.until("document.body.dataset.told && " + says("chip", "connected"))


class InFirefox(Scenarios, unittest.TestCase):
    name = "firefox"

    def test_button_opens_the_popup_for_the_page(self):
        application = self.application("--print")
        server = self.enterContext(http.server.HTTPServer(("127.0.0.1", 0), QuietHandler))
        threading.Thread(target=server.handle_request).start()
        url = f"http://127.0.0.1:{server.server_port}/"
        started = self.start()
        started.call("WebDriver:Navigate", url=url)
        started.click_button()
        while (request := application.exchanged())[1]["name"] != "getCurrentFilteringState":
            pass
        self.assertEqual(request[1]["body"]["url"], url)
