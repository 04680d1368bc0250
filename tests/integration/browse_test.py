"""Tests the browser in a terminal: types keys and reads the screen.

usage: browse_test.py [--write]

A block of docs/orvikprefs.md after a line <!-- screen NAME --> is the picture of that name; --write
updates these blocks.
"""
import os
import re
import shlex
import shutil
import signal
import sys
import tempfile
import unittest

from programs import PROGRAMS, SOURCE, ProgramTest, Terminal

APP = "Software/Vendor/App"
KEY = "Software/ORVIK Technologies/Pagewell Software/Install Information"
IS_WRITING = "--write" in sys.argv


class BrowseTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.need("tmux")
        self.environment.pop("VISUAL", None)
        self.write(APP, "Path", "/opt/app")
        self.write(APP, "Title", "\u4e2d\u6587 e\u0301")
        self.write("Software/Other", "evil", "photo\u202egnp\x1b[2J")
        self.prefs(f"set {APP} Count 42 --int")

    def write(self, key, name, value):
        done = self.run_command("orvikprefs", "-q", "set", key, name, "--", value)
        self.assertEqual(done.returncode, 0, done.stderr)

    def stored(self, name):
        return self.prefs(f"get {APP} {name}").rstrip("\n")

    def start(self, arguments, shown, columns=80, rows=24, variable=""):
        """Runs the program in a shell that then prints its status and whether the terminal still echoes."""
        self.terminal = Terminal(
            self, f"{variable} {shlex.quote(str(PROGRAMS))}/orvikprefs browse {arguments}; echo ended $?; "
            "stty -a | grep -q ' echo ' && echo sane; sleep 1000", columns, rows)
        self.play(("", shown))

    def play(self, *steps):
        self.terminal.play(*steps)

    def use_editor(self, script):
        """Makes a shell script the editor."""
        editor = self.folder / "editor"
        editor.write_text("#!/bin/sh\n" + script)
        editor.chmod(0o755)
        self.environment["EDITOR"] = str(editor)

    def hold_lock(self):
        """Writes the lock record that this process would write."""
        process = os.path.basename(os.readlink("/proc/self/exe"))
        for value in ("lock 1 --int", f"process {process}", f"pid {os.getpid()} --int"):
            self.prefs(f"--scope user --domain com.orviktech.Registry.lock set '' {value}")

    def test_walks_and_shows_harmless_text(self):
        self.start("", "\u25b8 Software")
        self.play(("", "shared  com.orviktech.Registry"), ("", "q quit"),
                  ("Down Right Down", "/Software/Other"),
                  ("", "photo\\u202egnp\\x1b[2J"),
                  ("Down Enter Down Tab Down", f"/{APP}/Path"),
                  ("", "string   /opt/app"), ("", "\u4e2d\u6587 e\u0301"),
                  ("F9", "this key does nothing here"),
                  ("/ 'OPT'", "1 found"), ("", f"/{APP}/Path = /opt/app"),
                  ("Enter", "hit 1 of 1"),
                  ("g 'So' Tab 'O' Tab Tab Enter", " /Software/Other"),
                  ("q", "ended 0"), ("", "sane"))

    def test_selects_what_is_clicked(self):
        self.start(APP, f" /{APP}")
        for text, path in (("Other", " /Software/Other"), ("Vendor", " /Software/Vendor ")):
            rows = self.terminal.screen().split("\n")
            row = next(number for number, row in enumerate(rows) if text in row)
            # A press and a release of the button there, as a terminal reports them.
            for button in " #":
                self.terminal.tmux("send-keys", "-l", f"\x1b[M{button}&{chr(33 + row)}")
            self.play(("", path))

    def test_edits_every_type_and_writes_at_once(self):
        self.use_editor("echo '[1, \"two\"]' > \"$1\"\n")
        self.start(f"{APP}/Count", f" /{APP}/Count")
        self.play(("e BSpace 'x'", "this is not"),
                  ("Enter BSpace '3' Enter", "1 change"),  # the mistake is not taken
                  ("a", "Type of the new value"), ("Enter", "name:"),
                  ("'s' Enter 'new' Enter", f"/{APP}/s"),
                  ("a Down Down Down Down Down Enter 'x' Enter '00ff' Enter", f"/{APP}/x"),
                  ("a End Enter 'list' Enter", '[1,"two"]'),
                  ("c", f"~ {APP}/Count = integer 42 -> integer 43"),
                  ("", f"+ {APP}/x = data AP8="))
        self.assertEqual(self.stored("Count"), "42")
        self.play(("w", "4 changes written"))
        self.assertEqual((self.stored("Count"), self.stored("s")), ("43", "new"))

    def test_shows_what_others_do_and_never_overwrites_it(self):
        """Another process changes or removes a value while its line is open or its change is unwritten."""
        self.start(f"{APP}/Path", f" /{APP}/Path")
        self.play(("e '/mine'", "string: /opt/app/mine"))
        self.write(APP, "Path", "/theirs")
        self.write(APP, "Name", "above")
        self.play(("", "above"), ("Enter", f"another process changed /{APP}/Path meanwhile"),
                  ("", "1 conflict"), ("w", "settle the conflicts first"),
                  ("q", "1 change is not written"),
                  ("Escape C", "theirs  string /theirs\n   mine    string /opt/app/mine\n"),
                  ("m", "1 change"))
        self.write(APP, "Title", "theirs")
        self.play(("", "~Title"), ("", "changed by another process"), ("w", "1 change written"))
        self.assertEqual(self.stored("Path"), "/opt/app/mine")
        self.prefs(f"delete {APP} Path")
        self.play(("", "Path is gone"), ("d", f"/{APP}/Path is gone; select it again"))
        self.assertEqual(self.stored("Name"), "above")

    def test_takes_pasted_text_as_text_and_ctrl_c_as_a_question(self):
        self.start(f"{APP}/Path", f" /{APP}/Path")
        self.terminal.tmux("set-buffer", "d\nw\nq\n")
        self.terminal.tmux("paste-buffer", "-p")
        self.play(("", "pasted text is not taken as keys"), ("e C-u", "string:"))
        self.terminal.tmux("paste-buffer", "-p")
        self.play(("", "string: d\u240aw\u240aq\u240a"),
                  ("Enter C-z", "d\\nw\\nq\\n"),  # no shell could let a stopped process go on
                  ("C-c", "1 change is not written"),
                  ("C-c c", "Changes that w writes"), ("C-c C-c d", "ended 0"))
        self.assertEqual(self.stored("Path"), "/opt/app")

    def test_keeps_the_text_of_an_editor_that_fails(self):
        self.use_editor("echo '[1, \"two\"]' > \"$1\"; exit 1\n")
        self.start("Software", " /Software")
        self.play(("a End Enter 'list' Enter", "the editor failed"), ("Escape", "the text is kept in"))
        kept, = self.temporary.glob("*/orvikprefs.json")
        self.assertEqual(kept.read_text(), '[1, "two"]\n')

    def test_says_that_the_file_is_damaged(self):
        self.file.write_text("<plist><dict>")
        self.start("", "damaged: R repairs it")
        self.play(("A 'new' Enter w", "nothing is written"))
        self.assertEqual(self.file.read_text(), "<plist><dict>")
        self.file.write_text("<plist><dict><key>kept</key><string>x</string><key>lost</dict></plist>")
        self.play(("R", "Repair saves 1 top-level entries and loses 1"),
                  ("y", "repaired; the damaged file is"))
        self.assertIn("<key>kept</key>", self.file.read_text())

    def test_fits_every_screen_with_and_without_colour(self):
        self.start(APP, f" /{APP}", 200, 60)
        self.terminal.tmux("resize-window", "-x", 40, "-y", 10)
        self.play(("", APP), ("", "? help  q quit  w write"),
                  ("d", f"delete /{APP} with 3\nentries?\ny delete  Esc back"),
                  ("y q", "1 change is not written"), ("Escape a F1", "move, open, close"),
                  ("End", "Nothing is written before w."), ("Escape Escape u Tab", "Count"))
        self.terminal.tmux("resize-window", "-x", 20, "-y", 4)
        self.terminal.type("Down Up ?")
        self.terminal.tmux("resize-window", "-x", 120, "-y", 40)
        self.play(("", "Nothing is written before w"))
        self.environment["NO_COLOR"] = "1"
        self.start("", "Software")
        self.assertNotRegex(self.terminal.tmux("capture-pane", "-p", "-e"), r"\[3[1-6]m")

    def test_keeps_changes_when_it_is_ended_and_offers_them(self):
        folder = self.home / "Library/Application Support/orvikprefs"
        for name in ("SEGV", "TERM", "HUP", "INT"):
            with self.subTest(name):
                self.start(f"{APP}/Path", f" /{APP}/Path")
                self.play(("d", "1 change"))
                if name == "HUP":
                    self.terminal.type("e C")  # in a dialog, too
                os.kill(self.terminal.program(), getattr(signal, "SIG" + name))
                self.play(("", "ended 1"), ("", "sane"))
                self.assertNotIn("Vendor/App", self.terminal.screen())
                self.assertEqual(folder.exists(), name != "SEGV")
                if name != "SEGV":
                    self.play(("", "1 change kept in"))
                    self.assertEqual(len(list(folder.iterdir())), 1)
                    self.start("", "1 change of a browser that was ended before it wrote them is kept")
                    self.play(("t", "taken over"), ("c", f"- {APP}/Path = string /opt/app"),
                              ("Escape q d", "ended 0"))
                    self.assertEqual(list(folder.iterdir()), [])
        self.assertEqual(self.stored("Path"), "/opt/app")

    def test_says_for_whom_it_waits(self):
        self.hold_lock()
        self.start(f"--timeout 300 {APP}/Path", f" /{APP}/Path")
        self.play(("", "locked by"), ("d w", f", process {os.getpid()}"), ("", "1 s of 300 s"),
                  ("q x w Escape", "nothing is written: cancelled"),  # keys do not wait in a queue
                  ("", "1 change"))
        self.prefs("lock --force")
        self.play(("w", "1 change written"))
        self.hold_lock()
        self.start(f"--timeout 0 {APP}", f" /{APP}")
        self.play(("A 'key' Enter w", "nothing is written: the lock was not free within 0 s"))

    def test_refuses_terminals_that_cannot_show_it(self):
        for name, message in (("dumb", 'TERM="dumb" cannot move the cursor'),
                              ("no-such-terminal", 'TERM="no-such-terminal" is not in this machine\'s')):
            self.start("", message, variable="TERM=" + name)
            self.play(("", "ended 1"), ("", "sane"))

    def test_views_converts_exports_and_copies(self):
        self.start(f"{APP}/Count", f" /{APP}/Count")
        self.terminal.tmux("set-option", "-s", "set-clipboard", "on")
        self.play(("t Home Enter v", "string, 2 UTF-16 units"), ("", "before: integer\n 42"),
                  ("Escape P", "value copied"))
        self.assertEqual(self.terminal.tmux("show-buffer"), "42")
        self.play(("p", "path copied"))
        self.assertEqual(self.terminal.tmux("show-buffer"), f"{APP}/Count")
        file = self.folder / "export.json"
        for answer in ("", " o"):
            self.terminal.type(f"x '{file}' Enter{answer}")
            # The message of the first export is still shown.
            self.wait_for(lambda: file.exists() and file.read_text() == '"42"\n', "not exported")
            self.play(("", f"exported /{APP}/Count to"))
            file.write_text("other")

    def test_edits_long_text_in_one_step(self):
        self.write("Software/Long", "text", "long text " * 10_000)
        self.use_editor("sed -i 's/long/short/' \"$1\"\n")
        self.start("Software/Long/text", " /Software/Long/text")
        # A line accepts the same amount of pasted text.
        (self.folder / "paste").write_text("0123456789" * 10_000)
        self.play(("e", "short text long"))
        # The code of the Left key from a terminal in normal keypad mode.
        self.terminal.tmux("send-keys", "-H", "1b", "5b", "44")
        self.play(("a Enter", "name:"), ("'pasted' Enter", "string:"))
        self.terminal.tmux("load-buffer", self.folder / "paste")
        self.terminal.tmux("paste-buffer", "-p")
        self.play(("", "123456789"), ("Home x Enter", "x0123456789"))

    def picture_with(self, text):
        # The text may be on the screen before the whole screen is drawn.
        self.terminal.shows(text)
        screen = ""
        while screen != (screen := self.terminal.screen()):
            pass
        lines = "\n".join(line.rstrip() for line in screen.splitlines())
        return lines.replace(self.root, "").rstrip("\n") + "\n"

    def test_pictures_of_the_documents(self):
        # A path of fixed length: the length decides how much of a path the pictures show.
        self.root = tempfile.mkdtemp(prefix="b", dir="/tmp")
        self.addCleanup(shutil.rmtree, self.root)
        self.environment.update(NO_COLOR="1", ORVIK_SYSTEM_ROOT=self.root)
        self.prefs(f"set '{KEY}' 'Pagewell Version' 10.7.154.0")
        self.prefs(f"set '{KEY}' PagewellExePath '/Applications/ORVIK Pagewell.app'")
        self.prefs("set 'Software/ORVIK Technologies/Glyphra' Version 4.2")
        self.terminal = Terminal(self, f"orvikprefs browse '{KEY}/PagewellExePath'", 80, 16)
        self.terminal.play(("", "Install Information <"), ("e", "string: "))
        self.terminal.type("C-u '/opt/pagewell' Enter")
        pictures = {"change": self.picture_with("1 change")}
        self.prefs(f"set '{KEY}' PagewellExePath /srv/pagewell")
        self.terminal.play(("", "1 conflict"))
        self.terminal.type("C")
        pictures["conflict"] = self.picture_with("theirs")
        # Without changes the program keeps none in the folder, which is about to be removed.
        self.terminal.play(("t", "no conflicts"))
        self.terminal.type("q")

        page = SOURCE / "docs/orvikprefs.md"
        blocks = re.compile(r"(^<!-- screen (\w+) -->\n```\n)(.*?)(?=^```$)", re.M | re.S)
        found = {name: picture for _, name, picture in blocks.findall(page.read_text())}
        if IS_WRITING:
            page.write_text(blocks.sub(lambda old: old[1] + pictures[old[2]], page.read_text()))
        else:
            self.maxDiff = None
            self.assertEqual(found, pictures)


if __name__ == "__main__":
    unittest.main(argv=["browse", "BrowseTest.test_pictures_of_the_documents"] if IS_WRITING else None)
