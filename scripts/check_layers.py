#!/usr/bin/env python3
"""Checks what each folder may include and which names of the platform it may use.

usage: scripts/check_layers.py [--exact]

- A folder includes only the layers that its CMakeLists.txt links, directly or through a layer that
  it links. This finds also headers that need no linking. No layer links itself through others.
- A header of the operating system or of another library is included only where the table below
  allows it. The C++ standard library is allowed everywhere.
- ICU is included, and the loader of libraries called, in one place: text/unicode_library.h.
- The rooms include each other in one direction only. The folders of platform/ are rooms.
- Numbers of Unicode (surrogates, the replacement character, the marks of UTF-8) stand in text/.
  Above it they are exceptions, each with its reason.
- The kernel's file interface is called in host/ alone. A table gives the few exceptions.
- The layers above platform/ use only names that the real platform has. platform/public_names.txt
  lists them. platform/own_names.txt lists the exceptions, each with its reason.

With --exact, an entry of the two lists that nothing uses is an error, too.
"""
import functools
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["text", "host", "desktop", "plist", "platform", "strings", "files", "streams", "prefs",
          "xml"]
PROGRAMS = ["postflight", "tools"]
ABOVE_PLATFORM = LAYERS[LAYERS.index("strings"):] + PROGRAMS + ["examples"]
# Targets that are no layer, and the folder that builds each.
TARGETS = {"orvik_postflight": "postflight", "orvik_prefs_tool": "tools", "orvik::orvik": "xml"}

# The parts of POSIX that the layers above the platform call by name.
POSIX = {"fcntl.h", "pthread.h", "sys/mman.h", "sys/stat.h", "sys/types.h", "syslog.h", "unistd.h",
         "sys/single_threaded.h"}
ANY = re.compile("")
ALLOWED = {
    "text": re.compile(r"(unicode/.*|dlfcn\.h|[a-z]*mmintrin\.h)$"),
    "host": ANY,
    "desktop": ANY,
    "plist": ANY,
    "platform": ANY,
    "strings": re.compile(r"[a-z]*mmintrin\.h$"),
    "files": re.compile(r"[a-z]*mmintrin\.h$"),
    "streams": re.compile(r"zlib\.h$|boost/"),
    "prefs": re.compile(r"$^"),
    "xml": re.compile(r"tinyxml\.h$|expat\.h$|boost/|[a-z]*mmintrin\.h$"),
    "postflight": re.compile(r"$^"),
    "tools": re.compile(r"(curses|langinfo|termios)\.h$"),
}
# One file includes these for all others.
ONLY_IN = {"unicode/": "text/unicode_library.h", "dlfcn.h": "text/unicode_library.cpp"}

# Circles of rooms that are left: (one room, the other).
CIRCLES = set()

# Numbers that only text/ calculates with: text/characters.h has functions for all of them.
UNICODE_NUMBER = re.compile(
    r"\b0x(D[89A-F][0-9A-F]{2}|1?0FFFF|1[01]0000|FFFD|3FF|F[8C]00)u?\b|& 0x(C0|3F)\b", re.I)
UNICODE_EXCEPTIONS = {
    "host/file_names.cpp": "a byte that is not UTF-8 has a low surrogate of its own in a name",
    "files/path_arguments.cpp": "the backslash of a name on disk is such a surrogate",
    "plist/text_reader.cpp": "the table of an 8-bit encoding",
}

# Calls of the kernel's file interface, by their names in C.
FILE_CALLS = re.compile(
    r'(?<![\w.>:])(?:::)?(open|openat|creat|stat|lstat|fstat|fstatat|statx|rename|renameat|renameat2|'
    r'unlink|unlinkat|rmdir|mkdir|mkdirat|link|linkat|symlink|symlinkat|readlink|readlinkat|read|write|'
    r'pread|pwrite|chmod|fchmod|chown|fchown|truncate|ftruncate|access|faccessat|fsync|opendir|'
    r'mkstemp|mkostemp)\(')
# How many of them each folder may have besides, and why.
FILE_CALLS_ALLOWED = {
    "text": (1, "the message of a process that ends"),
    "platform": (1, "whether a file that may not be read may be run"),
}
# Compilers keep these in folders of their own, and POSIX spells some headers of C its own way.
STANDARD = re.compile(r"[a-z_]+$|(stdio|stdlib|string|time|limits|inttypes|errno|signal)\.h$")


def without_comments(text):
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)
    return re.sub(r'"(?:\\.|[^"\\\n])*"', '""', text)


def sources(folder):
    return sorted(path for path in (ROOT / folder).rglob("*") if path.suffix in (".h", ".cpp"))


