#!/usr/bin/env python3
"""Changes one thing of the decoders' tables at a time, and sees whether the compiler or a test of the tables notices: a
bit, a mask, a width, an offset or another number, a name, a text, a condition. Not a part of check: a hundred changes
take some minutes.

Usage: tests/mutate.py [COUNT [SEED [KIND...]]]; needs the release preset, built. Takes equally many changes of each
KIND (bit, mask, width, offset, name, text, condition; by default of all), the same ones for the same SEED. Exits with 1
if a change survives."""
import collections
import concurrent.futures
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent
build = root / "build" / "release"
decoders = root / "decoders"
objects = build / "CMakeFiles" / "tavi_ffdc_objects.dir" / "decoders"
sources = {path: path.read_text() for path in sorted(decoders.rglob("*.?pp"))}

token = re.compile(r"""(?P<skipped>//[^\n]*|^\s*\#(?:[^\n]|\\\n)*|\bstatic_assert\((?:[^;"]|"[^"]*")*;)
                     | (?P<string>"(?:[^"\\\n]|\\.)*") | (?P<character>'(?:[^'\\]|\\.)')
                     | (?P<word>[A-Za-z_]\w*) | (?P<number>\d[\w.']*) | (?P<sign>==|!=|<=|>=|&&|\|\||->|::|\S)""",
                   re.VERBOSE | re.MULTILINE)
widths = {"u8": ["u16"], "u16": ["s16", "u8", "u32"], "u32": ["s32", "u16"], "u64": ["s64", "u32"],
          "s16": ["u16", "u8", "s32"], "s32": ["u32", "s16"], "s64": ["u64", "s32"]}
opposite = {"==": "!=", "!=": "==", ">=": "<", "<=": ">", "&&": "||", "||": "&&"}
# Functions whose first argument is the number of a bit.
of_bits = {"bit", *(name for text in sources.values() for name in re.findall(r"consteval Field (\w+)\(int n\b", text))}


def neighbours(number):
    """The number, one less and one more, in the same form."""
    value = int(number.rstrip("u").replace("'", ""), 0)
    return [f"0x{n:x}" if number.startswith("0x") else str(n) for n in (value + 1, value - 1) if n >= 0]


def other_masks(number):
    """One bit more at either end, one bit less at either end."""
    mask = int(number, 0)
    lowest, highest = mask & -mask, 1 << mask.bit_length() - 1
    return [f"0x{m:x}" for m in (mask | lowest >> 1, mask | highest << 1, mask & ~lowest, mask & ~highest) if m != mask]


def other_texts(string):
    """Every character but those of escapes, and every conversion, as another one."""
    for m in re.finditer(r"%[#\d.]*l*(?P<conversion>[a-zA-Z])|\\.|(?P<character>.)", string[1:-1]):
        if m.lastgroup:
            c = m[m.lastgroup]
            other = {"x": "X", "X": "x", "d": "u", "u": "d", "p": "x"}.get(c, "d") if m["conversion"] else (
                chr(ord(c) ^ 1) if c.isalnum() else "x")
            yield string[:m.end()] + other + string[m.end() + 1:]


def arguments(text, tokens, opening):
    """The last token of the template arguments after a bracket, and their texts."""
    depth, begin, found = 0, tokens[opening].end(), []
    for i in range(opening, len(tokens)):
        sign = tokens[i].group()
        depth += sign in "<({[" and len(sign) == 1
        depth -= sign in ">)}]" and len(sign) == 1
        if depth == 0 or (depth == 1 and sign == ","):
            found.append(text[begin:tokens[i].start()].strip())
            begin = tokens[i].end()
        if depth == 0:
            return tokens[i - 1], found


def mutants(path, text):
    """Every (kind, path, begin, end, new) of a file."""
    tokens = [m for m in token.finditer(text) if m.lastgroup != "skipped"]
    words = [m.group() for m in tokens] + [""] * 4
    brackets, begin, skipped = [], 0, 0
    for i, m in enumerate(tokens):
        word, before, after = m.group(), words[i - 1], words[i + 1]

        def change(kind, new, end=m):
            return (kind, path, m.start(), end.end(), new)

        if word in ("{", "}", ";") and all(before != ")" and words[at] == "{" for before, at in brackets):
            # The body of a function that neither makes rows nor prints them says nothing about a table.
            if word == "{" and before == ")" and not {"consteval", "Report"} & set(words[begin:i]):
                skipped = len(brackets) + 1
            begin = i + 1
        if word in "({[":
            brackets.append((before, i))
        elif word in ")}]" and brackets:
            brackets.pop()
            skipped = skipped if len(brackets) >= skipped else 0
        if skipped:
            continue
        call, opened = brackets[-1] if brackets else ("", 0)
        if m.lastgroup == "number":
            if word.startswith("0x") and len(word) <= 10 and call not in "{=":
                yield from (change("mask", new) for new in other_masks(word))
            else:
                kind = "bit" if call in of_bits and i == opened + 1 else "offset"
                yield from (change(kind, new) for new in neighbours(word))
        elif word in widths and after == "(":
            yield from (change("width", new) for new in widths[word])
        elif m.lastgroup == "string":
            # A name takes its neighbour's place, or goes, so that all later ones shift.
            if after == "," and words[i + 2].startswith('"') and words[i + 2] != word:
                yield change("name", f"{words[i + 2]}, {word}", tokens[i + 2])
                yield change("name", words[i + 2], tokens[i + 2])
            yield from (change("text", new) for new in other_texts(word))
        elif m.lastgroup == "character":
            yield from (change("condition", new) for new in (f"'{chr(ord(word[1]) ^ 1)}'", "' '") if new != word)
        elif word in opposite:
            yield change("condition", opposite[word])
        elif word == "!" and after.isidentifier():
            yield change("condition", "")
        elif word == "(" and before == "if" and words[i + 2] == ".":
            yield change("condition", "(!")
        elif word in ("since", "before") and after == "<":
            yield change("condition", "before" if word == "since" else "since")
        elif word in ("choose", "when") and after == "<":
            last, (condition, *sections) = arguments(text, tokens, i + 1)
            if word == "choose":
                yield change("condition", f"choose<{condition}, {', '.join(reversed(sections))}", last)
            else:
                yield change("condition", f"choose<{condition}, all<>, all<{', '.join(sections)}>", last)
                yield change("condition", f"all<{', '.join(sections)}", last)


