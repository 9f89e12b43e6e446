#!/usr/bin/env python3
"""Changes one offset, width, column or format character of a decoder's tables by one, and sees whether the compiler, a
golden pair or the schema of the JSON notices. Not a part of check: it takes a while.

Usage: tests/mutate.py [COUNT [SEED]]; needs the release preset, built."""
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
flags = ["-std=c++20", "-O0", "-fPIC", "-fvisibility=hidden", "-fno-exceptions", "-fno-rtti",
         "-fconstexpr-ops-limit=2000000000", f"-I{root}/include", f"-I{root}/core", f"-I{root}/decoders"]

other_kind = {"u8": "u16", "u16": "s16", "u32": "s32", "s16": "u16", "s32": "u32", "u64": "s64", "s64": "u64"}


def mutants(path):
    """Every (position, old, new) in the rows and offset constants of a decoder."""
    text = path.read_text()
    found = []
    position = 0
    for line in text.splitlines(keepends=True):
        body = line.strip()
        is_row = body.startswith(("{\"", "{RULE", "{u", "{s", "Row{", "section("))
        is_constant = re.match(r"(inline )?constexpr (Offsets|Field|Row \w+ =|auto \w+ = \w+[<(]|std::size_t)", body)
        if is_row or is_constant:
            in_string = [False] * (len(line) + 1)
            inside = False
            for i, c in enumerate(line):
                if c == '"' and line[i - 1] != "\\":
                    inside = not inside
                in_string[i] = inside
            for m in re.finditer(r"\b\d+\b", line):
                if not in_string[m.start()]:
                    found += [(position + m.start(), m.group(), str(int(m.group()) + d)) for d in (1, -1)
                              if int(m.group()) + d >= 0]
            for m in re.finditer(r"\b(u8|u16|u32|u64|s16|s32|s64)(?=\()", line):
                found.append((position + m.start(), m.group(), other_kind[m.group()]))
            if is_row:
                for i, c in enumerate(line):
                    if in_string[i] and c not in '"\\' and line[i - 1] != "\\":
                        next_one = chr(ord(c) + (1 if chr(ord(c) + 1) not in '"\\' else -1))
                        new = {"x": "X", "X": "x", "d": "u", "u": "d", " ": "_"}.get(c, next_one)
                        found.append((position + i, c, new))
        position += len(line)
    return [(path, *m) for m in found]


def fate(mutant, work):
    path, at, old, new = mutant
    text = path.read_text()
    folder = pathlib.Path(tempfile.mkdtemp(dir=work))
    try:
        shutil.copytree(path.parent, folder, dirs_exist_ok=True)
        (folder / path.name).write_text(text[:at] + new + text[at + len(old):])
        # A header's rows are those of its neighbours.
        changed = [path] if path.suffix == ".cpp" else [
            source for source in path.parent.glob("*.cpp") if f'"{path.name}"' in source.read_text()]
        for source in changed:
            compile_it = ["g++", *flags, "-c", str(folder / source.name), "-o", str(folder / f"{source.name}.o")]
            if subprocess.run(compile_it, capture_output=True).returncode != 0:
                return "compiler"
        objects = [str(o) for o in (build / "CMakeFiles" / "tavi_ffdc_objects.dir").rglob("*.o")
                   if o.stem not in [source.name for source in changed]]
        library = str(folder / "libtavi_ffdc.so")
        link = ["gcc", "-shared", "-Wl,-soname,libtavi_ffdc.so",
                f"-Wl,--version-script={root}/core/records/exports.map"]
        subprocess.run([*link, *objects, *map(str, folder.glob("*.o")), "-o", library], check=True, capture_output=True)
        # The build's own library stands in the run path; the environment comes first only with a preload.
        run = subprocess.run([str(build / "tests" / "library_test"), "--source-file=*golden.cpp"],
                             env=os.environ | {"LD_PRELOAD": library}, capture_output=True, timeout=120)
        if run.returncode != 0:
            return "goldens"
        # Groups and labels show in the JSON alone.
        environment = os.environ | {"LD_PRELOAD": library, "FFDC": str(build / "tools" / "ffdc" / "ffdc")}
        run = subprocess.run(["/usr/bin/python3", str(root / "tests" / "tool" / "test_json.py")], env=environment,
                             capture_output=True, timeout=300)
        return "schema" if run.returncode != 0 else "survived"
    finally:
        shutil.rmtree(folder)


everything = [m for path in sorted((root / "decoders").rglob("*.?pp")) for m in mutants(path)]
count = int(sys.argv[1]) if len(sys.argv) > 1 else 400
random.seed(int(sys.argv[2]) if len(sys.argv) > 2 else 1)
chosen = random.sample(everything, min(count, len(everything)))
tally = {"compiler": 0, "goldens": 0, "schema": 0, "survived": 0}
with tempfile.TemporaryDirectory() as work, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    for mutant, end in zip(chosen, pool.map(lambda m: fate(m, work), chosen)):
        tally[end] += 1
        if end == "survived":
            path, at, old, new = mutant
            text = path.read_text()
            number = text.count("\n", 0, at) + 1
            line = text.splitlines()[number - 1].strip()[:90]
            print(f"survived: {path.relative_to(root)}:{number}: {old!r} -> {new!r}: {line}", flush=True)
print(f"{len(chosen)} of {len(everything)} mutants: {tally['compiler']} refused by the compiler, "
      f"{tally['goldens']} caught by the goldens, {tally['schema']} by the schema of the JSON, "
      f"{tally['survived']} survived ({100 * tally['survived'] / len(chosen):.1f} %)")
