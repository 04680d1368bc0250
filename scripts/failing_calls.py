#!/usr/bin/env python3
"""Runs the programs with one system call failing, at each call in turn, and checks the outcome.

Usage: scripts/failing_calls.py [--programs FOLDER] [COMMAND...]

Programs are taken from build/release/bin by default. A COMMAND is a name of COMMANDS below; the default
is all of them. Needs strace(1), which makes the calls fail. For each command, call and error:

  a change    The files hold the old values or the new ones, and nothing else is left beside them. Status
              0 means the new values. Any other status comes with a message, and is none of 1, 2 and 6.
  a reader    The files do not change. The output and the status are those of an undisturbed run, or the
              status is neither 0 nor 2 ("not found") and there is a message.

Prints each violation. Exit status: 0 without one, 1 otherwise.
"""
import argparse
import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import sys
import tempfile

DOMAIN = "com.orviktech.Registry.plist"
STORE = {"Software": {"App": {"Path": "/Volumes/Data", "Count": 5, "List": [1, 2, 3], "Sub": {"x": "y"}},
                      "Other": {"a": "b"}}}
GIVEN = {"App": {"Count": 6, "New": "n"}, "Third": {"k": [True, 1.5]}}
SCRIPT = 'set Software/App Count 7\nset Software/New Deep "x"\ndelete Software/Other a\n'

# The words of each command; @ stands for the folder of its files. "damaged" cuts off the end of the
# user's file.
COMMANDS = {
    "set": "set Software/App Count 9 --int",
    "set-user": "--scope user set Software/App Count 9 --int",
    "set-machine": "--scope machine set New/Key Name v",
    "delete": "delete Software/App Path",
    "delete-key": "delete-key Software/App --recursive",
    "reset": "--scope user reset Software/App",
    "rename": "rename Software/App Path Software/App Folder",
    "copy": "copy Software/App Software/Backup --to-scope user",
    "import": "--scope user import @/given.json Software --replace --backup",
    "apply": "apply @/script --backup",
    "edit": "edit Software/App",
    "repair": "--scope user repair",
    "get": "get Software/App Count",
    "get-missing": "get Software/App None",
    "get-key": "--scope user get Software/App",
    "list": "list Software/App",
    "tree": "tree",
    "find": "find Vol",
    "diff": "diff @/given.json Software",
    "check": "check",
    "export": "export Software",
    "domains": "domains",
    "lock": "lock",
    "dry-run": "import @/given.json Software --dry-run",
}
READERS = list(COMMANDS)[list(COMMANDS).index("get"):]
DAMAGED = {"repair"}

ERRORS = {
    "openat": "EIO EMFILE EACCES EINTR ENOSPC", "openat2": "EIO EMFILE EINTR ENOSYS", "read": "EIO EINTR",
    "pread64": "EIO", "write": "EIO ENOSPC EINTR", "pwrite64": "ENOSPC", "fsync": "EIO EINTR", "syncfs": "EIO",
    "renameat2": "EIO ENOSYS EINVAL", "renameat": "EIO", "linkat": "EIO EPERM ENOSPC", "unlinkat": "EIO",
    "unlink": "EIO", "ftruncate": "EIO", "fchmod": "EPERM", "fchown": "EPERM", "fcntl": "ENOLCK EINTR EMFILE",
    "flock": "ENOLCK EINTR", "newfstatat": "EIO ESTALE", "statx": "EIO ENOSYS", "mkdirat": "ENOSPC",
    "getdents64": "EIO", "fsetxattr": "ENOSPC", "flistxattr": "EIO", "fgetxattr": "EIO", "close": "EIO EINTR",
    "copy_file_range": "EIO EXDEV", "utimensat": "EPERM", "mmap": "ENOMEM", "lseek": "EIO", "readlinkat": "EIO",
    "faccessat2": "EIO", "fallocate": "ENOSPC EOPNOTSUPP", "getrandom": "ENOSYS", "clone3": "EAGAIN",
    "wait4": "EINTR",
}
# Files that a change may leave beside the store.
BESIDE = re.compile(r"(\.lock|\.lock\.held|\.lock\.plist|\.damaged(-\d)?|\.backup-[^/]*)$")


