#!/usr/bin/env python3
"""Checks that programs, shared libraries and Debian packages are hardened.

usage: scripts/check_hardening.py FILE...

Of a package every program and library in it is checked: position independence, full RELRO, no
executable stack, stack protector, and on x86 the landing pads of control-flow protection. Of all
files together at least one must have calls that FORTIFY checks. Prints what is missing and ends
with 1.
"""
import pathlib
import platform
import re
import subprocess
import sys
import tempfile


def readelf(file, *options):
    return subprocess.run(["readelf", "--wide", *options, str(file)], check=True,
                          capture_output=True, text=True).stdout


def disassembly(file):
    return subprocess.run(["objdump", "--disassemble", "--section=.text", str(file)], check=True,
                          capture_output=True, text=True).stdout


def is_elf(file):
    with open(file, "rb") as stream:
        return stream.read(4) == b"\x7fELF"


def missing(file):
    header, segments = readelf(file, "--file-header"), readelf(file, "--segments")
    dynamic, symbols = readelf(file, "--dynamic"), readelf(file, "--dyn-syms")
    if "DYN (" not in header:
        yield "position independence"
    if "GNU_RELRO" not in segments:
        yield "RELRO"
    if not re.search(r"BIND_NOW|FLAGS_1.*NOW", dynamic):
        yield "BIND_NOW"
    if re.search(r"GNU_STACK.* RWE ", segments):
        yield "a stack that is not executable"
    if "__stack_chk_fail" not in symbols:
        yield "stack protector"
    # The start-up files of Debian's libc carry no mark, so the linker gives the whole program none.
    # The functions have their landing pads all the same, beside the two of the start-up files.
    if platform.machine() == "x86_64" and disassembly(file).count("endbr64") <= 2:
        yield "control-flow protection"


def has_checked_calls(file):
    return re.search(r" __\w+_chk@", readelf(file, "--dyn-syms"))


def files_of(argument, folder):
    if not argument.endswith(".deb"):
        return [pathlib.Path(argument)]
    target = pathlib.Path(folder, pathlib.Path(argument).name)
    subprocess.run(["dpkg-deb", "--extract", argument, target], check=True)
    return [path for path in sorted(target.rglob("*"))
            if path.is_file() and not path.is_symlink() and is_elf(path)]


def main():
    failed, checked, fortified = False, 0, False
    with tempfile.TemporaryDirectory() as folder:
        for argument in sys.argv[1:]:
            for file in files_of(argument, folder):
                checked += 1
                fortified = fortified or has_checked_calls(file)
                lacks = list(missing(file))
                if lacks:
                    failed = True
                    print(f"{argument}: {file.name} lacks {', '.join(lacks)}")
    # The compiler checks a call only if it knows the size of the target, so one file may have none.
    if not fortified:
        print("no file has a call that FORTIFY checks")
    if not checked:
        print("there was nothing to check")
    return 1 if failed or not checked or not fortified else 0


sys.exit(main())
