"""Takes pictures of the browser in a terminal, and compares them with those in the documents.

usage: browse_screens_test.py [--write]

A block of docs/orvikprefs.md that follows a line <!-- screen NAME --> is the picture of that name.
With --write the blocks are renewed.
"""
import re
import shutil
import sys
import tempfile
import unittest

from programs import SOURCE, ProgramTest, Terminal

KEY = "Software/ORVIK Technologies/Pagewell Software/Install Information"
IS_WRITING = "--write" in sys.argv


class BrowseScreensTest(ProgramTest):
    def picture_with(self, text):
        # A screen that is still being drawn holds the text, too.
        self.terminal.shows(text)
        screen = ""
        while screen != (screen := self.terminal.screen()):
            pass
        lines = "\n".join(line.rstrip() for line in screen.splitlines())
        return lines.replace(self.root, "").rstrip("\n") + "\n"

    def test_pictures_of_the_documents(self):
        self.need("tmux")
        # As long as the one in the pictures, which show as much of a path as there is room for.
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
        # Nothing is left to be kept in the folder that goes.
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
    unittest.main(argv=sys.argv[:1])
