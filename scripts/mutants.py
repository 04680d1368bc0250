#!/usr/bin/env python3
"""Puts small faults into the sources, one at a time, and reports which of them the tests let pass.

Usage: scripts/mutants.py [options] [FOLDER or FILE...]   (default: every folder with tests of its own)

  --count N      how many mutants to try (default 100), spread over the sources by their lines
  --seed N       the choice of mutants (default 1); the same seed chooses the same mutants
  --minutes M    stop after M minutes (default 60)
  --report FILE  a line of JSON for each mutant (default build/mutants/report.jsonl). Mutants that the
                 file already names are not tried again, so that a stopped run can go on
  --user NAME    run the tests as this user (root only; default nobody)
  --list         print the mutants and do nothing

The mutants are tried in a copy of the tree in build/mutants/tree, which is built once with the preset
"dev"; the working tree does not change. For each mutant one source file is compiled, and the tests of
its folder are linked and run until one fails. A mutant is

  caught   a test failed, crashed, or took more than ten times as long as without the mutant
  lived    all tests passed
  invalid  the mutant does not compile, so it is not counted

Exit status: 0 when at least 95 of 100 counted mutants were caught, 1 when fewer were, 2 for an error.

The faults: another comparison, a boundary moved by one, a constant changed, a condition negated, a
call dropped, two arguments swapped, "and" for "or", a sign changed.
"""
import argparse
import json
import os
import pathlib
import pwd
import random
import re
import shutil
import signal
import subprocess
import sys
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
COPY = TREE / "build" / "mutants" / "tree"
# A folder, the test programs that own its behaviour, the quickest first, and its fuzz targets.
TESTS = {
    "text": (["text"], ["transcoding", "base64", "code_pages", "number_text", "uca_conversions"]),
    "host": (["host", "faults"], ["file_names", "kernel_texts", "path_rules", "trash_info"]),
    "desktop": (["desktop"], ["alert"]),
    "plist": (["plist"], ["property_list_xml", "property_list_binary", "property_list_text", "value_circle"]),
    "platform": (["platform"], ["ascii_collation"]),
    "strings": (["strings"], ["string_edits", "unit_search", "unicode_conversions", "string_format", "guid"]),
    "files": (["files", "faults"], ["checksum", "path_canonicalize", "url_rules"]),
    "streams": (["streams"], ["stream", "compress"]),
    "prefs": (["prefs", "faults"], ["key_path", "preference_file", "lock_record"]),
    "xml": (["xml"], ["xml_writer", "xml_reader", "config_file", "config_index", "config_names", "document_check"]),
    "postflight": (["postflight"], ["installer_args", "login_items"]),
    "tools": (["tools"], ["json_form", "command_line"]),
}
GOAL = 95
# Calls whose two arguments mean the same in either order.
COMMUTATIVE = re.compile(r"min|max|_mm(256|512)?_(mask_)?(add|and|or|xor|cmpeq|min|max)_\w+|And|Or|Equal|swap")

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
LOGIC = {"&&": "||", "||": "&&"}
SIGNS = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++"}
WORDS = {"true": "false", "false": "true"}

# The tokens of a source: those without code come first.
TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*
        |R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"
        |(?:u8|u|U|L)?"(?:[^"\\\n]|\\.)*"|(?:u8|u|U|L)?'(?:[^'\\\n]|\\.)+')
      |(?P<number>\b(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)(?:\.[0-9]+)?[uUlLzZ]*\b)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<operator><=>|<<=|>>=|->\*?|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|[-+*/%&|^]=|::|[-+<>!?:;,(){}\[\]&|=*/%^~.])
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


class Token:
    __slots__ = ("kind", "text", "begin", "end")

    def __init__(self, match):
        self.kind = match.lastgroup if match.lastgroup != "mark" else "skip"
        self.text, self.begin, self.end = match.group(), match.start(), match.end()


