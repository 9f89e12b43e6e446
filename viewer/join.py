#!/usr/bin/env python3
"""Joins the viewer into one page: join.py MODULE PAGE. Each @name@ of page.html becomes that file: a style as it is,
the WebAssembly module in base64, a script with the scripts that it imports before it."""

import base64
import pathlib
import re
import sys

here = pathlib.Path(__file__).parent


def script(name, done):
    """The text of a script behind those of its imports, each once, as one piece."""
    if name in done:
        return ""
    done.add(name)
    text = (here / name).read_text()
    importing = re.compile(r'^import .* from "\./(.*)";\n', re.M)
    before = "".join(script(other, done) for other in importing.findall(text))
    return before + re.sub(r"^export ", "", importing.sub("", text), flags=re.M)


def piece(name):
    if name.endswith(".wasm"):
        return base64.b64encode(pathlib.Path(sys.argv[1]).read_bytes()).decode()
    text = script(name, set()) if name.endswith(".js") else (here / name).read_text()
    if re.search("</(script|style)", text):
        sys.exit(f"{name}: expected nothing that ends an element, found </script or </style")
    return text


page = (here / "page.html").read_text()
pathlib.Path(sys.argv[2]).write_text(re.sub(r"@(\w+\.\w+)@", lambda found: piece(found[1]), page))
