"""What browsers and the doctor say of set-ups that are broken, one after the other.

Run by scripts/check-doctor, as a user who may not everything, in a home of his own.
"""

import contextlib
import fcntl
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import browser
from host import EXECUTABLE, MAIN_APPLICATION, Container, MainApplication

HOME = Path(os.environ["HOME"])
PROGRAMS = Path(EXECUTABLE).parent
MOVED = HOME / "moved"  # the shared folder, where a set-up wants it there
OTHER = HOME / "other/corvane-nm"  # a host of another kind, where a set-up wants one
NOEXEC = HOME / "noexec"  # file systems: where nothing may be run,
SMALL = HOME / "small"  # of 1 MiB,
FEW_FILES = HOME / "few-files"  # with 64 inodes,
WRITABLE, READ_ONLY = HOME / "writable", HOME / "read-only"  # and one under two names
NAME = f"{browser.HOST}.json"
USERS = {"chromium": HOME / ".config/chromium/NativeMessagingHosts" / NAME,
         "firefox": HOME / ".mozilla/native-messaging-hosts" / NAME}
SYSTEMS = {"chromium": Path("/etc/chromium/native-messaging-hosts") / NAME,
           "firefox": Path("/usr/lib/mozilla/native-messaging-hosts") / NAME}
POLICY = Path("/etc/chromium/policies/managed/corvane-test.json")
STRANGER = {"chromium": "chrome-extension://abcdefghijklmnopabcdefghijklmnop/",
            "firefox": "other@corvane.example"}
LIST = {"chromium": "allowed_origins", "firefox": "allowed_extensions"}

set_ups = []  # (what is broken, the codes of what the doctor finds wrong with the link, how to break it)


def broken(what, *link):
    def keep(function):
        set_ups.append((what, link, function))
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


def allow(change):
    """Changes the one extension that is allowed: change(extension, browser's name)."""
    edit(lambda one, name: one.update({LIST[name]: change(one[LIST[name]][0], name)}))


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
    lambda _: allow(lambda one, _: [one.strip("/").rpartition("/")[2].partition("@")[0]]))
broken("no final slash (Chromium)")(lambda _: allow(lambda one, _: [one.rstrip("/")]))
broken("a wildcard")(
    lambda _: allow(lambda _, name: ["chrome-extension://*/" if name == "chromium" else "*"]))
broken("only another extension is allowed")(lambda _: allow(lambda _, name: [STRANGER[name]]))
broken("nobody is allowed")(lambda _: allow(lambda *_: []))
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
broken("the host takes 6 s (harmless)")(
    lambda _: other_host(f"#!/bin/sh\nsleep 6\nexec {EXECUTABLE} \"$@\"\n"))
broken("the host is where no program may run")(lambda _: (
    shutil.copy(EXECUTABLE, NOEXEC),
    edit(lambda manifest, _: manifest.update(path=str(NOEXEC / "corvane-nm")))))
broken("a file in the place of the manifest's folder")(
    lambda _: [(shutil.rmtree(path.parent), path.parent.touch()) for path in USERS.values()])
broken("another extension is allowed, too (harmless)")(
    lambda _: edit(lambda one, name: one[LIST[name]].append(STRANGER[name])))
broken("the manifest is a link to a good one (harmless)")(lambda _: [
    path.rename(path.with_name("good")) and path.symlink_to("good") for path in USERS.values()])
broken("the manifest is a link to nowhere")(lambda _: [
    (path.unlink(), path.symlink_to("nowhere")) for path in USERS.values()])
broken("a folder in the place of the manifest")(
    lambda _: [(path.unlink(), path.mkdir()) for path in USERS.values()])
broken("the manifest is UTF-16")(lambda _: rewrite(lambda text: text.decode().encode("utf-16")))
broken("an origin with a path (harmless)")(
    lambda _: allow(lambda one, name: [one + ("popup.html" if name == "chromium" else "")]))
