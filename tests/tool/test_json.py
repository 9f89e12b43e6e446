"""JSON is a contract: the schema holds for whatever comes in, numbers are those of the bytes, recipes work."""
import ctypes
import glob
import json
import os
import random
import re
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

from common import case, codes, dma, fsi, ffdc, goldens, mbox, record, root, run

schema = json.loads(Path(root, "docs", "record.schema.json").read_text())
validator = jsonschema.Draft202012Validator(schema)
library = ctypes.CDLL(os.environ["TAVI_FFDC"]) if "TAVI_FFDC" in os.environ else None
corpus = [(type, name, record(type, version, payload)) for type, name, version, payload in goldens()]


def objects(data, *options):
    return [json.loads(line) for line in run("json", "-q", *options, input=data)[1].decode("utf-8").split("\n")[:-1]]


def at(object, path):
    for key in path.split("."):
        object = object[int(key) if key.isdigit() and isinstance(object, list) else key]
    return object


def keys(node, path=""):
    """The key of every value in an object's header or payload."""
    if isinstance(node, dict) and "name" not in node:
        return [key for name, inner in node.items() for key in keys(inner, f"{path}.{name}")]
    if isinstance(node, list):
        return [key for i, inner in enumerate(node) for key in keys(inner, f"{path}[{i}]")]
    return [path[1:]]


def hex_lines(text):
    """Offset, bytes and name of every line that `ffdc hex` prints about records, a list for each of them."""
    records, before = [], None
    for line in text.decode("latin-1").split("\n")[:-1]:
        if line.startswith("==> "):
            records.append([])
            continue
        if line == "*":
            before = records[-1][-1]
            continue
        offset, digits, name = re.fullmatch(r"  0x([0-9a-f]{6})  ((?:[0-9a-f]{2} )*(?:[0-9a-f]{2})?) *(?:  (\S.*))?",
                                            line).groups()
        if before and (digits or not name):  # the lines that "*" stands for end here
            records[-1] += [(at, before[1], "") for at in range(before[0] + 8, int(offset, 16), 8)]
            before = None
        if digits or name:
            records[-1].append((int(offset, 16), bytes.fromhex(digits), re.split("  +", name or "")[0]))
    return records


class Value(ctypes.Structure):
    _fields_ = [("group", ctypes.c_char_p), ("name", ctypes.c_char_p), ("index", ctypes.c_int),
                ("offset", ctypes.c_uint32), ("size", ctypes.c_uint32), ("kind", ctypes.c_int),
                ("missing", ctypes.c_int), ("number", ctypes.c_int64), ("mask", ctypes.c_uint64)]


TEXT, FLAG, BCD, BYTES, UNSHOWN = 3, 5, 6, 7, 8
Told = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(Value))


def told(data):
    """Key, offset, bytes, kind and mask of every value that the library finds."""
    values = []

    def each(_, value):
        v = value.contents
        if v.kind != UNSHOWN:
            keys = [*v.group.decode().split("."), v.name.decode()] if v.group else [v.name.decode()]
            values.append((keys + ([v.index] if v.index >= 0 else []), v.offset, v.size, v.kind, v.mask))

    library.dd_ffdc_values(bytes(data), ctypes.c_size_t(len(data)), Told(each), None)
    return values


def bytes_of(value, size, kind, mask):
    if kind == TEXT:
        return value.encode("latin-1")
    if kind == BYTES:
        return bytes.fromhex(value)
    number = int(value["value"] if isinstance(value, dict) else value)
    number = mask if kind == FLAG and number else int(str(number), 16) if kind == BCD else number
    return (number & mask).to_bytes(size, "big")


def rebuilt(object):
    """The bytes of a record, or of a damaged place, from its object."""
    runs = [(run["offset"], bytes.fromhex(run["bytes"])) for run in object["unshown"]]
    header = object["header"]
    if header is None:
        return b"".join(bytes_ for _, bytes_ in runs)
    size = object["bytes"]
    head = struct.pack(">I8xIiiHHIIHi", header["magic"], header["chained"], header["head_version"], header["pid"],
                       header["type"],
                       header["version"], *header["time"], header["size"], header["tgid"])
    data, before = bytearray(head + b"\xff" * (size - len(head))), None
    # What one value is decides what others there are, and some are only there when they are not 0.
    while data != before:
        before = data
        found = []
        for keys, offset, width, kind, mask in told(before):
            value = object if keys[0] == "header" else object["payload"]
            for key in keys:
                there = key in value if isinstance(value, dict) else isinstance(value, list) and key < len(value)
                value = value[key] if there else None
            if value is not None and not (isinstance(value, dict) and value["value"] is None):
                found.append((offset, width, bytes_of(value, width, kind, mask)))
        data = bytearray(head + b"\xff" * (size - len(head)))
        for offset, width, _ in found:
            data[offset:offset + width] = bytes(width)
        for offset, _, bytes_ in found:
            for i, byte in enumerate(bytes_, offset):
                data[i] |= byte
        for offset, bytes_ in runs:
            data[offset:offset + len(bytes_)] = bytes_
    return bytes(data)


