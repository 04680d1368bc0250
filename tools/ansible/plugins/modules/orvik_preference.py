#!/usr/bin/python3
"""Ansible module: the wanted values and keys of the ORVIK preference store."""

DOCUMENTATION = r"""
module: orvik_preference
short_description: Values and keys of the ORVIK preference store
version_added: 2.0.0
description:
  - Changes values, whole keys or whole domains of the ORVIK preference store to the wanted state,
    or reads them.
  - One task is one change, all or nothing, by C(orvikprefs apply).
requirements:
  - C(orvikprefs) on the managed machine
options:
  key:
    description:
      - The key path, such as C(Software/App), or a list of names if a name contains C(/) or C(\).
      - The empty path is the top level of the domain.
    type: raw
    default: ""
  name:
    description: The name of one value of the key. Not together with I(values), I(names) or I(tree).
    type: str
  value:
    description:
      - The value of I(name). Required for state C(present), unless I(append) is given.
      - Numbers, booleans, dates, binary, lists and dictionaries keep their types. The result of a
        template is text; I(type) gives it another type.
    type: raw
  append:
    description:
      - The elements that the array I(name) must contain. Missing ones are added at its end; a missing
        array is made.
    type: list
    elements: raw
  type:
    description: The type of I(value). C(auto) takes the type that YAML gave it.
    type: str
    choices: [auto, string, integer, real, boolean, date, data, json]
    default: auto
  values:
    description: The values of several names of the key, for state C(present).
    type: dict
  names:
    description: Several names of the key, for the states C(absent) and C(read).
    type: list
    elements: str
  tree:
    description:
      - The entries below the key, with keys as dictionaries. Other entries stay, unless I(exact) is
        set.
      - A date is a date of YAML or C({"$date":"2024-05-06T07:08:09Z"}), data is binary of YAML or
        C({"$data":"TWFu"}).
    type: dict
  exact:
    description: The key contains the entries of I(tree) and no others.
    type: bool
    default: false
  check_type:
    description: Refuses to change the type of a present value. Not for a I(tree).
    type: bool
    default: false
  entries:
    description:
      - Several keys in one task, each with options of the same names as above. These options must not
        be used together with I(entries).
    type: list
    elements: dict
  state:
    description:
      - C(present) makes the named values, the tree, or else the key itself.
      - C(absent) removes the named values, or else the key with everything below it.
      - C(read) changes nothing and returns the named values, or else the key.
    type: str
    choices: [present, absent, read]
    default: present
  secret:
    description:
      - Hides the values in results, differences, messages and logs. Names are shown.
      - If one entry has it, it applies to the whole task.
    type: bool
    default: false
  backup:
    description: Keeps a copy of the store beside it when something changes.
    type: bool
    default: false
  timeout:
    description: The longest wait for the lock in seconds. Without it a change waits about ten seconds.
    type: float
  scope:
    description: The scope of the store.
    type: str
    choices: [shared, user, machine]
    default: shared
  domain:
    description: The domain.
    type: str
    default: com.orviktech.Registry
  root:
    description: The root of the system volume, for an image.
    type: path
  home:
    description: The home folder of the user scope.
    type: path
  executable:
    description: The program.
    type: str
    default: orvikprefs
attributes:
  check_mode: {support: full, description: Reports what would change.}
  diff_mode: {support: full, description: Shows the values that differ.}
notes:
  - Nothing replaces a key by a value, or a value by a key.
  - The task fails with the exit status of C(orvikprefs) as C(rc).
seealso:
  - name: orvikprefs(1)
    description: The scripts that the module makes, and the exit statuses.
    link: https://orvik.example/orvikprefs.1
author: The ORVIK maintainers
"""