class Store:
    def __init__(self, folder, programs):
        self.folder, self.program = folder, str(programs / "orvikprefs")
        self.files = [folder / "home/Library/Preferences" / DOMAIN,
                      folder / "root/Library/Preferences" / DOMAIN,
                      folder / "root/Users/Shared/Library/Preferences" / DOMAIN]
        self.environment = dict(os.environ, HOME=str(folder / "home"), ORVIK_SYSTEM_ROOT=str(folder / "root"),
                                VISUAL=str(folder / "editor"))

    def fill(self, damaged):
        shutil.rmtree(self.folder, ignore_errors=True)
        for file in self.files:
            file.parent.mkdir(parents=True)
            file.write_bytes(plistlib.dumps(STORE)[:-60 if damaged and file == self.files[0] else None])
            os.utime(file, (10**9, 10**9))
        (self.folder / "given.json").write_text(json.dumps(GIVEN))
        (self.folder / "script").write_text(SCRIPT)
        editor = self.folder / "editor"
        editor.write_text('#!/bin/sh\nsed -i s/Volumes/Disks/ "$1"\n')
        editor.chmod(0o755)

    def values(self):
        def read(file):
            try:
                return plistlib.loads(file.read_bytes())
            except FileNotFoundError:
                return None
            except Exception:
                return "damaged"
        return [read(file) for file in self.files]

    def names(self):
        return {str(path.relative_to(self.folder)) for path in self.folder.rglob("*") if path.is_file()}

    def run(self, name, *tracer):
        words = [word.replace("@", str(self.folder)) for word in COMMANDS[name].split()]
        return subprocess.run([*tracer, self.program, "--timeout", "2", *words], env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)


def calls_of(store, name):
    """How often each call is made before and after the libraries are loaded."""
    log = store.folder.with_suffix(".log")
    store.fill(name in DAMAGED)
    store.run(name, "strace", "-o", str(log))
    count, loading = {}, None
    for call in re.findall(r"^(\w+)\(", log.read_text(errors="replace"), re.MULTILINE):
        count[call] = count.get(call, 0) + 1
        if call == "munmap" and loading is None:
            loading = dict(count)
    return count, loading or {}


def violation(name, quiet, done, old, new, values, left):
    """What is wrong with a disturbed run, or None; `quiet` is the undisturbed one."""
    if not 0 <= done.returncode <= 9:
        return f"ended with {done.returncode}"
    if name in READERS:
        if values != old:
            return "a reader changed the store"
        same = (done.returncode, done.stdout) == (quiet.returncode, quiet.stdout)
        if not same and (done.returncode in (0, 2) or not done.stderr):
            return f"status {done.returncode}, output {done.stdout[:80]!r}"
        return None
    if any(value not in (before, after) for value, before, after in zip(values, old, new)):
        return "neither the old values nor the new ones"
    if done.returncode == 0 and values != new:
        return "status 0 without the new values"
    if done.returncode in (1, 2, 6):
        return f"status {done.returncode}"
    return f"left {sorted(left)}" if left else None


def walk(store, name):
    """Lets each call of the command fail in turn. Returns the numbers of runs and of violations."""
    count, loading = calls_of(store, name)
    store.fill(name in DAMAGED)
    old, names = store.values(), store.names()
    quiet = store.run(name)
    new, names = store.values(), names | store.names()
    runs = bad = 0
    points = [(call, number, error) for call, errors in ERRORS.items() for error in errors.split()
              for number in range(loading.get(call, 0) + 1, count.get(call, 0) + 1)]
    for call, number, error in points:
        store.fill(name in DAMAGED)
        fault = f"inject={call}:error={error}:when={number}"
        done = store.run(name, "strace", "-o", "/dev/null", "-e", fault)
        if done.returncode == 127:
            continue  # a library was not loaded
        runs += 1
        left = {path for path in store.names() - names if not BESIDE.search(path)}
        wrong = violation(name, quiet, done, old, new, store.values(), left)
        if wrong is None and done.returncode != quiet.returncode and not done.stderr and call != "write":
            wrong = f"status {done.returncode} without a message"
        if wrong:
            bad += 1
            print(f"{name}: {call} {number} {error}: {wrong}: {done.stderr.decode()[:200]}", flush=True)
    return runs, bad


def main():
    parser = argparse.ArgumentParser(usage="%(prog)s [--programs FOLDER] [COMMAND...]")
    parser.add_argument("--programs", type=pathlib.Path, default=pathlib.Path("build/release/bin"))
    parser.add_argument("commands", nargs="*", metavar="COMMAND", default=list(COMMANDS))
    arguments = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="orvik-calls-"))
    store = Store(folder / "store", arguments.programs.resolve())
    all_runs = all_bad = 0
    for name in arguments.commands:
        runs, bad = walk(store, name)
        print(f"{name}: {runs} runs, {bad} violations", flush=True)
        all_runs, all_bad = all_runs + runs, all_bad + bad
    shutil.rmtree(folder)
    print(f"{all_runs} runs, {all_bad} violations")
    return 1 if all_bad else 0


if __name__ == "__main__":
    sys.exit(main())