def tokens_of(source):
    found = []
    for match in TOKEN.finditer(source):
        if match.group("skip") is not None:
            continue
        found.append(Token(match))
    return found


def matching(tokens):
    """For the index of each bracket, the index of its partner."""
    partners, open_ones = {}, []
    for index, token in enumerate(tokens):
        if token.text in ("(", "[", "{"):
            open_ones.append(index)
        elif token.text in (")", "]", "}") and open_ones:
            begin = open_ones.pop()
            partners[begin], partners[index] = index, begin
    return partners


def is_spaced(source, token):
    """The formatter puts blanks around an operator of two operands, and none inside <...>."""
    return source[token.begin - 1 : token.begin].isspace() and source[token.end : token.end + 1].isspace()


def arguments_of(source, tokens, partners, index):
    """The texts of the arguments of the call whose "(" has this index."""
    end = partners[index]
    texts, depth, start = [], 0, tokens[index].end
    for token in tokens[index + 1 : end]:
        if token.text in ("(", "[", "{"):
            depth += 1
        elif token.text in (")", "]", "}"):
            depth -= 1
        elif token.text == "," and depth == 0:
            texts.append(source[start : token.begin].strip())
            start = token.end
    texts.append(source[start : tokens[end].begin].strip())
    return texts


def mutants_of(source):
    """Every change that this script knows: (offset, old text, new text, kind)."""
    tokens = tokens_of(source)
    partners = matching(tokens)
    found = []

    def replace(token, text, kind):
        found.append((token.begin, token.text, text, kind))

    def replace_range(first, last, text, kind):
        begin, end = tokens[first].begin, tokens[last].end
        found.append((begin, source[begin:end], text, kind))

    for index, token in enumerate(tokens):
        before = tokens[index - 1].text if index else ""
        after = tokens[index + 1].text if index + 1 < len(tokens) else ""
        if token.kind == "operator":
            if token.text in COMPARISONS and is_spaced(source, token) and before != "operator":
                replace(token, COMPARISONS[token.text], "comparison")
            elif token.text in LOGIC and is_spaced(source, token):
                replace(token, LOGIC[token.text], "logic")
            elif token.text in ("+", "-", "+=", "-=") and is_spaced(source, token):
                replace(token, SIGNS[token.text], "sign")
            elif token.text in ("++", "--"):
                replace(token, SIGNS[token.text], "sign")
        elif token.kind == "number":
            text = token.text
            if before not in ("[", "<") and "." not in text:
                plain = re.sub(r"[uUlLzZ']", "", text)
                value = int(plain, 16 if plain[:2] in ("0x", "0X") else 8 if re.match(r"0\d", plain) else 10)
                suffix = re.search(r"[uUlLzZ]*$", text).group() if plain[:2] not in ("0x", "0X") else ""
                replace(token, str(value + 1) + suffix, "constant")
        elif token.text in WORDS:
            replace(token, WORDS[token.text], "constant")
        elif token.text in ("if", "while") and after == "(" and index + 1 in partners:
            end = partners[index + 1]
            inside = source[tokens[index + 1].end : tokens[end].begin]
            if ";" not in inside and " = " not in inside and end > index + 2:
                replace_range(index + 2, end - 1, "!(" + inside + ")", "negation")
        elif token.kind == "word" and after == "(" and index + 1 in partners:
            end = partners[index + 1]
            texts = arguments_of(source, tokens, partners, index + 1)
            if (
                len(texts) == 2
                and texts[0] != texts[1]
                and token.text not in ("if", "for", "while", "switch")
                and not COMMUTATIVE.fullmatch(token.text)
                and after_of(tokens, end) not in ("{", "const", "noexcept", ":")
            ):
                begin = tokens[index + 1].end
                old = source[begin : tokens[end].begin]
                found.append((begin, old, texts[1] + ", " + texts[0], "swapped arguments"))
            drop = dropped_call(tokens, partners, index)
            if drop is not None:
                replace_range(drop[0], drop[1], "", "dropped call")
    return found


