#!/usr/bin/env python3
"""Checks the documents against the tree and runs their commands.

usage: documents_test.py SOURCE_FOLDER [WORK_FOLDER PREFIX]

- Every link to a file of the tree leads to an existing file and heading.
- Every listing in C++ or CMake follows a line <!-- FILE --> and is equal to that file or a part of it.
- The pages of the library, and the installed headers, name only headers that are installed.
- The page of the public headers agrees with them.
- With a prefix, the links of the installed documents lead to installed files.
- With a work folder, every shell block after a line <!-- run --> runs in a copy of the examples with
  the files installed below PREFIX, and must print something.
"""
import pathlib
import re
import shutil
import subprocess
import sys

BLOCK = re.compile(r"(?:^<!-- (?P<note>[^\n]*) -->\n)?^```(?P<kind>\w*)\n(?P<text>.*?)^```$",
                   re.M | re.S)
HEADER = re.compile(r"(?<![\w./\\<-])(?:orvik/)?([a-z_0-9]+(?:/[a-z_0-9]+)*\.h)(?![\w/\\.])")
# Pages for readers who have the sources.
PAGES_ABOUT_THE_SOURCES = ["README", "base", "checks", "platform", "postflight", "reliability", "tour"]


def documents(source):
    return sorted(source.glob("*.md")) + sorted((source / "docs").glob("*.md")) + \
        sorted((source / "examples").glob("**/*.md"))


def anchors_of(text):
    headings = re.findall(r"^#+ (.*)$", text, re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(path, text):
    for target, anchor in re.findall(r"\]\(([^)#\s]*)#?([^)\s]*)\)", text):
        file = path.parent / target if target else path
        if re.match(r"\w+:", target):
            continue
        if not file.exists():
            yield f"{path.name}: no file {target}"
        elif anchor and anchor not in anchors_of(file.read_text()):
            yield f"{path.name}: no heading {anchor} in {file.name}"


def check_listings(source, path, text):
    for block in BLOCK.finditer(text):
        if block["kind"] not in ("cpp", "cmake"):
            continue
        file = source / (block["note"] or "-")
        if not file.is_file():
            yield f"{path.name}: a listing without a file name: {block['text'][:60]!r}"
        elif block["text"] not in file.read_text():
            yield f"{path.name}: the listing is not in {block['note']}"


def check_headers(path, text, installed):
    for name in HEADER.findall(text):
        if not any(header == name or header.endswith("/" + name) for header in installed):
            yield f"{path.name}: names {name}, which is not installed"


def run_blocks(source, path, text, work, prefix):
    for block in BLOCK.finditer(text):
        if block["note"] != "run":
            continue
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(source / "examples", work / "examples")
        # The compiler of the build under test, with its flags.
        script = 'set -e\ng++() { $CXX $CXXFLAGS "$@"; }\n' + \
            block["text"].replace("/opt/orvik", str(prefix))
        done = subprocess.run(["bash", "-c", script], cwd=work, capture_output=True, text=True)
        if done.returncode != 0 or not done.stdout.strip().splitlines()[-1].startswith("<folder>"):
            yield f"{path.name}: these lines fail:\n{block['text']}{done.stdout}{done.stderr}"


def main():
    source = pathlib.Path(sys.argv[1])
    installed = subprocess.run(["cmake", "-P", source / "cmake/public_headers.cmake"], check=True,
                               capture_output=True, text=True).stdout.split()
    problems = subprocess.run([source / "scripts/header_page.py", "--check"], check=False,
                              capture_output=True, text=True).stdout.splitlines()
    ran = 0
    for header in installed:
        comments = "\n".join(re.findall(r"//.*", (source / header).read_text()))
        problems += check_headers(pathlib.Path(header), comments, installed)
    for path in documents(source):
        text = path.read_text()
        problems += check_links(path, text)
        problems += check_listings(source, path, text)
        if path.parent.name == "docs" and path.stem not in PAGES_ABOUT_THE_SOURCES:
            problems += check_headers(path, text, installed)
        if len(sys.argv) > 2:
            ran += text.count("<!-- run -->")
            problems += run_blocks(source, path, text, pathlib.Path(sys.argv[2]), sys.argv[3])
    if len(sys.argv) > 2:
        for path in documents(pathlib.Path(sys.argv[3], "share/doc/liborvik-dev")):
            problems += check_links(path, path.read_text())
    if len(sys.argv) > 2 and ran == 0:
        problems.append("no document shows a command to run")
    print("\n".join(problems))
    return 1 if problems else 0


sys.exit(main())
