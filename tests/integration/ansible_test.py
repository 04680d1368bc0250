#!/usr/bin/env python3
"""The Ansible module on three roots in place of three machines.

usage: ansible_test.py SOURCE_FOLDER PROGRAM_FOLDER [TEST...]
Ends with 77 where ansible-playbook is not installed.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, PROGRAMS = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
FILE = "Users/Shared/Library/Preferences/com.orviktech.Registry.plist"
MACHINES = ("first", "second", "third")
# A value of each type, as orvikprefs' JSON has it.
KINDS = {"string": "te\"x\\t \u00fc\n", "integer": 2**53, "real": 2.5, "boolean": False,
         "date": {"$date": "2024-05-06T07:08:09Z"}, "data": {"$data": "AAEC"},
         "array": [1, {"a": []}], "dictionary": {"line": "red", "fill": {"inner": "white"}},
         "empty": {}}


class AnsibleTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        for machine in MACHINES:
            (self.folder / machine).mkdir()
        hosts = "".join(f"{machine} root={self.folder / machine}\n" for machine in MACHINES)
        (self.folder / "hosts").write_text(
            f"[all]\n{hosts}[all:vars]\nansible_connection=local\n"
            "ansible_python_interpreter=/usr/bin/python3\n")
        self.environment = dict(
            os.environ, HOME=str(self.folder), TMPDIR=str(self.folder), LC_ALL="C.UTF-8",
            ANSIBLE_LIBRARY=str(SOURCE / "tools/ansible"), ANSIBLE_STDOUT_CALLBACK="minimal",
            ANSIBLE_GATHERING="explicit", ANSIBLE_RETRY_FILES_ENABLED="0",
            ANSIBLE_LOCALHOST_WARNING="0", ANSIBLE_REMOTE_TMP=str(self.folder / "remote"),
            PATH=f"{PROGRAMS}:{os.environ['PATH']}")

    def play(self, *tasks, options=()):
        """Runs tasks, each the options of the module, on all machines; each machine's results.

        A task that fails does not keep the next ones from running.
        """
        playbook = [{"hosts": "all", "ignore_errors": True, "tasks": [
            {"orvik_preference": dict(task, root="{{ root }}")} for task in tasks]}]
        (self.folder / "play.yml").write_text(json.dumps(playbook))
        run = subprocess.run(
            ["ansible-playbook", "-i", self.folder / "hosts", *options, self.folder / "play.yml"],
            env=self.environment, capture_output=True, text=True, check=False)
        self.output = run.stdout + run.stderr
        results = {machine: [] for machine in MACHINES}
        for head in re.finditer(r"^(\w+) \| ([A-Z]+)!? => ", run.stdout, re.M):
            result, _ = json.JSONDecoder().raw_decode(run.stdout, head.end())
            results[head.group(1)].append(dict(result, failed=head.group(2) == "FAILED"))
        return results

    def values(self, machine):
        run = subprocess.run([PROGRAMS / "orvikprefs", "--root", self.folder / machine, "get", ""],
                             env=self.environment, capture_output=True, text=True, check=True)
        return json.loads(run.stdout)

    def test_wanted_state(self):
        values = {f"value {number}": number for number in range(100)}
        tasks = [{"key": "Software/App", "values": values},
                 {"key": "Software/App", "name": "Größe", "value": "a \"b\" \\ c"},
                 {"key": "Software/App", "name": "Count", "value": "7", "type": "integer"},
                 {"key": ["a/b", "c"], "tree": {"list": [True, 2.5], "when":
                                                {"$date": "2024-05-06T07:08:09Z"}}, "exact": True},
                 {"key": "Software/Kinds", "values": KINDS},
                 {"key": "Software/Kinds", "name": "of yaml", "value": {"a": {"b": [1.5]}}},
                 {"key": "Software/Kinds", "name": "of json", "type": "json",
                  "value": '{"c": [{}, true]}'},
                 {"key": "Software/Empty"},
                 {"key": "Software/Old", "state": "absent"},
                 {"entries": [{"key": "E", "name": "n", "value": 1},
                              {"key": "Software/Old", "names": ["x"], "state": "absent"}]}]
        shown = self.play(*tasks, options=["--check", "--diff"])
        for results in shown.values():
            self.assertEqual([result["changed"] for result in results],
                             [True] * 8 + [False, True], self.output)
        self.assertEqual(self.output.count('+["Software", "App", "value 99"] = 99\n'), 3)
        self.assertFalse((self.folder / "first" / FILE).exists())

        changed = self.play(*tasks)
        for machine, results in changed.items():
            self.assertTrue(all(result["changed"] for result in results[:8]), self.output)
            self.assertEqual(len(results[0]["changes"]), 100)
            found = self.values(machine)
            self.assertEqual(found["Software"]["Kinds"],
                             dict(KINDS, **{"of yaml": {"a": {"b": [1.5]}},
                                            "of json": {"c": [{}, True]}}))
            self.assertEqual(found["Software"]["App"],
                             dict(values, Count=7, **{"Größe": "a \"b\" \\ c"}))
            self.assertEqual(found["a/b"]["c"], {"list": [True, 2.5], "when":
                                                 {"$date": "2024-05-06T07:08:09Z"}})
        for options in ([], ["--check"]):
            again = self.play(*tasks, options=options)
            for results in again.values():
                self.assertFalse(any(result["changed"] for result in results), self.output)

    def test_damaged_store(self):
        damaged = self.folder / "second" / FILE
        damaged.parent.mkdir(parents=True)
        damaged.write_text("<plist><dict>")
        results = self.play({"key": "K", "name": "n", "value": 1})
        self.assertTrue(results["second"][0]["failed"])
        self.assertEqual(results["second"][0]["rc"], 5)
        self.assertIn("no property list", results["second"][0]["msg"])
        for machine in ("first", "third"):
            self.assertTrue(results[machine][0]["changed"])
            self.assertEqual(self.values(machine), {"K": {"n": 1}})
        self.assertEqual(damaged.read_text(), "<plist><dict>")

    def test_secrets(self):
        self.play({"key": "K", "name": "n", "value": "old-hush", "secret": True})
        results = self.play({"key": "K", "name": "n", "value": "new-hush", "secret": True},
                            {"entries": [{"key": "K", "values": {"m": "more-hush"}}],
                             "secret": True}, options=["--diff", "-vvv"])
        for machine in MACHINES:
            self.assertEqual(results[machine][0]["changes"],
                             [{"change": "changed", "path": ["K", "n"]}])
            self.assertEqual(self.values(machine), {"K": {"n": "new-hush", "m": "more-hush"}})
        # The playbook itself is not part of the output.
        self.assertNotIn("hush", self.output)

    def test_failures_keep_secrets(self):
        secret = 'hush"quote \\ \u00fcber\nhush'
        task = dict(key="K", name="n", value=secret, secret=True)
        failing = (dict(task, key="K/v"), dict(task, key="", name="K"), dict(task, value=None),
                   dict(task, value=[secret], type="integer"), dict(task, unknown=1),
                   dict(task, key="K/v", value={"list": [secret]}),
                   {"secret": True, "key": "K/v", "values": {"n": secret}},
                   {"secret": True, "key": "K/v", "tree": {"a": {"b": secret}}},
                   {"secret": True, "key": "K", "tree": secret},
                   {"secret": True, "entries": [{"key": "K/v", "values": {"n": secret}}]},
                   {"entries": [{"key": "K/v", "name": "n", "value": secret, "secret": True}]})
        self.play({"key": "K", "name": "v", "value": 1})
        results = self.play(*failing, options=["--diff", "-vvv", "--limit", "first"])["first"]
        self.assertEqual([result["failed"] for result in results], [True] * len(failing))
        self.assertNotIn("hush", self.output)
        self.assertEqual([result.get("rc") for result in results][:2], [3, 6])
        self.assertIn("line 1", results[0]["msg"])
        damaged = self.folder / "first" / FILE
        damaged.write_text("<plist><dict>")
        results = self.play(task, options=["--diff", "-vvv", "--limit", "first"])["first"]
        self.assertEqual(results[0]["rc"], 5)
        self.assertNotIn("hush", self.output)

    def test_mistakes(self):
        for task, reason in (({"key": "K", "name": "n"}, "needs a value"),
                             ({"key": "K", "name": "n", "value": "x", "type": "integer"},
                              "not of type integer"),
                             ({"key": "", "name": "a", "value": {"b": 1}}, None),
                             ({"key": "", "name": "a", "value": 1}, "a key has this name")):
            result = self.play(task, options=["--limit", "first"])["first"][0]
            if reason is None:
                self.assertTrue(result["changed"], self.output)
            else:
                self.assertTrue(result["failed"], self.output)
                self.assertIn(reason, result["msg"])

    def test_the_documented_playbook(self):
        page = (SOURCE / "docs/fleet.md").read_text()
        playbook = page[page.index("```yaml\n") + len("```yaml\n"):]
        (self.folder / "play.yml").write_text(playbook[:playbook.index("```")])
        environment = dict(self.environment, ORVIK_SYSTEM_ROOT=str(self.folder / "first"))
        run = subprocess.run(
            ["ansible-playbook", "-i", self.folder / "hosts", "--limit", "first",
             self.folder / "play.yml"], env=environment, capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertIn('"PagewellExePath": "/Volumes/Data/Applications/ORVIK Pagewell/"', run.stdout)
        self.assertIn("the settings have changed", run.stdout)

    def test_documentation(self):
        run = subprocess.run(["ansible-doc", "orvik_preference"], env=self.environment,
                             capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 0, run.stderr)
        for text in ("ORVIK_PREFERENCE", "secret", "EXAMPLES", "RETURN VALUES"):
            self.assertIn(text, run.stdout)


if __name__ == "__main__":
    if shutil.which("ansible-playbook") is None:
        print("ansible-playbook is not installed: the Ansible module is not tested")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
