"""Runs the postflight program as the installer does."""
import plistlib
import shutil
import unittest

from programs import PROGRAMS, ProgramTest

PACKAGE = "/tmp/100% p\u00e4ge.pkg"


def arguments(mount, destination):
    return ["-pathToPkg", PACKAGE, "-pathToDest", destination, "-mountPointOfDest", mount,
            "-rootOfCurrSystemFolder", "/"]


class PostflightTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.environment["ORVIK_LOG_STDERR"] = "1"

    def run_tool(self, words, script='exec "$@"'):
        done = self.run_command("bash", "-c", script, self.file, PROGRAMS / "postflight", *words)
        self.assertEqual(done.stdout, "")
        return done

    def expect_recorded(self, destination, logging=0, has_receipt=False):
        """The expected file, as plistlib reads it."""
        path = {"PagewellExePath": destination}
        information = dict(path, **{"Additional Tools": destination + "Additional Tools",
                                    "Pagewell Version": "10.7.154.0"})
        software = {"ORVIK Technologies": {
            "Pagewell Software": {"Install Information": information, "UELogging": logging},
            "Glyphra": {"GlyphraPath": "/Library/Application Support/ORVIK Technologies/Glyphra"},
            "ORVIK Tavlo Software": {"Install Information": path}}}
        if has_receipt:
            software["ORVIK Technologies Inc."] = {"ORVIK Pagewell": {"Install Information": path}}
        written = self.file.read_bytes()
        self.assertEqual(plistlib.loads(written), {"Software": software})
        self.assertTrue(written.startswith(b'<?xml version="1.0" encoding="UTF-8"?>'))

    def test_records_every_kind_of_destination(self):
        thousand = "/" + "x" * 999
        receipt = self.root / "Library/Receipts/Pollix Components.pkg"
        receipt.parent.mkdir(parents=True)
        for mount, destination, recorded, has_receipt in (
                ("/", "/Applications/Pagewell", "/Applications/Pagewell/", False),
                ("/", "/Applications/", "/Applications/", True),
                ("/Volumes/Data", "", "/Volumes/Data/", False),
                ("/Volumes/Data/", "Apps", "/Volumes/Data/Apps/", False),
                ("/", "", "/", True),
                ("", "", "/", False),
                ("/", "/100%s %d%n/%", "/100%s %d%n/%/", False),
                ("/V\u00f6l", "/\u6587\U0001f600", "/V\u00f6l/\u6587\U0001f600/", True),
                ("/m", thousand, f"/m{thousand}/", False)):
            with self.subTest(recorded):
                shutil.rmtree(self.root / "Users", ignore_errors=True)
                receipt.unlink(missing_ok=True)
                if has_receipt:
                    receipt.touch()
                done = self.run_tool(arguments(mount, destination))
                joined = destination if mount == "/" else mount + destination
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stderr, "\n".join(
                    ["Options Set:", PACKAGE, destination, mount, "/", joined, ""]))
                self.expect_recorded(recorded, has_receipt=has_receipt)
                first = self.file.read_bytes()
                self.run_tool(arguments(mount, destination))
                self.assertEqual(self.file.read_bytes(), first)

    def test_stops_at_the_first_missing_argument(self):
        words = arguments("/", "/Applications")
        for missing in range(0, len(words), 2):
            done = self.run_tool(words[:missing] + words[missing + 2:])
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr, f" Missing argument: {words[missing][1:]}\n"
                             "Error: Can't continue postflight\n")
        self.assertFalse(self.file.exists())

    def test_optional_arguments(self):
        for more, logging, is_silent in (
                ("-customerLogging 1", 1, False), ("-customerLogging abc", 0, False),
                ("-silent NO -customerLogging -3", -3, False), ("-silent YES", 0, True),
                ("-silent 1 -customerLogging 99999999999", 2147483647, True),
                ("stray -silent true", 0, True)):
            done = self.run_tool([*more.split(), *arguments("/", "/A"), "-nameWithoutValue"])
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr.endswith("\n/A\nrunning silent\n"), is_silent, more)
            self.expect_recorded("/A/", logging)
        self.run_tool(["-customerLogging", " 12abc", *arguments("/", "/A")])
        self.expect_recorded("/A/", 12)

    def test_a_strict_run_tells_the_truth(self):
        """Only with ORVIK_STRICT=1 does the exit status tell whether everything is on disk."""
        for strict, script, status, missing in (
                (1, 'exec "$@"', 0, 0),
                (1, 'mkdir -p "$0"; exec "$@"', 1, 6),
                (0, 'mkdir -p "$0"; exec "$@"', 1, 0),
                # The limit, in blocks of 1,024 bytes, leaves room for all values but the last.
                (1, 'ulimit -f 1; exec "$@"', 1, 1)):
            with self.subTest((script, strict)):
                shutil.rmtree(self.root / "Users", ignore_errors=True)
                self.environment["ORVIK_STRICT"] = str(strict)
                done = self.run_tool(arguments("/", "/" + "x" * 100), script)
                self.assertEqual(done.returncode, status)
                self.assertEqual(done.stderr.count("\nNot recorded: "), missing)
        self.assertEqual(self.run_tool(["-pathToPkg", "/p"]).returncode, 1)


if __name__ == "__main__":
    unittest.main()
