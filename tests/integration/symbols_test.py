#!/usr/bin/env python3
"""Compares what the shared libraries export with symbols/LIBRARY.txt.

usage: symbols_test.py LIBRARY_FOLDER [--renew]

Functions and objects of namespace orvik are listed by their full names, but for weak ones (inline
functions, type information), which a compiler emits or not as it optimises; of them only the
members of templates instantiated on purpose are listed. Anything outside the namespace is an error.
"""
import pathlib
import re
import subprocess
import sys

LAYERS = ["platform", "strings", "files", "streams", "prefs", "xml"]
OURS = re.compile(r"^((vtable|VTT|typeinfo|typeinfo name) for |(non-)?virtual thunk to )?orvik::")


def exported(library):
    lines = subprocess.run(["nm", "-DC", "--defined-only", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    strong, foreign = set(), set()
    for line in lines:
        _, kind, name = line.split(" ", 2)
        if not OURS.match(name):
            foreign.add(name)
        elif kind not in "WVu" or name.startswith("orvik::StringBuffer<"):
            strong.add(name)
    return strong, foreign


def main():
    folder = pathlib.Path(sys.argv[1])
    lists = pathlib.Path(__file__).parent / "symbols"
    wrong = False
    for layer in LAYERS:
        names, foreign = exported(folder / f"liborvik_{layer}.so")
        for name in sorted(foreign):
            print(f"{layer}: exported, but not of namespace orvik: {name}")
            wrong = True
        path = lists / f"{layer}.txt"
        if "--renew" in sys.argv:
            path.write_text("".join(f"{name}\n" for name in sorted(names)))
            continue
        listed = set(path.read_text().splitlines())
        for name in sorted(listed - names):
            print(f"{layer}: - {name}")
        for name in sorted(names - listed):
            print(f"{layer}: + {name}")
        wrong = wrong or names != listed
    if wrong:
        print(f"When the change is meant: {__file__} {folder} --renew")
    return 1 if wrong else 0


sys.exit(main())