def programs_of(folder):
    tests, topics = TESTS[folder]
    return ["orvik_%s_tests" % name for name in tests] + [topic + "_fuzzer" for topic in topics]


def after_of(tokens, index):
    return tokens[index + 1].text if index + 1 < len(tokens) else ""


def dropped_call(tokens, partners, index):
    """The statement that is a call and nothing else, if the word with this index is its function."""
    end = partners[index + 1]
    if after_of(tokens, end) != ";":
        return None
    begin = index
    while begin > 0 and tokens[begin - 1].text in (".", "->", "::"):
        begin -= 2
        if begin >= 0 and tokens[begin].text in (")", "]") and begin in partners:
            begin = partners[begin] - 1
    if begin <= 0 or tokens[begin - 1].text not in (";", "{", "}"):
        return None
    if tokens[begin].text in ("return", "throw", "delete", "static_assert", "using", "friend"):
        return None
    return begin, end


def line_of(source, offset):
    return source.count("\n", 0, offset) + 1


def sources_below(places):
    for place in places:
        path = TREE / place
        files = sorted(path.rglob("*.cpp")) if path.is_dir() else [path]
        for file in files:
            relative = file.relative_to(TREE)
            if relative.parts[0] in TESTS:
                yield relative


def choose(places, count, seed):
    """A list of mutants in a random order that depends on the seed alone."""
    every = []
    for relative in sources_below(places):
        source = (TREE / relative).read_text()
        for offset, old, new, kind in mutants_of(source):
            every.append(
                {"file": str(relative), "line": line_of(source, offset), "offset": offset, "old": old, "new": new, "kind": kind}
            )
    # One kind of fault is not to hide the others: constants are by far the most frequent.
    random.Random(seed).shuffle(every)
    by_kind = {}
    for mutant in every:
        by_kind.setdefault(mutant["kind"], []).append(mutant)
    chosen = []
    while len(chosen) < count and any(by_kind.values()):
        for kind in sorted(by_kind):
            if by_kind[kind] and len(chosen) < count:
                chosen.append(by_kind[kind].pop())
    return chosen


def identity(mutant):
    return (mutant["file"], mutant["offset"], mutant["old"], mutant["new"])


class Bench:
    """The copy of the tree, its build and its tests."""

    def __init__(self, user):
        self.user = user
        self.build = COPY / "build" / "dev"
        self.usual = {}

    def prepare(self, folders):
        files = subprocess.run(
            ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=TREE, check=True, capture_output=True
        ).stdout.split(b"\0")
        wanted = {os.fsdecode(file) for file in files if file}
        for file in wanted:
            self.refresh(file)
        for file in list(COPY.rglob("*")):
            relative = file.relative_to(COPY)
            if file.is_file() and relative.parts[0] != "build" and str(relative) not in wanted:
                file.unlink()
        subprocess.run(["cmake", "--preset", "dev", "-DORVIK_WERROR=OFF"], cwd=COPY, check=True, stdout=subprocess.DEVNULL)
        programs = sorted({name for folder in folders for name in programs_of(folder)})
        subprocess.run(["cmake", "--build", "--preset", "dev", "--target", *programs], cwd=COPY, check=True)
        for name in programs:
            begin = time.monotonic()
            if self.run_tests(name, 1200) != 0:
                sys.exit("mutants: %s fails without a mutant" % name)
            self.usual[name] = time.monotonic() - begin

    def refresh(self, file):
        """Copies the file unless the copy holds the same bytes: its time decides what is built."""
        source, target = TREE / file, COPY / file
        if not source.is_file():
            return
        if not target.is_file() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)

    def run_tests(self, name, seconds):
        program = self.build / "bin" / name
        command = [str(program), "--gtest_brief=1", "--gtest_fail_fast"]
        if name.endswith("_fuzzer"):
            command[1:] = [str(COPY / "fuzz" / "corpus" / name.removesuffix("_fuzzer"))]
        home = COPY.parent / "home"
        home.mkdir(exist_ok=True)
        # A mutant may allocate without end, too.
        environment = dict(os.environ, HOME=str(home), TMPDIR="/tmp", ASAN_OPTIONS="hard_rss_limit_mb=4096")
        if os.geteuid() == 0 and self.user:
            shutil.chown(home, self.user)
            command = ["setpriv", "--reuid", self.user, "--regid", str(pwd.getpwnam(self.user).pw_gid), "--clear-groups", *command]
        process = subprocess.Popen(
            command, cwd=program.parent, env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
        )  # fmt: skip
        try:
            return process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            return -1
        finally:
            # A mutant may leave children behind.
            try:
                os.killpg(process.pid, 9)
            except ProcessLookupError:
                pass
            process.wait()

    def judge(self, mutant):
        path = COPY / mutant["file"]
        source = path.read_text()
        offset = mutant["offset"]
        path.write_text(source[:offset] + mutant["new"] + source[offset + len(mutant["old"]) :])
        try:
            for name in programs_of(mutant["file"].split("/")[0]):
                built = subprocess.run(
                    ["cmake", "--build", "--preset", "dev", "--target", name],
                    cwd=COPY, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                )  # fmt: skip
                if built.returncode != 0:
                    return "invalid"
                if self.run_tests(name, 10 * self.usual[name] + 10) != 0:
                    return "caught"
            return "lived"
        finally:
            path.write_text(source)


