"""What the shared library shows to the world: exports.py LIBRARY ARCHIVE SOURCE_DIR NM READELF [--plain] COMPILER...

Its exported names are those that the public header declares; it needs libc alone, asks for memory in one
way only, and nothing in its text is relocated (--plain: a build without instruments); the header compiles by itself.
In its archive, the linker merges nothing that belongs to one file.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

library, archive, source, nm, readelf, *rest = sys.argv[1:]
plain = "--plain" in rest
compilers = {c for c in [*rest, "gcc", "g++", "clang", "clang++"] if c != "--plain" and shutil.which(c)}
header = pathlib.Path(source) / "include" / "tavi_ffdc.h"
failures = []


def expect(what, actual, expected):
    if actual != expected:
        missing, extra = sorted(set(expected) - set(actual)), sorted(set(actual) - set(expected))
        failures.append(f"{what}: missing {missing}, unexpected {extra}")


def output(*command):
    environment = os.environ | {"LC_ALL": "C"}
    return subprocess.run(command, check=True, capture_output=True, text=True, env=environment).stdout


def symbols(which):
    return {line.split()[-1].split("@")[0] for line in output(nm, "-D", which, library).splitlines()}


def declared():
    """Names of the functions and tables that the header declares."""
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    text = re.sub(r"(?m)^\s*#.*(\\\n.*)*$", "", text)
    text = text.replace('extern "C" {', "")
    while re.search(r"\{[^{}]*\}", text):
        text = re.sub(r"\{[^{}]*\}", "", text)
    statements = [s.strip() for s in text.split(";")]
    matches = [re.match(r"[\w\s*]*?\b(\w+)\s*[(\[]", s) for s in statements
               if not s.startswith(("typedef", "struct dd"))]
    return {m[1] for m in matches if m}


exported = declared()
# A sanitizer marks what is exported with a name of its own.
expect("exported", {name for name in symbols("--defined-only") if not name.startswith("__odr_asan.")}, exported)

# A name of an anonymous namespace means something else in each object file: merged, one file would work with another's.
expect("merged names of anonymous namespaces",
       set(re.findall(r"^\w* [uVW] (\w*_GLOBAL__N_\w*)$", output(nm, archive), re.M)), set())

dynamic = output(readelf, "-d", library)
expect("soname", re.findall(r"soname: \[(.*?)\]", dynamic), ["libtavi_ffdc.so"])
if plain:
    expect("needed", re.findall(r"NEEDED.*\[(.*?)\]", dynamic), ["libc.so.6"])
    expect("relocations in the text", re.findall(r"TEXTREL", dynamic), [])
    asks = re.compile(r"\w*(alloc|strdup|free|_Zn|_Zd)\w*")
    expect("memory functions", {s for s in symbols("--undefined-only") if asks.fullmatch(s)}, {"malloc", "free"})

for compiler in sorted(compilers):
    cxx = "++" in compiler
    standard, language = ("c++11", "c++") if cxx else ("c99", "c")
    command = [compiler, f"-std={standard}", "-pedantic", "-Wall", "-Wextra", "-Werror", f"-I{header.parent}"]
    command += ["-fsyntax-only", "-x", language, "-"]
    run = subprocess.run(command, input="#include <tavi_ffdc.h>\n", text=True, capture_output=True)
    if run.returncode != 0:
        failures.append(f"{compiler} -std={standard}: {run.stderr}")

print("\n".join(failures) or f"{len(exported)} exports; the header compiles with {', '.join(sorted(compilers))}")
sys.exit(bool(failures))
