"""Runs the commands of the documents literally.

- Every example of the manual page and every command line of orvikprefs in a page of Markdown runs on
  a small store and must not fail.
- A command in a table must end with one of the statuses in its row.
"""
import json
import re
import subprocess
import unittest

from programs import SOURCE, ProgramTest

# The statuses that are not failures: done, not found, different, would change.
SOUND = {0, 2, 6, 8}
STORE = {"Software": {"App": {"Path": "/opt", "Count": 4}, "Old": {}}}
# watch ends after a change, so another process makes changes.
WATCHING = """{ %s; } & while kill -0 $! 2>/dev/null; do
  orvikprefs -q set Software Tick $((tick += 1)) --int; done; wait $!"""


def commands():
    """(document, command line, statuses)"""
    page = SOURCE / "docs/orvikprefs.1"
    for example in re.findall(r"^Example: \\fB(.*)\\fR$", page.read_text(), re.M):
        text = example.replace("\\(aq", "'").replace("\\(dq", '"').replace("\\-", "-")
        yield page.name, text, SOUND
    for page in [SOURCE / "README.md", *sorted((SOURCE / "docs").glob("*.md"))]:
        for line in page.read_text().splitlines():
            for command in re.findall(r"`((?:\w+=\S+ )?orvikprefs [^`]* [^`]*|orvikprefs \w+)`", line):
                row = line.strip("|").split("|") if line.startswith("|") else []
                named = {int(status) for status in re.findall(r"\b\d\b", row[-1])} if row else SOUND
                if "[" not in command:
                    yield page.name, command, named or SOUND


class CommandsTest(ProgramTest):
    def run_line(self, command):
        files = {"wanted.txt": 'require-key Software/App\nset Software/App Path "/opt/app"\n',
                 "app.json": json.dumps(STORE["Software"]["App"])}
        for name, text in files.items():
            (self.folder / name).write_text(text)
        self.run_command("orvikprefs", "import", "--replace", "-", input=json.dumps(STORE), check=True)
        script = WATCHING % command if " watch " in command else command
        return self.run_command("bash", "-c", script, cwd=self.folder, timeout=60,
                                stdin=subprocess.DEVNULL)

    def test_commands_of_the_documents(self):
        self.environment.update(VISUAL="true")
        ran = 0
        for document, command, statuses in commands():
            words = command.split("orvikprefs ", 1)[1].split()
            # The browser needs a terminal; browse_test.py tests it.
            if words[0] != "browse" and words != ["import"]:
                with self.subTest(document, command=command):
                    done = self.run_line(command)
                    self.assertIn(done.returncode, statuses, done.stderr)
                ran += 1
        self.assertGreaterEqual(ran, 25)


if __name__ == "__main__":
    unittest.main()
