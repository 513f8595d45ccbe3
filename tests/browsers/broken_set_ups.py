"""What browsers and the doctor say of set-ups that are broken, one after the other.

Run by scripts/check-doctor, as a user who may not everything, in a home of his own.
"""

import contextlib
import fcntl
import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import browser
from host import EXECUTABLE, Container, MainApplication

HOME = Path(os.environ["HOME"])
PROGRAMS = Path(EXECUTABLE).parent
OTHER = HOME / "other/corvane-nm"  # a host of another kind, where a set-up wants one
NAME = f"{browser.HOST}.json"
USERS = {"chromium": HOME / ".config/chromium/NativeMessagingHosts" / NAME,
         "firefox": HOME / ".mozilla/native-messaging-hosts" / NAME}
SYSTEMS = {"chromium": Path("/etc/chromium/native-messaging-hosts") / NAME,
           "firefox": Path("/usr/lib/mozilla/native-messaging-hosts") / NAME}
POLICY = Path("/etc/chromium/policies/managed/corvane-test.json")
STRANGER = {"chromium": "chrome-extension://abcdefghijklmnopabcdefghijklmnop/",
            "firefox": "other@corvane.example"}
LIST = {"chromium": "allowed_origins", "firefox": "allowed_extensions"}

set_ups = []  # (what is broken, which subjects of the link are wrong, how to break it)


def broken(what, *link):
    def keep(function):
        set_ups.append((what, set(link), function))
        return function
    return keep


def nmctl(*arguments):
    return subprocess.run([PROGRAMS / "corvane-nmctl", *arguments], stdout=subprocess.PIPE, text=True,
                          timeout=60, check=False)


def edit(change):
    """Changes what the manifests of both browsers say: change(manifest, browser's name)."""
    for name, path in USERS.items():
        manifest = json.loads(path.read_text())
        change(manifest, name)
        path.write_text(json.dumps(manifest))


def rewrite(change):
    for path in USERS.values():
        path.write_bytes(change(path.read_bytes()))


def other_host(script, mode=0o755):
    OTHER.parent.mkdir()
    if script is not None:
        OTHER.write_text(script)
        OTHER.chmod(mode)
    edit(lambda manifest, _: manifest.update(path=str(OTHER)))


def as_systems():
    """Moves the manifests to where all users have them."""
    for name, path in SYSTEMS.items():
        path.parent.mkdir(parents=True, exist_ok=True)
        shutil.move(USERS[name], path)


def policy(**content):
    POLICY.parent.mkdir(parents=True, exist_ok=True)
    POLICY.write_text(json.dumps(content))


