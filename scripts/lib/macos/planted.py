#!/usr/bin/env python3
"""Plants errors, one at a time, into a copy of the tree and shows which of them scripts/check-macos sees.

usage: planted.py [WORD]     from the root of the tree; with WORD only those whose row below holds it

For those that the run on stand-ins is to see it does that step alone. Prints one row for each: what was planted, which
step saw it. Fails when a step sees more or less than stands here.
"""
import pathlib, shutil, subprocess, sys

NOBODY, RULES, STAND_INS, COMPILER = "**nobody**", "the rules", "the two descriptions", "the compiler"
ANALYSER, SECOND, LINKER, RUN = "the analyser", "the second compiler", "the linker", "the run"
LAYER, STAND_IN = "Platform/macOS/", "scripts/lib/macos/include/"

# What it is, who sees it, the file, the text there, the text in its place. No text: at the end of the file.
PLANTED = [
    ("a header without a source for macOS", RULES, "Platform/Planted.h", "", "#pragma once\n"),
    ("an Objective-C type in a header", RULES, "Platform/RunningApplications.h", "", "@class NSString;\n"),
    ("a source without `assume_nonnull`", RULES, LAYER + "GroupSettings.mm", "#pragma clang assume_nonnull begin", ""),
    ("a block that captures a reference", RULES, LAYER + "ApplicationLauncher.mm", "dispatch_get_main_queue(), ^{", "dispatch_get_main_queue(), ^{ loop.endTurn();"),
    ("the observed key as a string, misspelt", RULES, LAYER + "RunningApplications.mm",
     "NSStringFromSelector(@selector(runningApplications))", '@"runningApplication"'),
    ("the observing method misspelt", RULES, LAYER + "RunningApplications.mm",
     "- (void)observeValueForKeyPath:", "- (void)observeValuesForKeyPath:"),
    ("an observer that is never removed", RULES, LAYER + "RunningApplications.mm",
     "    [NSWorkspace.sharedWorkspace removeObserver:self forKeyPath:observedKey() context:nil];\n", ""),
    ("the method that removes an observer misspelt", RULES, LAYER + "RunningApplications.mm", "- (void)dealloc {", "- (void)dealoc {"),
    ("stand-in: another value of an enumeration", STAND_INS, STAND_IN + "Foundation/Foundation.h",
     "NSKeyValueObservingOptionNew = 0x01", "NSKeyValueObservingOptionNew = 0x10"),
    ("stand-in: a method that does not exist", STAND_INS, STAND_IN + "Foundation/Foundation.h",
     "integerForKey:", "integerValueForKey:"),
    ("stand-in: a class method for one of instances", STAND_INS, STAND_IN + "Foundation/Foundation.h",
     "- (NSInteger)integerForKey:", "+ (NSInteger)integerForKey:"),
    ("stand-in: a parameter of another class", STAND_INS, STAND_IN + "Foundation/Foundation.h",
     "initWithSuiteName:(NSString*)", "initWithSuiteName:(NSURL*)"),
    ("stand-in: a property that can only be read", STAND_INS, STAND_IN + "AppKit/AppKit.h",
     "@property BOOL prompts", "@property(readonly) BOOL prompts"),
    ("stand-in: another value of a flag", STAND_INS, STAND_IN + "CoreFoundation/CoreFoundation.h",
     "kCFFileDescriptorReadCallBack = 1UL << 0", "kCFFileDescriptorReadCallBack = 1UL << 1"),
    ("stand-in: a callback in another place", STAND_INS, STAND_IN + "CoreFoundation/CoreFoundation.h",
     "CFFileDescriptorCallBack callout,\n                                           const CFFileDescriptorContext *context",
     "const CFFileDescriptorContext *context,\n                                           CFFileDescriptorCallBack callout"),
    ("stand-in: another order in a structure", STAND_INS, STAND_IN + "Foundation/Foundation.h",
     "    unsigned long state;\n    id __unsafe_unretained _Nullable* _Nullable itemsPtr;\n",
     "    id __unsafe_unretained _Nullable* _Nullable itemsPtr;\n    unsigned long state;\n"),
    ("stand-in: one parameter more", STAND_INS, STAND_IN + "notify.h",
     "notify_post(const char *name)", "notify_post(const char *name, int flags)"),
    ("a class in the list of another framework", STAND_INS, "scripts/lib/macos/tbd/Foundation.framework/Foundation.tbd",
     "NSUserDefaults", "NSUserDefaults, NSWorkspace"),
    ("stand-in: another value of a macro", NOBODY, STAND_IN + "sys/xattr.h", "NOFOLLOW 0x0001", "NOFOLLOW 0x0002"),
    ("stand-in: a newer function called an old one", NOBODY, STAND_IN + "Foundation/Foundation.h",
     "macos(10.8)", "macos(10.0)"),
    ("a selector that does not exist", COMPILER, LAYER + "ApplicationLauncher.mm",
     "URLForApplicationWithBundleIdentifier:", "URLForApplicationWithIdentifier:"),
    ("the `@selector` of the observed key misspelt", COMPILER, LAYER + "RunningApplications.mm",
     "@selector(runningApplications)", "@selector(runningApplication)"),
    ("a completion block of another type", COMPILER, LAYER + "ApplicationLauncher.mm",
     "^(NSRunningApplication* _Nullable started,", "^(NSError* _Nullable started,"),
    ("a callback of another type", COMPILER, LAYER + "Poller.cpp", "[](CFFileDescriptorRef, CFOptionFlags,", "[](CFFileDescriptorRef, int,"),
    ("arguments of a registration in another order", COMPILER, LAYER + "NotificationChannel.cpp", "&descriptor, tokens_.empty() ? 0 : NOTIFY_REUSE,",
     "tokens_.empty() ? 0 : NOTIFY_REUSE, &descriptor,"),
    ("a moment for a length of time", COMPILER, LAYER + "Poller.cpp", "blocks ? end - now : Clock::duration::zero()", "end"),
    ("the old way to launch", COMPILER, LAYER + "ApplicationLauncher.mm", "    configuration.promptsUserIfNeeded = NO;\n",
     "    [NSWorkspace.sharedWorkspace launchAppWithBundleIdentifier:NSStringFromSelector(@selector(configuration)) options:NSWorkspaceLaunchDefault"
     " additionalEventParamDescriptor:nil launchIdentifier:nil];"),
    ("nil for a group that must be one", COMPILER, LAYER + "GroupContainers.mm", "GroupIdentifier:group]", "GroupIdentifier:nil]"),
    ("nil as the name of a suite", COMPILER, LAYER + "GroupSettings.mm", "initWithSuiteName:suite", "initWithSuiteName:nil"),
    ("a string that may be nil handed straight on", COMPILER, LAYER + "GroupContainers.mm",
     "GroupIdentifier:group]", "GroupIdentifier:[NSString stringWithUTF8String:identifier.c_str()]]"),
    ("a string that may be nil kept, not looked at, handed on", ANALYSER, LAYER + "GroupContainers.mm",
     "if (group == nil || identifier.empty())", "if (identifier.empty())"),
    ("`std::format`", COMPILER, "Base/Uuid.cpp", "",
     "#include <format>\nstd::string planted() { return std::format(\"{}\", 1); }\n"),
    ("`std::jthread`", COMPILER, "Base/Uuid.cpp", "", "#include <thread>\nvoid planted() { std::jthread thread([] {}); }\n"),
    ("`std::to_chars` of a real number", COMPILER, "Base/Uuid.cpp", "",
     "#include <charconv>\nchar planted[40];\nconst auto end = std::to_chars(planted, planted + 40, 1.5).ptr;\n"),
    ("`std::pmr` (`scripts/lint` sees it)", NOBODY, "Base/Uuid.cpp", "",
     "#include <memory_resource>\nstd::pmr::memory_resource* planted() { return std::pmr::new_delete_resource(); }\n"),
    ("a function of macOS 13, in code for both systems", COMPILER, "Platform/Posix/File.cpp", "",
     "int planted() { return ::mkfifoat(0, \"\", 0); }\n"),
    ("`pipe2`", COMPILER, "Platform/Posix/StandardStreams.cpp", "", "int planted(int* ends) { return ::pipe2(ends, 0); }\n"),
    ("`SOCK_CLOEXEC`", COMPILER, "Platform/Posix/StandardStreams.cpp", "",
     "#include <sys/socket.h>\nint planted = SOCK_CLOEXEC;\n"),
    ("a semaphore of Linux", COMPILER, "Platform/Posix/FileEvents.cpp", "",
     "#include <semaphore.h>\nint planted(sem_t* one, const timespec* end) { return ::sem_clockwait(one, CLOCK_MONOTONIC, end); }\n"),
    ("`<sys/inotify.h>`", COMPILER, "Platform/Posix/FileEvents.cpp", "", "#include <sys/inotify.h>\n"),
    ("`st_mtim`", COMPILER, LAYER + "FileTimes.cpp", "st_mtimespec", "st_mtim"),
    ("`getxattr` as Linux has it", COMPILER, LAYER + "FileAttributes.cpp", "nullptr, 0, 0, XATTR_NOFOLLOW", "nullptr, 0"),
    ("`pthread_setname_np` as Linux has it", COMPILER, LAYER + "Threads.cpp",
     "pthread_setname_np(", "pthread_setname_np(pthread_self(), "),
    ("a log format that does not fit its argument", COMPILER, LAYER + "SystemLog.cpp", "%{public}.*s", "%{public}.*d"),
    ("64 bits cut to 32", COMPILER, LAYER + "GroupSettings.mm", "return name == nil ? 0 : [store_->defaults integerForKey:name];",
     "const int value = name == nil ? 0 : [store_->defaults integerForKey:name];\n    return value;"),
    ("a null pointer that is read through", ANALYSER, LAYER + "ProcessInfo.cpp", "",
     "int planted(const char* text) { return text == nullptr ? *text : 0; }\n"),
    ("an error in what only x86_64 compiles", SECOND, "Base/Uuid.cpp", "", "#ifdef __x86_64__\nint planted = \"\";\n#endif\n"),
    ("an operation without a definition", LINKER, LAYER + "Threads.cpp", "void nameThisThread(", "void nameThatThread("),
    ("AppKit not linked", LINKER, "Platform/CMakeLists.txt", '"-framework AppKit" ', ""),
    ("`O_RDONLY` for `O_EVTONLY`", RUN, LAYER + "VnodeEvents.cpp", "O_EVTONLY", "O_RDONLY"),
    ("file events that are never cleared", RUN, LAYER + "VnodeEvents.cpp", "EV_ADD | EV_CLEAR", "EV_ADD"),
    ("a revoked file that ends all watches", RUN, LAYER + "VnodeEvents.cpp",
     "    return std::vector<SystemFileEvent>{\n",
     "    if (event.fflags == 0) return Failure{FailureCause::other, \"\"};\n    return std::vector<SystemFileEvent>{\n"),
    ("the log's text private", RUN, LAYER + "SystemLog.cpp", "%{public}.*s", "%{private}.*s"),
    ("a source of the run loop that is never removed", RUN, LAYER + "Poller.cpp", "    CFRunLoopSourceInvalidate(source);\n", ""),
    ("a descriptor's reader that is never released", RUN, LAYER + "Poller.cpp", "    CFRelease(queueReader);\n", ""),
    ("a loop that is never woken up", RUN, LAYER + "Poller.cpp", "NOTE_TRIGGER", "0"),
    ("a loop that is woken up for ever", RUN, LAYER + "Poller.cpp", "EV_ADD | EV_CLEAR", "EV_ADD"),
    ("callbacks that are never enabled", RUN, LAYER + "Poller.cpp",
     "  if (blocks)\n    CFFileDescriptorEnableCallBacks(implementation_->queueReader, kCFFileDescriptorReadCallBack);\n", ""),
    ("a descriptor that stays in the queue", RUN, LAYER + "Poller.cpp", "EV_DELETE", "EV_ADD"),
    ("a launch without a limit", RUN, "Platform/Posix/PendingLaunch.cpp",
     "  launch->finishAt(EventLoop::now() + TimeLimits::appState, false);\n", ""),
    ("a token in the machine's byte order", RUN, LAYER + "NotificationChannel.cpp", "ntohl(token)", "token"),
    ("registrations that are never cancelled", RUN, LAYER + "NotificationChannel.cpp", "std::exchange(tokens_, {})) notify_cancel(token)",
     "std::exchange(tokens_, {})) static_cast<void>(token)"),
    ("an earlier registration that is never cancelled", RUN, LAYER + "NotificationChannel.cpp", "notify_cancel(earlier.mapped())",
     "static_cast<void>(0)"),
    ("a registration that is used again for what was on its way", RUN, LAYER + "NotificationChannel.cpp",
     "    // A call that fails", "    if (listensTo(name)) return Done{};\n    // A call that fails"),
    ("the closed descriptor of a call that failed kept", RUN, LAYER + "NotificationChannel.cpp", "int descriptor = descriptor_;",
     "int& descriptor = descriptor_;"),
    ("a descriptor of its own for each name", RUN, LAYER + "NotificationChannel.cpp", "tokens_.empty() ? 0 : NOTIFY_REUSE", "0"),
    ("a descriptor of notifications that blocks", RUN, LAYER + "NotificationChannel.cpp",
     "      ::fcntl(descriptor_, F_SETFL, O_NONBLOCK);\n", ""),
]
STEPS = {"rules": RULES, "stand-ins": STAND_INS, "compile": COMPILER, "analyse": ANALYSER, "build": SECOND, "run": RUN}