def links_of(folder):
    """What the targets of a folder link: (all of it, what their users get with them)."""
    text = re.sub(r"#[^\n]*", "", (ROOT / folder / "CMakeLists.txt").read_text())
    direct, passed_on = set(), set()
    for _, arguments in re.findall(
            r"\b(orvik_library|orvik_test|orvik_example|target_link_libraries)\(([^()]*)\)", text):
        public = True
        for word in arguments.split():
            if word in ("PRIVATE", "PRIVATE_LINKS"):
                public = False
            elif word in ("PUBLIC", "LINKS"):
                public = True
            name = re.fullmatch(r"orvik::(\w+)|orvik_(\w+)_shared", word)
            target = TARGETS.get(word) or (name and (name.group(1) or name.group(2)))
            if target and target != folder:
                direct.add(target)
                if public:
                    passed_on.add(target)
    return direct, passed_on


def reachable(folder):
    direct, _ = links_of(folder)
    found, waiting = set(), list(direct)
    while waiting:
        name = waiting.pop()
        if name not in found:
            found.add(name)
            waiting += links_of(name)[1]
    return found


def includes_of(path):
    """How a file includes, and what. Outside programs include <orvik/strings/...>."""
    for kind, ours, name in re.findall(r'^\s*#\s*include\s*(["<])(orvik/)?([^">]+)',
                                       path.read_text(), re.M):
        yield ('"' if ours else kind), name


def check_includes(folder, allowed, own, problems):
    for path in sources(folder):
        where = path.relative_to(ROOT)
        for kind, name in includes_of(path):
            top = name.split("/")[0]
            if kind == '"':
                if top not in allowed and not name.startswith(own):
                    problems.append(f"{where}: includes {name}, but {folder} does not link {top}")
            elif folder in ALLOWED and not STANDARD.match(name) and name not in POSIX and \
                    not ALLOWED[folder].match(name):
                problems.append(f"{where}: includes <{name}>, which {folder} may not use")


def product_files():
    for folder in LAYERS + PROGRAMS:
        yield from ((path, path.relative_to(ROOT).as_posix()) for path in sources(folder))


def check_single_places(problems):
    for path, name in product_files():
        for kind, included in includes_of(path):
            for start, place in ONLY_IN.items():
                if kind == "<" and included.startswith(start) and name != place:
                    problems.append(f"{name}: includes <{included}>: call it through {place}")


def room_of(name):
    parts = name.split("/")
    return "/".join(parts[:2]) if parts[0] == "platform" and len(parts) > 2 else parts[0]


def check_circles(exact, problems):
    uses = {}
    for path, name in product_files():
        for kind, included in includes_of(path):
            if kind == '"' and (ROOT / included).exists() and room_of(included) != room_of(name):
                uses.setdefault((room_of(name), room_of(included)), name)
    both_ways = {pair for pair in uses if pair[::-1] in uses}
    for one, other in sorted(pair for pair in both_ways if pair < pair[::-1]):
        if not {(one, other), (other, one)} & CIRCLES:
            problems.append(f"{one} and {other} include each other: {uses[one, other]}, "
                            f"{uses[other, one]}")
    # Longer circles: rooms that are left when those that include none of the others go.
    one_way = uses.keys() - both_ways
    while True:
        rooms = {one for one, _ in one_way}
        rest = {(one, other) for one, other in one_way if other in rooms}
        if rest == one_way:
            break
        one_way = rest
    if one_way:
        problems.append("a circle among " + ", ".join(sorted({one for one, _ in one_way})))
    if exact:
        for one, other in sorted(CIRCLES):
            if (one, other) not in both_ways:
                problems.append(f"scripts/check_layers.py: {one} and {other} are no circle any more")


def check_unicode_numbers(exact, problems):
    used = set()
    for path, name in product_files():
        if name.startswith("text/"):
            continue
        found = [match.group() for match in UNICODE_NUMBER.finditer(without_comments(path.read_text()))]
        if found and name not in UNICODE_EXCEPTIONS:
            problems.append(f"{name}: {', '.join(found)}: call text/characters.h")
        if found:
            used.add(name)
    if exact:
        for name in sorted(UNICODE_EXCEPTIONS.keys() - used):
            problems.append(f"scripts/check_layers.py: {name} has no number of Unicode: remove it")


def check_file_calls(folder, problems):
    found = []
    for path in sources(folder):
        if not any(name in ("fcntl.h", "unistd.h", "sys/stat.h") for _, name in includes_of(path)):
            continue
        text = without_comments(path.read_text())
        found += [f"{path.relative_to(ROOT)}: {call}" for call in FILE_CALLS.findall(text)]
    allowed = FILE_CALLS_ALLOWED.get(folder, (0, ""))[0]
    if len(found) > allowed:
        problems.append(f"{folder}: {len(found)} calls of the kernel's file interface, {allowed} are "
                        "allowed; move them to host/:\n  " + "\n  ".join(found))