broken("nothing")(lambda _: None)
broken("not registered")(lambda _: [path.unlink() for path in USERS.values()])
broken("the manifest is cut off")(lambda _: rewrite(lambda text: text[: len(text) // 2]))
broken("the manifest is empty")(lambda _: rewrite(lambda text: b""))
broken("a comma too many")(lambda _: rewrite(lambda text: text.replace(b"]\n", b"],\n")))
broken("a comment in the manifest (Firefox)")(lambda _: rewrite(lambda text: b"// mine\n" + text))
broken("a byte order mark (harmless)")(lambda _: rewrite(lambda text: b"\xef\xbb\xbf" + text))
broken("another name in the manifest")(lambda _: edit(lambda one, _: one.update(name="com.corvane.other")))
broken("no name")(lambda _: edit(lambda one, _: one.pop("name")))
broken("no description")(lambda _: edit(lambda one, _: one.pop("description")))
broken("an empty description (Chromium)")(lambda _: edit(lambda one, _: one.update(description="")))
broken("another type")(lambda _: edit(lambda one, _: one.update(type="pipe")))
broken("a relative path")(lambda _: edit(lambda one, _: one.update(path="corvane-nm")))
broken("the identifier alone, without scheme and slash")(
    lambda _: edit(lambda one, name: one.update({LIST[name]: [one[LIST[name]][0].split("/")[-2 if name == "chromium" else 0].split("@")[0]]})))
broken("no final slash (Chromium)")(
    lambda _: edit(lambda one, name: one.update({LIST[name]: [one[LIST[name]][0].rstrip("/")]})))
broken("a wildcard")(lambda _: edit(
    lambda one, name: one.update({LIST[name]: ["chrome-extension://*/" if name == "chromium" else "*"]})))
broken("only another extension is allowed")(
    lambda _: edit(lambda one, name: one.update({LIST[name]: [STRANGER[name]]})))
broken("nobody is allowed")(lambda _: edit(lambda one, name: one.update({LIST[name]: []})))
broken("the other browser's manifest")(
    lambda _: edit(lambda one, name: one.update(
        {LIST[{"chromium": "firefox", "firefox": "chromium"}[name]]: one.pop(LIST[name])})))
broken("a key of one's own (Firefox)")(lambda _: edit(lambda one, _: one.update(version="1")))
broken("the manifest may not be read")(lambda _: [path.chmod(0) for path in USERS.values()])
broken("its folder may not be entered")(lambda _: [path.parent.chmod(0) for path in USERS.values()])
broken("the host is missing")(lambda _: other_host(None))
broken("the host may not be run")(lambda _: other_host("#!/bin/sh\n", 0o644))
broken("the folder above the host may not be entered")(
    lambda _: (other_host("#!/bin/sh\n"), OTHER.parent.chmod(0)))
broken("the host's interpreter is missing")(lambda _: other_host("#!/nowhere/sh\n"))
broken("the host exits at once")(lambda _: other_host("#!/bin/sh\nexit 3\n"))
broken("the host writes stray text")(lambda _: other_host("#!/bin/sh\necho started\ncat >/dev/null\n"))
broken("the host is mute")(lambda _: other_host("#!/bin/sh\ncat >/dev/null\n"))


broken("a folder in the place of the host")(lambda _: (other_host(None), OTHER.mkdir()))
broken("a policy forbids the host (Chromium)")(lambda _: policy(NativeMessagingBlocklist=["*"]))
broken("a policy forbids all but the host (harmless)")(
    lambda _: policy(NativeMessagingBlocklist=["*"], NativeMessagingAllowlist=[browser.HOST]))
broken("a policy forbids users' manifests (Chromium)")(lambda _: policy(NativeMessagingUserLevelHosts=False))
broken("a policy forbids users' manifests, registered for all (harmless)")(
    lambda _: (as_systems(), policy(NativeMessagingUserLevelHosts=False)))
broken("a bad manifest of the user hides a good one for all (Chromium)")(
    lambda _: (as_systems(), [path.write_text("{") for path in USERS.values()]))
broken("a folder that may not be entered, registered for all (harmless)")(
    lambda _: (as_systems(), [path.parent.chmod(0) for path in USERS.values()]))
broken("no shared folder", "shared folder")(lambda setting: setting.without_application(shutil.rmtree))
broken("the shared folder is open to others", "shared folder")(
    lambda setting: setting.container.folder.chmod(0o777))
broken("the shared folder may not be written", "shared folder")(
    lambda setting: setting.without_application(lambda folder: folder.chmod(0o500)))
broken("the shared folder is a link to one", "shared folder")(
    lambda setting: setting.without_application(
        lambda folder: (folder.rename(HOME / "moved"), folder.symlink_to(HOME / "moved"))))
broken("the shared folder is a link to nowhere", "shared folder")(
    lambda setting: setting.without_application(
        lambda folder: (shutil.rmtree(folder), folder.symlink_to(HOME / "moved"))))
broken("the settings are no property list", "settings")(
    lambda setting: setting.container.write_settings(b"bplist00 and no more"))
broken("the settings may not be read", "settings")(
    lambda setting: (setting.container.write_settings({}), setting.container.settings.chmod(0)))
broken("the log level is out of range", "settings")(
    lambda setting: setting.container.write_settings({"DefaultsKeyLogLevel": -1}))
broken("the log may not be written", "logs")(
    lambda setting: (setting.container.logs.mkdir(parents=True, exist_ok=True),
                     setting.container.logs.chmod(0o500)))
broken("somebody holds a lock", "exchange files")(lambda setting: setting.hold(setting.requests()))
broken("the file of requests is missing (the application makes it anew)")(
    lambda setting: setting.requests().unlink())
broken("the main application does not run", "main application")(
    lambda setting: setting.end_application())
broken("the main application does not answer", "main application")(
    lambda setting: setting.application.command("fault silent"))


class Setting:
    """Everything in order, for a set-up to break."""

    def __enter__(self):
        self.stack = contextlib.ExitStack()
        self.container = Container()
        self.application = MainApplication()
        self.ask("register", "--host", EXECUTABLE)
        return self

    def __exit__(self, *_):
        self.end_application()
        self.stack.close()
        for folder in (*(path.parent for path in USERS.values()), OTHER.parent, HOME / "moved",
                       self.container.folder, self.container.logs):
            if folder.is_dir() and not folder.is_symlink():
                folder.chmod(0o700)
        for path in (*USERS.values(), *SYSTEMS.values(), POLICY):
            path.unlink(missing_ok=True)
        for folder in (OTHER.parent, HOME / "moved", HOME / ".local"):
            shutil.rmtree(folder, ignore_errors=True)

    @staticmethod
    def ask(*arguments):
        answer = nmctl(*arguments)
        if answer.returncode:
            raise RuntimeError(f"{arguments}: {answer.stdout}")

    def end_application(self):
        if self.application:
            self.application.kill()
        self.application = None

    def without_application(self, change):
        self.end_application()
        change(self.container.folder)

    def requests(self):
        return self.container.folder / "Data/ExchangeRequestContainer.data"

    def hold(self, path):
        file = self.stack.enter_context(open(path, "r+b"))
        fcntl.flock(file, fcntl.LOCK_EX)


class Browsers:
    """One browser of each kind, started anew only when a policy comes or goes."""

    def __init__(self):
        self.started, self.pages, self.policy = contextlib.ExitStack(), {}, None
        self.folder = HOME / "probe"
        self.folder.mkdir()
        browser.write_probe(browser.EXTENSION, self.folder)

    def say(self):
        """By browser: None when the host answers, otherwise what the browser says."""
        policy = POLICY.read_text() if POLICY.exists() else None
        if policy != self.policy or not self.pages:
            self.started.close()
            self.pages = {name: self.start(name) for name in USERS}
            self.policy = policy
        return {name: browser.said_on(page) for name, page in self.pages.items()}

    def start(self, name):
        started = self.started.enter_context(browser.start(name, HOME))
        started.install(self.folder)
        return started.open("blank.html")


def doctor():
    answer = json.loads(nmctl("doctor", "--json").stdout)
    return answer["isAllWell"], answer["findings"]


def row(what, link, said, well, findings):
    """The row of the table, and why it is not as it should be."""
    wrong = {one["subject"]: one for one in findings if one["state"] == "wrong"}
    faults = []
    for name, text in said.items():
        if (name.title() in wrong) != (text is not None):
            faults.append(f"{name} says {text!r}, the doctor {wrong.get(name.title())}")
    missed = (set(wrong) - {"Chromium", "Firefox"}) ^ link
    if missed:
        faults.append(f"of the link: {missed}")
    if well != (not wrong):
        faults.append("findings and verdict differ")
    speech = "; ".join(dict.fromkeys(shortened(one["cause"]) for one in wrong.values()))
    return [what, *(text or "(works)" for text in said.values()), speech or "all is well"], faults


def shortened(text):
    for long, short in ((str(USERS["chromium"]), "MANIFEST"), (str(USERS["firefox"]), "MANIFEST"),
                        (str(OTHER.parent), "/usr/libexec/corvane-nm"), (str(PROGRAMS), "/usr/libexec/corvane-nm"),
                        (str(HOME), "~")):
        text = text.replace(long, short)
    return text


def main(pattern=""):
    browsers, rows, failed = Browsers(), [], 0
    with browsers.started:
        for what, link, break_it in set_ups:
            if pattern not in what:
                continue
            with Setting() as setting:
                break_it(setting)
                said = browsers.say()
                cells, faults = row(what, link, said, *doctor())
            rows.append(cells)
            print(" | ".join(cells), *(f"\n    FALSE: {fault}" for fault in faults), sep="", flush=True)
            failed += bool(faults)
    titles = ["broken", "Chromium", "Firefox", "corvane-nmctl doctor"]
    lines = [titles, ["---"] * 4, *rows]
    Path(os.environ["CORVANE_TABLE"]).write_text(
        "".join("| " + " | ".join(cells) + " |\n" for cells in lines))
    print(f"{len(rows)} set-ups, {failed} told wrongly")
    return 1 if failed or not rows else 0


sys.exit(main(*sys.argv[1:]))
