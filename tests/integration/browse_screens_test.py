#!/usr/bin/env python3
"""Takes pictures of the browser in a terminal, and compares them with those in the documents.

usage: browse_screens_test.py SOURCE_FOLDER BIN_FOLDER [--write]

A block of docs/orvikprefs.md that follows a line <!-- screen NAME --> is the picture of that name.
With --write the blocks are renewed. Ends with 77 where tmux is missing.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

COLUMNS, ROWS = 80, 16
KEY = "Software/ORVIK Technologies/Pagewell Software/Install Information"
VALUES = [
    (KEY, "Pagewell Version", "10.7.154.0"),
    (KEY, "PagewellExePath", "/Applications/ORVIK Pagewell.app"),
    ("Software/ORVIK Technologies/Glyphra", "Version", "4.2"),
]


class Browser:
    def __init__(self, program, folder):
        self.folder = folder
        self.server = ["tmux", "-u", "-S", f"{folder}/tmux", "-f", "/dev/null"]
        self.program = [str(program), "--root", str(folder)]
        for key, name, value in VALUES:
            self.run("set", key, name, value)
        command = " ".join(f"'{word}'" for word in
                           [*self.program, "browse", f"{KEY}/PagewellExePath"])
        self.tmux("new-session", "-d", "-x", str(COLUMNS), "-y", str(ROWS), command)

    def run(self, *arguments):
        subprocess.run([*self.program, *arguments], check=True, stdout=subprocess.DEVNULL)

    def tmux(self, *arguments):
        return subprocess.run([*self.server, *arguments], check=True, capture_output=True,
                              text=True).stdout

    def screen_with(self, text):
        screen = ""
        for _ in range(400):
            before, screen = screen, self.tmux("capture-pane", "-p")
            # A screen that is still being drawn holds the text, too.
            if text in screen and screen == before:
                lines = [line.rstrip() for line in screen.splitlines()]
                return "\n".join(lines).replace(str(self.folder), "").rstrip("\n") + "\n"
            time.sleep(0.025)
        sys.exit(f"no {text!r} in\n{screen}")

    def pictures(self):
        self.screen_with("Install Information <")
        self.tmux("send-keys", "e")
        self.screen_with("string: ")
        self.tmux("send-keys", "C-u")
        self.tmux("send-keys", "-l", "/opt/pagewell")
        self.tmux("send-keys", "Enter")
        yield "change", self.screen_with("1 change")
        self.run("set", KEY, "PagewellExePath", "/srv/pagewell")
        self.screen_with("1 conflict")
        self.tmux("send-keys", "C")
        yield "conflict", self.screen_with("theirs")
        # Nothing is left to be kept in the folder that goes.
        self.tmux("send-keys", "t")
        self.screen_with("no conflicts")
        self.tmux("send-keys", "q")
        while subprocess.run([*self.server, "has-session"], capture_output=True).returncode == 0:
            time.sleep(0.025)


def block_of(name):
    return re.compile(rf"(^<!-- screen {name} -->\n```\n)(.*?)(^```$)", re.M | re.S)


def main():
    if shutil.which("tmux") is None:
        return 77
    document = pathlib.Path(sys.argv[1]) / "docs/orvikprefs.md"
    text = document.read_text()
    problems = []
    os.environ.update(SHELL="/bin/sh", NO_COLOR="1", LC_ALL="C.UTF-8")
    with tempfile.TemporaryDirectory(prefix="b", dir="/tmp") as folder:
        browser = Browser(pathlib.Path(sys.argv[2]) / "orvikprefs", folder)
        try:
            for name, picture in browser.pictures():
                found = block_of(name).search(text)
                if found is None or found[2] != picture:
                    problems.append(f"{document.name}: the screen {name!r} is now\n{picture}")
                text = block_of(name).sub(lambda old: old[1] + picture + old[3], text)
        finally:
            subprocess.run([*browser.server, "kill-server"], capture_output=True)
    if "--write" in sys.argv:
        document.write_text(text)
        return 0
    print("\n".join(problems))
    return 1 if problems else 0


sys.exit(main())
