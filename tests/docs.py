"""Runs every command in the Markdown files as it is written, in a scratch copy of the tree: docs.py FFDC

Fences of `sh` are scripts that end with 0; those of `console` show what the samples give, where "..." stands for more
lines. A line `<!-- not run: why -->` before a fence leaves it out. C code stands in an example. Links lead somewhere.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

root = Path(__file__).resolve().parent.parent
ffdc = Path(sys.argv[1]).resolve()
elsewhere = {"json.md": "tests/tool/test_json.py", "fleet.md": "tests/fleet.py"}  # pages with tests of their own
pages = sorted(root.glob("*.md")) + sorted(root.glob("docs/*.md"))  # README installs what the others use
faults = []


def check(good, page, *what):
    if not good:
        faults.append(f"{page.relative_to(root)}: " + "\n".join(what))


def run(script, page, folder, environment):
    done = subprocess.run(["sh", "-euc", script], cwd=folder, env=environment, text=True, errors="replace",
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    check(done.returncode == 0, page, script, done.stdout[-3000:], f"exit status {done.returncode}")


def console(text, page, folder, environment):
    for command, wanted in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", text, re.M):
        done = subprocess.run(["sh", "-c", command], cwd=folder, env=environment, encoding="utf-8",
                              errors="replace", capture_output=True)
        pattern = "".join(".*" if line == "...\n" else re.escape(line) for line in wanted.splitlines(True))
        check(re.fullmatch(pattern, done.stdout, re.S), page, f"$ {command}", "gives:", done.stdout, "not:", wanted)


with tempfile.TemporaryDirectory(prefix="ffdc_docs_") as scratch:
    copy, installed = Path(scratch, "tree"), Path(scratch, "installed")
    shutil.copytree(root, copy, ignore=lambda folder, names: {".git", "build"} if Path(folder) == root else set())
    prefix = installed / "usr" / "local"
    environment = {**os.environ, "PATH": f"{ffdc.parent}:{os.environ['PATH']}", "DESTDIR": str(installed),
                   "PKG_CONFIG_PATH": str(prefix / "lib" / "pkgconfig"), "CMAKE_PREFIX_PATH": str(prefix),
                   "CMAKE_BUILD_PARALLEL_LEVEL": str(os.cpu_count()),
                   "PKG_CONFIG": "false"}  # so that cmake builds the library alone
    for page in pages:
        text = page.read_text()
        for target in re.findall(r"\]\((?!https?:)([^)#]+)", text):
            check((page.parent / target).exists(), page, f"link to {target}")
        if page.name in elsewhere:
            check(page.name in (root / elsewhere[page.name]).read_text(), page, f"not in {elsewhere[page.name]}")
            continue
        fences = re.findall(r"(^<!-- not run: .* -->\n)?^```(\w*)\n(.*?)^```$", text, re.M | re.S)
        for skipped, language, block in fences:
            if language == "sh" and not skipped:
                run(block, page, copy, environment)
            elif language == "console":
                console(block, page, copy / "samples", environment)
            elif language == "c":
                check(block in (root / "examples" / "text.c").read_text(), page, "C code that no example has:", block)

print("\n\n".join(faults))
sys.exit(bool(faults))
