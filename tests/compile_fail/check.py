"""Compiles tables.cpp right and wrong: check.py COMPILER [OPTION...]. Every wrong case must be refused for its own
reason.

One compilation holds all wrong cases: an error belongs to the case whose lines or table it names.
"""
import os
import pathlib
import re
import subprocess
import sys

here = pathlib.Path(__file__).parent
source = here / "tables.cpp"
core = here.parent.parent / "core"
clang = "clang" in sys.argv[1]


def compile_tables(*options):
    command = [*sys.argv[1:], "-std=c++20", "-fsyntax-only", f"-I{core}", f"-I{core.parent / 'include'}", *options]
    return subprocess.run([*command, str(source)], capture_output=True, text=True, env=os.environ | {"LC_ALL": "C"})


def cases():
    """The table, the reason and the lines of each case, which last until the next one."""
    starts = []
    for number, line in enumerate(source.read_text().split("\n"), 1):
        if match := re.match(r'CASE\((\w+), "(.*)",$', line):
            starts.append((number, *match.groups()))
    ends = [number for number, *_ in starts[1:]] + [10000]
    return [(table, reason, range(first, end)) for (first, table, reason), end in zip(starts, ends)]


def diagnostics(text):
    """Each error with the lines that explain it: clang writes them behind the error, gcc before and behind it."""
    before = re.compile(r"In file included|\S+: In |\S+:\d+: +(in .constexpr. expansion|required|recursively)")
    own = []
    for line in text.split("\n"):
        error = ": error: " in line
        if (error or (not clang and before.match(line))) and any(": error: " in l for l in own):
            yield "\n".join(own)
            own = []
        own.append(line)
    yield "\n".join(own)


def reasons_of_the_language():
    """What core/ can say against a table."""
    text = "".join((core / name).read_text() for name in ("field.hpp", "row.hpp", "table.hpp", "proof.hpp"))
    calls = re.findall(r"\b(?:require|fail)\((.*?)\);", text, re.S)
    return {strings[-1] for call in calls if (strings := re.findall(r'"((?:[^"\\]|\\.)*)"', call))}


failures = []
right = compile_tables()
if right.returncode != 0:
    failures.append("the right tables do not compile:\n" + right.stderr)

wrong = compile_tables("-DWRONG", *(["-ferror-limit=0"] if clang else []))
errors = [d for d in diagnostics(wrong.stderr) if ": error: " in d]
for table, reason, lines in cases():
    own = [
        error
        for error in errors
        if re.search(rf"\b{table}\b", error) or any(int(n) in lines for n in re.findall(r"tables\.cpp:(\d+):", error))
    ]
    if not own:
        failures.append(f"{table} compiles, although {reason}")
    elif not any(reason in error for error in own):
        failures.append(f"{table} is not refused because {reason!r}, but:\n" + "\n".join(own))

for reason in sorted(reasons_of_the_language() - {reason for _, reason, _ in cases()}):
    # "a table has at most ...": limits that no table comes near.
    if not reason.startswith("a table has"):
        failures.append(f"no case is refused because: {reason}")

print("\n".join(failures) or f"{len(cases())} wrong tables refused, their twins compile")
sys.exit(bool(failures))
