#!/usr/bin/env python3
"""Soaks the shared scope: writers, readers and a watcher in many processes, some killed at random.

Usage: scripts/soak.py [SECONDS] [BIN]    (default 30 seconds, build/release/bin)

Sixteen writers set numbers of their own in one domain through orvikprefs, as three users when run as
root; writes are killed now and then. Four readers parse the file all the time; one
watcher follows it. Ends with status 0 when no update was lost, no moment was unreadable, no write was
refused because the lock was held, and the slowest writer got at least a third of its fair share:

  lost        a write that ended with status 0 whose value is not there afterwards
  unreadable  a moment at which the file was not a whole property list
"""
import json
import os
import pathlib
import plistlib
import random
import shutil
import subprocess
import sys
import tempfile
import threading
import time

WRITERS, READERS, KILL_EVERY = 16, 4, 25
KEY = "Software/Soak"


class Soak:
    def __init__(self, seconds, programs):
        self.end = time.monotonic() + seconds
        self.tool = str(programs / "orvikprefs")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="orvik-soak-"))
        os.chmod(self.folder, 0o755)
        self.root = self.folder / "root"
        self.file = self.root / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist"
        self.lock = threading.Lock()
        self.count = {"writes": 0, "kills": 0, "busy": 0, "failed": 0, "reads": 0, "reported": 0}
        self.lost, self.unreadable = [], []
        self.written = [0] * WRITERS
        os.umask(0)
        self.file.parent.mkdir(parents=True)

    def add(self, what, n=1):
        with self.lock:
            self.count[what] += n

    def user(self, writer):
        """Environment and user of a writer: three homes, and three users where that is possible."""
        number = writer % 3
        home = self.folder / f"home{number}"
        home.mkdir(exist_ok=True)
        environment = dict(os.environ, ORVIK_SYSTEM_ROOT=str(self.root), HOME=str(home))
        user = 65535 - number
        as_user = {"user": user, "group": user, "extra_groups": []}
        return environment, as_user if number and os.geteuid() == 0 else {}

    def run(self, writer, *arguments):
        environment, as_user = self.user(writer)
        return subprocess.Popen([self.tool, *arguments], env=environment, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, **as_user)

    def write(self, writer):
        name, sent, saved = f"writer {writer}", 0, 0
        while time.monotonic() < self.end:
            sent += 1
            process = self.run(writer, "set", KEY, name, str(sent), "--int")
            killed = random.randrange(KILL_EVERY) == 0
            if killed:
                time.sleep(random.random() * 0.01)
                process.kill()
            error = process.communicate()[1]
            if process.returncode == 0:
                saved = sent
                self.written[writer] += 1
                self.add("writes")
            elif process.returncode < 0:
                self.add("kills")
            elif process.returncode == 4:
                self.add("busy")
            else:
                self.add("failed")
                print(f"{name}: status {process.returncode}: {error.strip()}", file=sys.stderr)
            check = self.run(writer, "get", KEY, name)
            text = check.communicate()[0].strip()
            # A killed write may or may not have been saved; one that answered 0 must have been.
            if saved and not saved <= int(text or 0) <= sent:
                self.lost.append(f"{name}: saved {saved}, found {text!r}")
            saved = int(text) if text else saved

    def read(self):
        while time.monotonic() < self.end:
            try:
                plistlib.loads(self.file.read_bytes())
                self.add("reads")
            except FileNotFoundError:
                pass
            except Exception as error:
                self.unreadable.append(repr(error))
            time.sleep(0.005)

    def watch(self):
        environment, _ = self.user(0)
        process = subprocess.Popen([self.tool, "--json", "watch"], env=environment,
                                   stdout=subprocess.PIPE, text=True)
        threading.Timer(max(0, self.end - time.monotonic()), process.terminate).start()
        for line in process.stdout:
            json.loads(line)
            self.add("reported")
        process.wait()

    def report(self, seconds):
        count = self.count
        print(f"{seconds} s, {WRITERS} writers, {READERS} readers, 1 watcher: "
              f"{count['writes'] / seconds:.0f} writes/s, {count['reads'] / seconds:.0f} reads/s, "
              f"{count['reported']} changes reported, {count['kills']} killed, {count['busy']} without the "
              f"lock, {count['failed']} failed")
        print(f"lost updates: {len(self.lost)}, unreadable moments: {len(self.unreadable)}")
        for line in (self.lost + self.unreadable)[:10]:
            print("  " + line)
        left = [p.name for p in self.file.parent.iterdir() if p != self.file]
        print(f"other files left in the folder: {left}")
        share = WRITERS * min(self.written) / max(1, sum(self.written))
        print(f"the slowest writer got {share:.2f} of its fair share, {sorted(self.written)}")
        bad = self.lost or self.unreadable or count["failed"] or count["busy"]
        return 1 if bad or share < 1 / 3 else 0


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 30
    programs = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else "build/release/bin").resolve()
    soak = Soak(seconds, programs)
    threads = [threading.Thread(target=soak.write, args=(i,)) for i in range(WRITERS)]
    threads += [threading.Thread(target=soak.read) for _ in range(READERS)]
    threads += [threading.Thread(target=soak.watch)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    status = soak.report(seconds)
    shutil.rmtree(soak.folder)
    return status


if __name__ == "__main__":
    sys.exit(main())