broken("an identifier in capital letters (harmless)")(lambda _: allow(
    lambda one, name: [one[:-33] + one[-33:].upper() if name == "chromium" else one]))
broken("the host answers with an empty object")(
    lambda _: other_host("#!/bin/sh\nprintf '\\002\\000\\000\\000{}'\ncat >/dev/null\n"))
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
broken("no shared folder", "shared-folder-missing")(lambda link: shutil.rmtree(link.left_folder()))
broken("the shared folder is open to others", "shared-folder-open")(
    lambda link: link.container.folder.chmod(0o777))
broken("the shared folder may not be written", "shared-folder-not-writable")(
    lambda link: link.left_folder().chmod(0o500))
broken("the shared folder is a link to one", "shared-folder-is-link")(
    lambda link: link.left_folder().rename(MOVED) and link.container.folder.symlink_to(MOVED))
broken("the shared folder is a link to nowhere", "shared-folder-dangling-link")(
    lambda link: (shutil.rmtree(link.left_folder()), link.container.folder.symlink_to(MOVED)))
broken("the shared folder is a file", "shared-folder-not-a-folder")(
    lambda link: (shutil.rmtree(link.left_folder()), link.container.folder.touch()))
broken("the file system of the shared folder is full", "file-system-full")(
    lambda link: (link.move_to(SMALL), fill(SMALL)))
broken("no room for another file in the shared folder", "file-system-without-inodes")(
    lambda link: (link.move_to(FEW_FILES), use_up_inodes(FEW_FILES)))
broken("the shared folder is mounted read-only", "file-system-read-only")(
    lambda link: link.move_to(WRITABLE, READ_ONLY))
broken("a folder of notifications may not be entered", "folder-not-permitted")(
    lambda link: (link.container.folder / "Notifications").chmod(0))
broken("the file of requests may not be used", "file-not-permitted")(
    lambda link: link.requests().chmod(0))
broken("the settings are no property list", "settings-unreadable")(
    lambda link: link.container.write_settings(b"bplist00 and no more"))
broken("the settings may not be read", "settings-unreadable")(
    lambda link: (link.container.write_settings({}), link.container.settings.chmod(0)))
broken("the log level is out of range", "log-level-out-of-range")(
    lambda link: link.container.write_settings({"DefaultsKeyLogLevel": -1}))
broken("the log may not be written", "folder-not-writable")(
    lambda link: (link.container.logs.mkdir(parents=True, exist_ok=True),
                  link.container.logs.chmod(0o500)))
broken("somebody holds a lock", "exchange-file-locked")(lambda link: link.hold_requests())
broken("the file of requests is missing (the application makes it anew)")(
    lambda link: link.requests().unlink())
broken("the main application does not run", "application-not-running")(lambda link: link.left_folder())
broken("the main application is not installed", "application-not-startable")(
    lambda link: link.container.uninstall())
broken("the main application's program is missing", "application-not-startable")(
    lambda link: link.container.install("/nowhere/application"))
broken("the main application is neither there nor installed", "application-not-startable")(
    lambda link: (link.left_folder(), link.container.uninstall()))
broken("the main application answers with errors", "application-error")(
    lambda link: link.application.command("fault error"))
broken("the main application is not registered", "application-not-registered")(
    lambda link: [path.unlink() for path in link.container.folder.glob("Applications/*/*")])
broken("the main application answers after 2 s (harmless)")(
    lambda link: link.application.command("fault late 2000"))
broken("the main application does not answer", "application-mute")(
    lambda link: link.application.command("fault silent"))


def fill(folder):
    with contextlib.suppress(OSError), open(folder / "filling", "wb") as file:
        while True:
            file.write(bytes(4096))
            file.flush()


def use_up_inodes(folder):
    with contextlib.suppress(OSError):
        for number in range(100):
            (folder / str(number)).touch()


