"""demo.py EXECUTABLE FOLDER [--browser] [--check]: plays one session with the host and prints it.

Runs below private-home; what it leaves lies in FOLDER. The exit status says whether every reply was
as it should be.
"""

import json
import os
import sys
import time
from pathlib import Path

from browser import run_in_browser
from host import Container, Host, request

DEBUG_LEVEL = 15
TO_HOST, FROM_HOST = "\033[36m", "\033[32m"

# What the browser sends, and the outcome that it must get; None: silence.
SESSION = [
    (request("init", "1", {"apiVersion": "1"}), "ok"),
    (request("init", "2", {"apiVersion": "2"}), "error"),
    (request("getCurrentAppState", "3"), "ok"),
    (request("getCurrentFilteringState", "4", {"url": "https://example.org/"}), "error"),
    (request("addRule", "5", {}), "error"),
    (b"hello, host", None),
    (request("makeCoffee", "6", {"sugar": True}), None),
]


class Transcript:
    def __init__(self, quiet):
        self.quiet = quiet
        self.begin = time.monotonic()

    def line(self, text=""):
        if not self.quiet:
            print(text, flush=True)

    def event(self, arrow, *texts):
        """One line with the time since the start; further texts stand below the first."""
        colour = {"→": TO_HOST, "←": FROM_HOST}.get(arrow, "") if sys.stdout.isatty() else ""
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
        self.event("←", f'{outcome}, reply {reply["id"]} to "{reply["requestId"]}"' + values(reply),
                   state_text(reply["appState"]))

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


def play(executable, transcript):
    """The session over pipes, as a browser would; gives what went wrong."""
    wrong = []
    transcript.line("A browser's session with the host (→ to the host, ← from the host)\n")
    with Host(executable) as host:
        for message, outcome in SESSION:
            try:
                host.send(message)
            except BrokenPipeError:
                return [f"the host has ended before its time: {host.errors()}"]
            transcript.sent(message)
            if outcome is None:
                continue
            reply = host.receive()
            if not reply:
                return [f"the host ended instead of answering {message}: {host.errors()}"]
            transcript.received(reply)
            if (reply["requestId"], reply["result"]) != (message["id"], outcome):
                wrong.append(f"{message} was answered with {reply}")
        transcript.event("→", "end of input")
        status, rest = host.finish()
        if rest:
            wrong.append(f"an answer where none is due: {rest}")
        else:
            transcript.event(" ", "no reply to the last two: what is no request is dropped")
        transcript.event(" ", f"the host has ended with status {status}")
        if status != 0:
            wrong.append(f"exit status {status}")
        return wrong


def play_in_browser(executable, folder, transcript):
    """The session of the sample extension in Chromium; gives what went wrong."""
    transcript.line("Chromium, without a window, and the extension in packaging/extension\n")
    replies = {}
    try:
        for what in run_in_browser(executable, folder):
            if isinstance(what, str):
                transcript.event(" ", what)
                continue
            kind, reply, milliseconds = what
            replies[kind] = reply
            transcript.event("→", f"{kind} (the page waited {milliseconds:.1f} ms for the reply)")
            if "appState" in reply:
                transcript.received(reply)
            else:
                transcript.event(" ", f"no reply: {reply}")
    except RuntimeError as failure:
        return [f"{failure}; see {folder}/browser.log"]
    return [f"{kind} gave {replies.get(kind)}" for kind in ("init", "getCurrentAppState")
            if replies.get(kind, {}).get("result") != "ok"]


def main():
    executable, folder = (Path(argument).resolve() for argument in sys.argv[1:3])
    options = sys.argv[3:]
    transcript = Transcript(quiet="--check" in options)
    container = Container(DEBUG_LEVEL)
    if "--browser" in options:
        wrong = play_in_browser(executable, folder, transcript)
    else:
        wrong = play(executable, transcript)
    transcript.log(container)
    for text in wrong:
        print(f"demo: {text}", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except BrokenPipeError:  # nobody reads the transcript any more
        os._exit(1)