EXAMPLES = r"""
- name: One value
  orvik_preference:
    key: Software/ORVIK Technologies/Pagewell Software
    name: UELogging
    value: 1

- name: Many values of one key, as one change
  orvik_preference:
    key: Software/App
    values: {Path: /opt/app, Count: 5, Ratio: 0.5, Plugins: [a, b], Since: 2024-05-06}
    backup: true

- name: One more plugin
  orvik_preference:
    key: Software/App
    name: Plugins
    append: [c]

- name: A key with exactly these entries
  orvik_preference:
    key: Software/App/Colours
    tree: {line: red, fill: {inner: white}}
    exact: true

- name: A password that is not shown
  orvik_preference:
    key: Software/App
    name: Token
    value: "{{ app_token }}"
    secret: true

- name: No such key
  orvik_preference:
    key: Software/Old
    state: absent

- name: Read a key
  orvik_preference:
    key: Software/App
    state: read
  register: app
"""

RETURN = r"""
changes:
  description: The differences in the form of C(orvikprefs diff --json). Without values if I(secret).
  returned: states present and absent
  type: list
  elements: dict
  sample: [{"change": "added", "path": ["Software", "App", "Count"], "after": 5}]
backup_file:
  description: The copy of the store.
  returned: if I(backup) is set, something changed and the store existed before
  type: str
  sample: /Users/Shared/Library/Preferences/com.orviktech.Registry.plist.backup-2026-11-25T20:15:01Z
found:
  description: Whether all requested values exist.
  returned: state read
  type: bool
value:
  description: The value, if I(name) is given and the value exists.
  returned: state read
  type: raw
tree:
  description: The key, or its values of these I(names).
  returned: state read, without I(name)
  type: dict
  sample: {"Count": 5, "Since": {"$date": "2024-05-06T00:00:00Z"}}
read:
  description: For each of the I(entries) its C(found), and C(value) or C(tree).
  returned: state read, with I(entries)
  type: list
  elements: dict
rc:
  description: The exit status of C(orvikprefs).
  returned: failure
  type: int
"""

import json
import math
import re
import subprocess

from ansible.module_utils import basic

HIDDEN = "(hidden)"
ENTRY_OPTIONS = dict(
    key=dict(type="raw", default="", no_log=False),
    name=dict(type="str"),
    value=dict(type="raw"),
    append=dict(type="list", elements="raw"),
    type=dict(type="str", default="auto",
              choices=["auto", "string", "integer", "real", "boolean", "date", "data", "json"]),
    values=dict(type="dict"),
    names=dict(type="list", elements="str"),
    tree=dict(type="dict"),
    exact=dict(type="bool", default=False),
    check_type=dict(type="bool", default=False),
    state=dict(type="str", default="present", choices=["present", "absent", "read"]),
    secret=dict(type="bool", default=False, no_log=False),
)
VALUE_OPTIONS = ("value", "append", "values", "tree")


class Mistake(Exception):
    pass


def typed(value, kind):
    """The value in the JSON form of orvikprefs."""
    if kind == "auto":
        return value
    if kind == "json":
        return json.loads(value, parse_constant=refused) if isinstance(value, str) else value
    if isinstance(value, dict) and list(value) in (["$date"], ["$data"]):
        value = value if "$" + kind in value else list(value.values())[0]
        if isinstance(value, dict):
            return value
    text = basic.to_text(value)
    if kind == "string":
        return text
    if kind in ("integer", "real"):
        # Python also accepts 1_000, digits of other scripts, and 1e999 as infinity, which are not
        # numbers in the store.
        if not re.fullmatch("[-+.0-9a-zA-Z]+", text):
            raise ValueError(text)
        number = int(text) if kind == "integer" else float(text)
        if kind == "real" and math.isinf(number) and "inf" not in text.lower():
            raise ValueError(text)
        return number
    if kind == "boolean":
        return basic.boolean(value)
    return {"$" + kind: text}


def refused(word):
    raise ValueError(word)


def written(value):
    """The value in a form that JSON allows: NaN and infinities are {"$real": ...}."""
    if isinstance(value, float) and not math.isfinite(value):
        return {"$real": "nan" if math.isnan(value) else "inf" if value > 0 else "-inf"}
    if isinstance(value, dict):
        return {name: written(each) for name, each in value.items()}
    return [written(each) for each in value] if isinstance(value, list) else value


