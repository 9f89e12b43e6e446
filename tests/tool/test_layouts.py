"""Layouts as `types --json` describes them, against records: a decoder that knows nothing else."""
import json
import os
import random
import re
import subprocess
import sys
import threading
import unittest
from collections import Counter
from pathlib import Path

import jsonschema

from common import ffdc, record, resized, root, run

page = Path(root, "docs", "layouts.md")
rounds = int(os.environ.get("FFDC_STEERED", "100"))  # records of each layout, and for each side of each condition
head = 42


def with_numbers(part):
    """Masks and numbers of conditions are in hexadecimal."""
    return {key: int(value, 0) if key in ("mask", "number") and isinstance(value, str) else value
            for key, value in part.items()}


def layouts(hook=with_numbers):
    return [json.loads(line, object_hook=hook) for line in run("types", "--json")[1].splitlines()]


def number_in(data, place):
    whole = data[place["offset"]:place["offset"] + place["size"]]
    return int.from_bytes(whole, "big") if len(whole) == place["size"] else 0


def holds(condition, data):
    return (number_in(data, condition) & condition["mask"] == condition["number"]) == condition["equal"]


def name_of(field, number):
    names = {entry["number"]: entry["text"] for entry in field["names"]}
    if not names and field["other"] is None:
        return os.strerror(number if number == -1 << 31 else abs(number))
    text = names.get(number, field["other"])
    return f"INVALID (0x{number:x})" if text is None else text


def value_of(field, data):
    """As `ffdc json` prints it."""
    size, kind = field["size"] or max(0, len(data) - field["offset"]), field["kind"]
    there = data[field["offset"]:field["offset"] + size]
    if size == 0 or len(there) < size:
        return {"value": None, "name": None} if kind == "name" else None
    if kind == "text":
        return there.split(b"\0")[0].decode("latin-1")
    if kind == "bytes":
        return there.hex()
    number = int.from_bytes(there, "big") & field["mask"]
    if kind == "flag":
        return number != 0
    if kind == "bcd":
        return 10 * (number >> 4) + (number & 15)
    if kind == "signed" or (kind == "name" and not field["names"] and field["other"] is None):
        number -= (number >> 8 * size - 1) << 8 * size
    if kind == "name":
        return {"value": number, "name": name_of(field, number).rstrip(" ")}
    return str(number) if size > 4 else number


def text_of(field, data):
    """As printf prints it; of a whole record."""
    conversion = field["format"]
    if conversion is None:
        return ""
    value = value_of(field, data)
    number = value["value"] if field["kind"] == "name" else value if field["kind"] == "text" else int(value)
    if conversion == "%s":
        return (value or "") if field["kind"] == "text" else name_of(field, number)
    if conversion == "%p":
        return hex(number) if number else "(nil)"
    bits = 64 if field["size"] == 8 else 32
    number %= 1 << bits
    if conversion[-1] == "d" and number >> bits - 1:
        number -= 1 << bits
    return conversion.replace("ll", "") % number


def record_text(layout, data):
    """Of a whole record; None if it contains a dump."""
    shown = [field for field in layout["fields"] if all(holds(c, data) for c in field["when"])]
    if layout["state"] != "ok" or len(data) < head + layout["size"] or any(f["kind"] == "bytes" for f in shown):
        return None
    texts = [field["before"] + text_of(field, data) for field in shown if field["kind"] != "unshown"]
    last_of_header = max(i for i, field in enumerate(shown) if field["group"] == "header")
    texts.insert(last_of_header + 1, f"type: FFDC_TYPE_{layout['type']}\n")
    before, block, embedded = "".join(texts).partition("- FSI FFDC Data -")
    if before.endswith("fsidata len "):  # the only text that no field has: the length of the embedded block's
        before += f"{len(block + embedded)}\n"
    return before + block + embedded


def decoded(layout, data):
    """State, header and payload."""
    size, state = len(data) - head, layout["state"]
    if state == "ok" and layout["exact"] and size != layout["size"]:
        state = "size_mismatch"
    elif state == "ok" and size < layout["size"] and (size or layout["shown_when_empty"]):
        state = "short"
    values, keys = {"header": {}, "payload": {}}, set()
    no_payload = state == "size_mismatch" or (size == 0 and not layout["shown_when_empty"])
    for field in layout["fields"]:
        of_header = field["group"] == "header"
        if field["name"] is None or (no_payload and not of_header) or not all(holds(c, data) for c in field["when"]):
            continue
        node = values if of_header else values["payload"]
        for part in filter(None, field["group"].split(".")):
            node = node.setdefault(part, {})
        keys.add((field["group"], field["name"], field["index"]))
        if field["index"] is None:
            node[field["name"]] = value_of(field, data)
        else:
            array = node.setdefault(field["name"], [])
            array.extend([None] * (field["index"] + 1 - len(array)))
            array[field["index"]] = value_of(field, data)
    return (state, values["header"], values["payload"]), keys


