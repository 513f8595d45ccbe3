"""demo.py EXECUTABLE FOLDER [--browser] [--check]: plays one session with the host and prints it.

Runs below private-home, beside the stand-in for the main application; what it leaves lies in FOLDER.
The exit status says whether every reply was as it should be.
"""

import json
import os
import signal
import sys
import time
from pathlib import Path

import browser
from host import APPLICATION, Container, Host, MainApplication, request

DEBUG_LEVEL = 15
COLOURS = {"→": "\033[36m", "←": "\033[32m", "•": "\033[33m"}
PUSH = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID"
PAGE = "https://example.org/"
RULE = "||banner.example.org^"


class Transcript:
    def __init__(self, quiet):
        self.quiet = quiet
        self.begin = time.monotonic()

    def line(self, text=""):
        if not self.quiet:
            print(text, flush=True)

    def event(self, arrow, *texts):
        """One line with the time since the start; further texts stand below the first."""
        colour = COLOURS.get(arrow, "") if sys.stdout.isatty() else ""
        prefix = f"{(time.monotonic() - self.begin) * 1000:8.1f} ms  {arrow}  "
        for text in texts:
            self.line(f"{colour}{prefix}{text}{colour and chr(27) + '[0m'}")
            prefix = " " * len(prefix)

    def sent(self, message):
        if isinstance(message, bytes):
            self.event("→", f"{len(message)} bytes that are no JSON: {message.decode()}")
        else:
            self.event("→", f'{message["type"]}, request "{message["id"]}"' + values(message))

    def received(self, reply):
        outcome = reply["result"] + (f' "{reply["data"]}"' if "data" in reply else "")
        pushed = reply["requestId"] == PUSH
        to = "pushed unasked" if pushed else f'reply {reply["id"]} to "{reply["requestId"]}"'
        results = values(reply).removeprefix(", ")
        self.event("←", f"{outcome}, {to}", *filter(None, [results]), state_text(reply["appState"]))

    def log(self, container):
        self.line("\nWhat the host wrote to its log, at debug level:\n")
        for path in sorted(container.logs.glob("*.log")):
            for line in path.read_text().splitlines():
                self.line("  " + line)


def values(message):
    parameters = message.get("parameters", {})
    return "".join(f", {name} {json.dumps(value)}" for name, value in parameters.items())


def state_text(state):
    return "application " + ", ".join([
        "installed" if state["isInstalled"] else "not installed",
        "running" if state["isRunning"] else "not running",
        "protection on" if state["isProtectionEnabled"] else "protection off",
        f'locale {state["locale"]}', f'checked {state["lastCheckTime"]}'])


class Session:
    """What a browser and its user do, and what comes of it. A wrong outcome ends it."""

    def __init__(self, host, transcript):
        self.host, self.transcript = host, transcript
        self.asked = 0

    def receive(self):
        reply = self.host.receive()
        if not reply:
            raise RuntimeError(f"the host ended instead of answering: {self.host.errors()}")
        self.transcript.received(reply)
        return reply

    def send(self, message):
        self.host.send(message)
        self.transcript.sent(message)

    def ask(self, kind, outcome="ok", **parameters):
        """One request and its reply; pushes that come in between are told as they come."""
        self.asked += 1
        message = request(kind, str(self.asked), parameters)
        self.send(message)
        reply = self.receive()
        while reply["requestId"] == PUSH:
            reply = self.receive()
        if (reply["requestId"], reply["result"]) != (message["id"], outcome):
            raise RuntimeError(f"{message} was answered with {reply}")
        return reply

    def await_push(self, **state):
        """Waits until a push tells of this state."""
        while True:
            reply = self.receive()
            if reply["requestId"] != PUSH:
                raise RuntimeError(f"nobody asked for {reply}")
            if state.items() <= reply["appState"].items():
                return

    def chapter(self, text):
        self.transcript.line(f"\n{text}")

    def told(self, application, command):
        self.transcript.event("•", f"in the main application: {command}")
        application.command(command)


def greet(session):
    session.chapter("The browser starts the host; the main application does not run.")
    session.ask("init", apiVersion="1")
    session.ask("init", "error", apiVersion="2")
    session.ask("getCurrentAppState")
    session.ask("addRule", "error")
    session.chapter("What is no request gets no answer.")
    session.send(b"hello, host")
    session.send(request("makeCoffee", "?", {"sugar": True}))