def known_results(report):
    """The mutants that the report names already; its last line may be cut."""
    known = {}
    if report.exists():
        for line in report.read_text().splitlines():
            try:
                mutant = json.loads(line)
                known[identity(mutant)] = mutant["result"]
            except (ValueError, KeyError):
                continue
    return known


def show(mutant):
    return "%s:%d: %s: %s -> %s" % (
        mutant["file"],
        mutant["line"],
        mutant["kind"],
        " ".join(mutant["old"].split()),
        " ".join(mutant["new"].split()) or "(nothing)",
    )


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("places", nargs="*")
    parser.add_argument("--count", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--minutes", type=float, default=60)
    parser.add_argument("--report", type=pathlib.Path, default=COPY.parent / "report.jsonl")
    parser.add_argument("--user", default="nobody")
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()
    end = time.monotonic() + options.minutes * 60

    places = options.places or sorted(TESTS)
    chosen = choose(places, options.count, options.seed)
    if not chosen:
        print("mutants: no source of %s can be changed" % ", ".join(places), file=sys.stderr)
        return 2
    if options.list:
        print("\n".join(map(show, chosen)))
        return 0
    # So that the source is put back and the test ended.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(2))
    options.report.parent.mkdir(parents=True, exist_ok=True)
    known = known_results(options.report)
    bench = Bench(options.user)
    bench.prepare(sorted({mutant["file"].split("/")[0] for mutant in chosen}))
    results = {}
    with options.report.open("a") as report:
        for mutant in chosen:
            key = identity(mutant)
            if key not in known:
                if time.monotonic() >= end:
                    break
                known[key] = bench.judge(mutant)
                report.write(json.dumps(dict(mutant, result=known[key])) + "\n")
                report.flush()
                print("%-8s %s" % (known[key], show(mutant)), flush=True)
            results.setdefault(known[key], []).append(mutant)
    caught, lived = len(results.get("caught", [])), len(results.get("lived", []))
    print("caught %d, lived %d, invalid %d" % (caught, lived, len(results.get("invalid", []))))
    for mutant in results.get("lived", []):
        print("  " + show(mutant))
    return 0 if caught * 100 >= GOAL * (caught + lived) else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except subprocess.CalledProcessError as error:
        print("mutants: %s" % error, file=sys.stderr)
        sys.exit(2)