def line(verb, *words):
    return " ".join([verb] + [json.dumps(written(word)) for word in words]) + "\n"


# The options of each state, and those that exclude each other.
STATE_OPTIONS = dict(present=("name", "value", "append", "values", "tree"),
                     absent=("name", "names"), read=("name", "names"))
APART = (("name", "values"), ("name", "names"), ("name", "tree"), ("value", "append"))
NEEDS_NAME = ("value", "append")


def check(entry):
    """Refuses options without an effect or with two meanings."""
    key = entry["key"]
    if not isinstance(key, (str, list)) or not all(isinstance(name, str) for name in key):
        raise Mistake("key is neither a path nor a list of names; a name such as 5 needs quotes")
    given = [option for option in ("name", "value", "append", "values", "names", "tree")
             if entry[option] is not None]
    for option in given:
        if option not in STATE_OPTIONS[entry["state"]]:
            raise Mistake("state %s takes no %s" % (entry["state"], option))
        if option in NEEDS_NAME and "name" not in given:
            raise Mistake("%s needs a name" % option)
    for one, other in APART:
        if one in given and other in given:
            raise Mistake("%s and %s cannot be combined" % (one, other))
    if entry["exact"] and "tree" not in given:
        raise Mistake("exact needs a tree")
    if entry["type"] != "auto" and "value" not in given:
        raise Mistake("type needs a value")
    if entry["check_type"] and not {"value", "append", "values"}.intersection(given):
        raise Mistake("check_type needs a value or values")
    if entry["state"] == "present" and given == ["name"]:
        raise Mistake("a value that is to be present needs a value")


def script_of(entry):
    """The lines of a script for one entry."""
    key, name, tree = entry["key"], entry["name"], entry["tree"]
    if entry["state"] == "absent":
        names = [name] if name is not None else entry["names"]
        if names is not None:
            return "".join(line("delete", key, each) for each in names)
        return line("replace", key, {}) if key in ("", []) else line("delete-key", key)
    verb = "set --keep-type" if entry["check_type"] else "set"
    script = ""
    if tree is not None:
        script += line("replace" if entry["exact"] else "merge", key, tree)
    if entry["value"] is not None:
        try:
            script += line(verb, key, name, typed(entry["value"], entry["type"]))
        except (ValueError, TypeError):
            raise Mistake("the value of %r is not of type %s" % (name, entry["type"]))
    for element in entry["append"] or []:
        script += line("add-element", key, name, element)
    for each, value in (entry["values"] or {}).items():
        script += line(verb, key, each, value)
    if not script and key not in ("", []):
        script = line("make-key", key)
    return script


