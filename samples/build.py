#!/usr/bin/env python3
"""Builds the dumps of this folder from their descriptions: samples/NAME.txt becomes samples/NAME.ffdc.

A description is lines of
    chain                           begins a chain; the records that follow belong to it
    record TYPE CASE [KEY=VALUE..]  a record with the payload of tests/golden/TYPE/CASE.hex; keys are the header's
    bytes HEX..                     bytes that belong to no record
    flip OFFSET HEX                 overwrites bytes of the record before, counted from its first byte
    cut BYTES                       leaves off so many bytes of the record before
and comments behind '#'. A record is chained to the next one of its chain unless `chained` says otherwise.

With --check nothing is written: exit status 1 when a dump is not what its description says."""
import os
import pathlib
import sys

here = pathlib.Path(__file__).parent
sys.path.insert(0, str(here.parent / "tests" / "tool"))
os.environ.setdefault("FFDC", "")  # nothing here runs the tool
import common  # noqa: E402


def lines(path):
    for number, line in enumerate(path.read_text(encoding="latin-1").splitlines(), 1):
        words = line.split("#")[0].split()
        if words:
            yield number, words


def record(kind, case, keys):
    version, data = common.case(kind, case)
    header = dict(chained=1, pid=0, time0=0, time1=0, tgid=0)
    header.update((key, int(value, 0)) for key, value in (word.split("=") for word in keys))
    return bytearray(common.record(kind.upper(), version, data, **header))


def build(path):
    parts, last = [], None  # last: the record that ends the chain so far, unless it is said to be chained
    end_chain = lambda: last is None or last.__setitem__(slice(12, 16), bytes(4))
    for number, (command, *words) in lines(path):
        try:
            if command == "chain":
                end_chain()
                last = None
            elif command == "record":
                parts.append(record(words[0], words[1], words[2:]))
                last = None if any(word.startswith("chained=") for word in words[2:]) else parts[-1]
            elif command == "bytes":
                parts.append(bytearray.fromhex("".join(words)))
            elif command == "flip":
                at, new = int(words[0], 0), bytes.fromhex("".join(words[1:]))
                parts[-1][at:at + len(new)] = new
            elif command == "cut":
                del parts[-1][-int(words[0], 0):]
            else:
                raise ValueError(f"unknown command {command}")
        except (ValueError, KeyError, IndexError, OSError) as error:
            sys.exit(f"{path}:{number}: {error!r}")
    end_chain()
    return b"".join(parts)


stale = []
for description in sorted(here.glob("*.txt")):
    dump = description.with_suffix(".ffdc")
    data = build(description)
    if "--check" not in sys.argv[1:]:
        dump.write_bytes(data)
    elif not dump.exists() or dump.read_bytes() != data:
        stale.append(dump.name)
if stale:
    sys.exit(f"samples/build.py: not what the descriptions say: {', '.join(stale)}")