def make_copy(copy):
    """The tree as it stands, with what a run in the original has left, so that little is done again."""
    work = pathlib.Path("build/macos")
    files = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           check=True, capture_output=True).stdout.decode().split("\0")
    for name in filter(None, files):
        source, target = pathlib.Path(name), copy / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if source.is_file() and not (target.is_file() and target.read_bytes() == source.read_bytes()):
            shutil.copy(source, target)
    for target in [path for path in copy.rglob("*") if path.is_file()]:
        name = target.relative_to(copy)
        if name.parts[0] not in ("build", ".git") and not pathlib.Path(name).is_file():
            target.unlink()  # planted by a run that was ended, or gone from the tree
    if not (copy / ".git").exists():
        subprocess.run(["git", "init", "--quiet", str(copy)], check=True)
    (copy / work).mkdir(parents=True, exist_ok=True)
    for shared in ("tools", "zig", "pch"):
        if not (copy / work / shared).is_symlink():
            (copy / work / shared).symlink_to((work / shared).resolve(), target_is_directory=True)
    shutil.copytree(work / "stamps", copy / work / "stamps", dirs_exist_ok=True)


def seen_by(copy, *options):
    """Who fails the copy as it stands, and what was said."""
    run = subprocess.run(["scripts/check-macos", *options], cwd=copy, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         errors="replace", timeout=900)
    if run.returncode == 0:
        return NOBODY, run.stdout
    steps = [line.split()[1] for line in run.stdout.splitlines() if line.startswith("macos: ")]
    last = next(step for step in reversed(steps) if step in STEPS or step == "tools")
    if last == "build" and "FAILED: bin/corvane-nm" in run.stdout:
        return LINKER, run.stdout
    return STEPS.get(last, last), run.stdout


