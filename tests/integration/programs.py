"""Helpers for tests that run the programs of the build, each test in its own folder.

The environment may name the folder of the programs (ORVIK_PROGRAMS) and that of the tests' files
(ORVIK_TEST_FOLDER).
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
SOURCE = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(os.environ.get("ORVIK_PROGRAMS", SOURCE / "build/dev/bin"))
FILE = "Users/Shared/Library/Preferences/com.orviktech.Registry.plist"


class ProgramTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(
            prefix="orvik-test-", dir=os.environ.get("ORVIK_TEST_FOLDER", "/tmp")))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root, self.home, self.temporary = (self.folder / name for name in ("root", "home", "tmp"))
        for path in (self.root, self.home, self.temporary):
            path.mkdir()
        self.file = self.root / FILE
        self.environment = dict(os.environ, ORVIK_SYSTEM_ROOT=str(self.root), HOME=str(self.home),
                                TMPDIR=str(self.temporary), LC_ALL="C.UTF-8",
                                PATH=f"{PROGRAMS}:{os.environ['PATH']}")

    def need(self, *tools):
        for tool in tools:
            if shutil.which(tool) is None:
                self.skipTest(f"{tool} is not installed")

    def run_command(self, *command, **options):
        """Runs a program in the test's environment; its output is text."""
        options = dict(env=self.environment, capture_output=True, text=True, check=False) | options
        return subprocess.run([str(word) for word in command], **options)

    def prefs(self, line):
        """Runs orvikprefs with a command line; it must succeed. Returns its output."""
        done = self.run_command("orvikprefs", *shlex.split(line))
        self.assertEqual(done.returncode, 0, f"{line}: {done.stderr}")
        return done.stdout

    def wait_for(self, condition, what):
        end = time.monotonic() + 60
        while time.monotonic() < end:
            if condition():
                return
            time.sleep(0.025)
        self.fail(what() if callable(what) else what)


class Terminal:
    """Runs a program in a terminal of tmux, types keys and reads the screen."""

    def __init__(self, test, command, columns=80, rows=24):
        self.test = test
        # A new socket for each server: an earlier one may still be ending.
        self.socket = tempfile.mktemp(prefix="t", dir=test.folder)
        # The account that runs the tests may have no shell.
        self.environment = dict(test.environment, SHELL="/bin/sh")
        self.tmux("new-session", "-d", "-x", columns, "-y", rows, command)
        test.addCleanup(self.end)

    def tmux(self, *arguments):
        command = ["tmux", "-u", "-S", self.socket, "-f", "/dev/null", *map(str, arguments)]
        return subprocess.run(command, env=self.environment, capture_output=True, text=True,
                              check=False).stdout

    def screen(self):
        return self.tmux("capture-pane", "-p")

    def shows(self, text):
        """Waits for the text; a blank in it may be a line break on the screen."""
        self.test.wait_for(lambda: text in (screen := self.screen()) or
                           text in screen.replace("\n", " "),
                           lambda: f"no {text!r} in\n{self.screen()}")

    def type(self, keys):
        """Types keys, given by their names in tmux with blanks between them, and 'text' in quotes."""
        for quoted, key in re.findall(r"('[^']*')|(\S+)", keys):
            self.tmux("send-keys", *(["-l", quoted[1:-1]] if quoted else [key]))

    def play(self, *steps):
        """For each pair types the keys and waits for the text."""
        for keys, shown in steps:
            self.type(keys)
            self.shows(shown)

    def program(self):
        """The process that the terminal's shell has started, or None."""
        shell = self.tmux("display-message", "-p", "#{pane_pid}").strip() or "none"
        found = subprocess.run(["pgrep", "-P", shell], capture_output=True, text=True, check=False)
        return int(found.stdout.split()[0]) if found.stdout else None

    def end(self):
        """Waits for the end of the program, which may first save changes in the test's folder."""
        program = self.program()
        self.tmux("kill-server")
        # The command line of an ended process is empty even before its parent has waited for it.
        command = pathlib.Path(f"/proc/{program}/cmdline")
        self.test.wait_for(lambda: not command.exists() or not command.read_bytes(), "it runs on")
