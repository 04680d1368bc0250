#!/usr/bin/env python3
"""Makes docs/headers.md: what each installed header is for, from its first sentence.

usage: scripts/header_page.py [--check]

With --check nothing is written: the status is 1 when the page is not what would be made.
"""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).resolve().parent.parent
PAGE = TREE / "docs/headers.md"
LAYERS = {
    "plist": "Property lists",
    "strings": "Text and arrays",
    "files": "Files and paths",
    "streams": "Streams",
    "prefs": "The preference store",
    "xml": "XML and the configuration store",
}
BEGIN = """# The public headers

Each header with its first sentence. The comment at the top of a header holds the
contract of all that it declares. Programs include it as `<orvik/FOLDER/NAME.h>`.
`scripts/header_page.py` makes this page from the headers.
"""
END = """
## Below them

These come with the others: programs need them for platform objects and statuses, or not at all.

"""


def installed_headers():
    return subprocess.run(["cmake", "-P", TREE / "cmake/public_headers.cmake"], check=True,
                          capture_output=True, text=True).stdout.split()


def first_sentence(header):
    lines = (TREE / header).read_text().splitlines()
    paragraph = []
    for line in lines:
        text = re.match(r"// ?(.*)", line)
        if not text or not text[1]:
            break
        paragraph.append(text[1])
    words = " ".join(paragraph)
    sentence = re.match(r".*?[.](?= [A-Z]|$)", words)
    return (sentence[0] if sentence else words).rstrip(":.").replace("|", "\\|")


def page():
    headers = installed_headers()
    text = BEGIN
    for layer, title in LAYERS.items():
        text += f"\n## {title}\n\n| header | holds |\n|---|---|\n"
        for header in headers:
            if header.startswith(layer + "/"):
                text += f"| `{header}` | {first_sentence(header)} |\n"
    text += END + "| header | holds |\n|---|---|\n"
    for header in headers:
        if header.split("/")[0] not in LAYERS:
            text += f"| `{header}` | {first_sentence(header)} |\n"
    return text


def main():
    text = page()
    if sys.argv[1:] == ["--check"]:
        if text != PAGE.read_text():
            print("docs/headers.md is not current: run scripts/header_page.py")
            return 1
        return 0
    PAGE.write_text(text)
    return 0


sys.exit(main())