class Setting:
    """Everything in order, for a set-up to break."""

    def __enter__(self):
        self.stack = contextlib.ExitStack()
        self.container = Container()
        self.container.install(f'"{MAIN_APPLICATION}"')
        self.application = MainApplication()
        answer = nmctl("register", "--host", EXECUTABLE)
        if answer.returncode:
            raise RuntimeError(answer.stdout)
        return self

    def __exit__(self, *_):
        self.application.kill()
        self.stack.close()
        if (above := self.container.folder.parent).is_symlink():
            above.unlink()
        for folder in (*(path.parent for path in USERS.values()), OTHER.parent, MOVED,
                       self.container.folder, self.container.logs,
                       self.container.folder / "Notifications"):
            if folder.is_dir() and not folder.is_symlink():
                folder.chmod(0o700)
        for path in USERS.values():
            if path.parent.is_file():
                path.parent.unlink()
            if path.is_dir() and not path.is_symlink():
                path.rmdir()
            path.with_name("good").unlink(missing_ok=True)
        for path in (*USERS.values(), *SYSTEMS.values(), POLICY):
            path.unlink(missing_ok=True)
        for folder in (SMALL, FEW_FILES, WRITABLE):
            for path in folder.iterdir():
                path.unlink() if path.is_file() else shutil.rmtree(path)
        for folder in (OTHER.parent, MOVED, HOME / ".local"):
            shutil.rmtree(folder, ignore_errors=True)

    def left_folder(self):
        """The container's folder, once the main application has ended."""
        self.application.kill()
        return self.container.folder

    def move_to(self, folder, seen=None):
        """A new container in `folder`; used as `seen`, without the application, if that is given."""
        self.application.kill()
        above = self.container.folder.parent
        shutil.rmtree(above)
        (folder / above.name).mkdir()
        above.symlink_to((seen or folder) / above.name)
        (folder / above.name / self.container.folder.name).mkdir(mode=0o700)
        if seen is None:
            self.application = MainApplication()

    def requests(self):
        return self.container.folder / "Data/ExchangeRequestContainer.data"

    def hold_requests(self):
        fcntl.flock(self.stack.enter_context(open(self.requests(), "r+b")), fcntl.LOCK_EX)


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


def row(what, link, said, doctor):
    """The row of the table, and why it is not as it should be."""
    wrong = {one["subject"]: one for one in doctor["result"]["findings"] if one["state"] == "wrong"}
    faults = []
    for name, text in said.items():
        if (name.title() in wrong) != (text is not None):
            faults.append(f"{name} says {text!r}, the doctor {wrong.get(name.title())}")
    causes = [one for one in wrong.values() if not one["isConsequence"]]
    of_link = [one["code"] for one in doctor["result"]["findings"] if one["state"] == "wrong"
               and one["subject"].lower() not in USERS]
    if of_link != list(link):
        faults.append(f"of the link: {of_link}")
    if link and len(causes) != 1:
        faults.append("more than one cause")
    if doctor["exitStatus"] != bool(wrong):
        faults.append("findings and exit status differ")
    speech = "; ".join(dict.fromkeys(shortened(one["cause"]) for one in wrong.values()))
    return [what, *(text or "(works)" for text in said.values()), speech or "all is well"], faults


def shortened(text):
    for path in USERS.values():
        text = text.replace(str(path), "MANIFEST")
    text = re.sub(r"process \d+", "process PID", text)
    for folder in (OTHER.parent, PROGRAMS):
        text = text.replace(str(folder), "/usr/libexec/corvane-nm")
    return text.replace(str(HOME), "~")


def main(pattern=""):
    browsers, rows, failed = Browsers(), [], 0
    with browsers.started:
        for what, link, break_it in set_ups:
            if pattern not in what:
                continue
            with Setting() as setting:
                break_it(setting)
                said = browsers.say()
                doctor = json.loads(nmctl("doctor", "--json").stdout)
            cells, faults = row(what, link, said, doctor)
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
