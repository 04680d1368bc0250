"""Tests the Ansible module on three roots, used as three machines."""
import json
import os
import pathlib
import re
import shutil
import unittest

from programs import FILE, PROGRAMS, SOURCE, ProgramTest

PLUGINS = SOURCE / "tools/ansible/plugins"
MACHINES = ("first", "second", "third")
# A value of each type, in the JSON form of orvikprefs.
KINDS = {"string": "te\"x\\t \u00fc\n", "integer": 2**53, "real": 2.5, "boolean": False,
         "date": {"$date": "2024-05-06T07:08:09Z"}, "data": {"$data": "AAEC"},
         "array": [1, {"a": []}], "dictionary": {"line": "red", "fill": {"inner": "white"}},
         "empty": {}}


class AnsibleTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.need("ansible-playbook")
        for machine in MACHINES:
            (self.folder / machine).mkdir()
        hosts = "".join(f"{machine} root={self.folder / machine}\n" for machine in MACHINES)
        (self.folder / "hosts").write_text(
            f"[all]\n{hosts}[all:vars]\nansible_connection=local\n"
            "ansible_python_interpreter=/usr/bin/python3\n")
        self.environment.update(
            HOME=str(self.folder), TMPDIR=str(self.folder), ANSIBLE_LIBRARY=str(PLUGINS / "modules"),
            ANSIBLE_ACTION_PLUGINS=str(PLUGINS / "action"), ANSIBLE_STDOUT_CALLBACK="minimal",
            ANSIBLE_GATHERING="explicit", ANSIBLE_RETRY_FILES_ENABLED="0",
            ANSIBLE_LOCALHOST_WARNING="0", ANSIBLE_REMOTE_TMP=str(self.folder / "remote"))
        del self.environment["ORVIK_SYSTEM_ROOT"]

    def run_playbook(self, text, *options):
        (self.folder / "play.yml").write_text(text)
        done = self.run_command("ansible-playbook", "-i", self.folder / "hosts", *options,
                                self.folder / "play.yml")
        self.output = done.stdout + done.stderr
        return done

    def run_page(self, text, *options):
        """Runs a playbook without a root on the first machine; it must succeed."""
        self.environment["ORVIK_SYSTEM_ROOT"] = str(self.folder / "first")
        self.assertEqual(self.run_playbook(text, "--limit", "first", *options).returncode, 0, self.output)

    def play(self, *tasks, options=()):
        """Runs tasks, given as options of the module, on all machines. Returns the results by machine.

        The next tasks run even if one fails.
        """
        playbook = [{"hosts": "all", "ignore_errors": True, "tasks": [
            {"orvik_preference": dict(task, root="{{ root }}")} for task in tasks]}]
        run = self.run_playbook(json.dumps(playbook), *options)
        results = {machine: [] for machine in MACHINES}
        for head in re.finditer(r"^(\w+) \| ([A-Z]+)!? => ", run.stdout, re.M):
            result, _ = json.JSONDecoder().raw_decode(run.stdout, head.end())
            results[head.group(1)].append(dict(result, failed=head.group(2) == "FAILED"))
        return results

    def values(self, machine):
        return json.loads(self.prefs(f"--root {self.folder / machine} get ''"))

    def test_wanted_state(self):
        values = {f"value {number}": number for number in range(100)}
        tree = {"list": [True, 2.5], "when": KINDS["date"]}
        tasks = [{"key": "Software/App", "values": values},
                 {"key": "Software/App", "name": "Größe", "value": "a \"b\" \\ c"},
                 {"key": "Software/App", "name": "Count", "value": "7", "type": "integer"},
                 {"key": ["a/b", "c"], "tree": tree, "exact": True},
                 {"key": "Software/Kinds", "values": KINDS},
                 {"key": "Software/Kinds", "name": "of json", "type": "json",
                  "value": '{"c": [{}, true]}'},
                 {"key": "Software/Empty"},
                 {"key": "Software/Old", "state": "absent"},
                 {"entries": [{"key": "E", "name": "n", "value": {"a": {"b": [1.5]}}},
                              {"key": "Software/Old", "names": ["x"], "state": "absent"}]}]
        shown = self.play(*tasks, options=["--check", "--diff"])
        for results in shown.values():
            self.assertEqual([result["changed"] for result in results],
                             [True] * 7 + [False, True], self.output)
        self.assertEqual(self.output.count('+["Software", "App", "value 99"] = 99\n'), 3)
        self.assertFalse((self.folder / "first" / FILE).exists())

        changed = self.play(*tasks)
        for machine, results in changed.items():
            self.assertEqual(len(results[0]["changes"]), 100)
            self.assertEqual(self.values(machine), {
                "Software": {"App": dict(values, Count=7, **{"Größe": "a \"b\" \\ c"}), "Empty": {},
                             "Kinds": dict(KINDS, **{"of json": {"c": [{}, True]}})},
                "a/b": {"c": tree}, "E": {"n": {"a": {"b": [1.5]}}}})
        for options in ([], ["--check"]):
            again = self.play(*tasks, options=options)
            for results in again.values():
                self.assertFalse(any(result["changed"] for result in results), self.output)

    def test_secrets(self):
        secret = 'hush"quote \\ \u00fcber\nhush'
        task = dict(key="K", name="n", value=secret, secret=True)
        rows = ((task, None), ({"secret": True, "entries": [{"key": "K", "values": {"m": secret}}]}, None),
                (dict(task, key="K/v"), 3), (dict(task, key="", name="K"), 6))
        failing = [dict(task, value=None), dict(task, value=[secret], type="integer"),
                   dict(task, unknown=1), dict(task, key="K/v", value={"list": [secret]}),
                   {"secret": True, "key": "K/v", "values": {"n": secret}},
                   {"secret": True, "key": "K/v", "tree": {"a": {"b": secret}}},
                   {"secret": True, "key": "K", "tree": secret},
                   {"entries": [{"key": "K/v", "name": "n", "value": secret, "secret": True}]}]

        def play(*tasks):
            results = self.play(*tasks, options=["--diff", "-vvv", "--limit", "first"])["first"]
            # The playbook itself is not part of the output.
            self.assertNotIn("hush", self.output)
            return results
        play({"key": "K", "values": {"v": 1, "n": "old-hush"}, "secret": True})
        results = play(*[row for row, _ in rows], *failing)
        self.assertEqual([result["failed"] for result in results], [False] * 2 + [True] * 10)
        self.assertEqual([result.get("rc") for _, result in zip(rows, results)], [rc for _, rc in rows])
        self.assertEqual(results[0]["changes"], [{"change": "changed", "path": ["K", "n"]}])
        self.assertIn("line 1", results[2]["msg"])
        self.assertEqual(self.values("first"), {"K": {"v": 1, "n": secret, "m": secret}})
        # The other machines continue.
        (self.folder / "first" / FILE).write_text("<plist><dict>")
        results = self.play(task)
        self.assertEqual([result.get("rc") for result, in results.values()], [5, None, None])

    def test_mistakes(self):
        named = {"key": "K", "name": "n"}
        mistakes = (
            (named, "needs a value"),
            (dict(named, value="x", type="integer"), "not of type integer"),
            ({"key": "K", "value": 1}, "value needs a name"),
            (dict(named, value=1, values={"m": 2}), "name and values cannot be combined"),
            (dict(named, value=1, state="absent"), "state absent takes no value"),
            ({"key": "K", "names": ["n"]}, "state present takes no names"),
            ({"key": "K", "exact": True}, "exact needs a tree"),
            ({"key": "K", "type": "integer", "values": {"n": 1}}, "type needs a value"),
            (dict(named, value=1, entries=[dict(named, value=2)]), "cannot be combined"),
            ({"entries": [{"key": "K"}, {"key": "K", "state": "read"}]}, "state read does not go"),
            (dict(named, state="read", secret=True), "state read returns values"),
            (dict(named, value=1, timeout="soon"), "timeout"),
            (dict(named, value="x" * 200000, domain=""), "is not a domain"),
            (dict(named, value=1, key=["K", 5]), "list of names"),
            (dict(named, value="1_000", type="integer"), "not of type integer"),
            (dict(named, value="1e999", type="real"), "not of type real"),
            (dict(named, value="[NaN]", type="json"), "not of type json"),
            ({"key": "K", "tree": {}, "check_type": True}, "check_type needs a value"),
            ({"key": "", "name": "a", "value": {"b": 1}}, None),
            ({"key": "", "name": "a", "value": 1}, "a key has this name: \"a\""),
            ({"key": "a", "name": "b", "value": "1", "check_type": True}, "has another type"))
        results = self.play(*[task for task, _ in mistakes], options=["--limit", "first"])["first"]
        for (task, reason), result in zip(mistakes, results, strict=True):
            with self.subTest(task):
                self.assertEqual(result["failed"], reason is not None)
                self.assertIn(reason or "", result.get("msg", ""))
        self.assertEqual(self.values("first"), {"a": {"b": 1}})

    def test_reading_appending_and_backups(self):
        store = {"key": ["a/b"], "tree": {"list": [1, "x"], "when": KINDS["date"], "in": {"n": 1}}}
        append = {"key": ["a/b"], "name": "list", "append": ["x", {"y": 1}], "backup": True,
                  "timeout": 5}
        reading = ({"key": ["a/b"]}, {"key": ["a/b"], "name": "list"}, {"key": ["a/b", "when"]},
                   {"key": "[\"a/b\"]"},  # a path, not a list of names
                   {"key": ["a/b"], "name": "list[0]"}, {"key": ["a/b"], "names": ["when", "none"]},
                   {"entries": [{"key": ["a/b"], "name": "when", "state": "read"},
                                {"key": "", "state": "read"}]})
        reading = [task if "entries" in task else dict(task, state="read") for task in reading]
        self.play(store, options=["--limit", "first"])
        results = self.play(append, append, *reading,
                            options=["--limit", "first"])["first"]
        self.assertFalse(any(result["failed"] for result in results), self.output)
        self.assertEqual([result["changed"] for result in results], [True] + [False] * 8)
        tree = dict(store["tree"], list=[1, "x", {"y": 1}])
        shown = [{name: value for name, value in result.items()
                  if name in ("found", "value", "tree", "read")} for result in results[2:]]
        self.assertEqual(shown, [
            {"found": True, "tree": tree}, {"found": True, "value": tree["list"]},
            {"found": False, "tree": {}}, {"found": False, "tree": {}}, {"found": False},
            {"found": False, "tree": {"when": KINDS["date"]}},
            {"found": True, "read": [{"found": True, "value": KINDS["date"]},
                                     {"found": True, "tree": {"a/b": tree}}]}])
        copy = pathlib.Path(results[0]["backup_file"])
        self.assertNotIn("backup_file", results[1])
        self.assertEqual(copy.parent, (self.folder / "first" / FILE).parent)
        self.assertIn("<key>when</key>", copy.read_text())
        self.assertNotIn("<key>y</key>", copy.read_text())

    @unittest.skipUnless(os.geteuid() == 0 and shutil.which("su"), "needs root and su")
    def test_become(self):
        self.folder.chmod(0o755)
        if self.run_command("su", "nobody", "-s", "/bin/sh", "-c", f"{PROGRAMS}/orvikprefs --version").returncode:
            self.skipTest("nobody may not run the program")
        root = self.folder / "first"
        shutil.chown(root, "nobody")
        self.environment.update(ANSIBLE_PIPELINING="1", ANSIBLE_BECOME_METHOD="su",
                                ANSIBLE_BECOME_FLAGS="-s /bin/sh")
        become = ["--become", "--become-user", "nobody", "--limit", "first"]
        task = {"key": "K", "name": "n", "value": 1}
        for changed in (True, False):
            result, = self.play(task, options=become)["first"]
            self.assertFalse(result["failed"], self.output)
            self.assertEqual(result["changed"], changed)
        self.assertEqual((root / FILE).owner(), "nobody")
        self.assertEqual(self.values("first"), {"K": {"n": 1}})

    def test_types_of_yaml_are_kept(self):
        playbook = """
- hosts: all
  tasks:
    - orvik_preference:
        key: K
        values: {day: 2024-05-06, time: 2024-05-06T07:08:09Z, there: 2024-05-06T09:08:09+02:00,
                 bytes: !!binary AAEC, deep: [{day: 2024-05-06}], text: "2024-05-06",
                 odd: [.nan, -.inf]}
    - orvik_preference: {key: K, name: n, type: date, value: 2024-05-06}
"""
        self.run_page(playbook)
        day, time = {"$date": "2024-05-06T00:00:00Z"}, {"$date": "2024-05-06T07:08:09Z"}
        self.assertEqual(self.values("first"), {"K": {
            "day": day, "time": time, "there": time, "bytes": {"$data": "AAEC"},
            "deep": [{"day": day}], "text": "2024-05-06", "n": day,
            "odd": [{"$real": "nan"}, {"$real": "-inf"}]}})
        self.run_page(playbook)
        self.assertNotIn('"changed": true', self.output)

    def test_the_collection(self):
        def run(*command):
            done = self.run_command(*command, cwd=self.folder)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            return done.stdout
        for name in ("ANSIBLE_LIBRARY", "ANSIBLE_ACTION_PLUGINS"):
            del self.environment[name]
        self.environment["ANSIBLE_COLLECTIONS_PATH"] = str(self.folder / "collections")
        commands = re.search(r"```sh\n(ansible-galaxy.*?)```", (SOURCE / "docs/fleet.md").read_text(),
                             re.S).group(1).replace("tools/ansible", str(SOURCE / "tools/ansible"))
        run("sh", "-ec", commands.replace(" --offline", f" --offline -p {self.folder}/collections"))
        page = (SOURCE / "tools/ansible/README.md").read_text()
        playbook = re.search(r"```yaml\n(.*?)```", page, re.S).group(1)
        self.run_page(playbook, "--check", "--diff")
        self.run_page(playbook)
        self.assertEqual(self.values("first")["Software"], {"App": {"Path": "/opt/app", "Count": 5}})
        page = run("ansible-doc", "orvik.preferences.orvik_preference")
        for text in ("check_type", "secret", "EXAMPLES", "RETURN VALUES"):
            self.assertIn(text, page)

    def test_the_documented_playbook(self):
        page = (SOURCE / "docs/fleet.md").read_text()
        playbook = re.search(r"```yaml\n(.*?)```", page, re.S).group(1)
        for options in (("--check", "--diff"), (), ("--check", "--diff"), ()):
            self.run_page(playbook, *options)
            if not options and "the settings have changed" in self.output:
                self.assertIn('"PagewellExePath": "/Volumes/Data/Applications/ORVIK Pagewell/"',
                              self.output)
                recorded = self.values("first")
        self.assertNotIn('"changed": true', self.output)
        self.assertEqual(self.values("first"), recorded)


if __name__ == "__main__":
    unittest.main()
