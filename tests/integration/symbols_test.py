#!/usr/bin/env python3
"""Compares what the shared libraries export with the headers that promise it.

usage: symbols_test.py SOURCE_FOLDER LIBRARY_FOLDER

A header whose namespace is visible (CONTRIBUTING.md) promises what it declares. Everything that a
library exports must belong to namespace orvik and have its name in such a header of the same layer.
Weak symbols (inline functions, type information) are left out: a compiler emits them or not.
"""
import pathlib
import re
import subprocess
import sys

LAYERS = ["text", "host", "platform", "strings", "files", "streams", "prefs", "xml"]
OURS = re.compile(r"^((?:vtable|VTT|typeinfo|typeinfo name) for |(?:non-)?virtual thunk to )?orvik::(.*)")
VISIBLE = 'namespace [[gnu::visibility("default")]] orvik {'


def promised_words(folder):
    headers = [path.read_text() for path in folder.rglob("*.h")]
    return set(re.findall(r"\w+", " ".join(text for text in headers if VISIBLE in text)))


def exported_names(library):
    lines = subprocess.run(["nm", "-DC", "--defined-only", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    for line in lines:
        _, kind, name = line.split(" ", 2)
        if kind not in "WVu":
            yield name


def own_name(qualified):
    """The last component of a name without its arguments: "B::f(int)" is "f"."""
    plain = re.sub(r"\[abi:\w+\]|<[^()]*>|\(.*", "", qualified)
    return re.search(r"(\w+)\W*$", plain).group(1)


def main():
    source, libraries = map(pathlib.Path, sys.argv[1:])
    wrong = False
    for layer in LAYERS:
        words = promised_words(source / layer)
        seen = 0
        for name in sorted(exported_names(libraries / f"liborvik_{layer}.so")):
            seen += 1
            ours = OURS.match(name)
            if not ours:
                print(f"{layer}: exported, but not of namespace orvik: {name}")
                wrong = True
            elif not ours.group(1) and own_name(ours.group(2)) not in words:
                print(f"{layer}: exported, but in no public header: {name}")
                wrong = True
        if not seen:
            print(f"{layer}: exports nothing")
            wrong = True
    return 1 if wrong else 0


sys.exit(main())