def declared_names(text):
    """The names that a header declares at namespace scope, and its enumerators."""
    text = re.sub(r"^\s*#.*$", "", without_comments(text), flags=re.M)
    names, open_braces, start = set(), [], 0
    for mark in re.finditer(r"[{};]", text):
        piece, start = text[start:mark.start()].strip(), mark.end()
        at_top = all(brace == "namespace" for brace in open_braces)
        if mark.group() == "{":
            if at_top and re.match(r"(inline\s+)?namespace\b|extern\s", piece):
                open_braces.append("namespace")
                continue
            if at_top:
                names |= names_in(piece)
            open_braces.append("enum" if re.match(r"enum\b(?!\s+class)", piece) else "other")
            continue
        if at_top and piece:
            names |= names_in(piece)
        if mark.group() == "}" and open_braces:
            if open_braces.pop() == "enum":
                names |= set(re.findall(r"(?:^|,)\s*(\w+)", piece))
    return names


def names_in(declaration):
    declaration = re.sub(r"\[\[.*?\]\]", "", re.sub(r"template\s*<[^{;]*?>\s*", "", declaration))
    for pattern in (
            r"using\s+(\w+)\s*=", r"using\s+.*::(\w+)$",
            r"(?:class|struct|union|enum(?:\s+class)?)\s+(\w+)[^()]*$",
            r"[\w:<>\s*&,]*?\b(\w+)\s*\(",
            r"(?:inline|constexpr|extern|const|static)\b.*?(\w+)\s*(?:\[\w*\])?\s*(?:=|$)"):
        found = re.match(pattern, declaration, re.S)
        if found:
            return {found.group(1)} - {"operator", "static_assert"}
    return set()


@functools.cache
def headers_seen_by(path):
    """All headers of the tree that a file includes, directly or through others."""
    seen, waiting = set(), [path]
    while waiting:
        for kind, name in includes_of(waiting.pop()):
            if kind == '"' and name not in seen and (ROOT / name).exists():
                seen.add(name)
                waiting.append(ROOT / name)
    return seen


def words_of_list(name):
    lines = (ROOT / "platform" / name).read_text().splitlines()
    return {word for line in lines if not line.startswith("#") for word in line.split()}


def check_names(exact, problems):
    public, own = words_of_list("public_names.txt"), words_of_list("own_names.txt")
    for name in sorted(public & own):
        problems.append(f"{name} is in both lists of names")
    declared = {}
    for path in sources("platform"):
        if path.suffix == ".h":
            for name in declared_names(path.read_text()):
                declared.setdefault(name, set()).add(str(path.relative_to(ROOT)))
    used = set()
    for folder in ABOVE_PLATFORM:
        for path in sources(folder):
            included = headers_seen_by(path)
            words = set(re.findall(r"\w+", without_comments(path.read_text())))
            for name in words & declared.keys():
                if not declared[name] & included:
                    continue
                used.add(name)
                if name not in public and name not in own:
                    problems.append(
                        f"{path.relative_to(ROOT)}: uses {name} of {', '.join(sorted(declared[name]))}"
                        ", which is no name of the platform (platform/public_names.txt)")
    if exact:
        for name in sorted((public | own) - used):
            problems.append(f"platform/*_names.txt: nothing above platform/ uses {name}: remove it")


def main():
    problems = []
    # Sources in tests/integration are projects of their own, of which tests build each.
    tests = [path.parent.relative_to(ROOT).as_posix()
             for path in sorted((ROOT / "tests").glob("*/CMakeLists.txt"))
             if path.parent.name != "integration"]
    for folder in LAYERS + PROGRAMS + ["bench", "fuzz", "examples"] + tests:
        found = reachable(folder)
        if folder in found:
            problems.append(f"{folder} links itself")
        own = (folder + "/",)
        if folder in tests:
            own += ("tests/support/",) + tuple(f"tests/{layer}/" for layer in found)
        if folder == "fuzz":
            own += ("tests/support/conversion.h",)
        check_includes(folder, found | {folder}, own, problems)
    exact = "--exact" in sys.argv[1:]
    check_single_places(problems)
    check_circles(exact, problems)
    check_unicode_numbers(exact, problems)
    for folder in LAYERS + PROGRAMS:
        if folder != "host":
            check_file_calls(folder, problems)
    check_names(exact, problems)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