class Store:
    """The program with the options for the store."""

    def __init__(self, module):
        options = module.params
        self.module = module
        self.words = [module.get_bin_path(options["executable"], required=True), "--json",
                      "--scope", options["scope"], "--domain", options["domain"]]
        for name in ("root", "home", "timeout"):
            if options[name] is not None:
                self.words += ["--" + name, str(options[name])]

    def run(self, words, sound, script=""):
        """Runs the program. Returns its status, which must be one of the given ones, and its output."""
        # Not run_command: if the program ended before it has read the script, that would be a broken pipe
        # there, and the reason would be lost.
        try:
            program = subprocess.Popen(self.words + words, stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            output, error = program.communicate(script.encode())
        except (OSError, ValueError) as mistake:
            self.module.fail_json(msg="%s: %s" % (self.words[0], mistake))
        if program.returncode not in sound:
            self.module.fail_json(msg=basic.to_text(error).strip(), rc=program.returncode)
        return program.returncode, json.loads(basic.to_text(output)) if output else None

    def read(self, entry):
        key, name, names = entry["key"], entry["name"], entry["names"]
        # Not get, which also finds values and elements of arrays. The separator at the start keeps a
        # path in brackets a path.
        path = json.dumps(key) if isinstance(key, list) else "/" + key
        status, tree = self.run(["export", "--format", "json", "--", path], (0, 2))
        tree = tree if status == 0 else {}
        if name is not None:
            return dict(found=name in tree, **({"value": tree[name]} if name in tree else {}))
        if names is None:
            return dict(found=status == 0, tree=tree)
        tree = {each: tree[each] for each in names if each in tree}
        return dict(found=len(tree) == len(set(names)), tree=tree)

    def apply(self, script, options):
        """The differences, and the copy of the store."""
        words = ["apply", "-"] + [word for word, wanted in options if wanted]
        # 8: something would change.
        found = self.run(words, (0, 8), script)[1]
        return (found["changes"], found.get("backup")) if isinstance(found, dict) else (found, None)


def difference(changes):
    """Both sides of the changes, one line for each value. Secret values are not in the changes."""
    def side(which, absent):
        lines = []
        for change in changes:
            if change["change"] != absent:
                value = (json.dumps(change[which], ensure_ascii=False) if which in change
                         else HIDDEN + " " + which)
                lines.append("%s = %s\n" % (json.dumps(change["path"], ensure_ascii=False), value))
        return "".join(lines)
    return dict(before=side("before", "added"), after=side("after", "removed"))


def arguments(secret):
    entry = {name: dict(spec) for name, spec in ENTRY_OPTIONS.items()}
    for name in VALUE_OPTIONS:
        entry[name]["no_log"] = secret
    return dict(
        entry,
        entries=dict(type="list", elements="dict", options=entry, no_log=secret),
        backup=dict(type="bool", default=False),
        timeout=dict(type="float"),
        scope=dict(type="str", default="shared", choices=["shared", "user", "machine"]),
        domain=dict(type="str", default="com.orviktech.Registry"),
        root=dict(type="path"),
        home=dict(type="path"),
        executable=dict(type="str", default="orvikprefs"),
    )


def is_secret():
    """Ansible logs the options while it makes the module, so it must know the secret ones before."""
    options = basic._load_params()
    try:
        return any(basic.boolean(holder.get("secret", False)) for holder in
                   [options] + list(options.get("entries") or []))
    except (AttributeError, TypeError):
        return True


def entries_of(options):
    """The entries of the task, each checked."""
    entries = options["entries"]
    if entries is not None:
        beside = [name for name, spec in ENTRY_OPTIONS.items()
                  if name != "secret" and options[name] != spec.get("default")]
        if beside:
            raise Mistake("%s and entries cannot be combined" % beside[0])
    entries = [options] if entries is None else entries
    for entry in entries:
        check(entry)
    reading = [entry["state"] == "read" for entry in entries]
    if any(reading) and not all(reading):
        raise Mistake("state read does not go with other states in one task")
    return entries


def main():
    secret = is_secret()
    module = basic.AnsibleModule(argument_spec=arguments(secret), supports_check_mode=True)
    options = module.params
    try:
        entries = entries_of(options)
        reading = bool(entries) and entries[0]["state"] == "read"
        if reading and secret:
            raise Mistake("state read returns values, and secret hides them; use no_log for the task")
        script = "" if reading else "".join(script_of(entry) for entry in entries)
    except Mistake as mistake:
        module.fail_json(msg=str(mistake))
    store = Store(module)
    if reading:
        found = [store.read(entry) for entry in entries]
        module.exit_json(changed=False,
                         **(found[0] if options["entries"] is None else
                            dict(read=found, found=all(each["found"] for each in found))))
    changes, backup = store.apply(script, [("--check", module.check_mode), ("--secret", secret),
                                           ("--backup", options["backup"])])
    result = dict(changed=bool(changes), changes=changes)
    if backup:
        result["backup_file"] = backup
    if module._diff:
        result["diff"] = difference(changes)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
