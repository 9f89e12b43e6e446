"""Compiles tables right and wrong: check.py COMPILER [OPTION...]. Every wrong one must be refused for its own reason.

tables.cpp holds what no table can say: one compilation for all cases, an error belongs to the case whose lines or table
it names. driver.cpp holds mistakes as they are made, compiled one by one: the first five lines must show what is wrong.
No line of a message may be longer than 400 characters.
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

here = pathlib.Path(__file__).parent
source = here / "tables.cpp"
core = here.parent.parent / "core"
clang = "clang" in sys.argv[1]


def compile_tables(path, *options):
    command = [*sys.argv[1:], "-std=c++20", "-fsyntax-only", f"-I{core}", f"-I{core.parent / 'include'}", *options]
    return subprocess.run([*command, str(path)], capture_output=True, text=True, env=os.environ | {"LC_ALL": "C"})


def cases():
    """The table, the reason and the lines of each case, which last until the next one."""
    starts = []
    for number, line in enumerate(source.read_text().split("\n"), 1):
        if match := re.match(r'CASE(?:_OF)?\((\w+), "(.*)",$', line):
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
    """What core/ can say against a table: its literals that are sentences, but for limits that no table comes near."""
    text = "".join(path.read_text() for room in ("language", "packing") for path in (core / room).iterdir())
    sentences = re.findall(r'"([a-z%][^"\\]* [^"\\]*)"', text)
    return {s for s in sentences if "table has" not in s and "table have" not in s}


def mistakes():
    """Of driver.cpp: the line, the reason, the byte and the section to be named or None, what is wrong in its place."""
    at = 0
    for number, line in enumerate((here / "driver.cpp").read_text().split("\n")):
        if match := re.match(r" *// (.+?)(?: \(byte (\d+)\)| \(in (.+?)\))? \| (.*)", line):
            yield at, *match.groups()
        else:
            at = number


def make_mistake(mistake):
    """What a compiler does not say of it in five lines, or None."""
    at, reason, byte, section, wrong = mistake
    lines = (here / "driver.cpp").read_text().split("\n")
    lines[at] = wrong
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as driver:
        driver.write("\n".join(lines))
        driver.flush()
        said = compile_tables(driver.name, "-fno-caret-diagnostics" if clang else "-fno-diagnostics-show-caret").stderr
        first = "\n".join(said.split("\n")[:5])
        row = section and [section] * 2 or re.search(r'"([^"\\]*)', wrong)
        shown = f"{driver.name}:{at + 1}" in first or (row and f'"{row[1]}' in first)
    if byte:
        shown = re.search(rf'{re.escape(reason)}"(\)|\[0\]), {byte}\b', first)
    longest = max(map(len, said.split("\n"))) if reason in reasons_of_the_language() else 0
    if reason in first and shown and longest <= 400:
        return None
    return f"{wrong.strip()}\nis not refused at once because {reason!r} (longest line: {longest}):\n{said}"


failures = []
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as threads:
    right = [threads.submit(compile_tables, path) for path in (source, here / "driver.cpp")]
    all_wrong = threads.submit(compile_tables, source, "-DWRONG", *(["-ferror-limit=0"] if clang else []))
    said = [failure for failure in threads.map(make_mistake, mistakes()) if failure]
failures += ["the right tables do not compile:\n" + r.result().stderr for r in right if r.result().returncode != 0]
failures += said

errors = [d for d in diagnostics(all_wrong.result().stderr) if ": error: " in d]
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

wrong = [reason for _, reason, _ in cases()] + [reason for _, reason, *_ in mistakes()]
failures += [f"no case is refused because: {reason}" for reason in sorted(reasons_of_the_language() - set(wrong))]

print("\n".join(failures) or f"{len(wrong)} wrong tables refused, their twins compile")
sys.exit(bool(failures))