class Steered:
    """Records of one layout."""

    def __init__(self, layout, chance):
        self.layout, self.chance = layout, chance
        chains = {json.dumps(f["when"]) for f in layout["fields"] if all(c["offset"] >= head for c in f["when"])}
        self.chains = [json.loads(chain) for chain in sorted(chains)]
        self.conditions = list({str(c): c for chain in self.chains for c in chain}.values())

    def put(self, data, place, number):
        mask, size = place["mask"], place["size"]
        number = number_in(data, place) & ~mask | number & mask
        data[place["offset"]:place["offset"] + size] = number.to_bytes(size, "big")

    def make(self, chain=(), field=None, number=0, length=None):
        size = self.layout["size"] + self.chance.choice((0, 0, 0, 5)) * (not self.layout["exact"])
        for _ in range(100):
            version = self.chance.choice((self.layout["first_version"], self.layout["last_version"]))
            # Zeros, too: texts end, and numbers are small.
            payload = bytes(self.chance.choice((0, 1, 255, byte, byte)) for byte in self.chance.randbytes(size))
            data = bytearray(record(self.layout["type"], version, payload))
            for c in sorted(chain, key=lambda c: c["equal"]):
                wanted = c["number"]
                if not c["equal"]:
                    wanted ^= self.chance.randrange(1 << 64) & c["mask"] or c["mask"]
                self.put(data, c, wanted)
            if field:
                self.put(data, field, number)
            if all(holds(c, data) for c in chain):
                break
        data = bytes(data if length is None else data[:head + length])
        return resized(data, len(data))

    def all(self):
        for chain in self.chains:
            for i in range(len(chain)):  # the last one true and false, the ones around it true
                for equal in (True, False):
                    steered = chain[:i] + [{**chain[i], "equal": equal == chain[i]["equal"]}]
                    for _ in range(rounds):
                        yield self.make(steered)
        for field in self.layout["fields"]:
            if field["offset"] < head or not all(c["offset"] >= head for c in field["when"]):
                continue
            numbers = [entry["number"] for entry in field["names"]]
            for number in numbers + [max(numbers) + 1, field["mask"]] if numbers else []:
                yield self.make(field["when"], field, number)
        for _ in range(rounds):
            yield self.make(self.chance.choice(self.chains))
        for length in range(self.layout["size"] + 3):
            yield self.make(self.chance.choice(self.chains), length=length)


def objects_of(records):
    """What one process makes of them."""
    with subprocess.Popen([ffdc, "json", "-q", "--from=raw"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as tool:
        def write():
            with tool.stdin:
                for data in records:
                    tool.stdin.write(data)
        writer = threading.Thread(target=write)
        writer.start()
        yield from map(json.loads, tool.stdout)
        writer.join()


class Layouts(unittest.TestCase):
    def test_objects(self):
        """Follow the schema; every version once; every bit is a value's, or unshown."""
        schema = jsonschema.Draft202012Validator(json.loads(Path(root, "docs", "layouts.schema.json").read_text()))
        next = {}
        for layout in layouts(None):
            schema.validate(layout)
        for layout in layouts():
            type = layout["type"]
            self.assertEqual(layout["first_version"], next.get(type, 0), type)
            next[type] = layout["last_version"] + 1
            shown, unshown = bytearray(head + layout["size"]), bytearray(head + layout["size"])
            for f in layout["fields"]:
                if f["name"] is None and f["kind"] != "unshown":
                    continue
                for i in range(f["size"]):
                    bits = 0xff if f["mask"] is None else f["mask"]
                    if f["kind"] == "unshown":
                        unshown[f["offset"] + i] |= bits
                    else:
                        shown[f["offset"] + i] |= bits >> 8 * (f["size"] - 1 - i) & 0xff if f["mask"] else bits
            self.assertEqual(bytes(a ^ b for a, b in zip(shown, unshown)), b"\xff" * len(shown), type)
        self.assertEqual(set(next.values()), {0x10000})
        some = [run("types", "--json", "usb", *more)[1] for more in ((), ("--pretty",))]
        self.assertEqual(*map(json.loads, some))

    def test_records(self):
        chance = random.Random(23)
        for layout in layouts():
            with self.subTest(layout["type"], version=layout["first_version"]):
                steered = Steered(layout, chance)
                records = list(steered.all())
                sides, seen = Counter(), set()
                for data, found in zip(records, objects_of(records), strict=True):
                    expected, keys = decoded(layout, data)
                    seen |= keys
                    for i, condition in enumerate(steered.conditions):
                        sides[i, holds(condition, data)] += 1
                    if expected != (found["state"], found["header"], found["payload"]):
                        self.assertEqual((found["state"], found["header"], found["payload"]), expected, data.hex())
                texts = {data: text for data in records if (text := record_text(layout, data))}
                found = run("show", "--no-legend", "-q", "--from=raw", input=b"".join(texts))[1].decode("latin-1")
                if found != "".join(texts.values()):
                    for text in texts.values():
                        self.assertEqual(found[:len(text)], text)
                        found = found[len(text):]
                self.assertEqual(seen, {(f["group"], f["name"], f["index"]) for f in layout["fields"] if f["name"]})
                for i, condition in enumerate(steered.conditions):
                    self.assertGreaterEqual(min(sides[i, True], sides[i, False]), rounds, condition)

    def test_page(self):
        self.assertEqual(page.read_text(), page_text(), "`FFDC=PATH python3 tests/tool/test_layouts.py --write`")


def page_text():
    types = [line.split()[0] for line in run("types", "--no-legend")[1].decode().splitlines()]
    header, *sections = run("types", *dict.fromkeys(types))[1].decode().split("\n\n")
    of_types = {}
    for section in sections:
        of_types.setdefault(re.match(r"\w+", section)[0], []).append(section.rstrip())
    text = ("# Layouts\n\nWhat records show, by type and version: `ffdc types TYPE` prints this page, "
            "`ffdc types --json` the same as data\n([layouts.schema.json](layouts.schema.json)). Generated by "
            "`FFDC=PATH python3 tests/tool/test_layouts.py --write`.\n\n"
            f"```text\n{header.rstrip()}\n```\n")
    for type, sections in of_types.items():
        text += f"\n## {type}\n\n```text\n" + "\n\n".join(sections) + "\n```\n"
    return text


if __name__ == "__main__":
    if "--write" in sys.argv:
        page.write_text(page_text())
    else:
        unittest.main()
