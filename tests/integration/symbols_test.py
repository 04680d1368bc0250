#!/usr/bin/env python3
"""Compares the symbols of the shared libraries with the headers that promise them and with the last
release.

usage: symbols_test.py SOURCE_FOLDER LIBRARY_FOLDER [--write]

A header whose namespace is visible (CONTRIBUTING.md) promises its declarations. Every exported symbol
must belong to namespace orvik and have its name in such a header of the same layer. Weak symbols
(inline functions, type information) are not compared: whether they exist depends on the compiler.

packaging/symbols/ lists the symbols of the installed headers in the last release, in one file for
each library and SOVERSION. A removed name needs a new SOVERSION, because programs built with the
release would not start. For a release, --write writes the lists again.
"""
import pathlib
import re
import subprocess
import sys

LAYERS = ["text", "host", "desktop", "plist", "platform", "strings", "files", "streams", "prefs", "xml"]
OURS = re.compile(r"^((?:vtable|VTT|typeinfo|typeinfo name) for |(?:non-)?virtual thunk to )?orvik::(.*)")
VISIBLE = re.compile(r'namespace \[\[gnu::visibility\("default"\)\]\] (orvik|plist) \{')


def promised_words(folder):
    headers = [path.read_text() for path in folder.rglob("*.h")]
    return set(re.findall(r"\w+", " ".join(text for text in headers if VISIBLE.search(text))))


def exported_names(library, kinds="ABDRTi"):
    lines = subprocess.run(["nm", "-DC", "--defined-only", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    for line in lines:
        _, kind, name = line.split(" ", 2)
        if kind in kinds:
            yield name


def own_name(qualified):
    """The last component of a name without its arguments: "B::f(int)" is "f"."""
    plain = re.sub(r"\[abi:\w+\]|<[^()]*>|\(.*", "", qualified)
    return re.search(r"(\w+)\W*$", plain).group(1)


def installed_headers(source):
    return subprocess.run(["cmake", "-P", source / "cmake/public_headers.cmake"], check=True,
                          capture_output=True, text=True).stdout.split()


def names_for_programs(source, headers, layer, library):
    """The exported names that the layer's installed headers contain, and those of the templates that
    programs do not instantiate."""
    words = set(re.findall(r"\w+", " ".join((source / header).read_text() for header in headers
                                            if header.startswith(layer + "/"))))
    names = {name for name in exported_names(library)
             if words.issuperset(re.findall(r"\w+", re.sub(r"\[abi:\w+\]|[<(].*| for ", " ", name)))}
    return names | {name for name in exported_names(library, kinds="W")
                    if re.match(r"orvik::(String(Buffer|Operations)|PathValue)<", name)}


def main():
    source, libraries = map(pathlib.Path, sys.argv[1:3])
    lists = source / "packaging/symbols"
    headers = installed_headers(source)
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
        library = (libraries / f"liborvik_{layer}.so").readlink()
        exported = names_for_programs(source, headers, layer, libraries / library)
        if "--write" in sys.argv:
            (lists / library).write_text("".join(name + "\n" for name in sorted(exported)))
        elif (lists / library).is_file():
            listed = set((lists / library).read_text().splitlines())
            for name in sorted(listed - exported):
                print(f"{library}: the last release exported {name}: keep it, or raise SOVERSION")
                wrong = True
        else:
            print(f"{library}: {lists / library} is missing")
            wrong = True
    return 1 if wrong else 0


sys.exit(main())