# What must survive.
nothing = ("nothing", next(iter(sources)), 0, 0, "")


def includers(name):
    """The sources that a file is, or is a part of."""
    if name.endswith(".cpp"):
        return {name}
    direct = [path.name for path, text in sources.items() if re.search(rf'#include "(.*/)?{re.escape(name)}"', text)]
    return set().union(*(includers(includer) for includer in direct))


def succeeds(command, **options):
    try:
        return subprocess.run(command, capture_output=True, timeout=600, **options).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def library_of(overlay, changed, folder):
    """Links the library with the changed sources compiled from the overlay; None if one of them does not compile."""
    flags = ["-std=c++20", "-O0", "-fPIC", "-fvisibility=hidden", "-fno-exceptions", "-fno-rtti", "-Wall", "-Wextra",
             "-Wconversion", "-Werror", "-fconstexpr-ops-limit=2000000000", f"-I{root}/include", f"-I{overlay}",
             f"-I{root}/core"]
    linked = []
    for object in sorted((build / "CMakeFiles" / "tavi_ffdc_objects.dir").rglob("*.o")):
        if object.is_relative_to(objects) and object.stem in changed:
            source = overlay / object.relative_to(objects).with_suffix("")
            object = folder / object.name
            if not succeeds(["g++", *flags, "-c", source, "-o", object]):
                return None
        linked.append(object)
    library = folder / "libtavi_ffdc.so"
    subprocess.run(["gcc", "-shared", "-Wl,-soname,libtavi_ffdc.so", *linked, "-o", library,
                    f"-Wl,--version-script={root}/core/records/exports.map"], check=True, capture_output=True)
    return library


def fate(mutant, work):
    """What notices a change; None if nothing does."""
    _, path, begin, end, new = mutant
    folder = pathlib.Path(tempfile.mkdtemp(dir=work))
    try:
        overlay = shutil.copytree(decoders, folder / "decoders")
        (overlay / path.relative_to(decoders)).write_text(sources[path][:begin] + new + sources[path][end:])
        changed = includers(path.name) if mutant is not nothing else {path.name for path in sources}
        library = library_of(overlay, changed, folder)
        if library is None:
            return "compiler"
        # A preload is found first, whatever the run path is.
        environment = os.environ | {"LD_PRELOAD": str(library), "TAVI_FFDC": str(library),
                                    "FFDC": str(build / "tools" / "ffdc" / "ffdc")}
        tests = {part: [build / "tests" / "library_test", f"--source-file=*{part}.cpp"]
                 for part in ("golden", "bits", "records", "values")}
        tests["memory"] = [build / "tests" / "memory_test"]
        # Groups and keys show in the JSON alone.
        tests["schema"] = ["/usr/bin/python3", "-B", root / "tests" / "tool" / "test_json.py"]
        return next((name for name, test in tests.items() if not succeeds(test, env=environment)), None)
    finally:
        shutil.rmtree(folder)


def chosen(count, seed, wanted):
    """Of each wanted kind an equal share of the count, or all that there are."""
    kinds = collections.defaultdict(list)
    for path, text in sources.items():
        for mutant in mutants(path, text):
            if mutant[0] in wanted or not wanted:
                kinds[mutant[0]].append(mutant)
    chance = random.Random(seed)
    picked = []
    for i, those in enumerate(sorted(kinds.values(), key=len)):
        picked += chance.sample(those, min(len(those), (count - len(picked)) // (len(kinds) - i)))
    print(", ".join(f"{kind} {len(those)}" for kind, those in kinds.items()), "possible changes", flush=True)
    return picked


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 100
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    picked = chosen(count, seed, sys.argv[3:])
    tally = collections.Counter()
    with tempfile.TemporaryDirectory() as work, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        if noticed := fate(nothing, work):
            sys.exit(f"without any change: {noticed}")
        for mutant, end in zip(picked, pool.map(lambda m: fate(m, work), picked)):
            kind, path, begin, stop, new = mutant
            tally[end or "survived"] += 1
            if not end:
                text = sources[path]
                line = text[text.rfind("\n", 0, begin) + 1:text.find("\n", stop)].strip()
                print(f"survived: {path.relative_to(root)}:{text.count(chr(10), 0, begin) + 1}: {kind}: "
                      f"{text[begin:stop]!r} -> {new!r}: {line[:110]}", flush=True)
    print(f"{len(picked)} changes with seed {seed}: " + ", ".join(f"{end} {n}" for end, n in tally.most_common()))
    sys.exit(1 if tally["survived"] else 0)


main()