def browse(session, application):
    session.chapter("The main application is started, and announces its state.")
    session.await_push(isRunning=True)
    session.chapter("A page is shown, and the user switches protection off and on.")
    session.ask("getCurrentFilteringState", forceStartApp=False, url=PAGE, port=443)
    session.ask("setProtectionStatus", isEnabled=False)
    session.ask("setProtectionStatus", isEnabled=True)
    session.chapter("Somebody does the same in the main application itself.")
    session.told(application, "protection off")
    session.await_push(isProtectionEnabled=False)
    session.told(application, "protection on")
    session.await_push(isProtectionEnabled=True)
    session.chapter("A rule comes and goes; a rule that is not there can't; a site is reported.")
    session.ask("addRule", ruleText=RULE)
    session.ask("removeRule", ruleText=RULE)
    session.ask("removeRule", "error", ruleText=RULE)
    session.ask("reportSite", url=PAGE, referrer="", userAgent="Demo/1.0")


def start_again(session, application, container):
    session.chapter("The main application is killed, and started again by the browser.")
    session.transcript.event("•", "the main application is killed")
    application.kill()
    session.await_push(isRunning=False)
    install(container, application)
    session.ask("getCurrentFilteringState", forceStartApp=True, url=PAGE, port=443)


def install(container, application):
    """Says by a desktop entry how the main application is started."""
    entries = container.folder.parents[1] / "applications"
    entries.mkdir()
    (entries / f"{APPLICATION}.desktop").write_text(
        f'[Desktop Entry]\nType=Application\nName=The main application\n'
        f'Exec="{application.command_line[0]}" --locale de --daemon\n')


def end_launched(container):
    """Ends what the host has started, which is nobody's child."""
    for path in (container.folder / "Applications" / APPLICATION).glob("[0-9]*"):
        os.kill(int(path.name.partition(".")[0]), signal.SIGTERM)


def play(executable, transcript, container):
    """The session over pipes, as a browser would; gives what went wrong."""
    transcript.line("A browser's session with the host (→ to the host, ← from the host, • what the "
                    "main application does)")
    try:
        with Host(executable) as host:
            session = Session(host, transcript)
            greet(session)
            with MainApplication(executable=executable.with_name("corvane-main-app")) as application:
                browse(session, application)
                start_again(session, application, container)
            session.chapter("The browser closes the host's input.")
            transcript.event("→", "end of input")
            status, rest = host.finish()
            transcript.event(" ", f"the host has ended with status {status}")
            if (status, rest) != (0, b""):
                return [f"exit status {status}, and an answer where none is due: {rest}"]
    except (AssertionError, BrokenPipeError, RuntimeError) as failure:
        return [str(failure)]
    finally:
        end_launched(container)
    return []


def play_in_browser(executable, folder, transcript):
    """The session of the sample extension in Chromium; gives what went wrong."""
    transcript.line("Chromium, without a window, and the extension in packaging/extension\n")
    replies = {}
    try:
        with browser.start("chromium", folder / "home") as chromium:
            transcript.event(" ", f"{chromium.version()} runs")
            chromium.register(executable)
            transcript.event(" ", "the host is registered by corvane-nmctl")
            chromium.install(browser.EXTENSION)
            transcript.event(" ", f"the extension is loaded as {chromium.origin}")
            page = chromium.open("commands.html")
            for kind, parameters in (("init", {"apiVersion": "1"}), ("getCurrentAppState", None)):
                answer = page.evaluate(f"send({json.dumps(kind)}, {json.dumps(parameters)})")
                replies[kind] = answer.get("reply", {})
                tell(transcript, kind, answer)
            count = len(chromium.hosts(executable))
            transcript.event(" ", f"hosts that the browser runs: {count}; it is told to end")
            chromium.end(executable)
            transcript.event(" ", "the browser and its host have ended")
    except RuntimeError as failure:
        return [f"{failure}; see {folder}/home/.config/chromium.log"]
    return [f"{kind} gave {replies.get(kind)}" for kind in ("init", "getCurrentAppState")
            if replies.get(kind, {}).get("result") != "ok"]


def tell(transcript, kind, answer):
    transcript.event("→", f'{kind} (the page waited {answer["milliseconds"]} ms for the reply)')
    if "reply" in answer:
        transcript.received(answer["reply"])
    else:
        transcript.event(" ", f'no reply: {answer["error"]}')


def main():
    executable, folder = (Path(argument).resolve() for argument in sys.argv[1:3])
    options = sys.argv[3:]
    transcript = Transcript(quiet="--check" in options)
    container = Container(DEBUG_LEVEL)
    if "--browser" in options:
        wrong = play_in_browser(executable, folder, transcript)
    else:
        wrong = play(executable, transcript, container)
    transcript.log(container)
    for text in wrong:
        print(f"demo: {text}", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except BrokenPipeError:  # nobody reads the transcript any more
        os._exit(1)
