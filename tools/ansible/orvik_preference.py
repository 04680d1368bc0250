#!/usr/bin/python3
"""Ansible module: values and keys of the ORVIK preference store as they are wanted."""

DOCUMENTATION = r"""
module: orvik_preference
short_description: Values and keys of the ORVIK preference store
description:
  - Brings values, whole keys or whole domains of the ORVIK preference store into the wanted state.
  - Everything in one task is one change, all or nothing, carried out by C(orvikprefs apply).
  - Needs C(orvikprefs) on the managed machine.
options:
  key:
    description:
      - The key path, such as C(Software/App), or a list of names where a name holds C(/) or C(\).
      - The empty path is the top level of the domain.
    type: raw
    default: ""
  name:
    description: The name of one value of the key.
    type: str
  value:
    description:
      - The value that I(name) has. Needed when it is to be present.
      - Numbers, booleans, lists and dictionaries keep their types. Text that comes out of a template
        is text; I(type) makes another type of it.
    type: raw
  type:
    description: The type of I(value). C(auto) takes the type that YAML gave it.
    type: str
    choices: [auto, string, integer, real, boolean, date, data, json]
    default: auto
  values:
    description: The values of several names of the key, for state C(present).
    type: dict
  names:
    description: Several names of the key, for state C(absent).
    type: list
    elements: str
  tree:
    description:
      - What lies below the key, keys as dictionaries. Entries that are not named stay, unless
        I(exact) is set.
      - A date is C({"$date":"2024-05-06T07:08:09Z"}), data C({"$data":"TWFu"}).
    type: dict
  exact:
    description: The key holds what I(tree) holds and nothing else.
    type: bool
    default: false
  entries:
    description: Changes of several keys, each with options of the same names as above.
    type: list
    elements: dict
  state:
    description:
      - C(present) makes the named values, the tree, or else the key itself.
      - C(absent) removes the named values, or else the key with all that lies below it.
    type: str
    choices: [present, absent]
    default: present
  secret:
    description:
      - Shows no value, neither in results, differences and messages nor in logs. Names are shown.
      - Of one entry it holds for the whole task.
    type: bool
    default: false
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
    description: Where the system volume lies, for an image.
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
    values: {Path: /opt/app, Count: 5, Ratio: 0.5, Plugins: [a, b]}

- name: A key that holds exactly this
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
"""

RETURN = r"""
changes:
  description: What differs, as C(orvikprefs diff --json) prints it. Without values when I(secret).
  returned: success
  type: list
  elements: dict
  sample: [{"change": "added", "path": ["Software", "App", "Count"], "after": 5}]
"""

import json

from ansible.module_utils import basic

HIDDEN = "(hidden)"
ENTRY_OPTIONS = dict(
    key=dict(type="raw", default="", no_log=False),
    name=dict(type="str"),
    value=dict(type="raw"),
    type=dict(type="str", default="auto",
              choices=["auto", "string", "integer", "real", "boolean", "date", "data", "json"]),
    values=dict(type="dict"),
    names=dict(type="list", elements="str"),
    tree=dict(type="dict"),
    exact=dict(type="bool", default=False),
    state=dict(type="str", default="present", choices=["present", "absent"]),
    secret=dict(type="bool", default=False, no_log=False),
)
VALUE_OPTIONS = ("value", "values", "tree")


class Mistake(Exception):
    pass


def typed(value, kind):
    """The value as orvikprefs' JSON has it."""
    if kind == "auto":
        return value
    if kind == "json":
        return json.loads(value) if isinstance(value, str) else value
    text = basic.to_text(value)
    if kind == "string":
        return text
    if kind == "integer":
        return int(text)
    if kind == "real":
        return float(text)
    if kind == "boolean":
        return basic.boolean(value)
    return {"$" + kind: text}


def line(*words):
    return " ".join([words[0]] + [json.dumps(word) for word in words[1:]]) + "\n"


def script_of(entry):
    """The lines of a script that say what one entry wants."""
    key = entry["key"]
    if not isinstance(key, (str, list)):
        raise Mistake("key is neither a path nor a list of names")
    name, values, names, tree = (entry.get(word) for word in ("name", "values", "names", "tree"))
    if entry["state"] == "absent":
        if tree is not None or values is not None:
            raise Mistake("state absent takes names, not values")
        wanted = list(names or []) + ([name] if name is not None else [])
        if wanted or names is not None:
            return "".join(line("delete", key, each) for each in wanted)
        if key in ("", []):
            return line("replace", key, {})
        return line("delete-key", key)
    if names is not None:
        raise Mistake("state present takes values, not names")
    script = ""
    if tree is not None:
        script += line("replace" if entry["exact"] else "merge", key, tree)
    elif entry["exact"]:
        raise Mistake("exact needs a tree")
    if name is not None:
        if entry.get("value") is None:
            raise Mistake("a value that is to be present needs a value")
        try:
            script += line("set", key, name, typed(entry["value"], entry["type"]))
        except (ValueError, TypeError):
            raise Mistake("the value of %r is not of type %s" % (name, entry["type"]))
    for each, value in (values or {}).items():
        script += line("set", key, each, value)
    if not script and key not in ("", []):
        script = line("make-key", key)
    return script


def difference(changes):
    """Both sides of the changes, one line for each value. A secret one is not in the changes."""
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
        scope=dict(type="str", default="shared", choices=["shared", "user", "machine"]),
        domain=dict(type="str", default="com.orviktech.Registry"),
        root=dict(type="path"),
        home=dict(type="path"),
        executable=dict(type="str", default="orvikprefs"),
    )


def is_secret():
    """Ansible logs the options while it makes the module: what is secret must be known before."""
    options = basic._load_params()
    try:
        return any(basic.boolean(holder.get("secret", False)) for holder in
                   [options] + list(options.get("entries") or []))
    except (AttributeError, TypeError):
        return True


def main():
    secret = is_secret()
    module = basic.AnsibleModule(argument_spec=arguments(secret), supports_check_mode=True)
    options = module.params
    try:
        entries = options["entries"]
        script = "".join(script_of(entry) for entry in
                         (entries if entries is not None else [options]))
    except Mistake as mistake:
        module.fail_json(msg=str(mistake))
    command = [module.get_bin_path(options["executable"], required=True), "--json",
               "--scope", options["scope"], "--domain", options["domain"]]
    for name in ("root", "home"):
        if options[name] is not None:
            command += ["--" + name, options[name]]
    command += ["apply", "-"] + (["--check"] if module.check_mode else [])
    command += ["--secret"] if secret else []
    status, output, error = module.run_command(command, data=script, binary_data=True)
    # 8: something would change.
    if status not in (0, 8):
        module.fail_json(msg=error.strip(), rc=status)
    changes = json.loads(output)
    result = dict(changed=bool(changes), changes=changes)
    if module._diff:
        result["diff"] = difference(changes)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