def plant(copy, name, old, new):
    """Gives what undoes it."""
    path = copy / name
    before = path.read_text() if path.exists() else None
    if old and before.count(old) != 1:
        sys.exit(f"planted.py: {name} has {before.count(old)} times: {old}")
    path.write_text(before.replace(old, new) if old else (before or "") + new)
    return (lambda: path.unlink()) if before is None else (lambda: path.write_text(before))


def main():
    chosen = [row for row in PLANTED if sys.argv[1:] in ([], [""]) or sys.argv[1] in row[0] + row[1]]
    options = ["--run"] if all(row[1] == RUN for row in chosen) else []
    subprocess.run(["scripts/check-macos", *options], check=True)
    copy = pathlib.Path("build/macos/planted")
    make_copy(copy)
    print("\nThe copy, with nothing planted ...", flush=True)
    who, said = seen_by(copy, *options)
    if who != NOBODY:
        sys.exit(f"planted.py: {who} fails the copy before anything is planted:\n{said}")
    print("| planted | seen by |\n|---|---|", flush=True)
    seen = unexpected = 0
    for what, expected, name, old, new in chosen:
        undo = plant(copy, name, old, new)
        try:
            who, said = seen_by(copy, *(["--run"] if expected == RUN else []))
        finally:
            undo()
        seen += who != NOBODY
        print(f"| {what} | {who} |", flush=True)
        if who != expected:
            unexpected += 1
            print(f"^ expected: {expected}\n{said}", file=sys.stderr)
    print(f"\n{len(chosen)} planted, {seen} seen, {len(chosen) - seen} not; {unexpected} otherwise than expected")
    return 1 if unexpected or not chosen else 0


if __name__ == "__main__":
    sys.exit(main())
