#!/usr/bin/env python3
"""Runs the commands that the documents show, as they are written.

usage: commands_test.py SOURCE_FOLDER PROGRAM_FOLDER

- Every example of the manual page, and every command line of orvikprefs in a page of Markdown, runs on
  a small store; it ends with a status that is not a failure.
- A command in a table ends with one of the statuses that its row names.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SOURCE, PROGRAMS = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
# Done, not found, something differs, something would change.
SOUND = {0, 2, 6, 8}
STORE = {"Software": {"App": {"Path": "/opt", "Count": 4}, "Old": {}}}
# On a terminal alone, and tested there.
ELSEWHERE = ("browse",)
# Ends with a change, which another process makes.
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


def run(folder, command):
    for name, text in (("wanted.txt", "require-key Software/App\nset Software/App Path \"/opt/app\"\n"),
                       ("app.json", json.dumps(STORE["Software"]["App"])), ("bin/nano", "#!/bin/sh\n")):
        (folder / name).parent.mkdir(exist_ok=True)
        (folder / name).write_text(text)
    (folder / "bin/nano").chmod(0o755)
    environment = dict(os.environ, ORVIK_SYSTEM_ROOT=str(folder), HOME=str(folder), LC_ALL="C.UTF-8",
                       TMPDIR=str(folder), PATH=f"{folder}/bin:{PROGRAMS}:{os.environ['PATH']}")
    environment.pop("VISUAL", None)
    subprocess.run(["orvikprefs", "import", "--replace", "-"], env=environment, check=True,
                   input=json.dumps(STORE), text=True)
    script = WATCHING % command if " watch " in command else command
    return subprocess.run(["bash", "-c", script], env=environment, cwd=folder, capture_output=True,
                          text=True, check=False, timeout=60, stdin=subprocess.DEVNULL)


def main():
    problems, ran = [], 0
    folder = pathlib.Path(tempfile.mkdtemp())
    try:
        for document, command, statuses in commands():
            words = command.split("orvikprefs ", 1)[1].split()
            if words[0] in ELSEWHERE or words == ["import"]:
                continue
            done = run(folder, command)
            ran += 1
            if done.returncode not in statuses:
                problems.append(f"{document}: {command}: {done.returncode}: {done.stderr}")
    finally:
        shutil.rmtree(folder)
    if ran < 25:
        problems.append(f"only {ran} commands were found")
    print("\n".join(problems))
    return 1 if problems else 0


sys.exit(main())