class Json(unittest.TestCase):
    def check(self, object):
        for error in validator.iter_errors(object):
            self.fail(f"{error.json_path}: {error.message[:300]}")

    def test_the_schema_is_one(self):
        jsonschema.Draft202012Validator.check_schema(schema)
        shapes = {rule["if"]["properties"]["type"]["const"]: rule["then"]["properties"]["payload"]
                  for rule in schema["allOf"] if rule["if"]["properties"].get("type", {}).get("const")}
        for what, types in (("the enum of types", [t for t in schema["properties"]["type"]["enum"] if t]),
                            ("allOf", list(shapes)), ("$defs", [t for t in schema["$defs"] if t in codes])):
            self.assertEqual(types, list(codes), f"each driver has its shape in docs/record.schema.json: {what}")
        self.assertEqual(shapes, {type: {"$ref": f"#/$defs/{type}"} for type in codes})

    def test_schema_over_all_goldens_and_samples(self):
        found = objects(b"".join(data for _, _, data in corpus))
        self.assertEqual([o["type"] for o in found], [type for type, _, _ in corpus])
        for object, (type, name, _) in zip(found, corpus):
            with self.subTest(type, case=name):
                self.check(object)
        for path in glob.glob(os.path.join(root, "samples", "*.ffdc")):
            with self.subTest(path):
                for object in objects(Path(path).read_bytes()):
                    self.check(object)

    def test_schema_over_what_is_wrong(self):
        text = case("scom", "v1")[1]
        cases = {
            "cut record": dma[:200], "cut header": dma[:41], "no magic": b"\0" * 50 + dma,
            "size below a header": record("DMA", 1, b"", size=41) + dma,
            "unknown type": record(14, 1, b"abcd"), "highest type": record(65535, 1, b""),
            "header alone": record("IIC", 2, b""),
            "header version": record("DMA", 1, dma[42:], head_version=-2),
            "announced": record("DIO", 1, b"abc", chained=1),
            "bytes above 0x7f": record("SCOM", 1, text[:40] + bytes(range(128, 256)) + text[168:]),
        }
        cases.update({f"{name} cut to {n}": record(name, version, payload[:n])
                      for name, version, payload in (("SCAN", *case("scan", "v1")), ("IIC", *case("iic", "v3")))
                      for n in range(0, len(payload), 7)})
        for name, data in cases.items():
            with self.subTest(name):
                found = objects(data)
                self.assertTrue(found)
                for object in found:
                    self.check(object)

    def test_what_texts_leave_unshown(self):
        always = [(4, 12), (158, 166)]  # the hint begins behind them
        for hint, rest in ((b"one" + bytes(125), None), (b"x" * 128, None), (b"one\0\0two" + bytes(120), 170)):
            with self.subTest(hint):
                data = dma[:166] + hint
                object, = objects(data)
                self.assertEqual(object["payload"]["hint"], hint.split(b"\0")[0].decode())
                expected = always + ([(rest, len(data))] if rest else [])
                self.assertEqual(object["unshown"], [{"offset": i, "bytes": data[i:end].hex()} for i, end in expected])

    def test_hex_accounts_for_every_byte_and_agrees_with_json(self):
        data = b"".join(data for _, _, data in corpus)
        listed = hex_lines(run("hex", "-q", input=data)[1])
        found = objects(data)
        compared = 0
        for (type, name, bytes_), lines, object in zip(corpus, listed, found, strict=True):
            with self.subTest(type, case=name):
                shown = [line for line in lines if line[1]]
                self.assertEqual(b"".join(line[1] for line in shown), bytes_)
                self.assertEqual([line[0] for line in shown], [0, *(o + len(b) for o, b, _ in shown[:-1])])
                self.assertEqual(sorted(line[2] for line in lines if line[2] not in ("", "(not shown)")),
                                 sorted(keys(object["header"], ".header") + keys(object["payload"] or {})))
                for offset, part, path in shown:
                    if len(part) not in (1, 2, 4, 8) or path in ("", "(not shown)"):
                        continue
                    path = re.sub(r"\[(\d+)\]", r".\1", path)
                    value = at(object, path if path.startswith("header.") else "payload." + path)
                    value = value["value"] if isinstance(value, dict) else value
                    if isinstance(value, str) and len(part) == 8 and re.fullmatch(r"-?[1-9]\d{8,19}", value):
                        value = int(value)  # longer than a text of eight bytes
                    if isinstance(value, int) and not isinstance(value, bool):
                        if type == "RTC" or path in ("payload.evt", "payload.rid"):
                            continue  # binary-coded decimal, or some bits of the byte
                        self.assertIn(value, [int.from_bytes(part, "big", signed=sign) for sign in (False, True)], path)
                        compared += 1
        self.assertGreater(compared, 5000)

    @unittest.skipUnless("TAVI_FFDC" in os.environ,
                         "Python loads the library only where it was built for the same, without sanitizers")
    def test_every_byte_can_be_had_back(self):
        chance = random.Random(13)
        dumps = [Path(path).read_bytes() for path in glob.glob(os.path.join(root, "samples", "*.ffdc"))]
        dumps += [data for _, _, data in corpus]
        dumps += [b"\0" * 50 + dma + b"\xff\xdc", record("DMA", 1, b"", size=41) + b"lost", record(14, 1, b"abcd"),
                  fsi[:41]]
        dumps += [record("DMA", 1, dma[42:166] + text + bytes(128 - len(text)))
                  for text in (b"\x01\xc3\x28\xff%n\"\\", b"one\0two", b"")]
        for _ in range(1000):
            dump = bytearray(b"".join(data for _, _, data in chance.sample(corpus, chance.randint(1, 4))))
            for _ in range(chance.randint(1, 5)):
                at = chance.randrange(len(dump) + 1)
                what, n = chance.randrange(4), chance.choice((1, 2, 4, 40, 400))
                new = b"" if what == 0 else chance.randbytes(n) if what < 3 else chance.randbytes(1) * n
                dump[at:at + (0 if what == 1 else n)] = new
            dumps.append(bytes(dump))
        with tempfile.TemporaryDirectory() as folder:
            for number, dump in enumerate(dumps):
                Path(folder, f"{number:04}").write_bytes(dump)
            _, out, _ = run("json", "-q", folder)
        had = [bytearray(len(dump)) for dump in dumps]
        for object in map(json.loads, out.splitlines()):
            number, offset = int(object["file"][-4:]), object["offset"]
            bytes_ = rebuilt(object)
            with self.subTest(object["type"], dump=number, offset=offset):
                self.check(object)
                runs = [(run["offset"], run["offset"] + len(run["bytes"]) // 2) for run in object["unshown"]]
                self.assertTrue(all(end < begin for (_, end), (begin, _) in zip(runs, runs[1:])), runs)
                self.assertEqual(bytes_, dumps[number][offset:offset + len(bytes_)])
            had[number][offset:offset + len(bytes_)] = b"\1" * len(bytes_)
        self.assertEqual([number for number, bytes_ in enumerate(had) if 0 in bytes_], [])

    def test_file_names_that_are_not_utf_8(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(os.fsencode(folder), b"d\xfcmp\"")
            Path(os.fsdecode(path)).write_bytes(dma)
            status, out, _ = run("json", path)
            self.assertEqual((status, json.loads(out)["file"].rsplit("/")[-1]), (0, 'd\ufffdmp"'))

    def test_pretty_is_the_same(self):
        decoder, text, found = json.JSONDecoder(), run("json", "--pretty", input=dma + mbox + fsi)[1].decode(), []
        while text.strip():
            object, end = decoder.raw_decode(text)
            found.append(object)
            text = text[end:].lstrip()
        self.assertEqual(found, objects(dma + mbox + fsi))

    def test_recipes(self):
        recipes = re.findall(r"```sh\n(.*?)```", Path(root, "docs", "json.md").read_text(), re.S)
        self.assertGreater(len(recipes), 5)
        with tempfile.TemporaryDirectory() as folder:
            others = b"".join(data for type, _, data in corpus if type != "DMA")
            Path(folder, "dump.bin").write_bytes(dma + b"damage" + others)
            for recipe in recipes:
                with self.subTest(recipe):
                    done = subprocess.run(["sh", "-c", recipe], cwd=folder, capture_output=True,
                                          env={**os.environ, "PATH": os.path.dirname(ffdc) + ":" + os.environ["PATH"]})
                    self.assertEqual(done.returncode, 0, done.stderr[-300:])
                    self.assertGreater(len(done.stdout), 10)


if __name__ == "__main__":
    unittest.main()
