"""make is the inverse of json: every byte comes back, an edit changes its bits alone, what is wrong writes nothing."""
import copy
import json
import os
import random
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from common import case, dma, ffdc, fsi, goldens, mbox, record, root, run
from test_json import BCD, BYTES, FLAG, TEXT, library, told

corpus = [(type, name, record(type, version, payload)) for type, name, version, payload in goldens()]
dumps = int(os.environ["FFDC_DAMAGED_DUMPS"])


def objects(data, *options):
    return [json.loads(line) for line in run("json", "-q", *options, input=data)[1].splitlines()]


def lines(objects):
    return "".join(json.dumps(object) + "\n" for object in objects).encode()


def of(type, version, payload={}, **more):
    return {"type": type, "version": version, "payload": payload, **more}


def small(type, version, bytes_, *values, pid=0, time=(0, 0), **header):
    """A record by hand: zeros, but for what `values` put into its payload, as struct forms and offsets."""
    data = bytearray(record(type, version, bytes(bytes_), pid=pid, **header))
    struct.pack_into(">II", data, 28, *time)
    data[38:42] = bytes(4)
    for form, offset, value in values:
        struct.pack_into(">" + form, data, 42 + offset, value)
    return bytes(data)


class Make(unittest.TestCase):
    def made(self, *objects):
        status, out, messages = run("make", input=lines(objects))
        self.assertEqual((status, messages), (0, b""))
        return out

    def refused(self, *objects):
        """What is told about objects, none of which can be made."""
        status, out, messages = run("make", input=lines(objects))
        self.assertEqual((status, out), (2, b""))
        told = messages.decode(errors="replace").replace("ffdc: -: ", "").splitlines()
        self.assertEqual(len(told), len(objects))
        return told

    def test_every_byte_comes_back(self):
        chance = random.Random(14)
        tried = [path.read_bytes() for path in sorted(Path(root, "samples").glob("*.ffdc"))]
        tried += [data for _, _, data in corpus]
        tried += [bytes(3 << 20) + dma + bytes(70), dma[:41], record("DMA", 1, b"", size=41) + b"lost",
                  record("DPSS", 1, b""), record("WEX_PORT", 2, bytes(60)), record(14, 7, b"abcd", chained=1),
                  record("DIO", 1, bytes(65535 - 42))]
        for _ in range(dumps):
            dump = bytearray(b"".join(data for _, _, data in chance.sample(corpus, chance.randint(1, 5))))
            for _ in range(chance.randint(0, 6)):
                at, what, n = chance.randrange(len(dump) + 1), chance.randrange(5), chance.choice((1, 2, 4, 40, 400))
                noise = chance.randbytes(n) if what < 4 else bytes([chance.randrange(256)]) * n
                dump[at:at + n * (what != 1)] = noise if what != 0 else b""
            tried.append(bytes(dump))
        with tempfile.TemporaryDirectory() as folder:
            for number, dump in enumerate(tried):
                Path(folder, f"{number:05}").write_bytes(dump)
            text = run("json", "-q", folder)[1]
            status, made, messages = run("make", input=text)
        self.assertEqual((status, messages), (0, b""))
        at = 0
        for number, dump in enumerate(tried):
            self.assertEqual(made[at:at + len(dump)], dump, f"dump {number}")
            at += len(dump)
        self.assertEqual(len(made), at)

    def test_what_other_programs_make_of_the_text(self):
        """Indented, on one line, sorted, as UTF-8; and only what was asked for."""
        text = case("scom", "v1")[1]
        data = dma + record("SCOM", 1, text[:68] + bytes(range(160, 223)) + b"\0" + text[132:]) + b"lost" + mbox
        text = run("json", "-q", input=data)[1]
        sorted_text = "\r\n\n".join(json.dumps(json.loads(line), indent=3, sort_keys=True, ensure_ascii=False)
                                    for line in text.splitlines())
        for other in (text.replace(b"\n", b" \t"), text.replace(b"\n", b""), sorted_text.encode(),
                      run("json", "-q", "--pretty", input=data)[1],
                      subprocess.run(["jq", "."], input=text, capture_output=True).stdout):
            self.assertEqual(run("make", input=other), (0, data, b""))
        asked = run("json", "-q", "--where", "type = dma", input=data)[1]
        self.assertEqual(run("make", input=asked)[1], dma)

    def edits(self, data):
        """For every value of a record: its key, the object with another one, the bytes with that, and whether no
        other value has those bits."""
        object, = objects(data)
        del object["index"]  # many of them are made into one dump
        values = [(*value[:4], [value[4] >> 8 * (value[2] - 1 - i) & 0xff if value[4] else 0xff
                                for i in range(value[2])]) for value in told(data)]
        owners = {}
        for number, (_, offset, _, _, bits) in enumerate(values):
            for i, b in enumerate(bits, offset):
                owners.setdefault(i, []).append((number, b))
        for number, (keys, offset, size, kind, bits) in enumerate(values):
            edited = copy.deepcopy(object)
            place = edited if keys[0] == "header" else edited["payload"]
            for key in keys[:-1]:
                place = place[key]
            old, own = place[keys[-1]], data[offset:offset + size]
            if old is None or old == {"value": None, "name": None}:
                continue
            if kind == TEXT:
                text = old[:-1] if old else "x" * (size > 0)
                value, bytes_ = text, (text.encode("latin-1") + b"\0" + own[len(text) + 1:])[:size]
            elif kind == BYTES:
                bytes_ = bytes(x ^ 0x5a for x in own)
                value = bytes_.hex()
            elif kind == FLAG:
                value, bytes_ = not old, bytes(x ^ b for x, b in zip(own, bits))
            elif kind == BCD:
                value = 42 if old != 42 else 41
                bytes_ = bytes([own[0] & ~bits[0] & 0xff | int(str(value), 16)])
            else:
                lowest = next(i for i in range(8 * size) if bits[size - 1 - i // 8] >> i % 8 & 1)
                bytes_ = (int.from_bytes(own, "big") ^ 1 << lowest).to_bytes(size, "big")
                negative = (old["value"] if isinstance(old, dict) else int(old)) < 0 or keys[-1] == "rc_text"
                value = int.from_bytes(bytes(x & b for x, b in zip(bytes_, bits)), "big", signed=negative)
            place[keys[-1]] = value
            changed = [i for i in range(size) if own[i] != bytes_[i]]
            alone = all(n == number or not b & (own[i] ^ bytes_[i]) for i in changed for n, b in owners[offset + i])
            alone = alone and keys not in (["header", "type"], ["header", "version"])  # which stand outside, too
            yield keys, edited, data[:offset] + bytes_ + data[offset + size:], alone

    @unittest.skipUnless(library, "Python loads the library only where it was built for the same, without sanitizers")
    def test_an_edit_changes_its_bits_and_no_others(self):
        edits = [(type, name, *edit) for type, name, data in corpus for edit in self.edits(data)]
        alone = [edit for edit in edits if edit[-1]]
        self.assertGreater(len(alone), 10000)
        made, at = self.made(*(edit[3] for edit in alone)), 0
        for type, name, keys, _, data, _ in alone:
            self.assertEqual(made[at:at + len(data)], data, (type, name, keys))
            at += len(data)
        self.assertEqual(at, len(made))
        for message in self.refused(*(edit[3] for edit in edits if not edit[-1])):
            self.assertRegex(message, r"^line \d+: \S+: expected (\S+, which|what) \S+ says of the same bits, found ")

    def test_from_little(self):
        """What is not said is zero, and what follows from the rest does."""
        iic = {"register_format": 75, "registers_collected": 1, "master.retries": 4, "kor": {"registers": [None, 1, 2]}}
        clock = {"time": {"hours": 23}, "alarm": {"alarm_secs": 59, "secs_match": True}}
        numbers = {"src_base": "0xffffffffffffffff", "rc": "0xfffffffd", "timeout": 1e3, "dest_base": 12}
        header = {"version": 2, "pid": -1, "time": [1, "0x20"], "head_version": 5}
        cases = {
            "the least": (of("DMA", 2, {"rc": -22}), small("DMA", 2, 260, ("i", 20, -22))),
            "codes": ({"type_code": 3, "header": header},
                      small("DMA", 2, 260, pid=-1, time=(1, 32), head_version=5)),
            "names": (of("ffdc_dma", 2, {"src_type": "direct", "dest_type": {"name": "FIFO"}}),
                      small("DMA", 2, 260, ("I", 44, 3), ("I", 64, 5))),
            "a name of 209": (of("HDMA", 256, {"dma_source": "READ"}), small("HDMA", 256, 40, ("I", 36, 209))),
            "a text of a number": (of("MBOX", 4, {"rc_text": {"name": os.strerror(22), "value": -22}}),
                                   small("MBOX", 4, 300, ("i", 24, -22))),
            "forms of numbers": (of("DMA", 2, numbers), small("DMA", 2, 260, ("Q", 36, 2**64 - 1), ("i", 20, -3),
                                                              ("I", 28, 1000), ("Q", 56, 12))),
            "bits": (of("DMA", 2, {"fsi": True, "dp": 1, "psi": False, "evt": 0x50}),
                     small("DMA", 2, 260, ("I", 8, 0x80008050))),
            "arrays": (of("IIC", 3, iic), small("IIC", 3, 469, ("B", 11, 75), ("B", 12, 1), ("H", 157, 4), ("I", 17, 1),
                                                ("I", 21, 2))),
            "what others show": (of("JTAG", 4, {"chain": {"mux_mask": 7}, "chain_valid": 1}),
                                 small("JTAG", 4, 596, ("B", 244, 1), ("I", 268, 7))),
            "a text to the end": (of("WEX_PORT", 2, {"drv_ver": "1.7 \u00e9"}),
                                  small("WEX_PORT", 2, 42, ("5s", 37, b"1.7 \xe9"))),
            "digits": (of("RTC", 257, clock), small("RTC", 257, 24, ("B", 2, 0xd9), ("B", 11, 0x23))),
            "no layout": ({"type": None, "type_code": 99, "unshown": [{"offset": 45, "bytes": "0aFF"}]},
                          small(99, 0, 5, ("H", 3, 0x0aff))),
            "nothing in it": ({"type": "DMA", "version": 2, "header": {"time": []}, "payload": {"registers": {}},
                               "unshown": []}, small("DMA", 2, 260)),
            "a cut record": (of("SPAD", 1, {"return_code": 9}, bytes=50), small("SPAD", 1, 8, ("I", 0, 9))),
            "a wrong size": ({"type": "DRA", "header": {"size": 7}, "bytes": 44}, small("DRA", 0, 2, size=7)),
            "no record": ({"header": None, "bytes": 3, "unshown": [{"offset": 1, "bytes": "fe"}]}, b"\0\xfe\0"),
        }
        for name, (object, bytes_) in cases.items():
            with self.subTest(name):
                self.assertEqual(self.made(object), bytes_)
        dra, end = {"type": "DRA"}, {"type": "DRA", "header": {"chained": 0}}
        made = self.made(dra, dra, end, dra, {"header": None, "bytes": 42}, dra)
        self.assertEqual([made[42 * n + 15] for n in range(6)], [1, 1, 0, 1, 0, 0])

    def test_records_removed_and_added(self):
        first, last, other = objects(record("DRA", 0, b"", chained=1) + record("DRA", 0, b"") + mbox)
        note = ("ffdc: -: line %d: header.chained: expected %d, as %s record follows, found %d (the first such record; "
                "without this key, make sets it)\n")
        cases = [
            ([first, last, other], ""), ([first, other], ""), ([last, other | {"file": "x", "index": 0}], ""),
            ([first], note % (1, 0, "no", 1)), ([last, first], note % (1, 1, "another", 0)),
            ([first, last, {"type": "DRA"}], note % (2, 1, "another", 0)),
            ([first, last, {"header": None, "bytes": 1}], ""), ([last | {"header": {}}, first, {"type": "DRA"}], ""),
        ]
        for made, expected in cases:
            with self.subTest([object.get("index") for object in made]):
                status, out, messages = run("make", input=lines(made))
                self.assertEqual((status, messages.decode()), (0, expected))
                self.assertEqual(out[15], made[0]["header"].get("chained", 1))

    def test_what_is_wrong(self):
        """Line, path, what was expected and what was found."""
        def dma2(**payload):
            return of("DMA", 2, payload)

        runs = [{"offset": 50, "bytes": "0000"}, {"offset": 51, "bytes": "00"}]
        cases = [
            (dma2(rcc=1), r"payload.rcc: expected a key of DMA version 2, found none such; the nearest are payload.rc"),
            (dma2() | {"header": {"tgit": 1}},
             r"header.tgit: expected a key of a header, found none such; the nearest are header.tgid, "),
            ({"typ": "DMA"}, r"typ: expected a key of an object, found 'typ'; the nearest are type, "),
            (of("DMA", 9, {"rc": 1}), r"payload.rc: expected no value, as DMA version 9 is not known, found 1"),
            (dma2(rc=1) | {"bytes": 60},
             r"payload.rc: expected no value, as DMA version 2 has some in 302 bytes only, not in 60, found 1"),
            (of("FSI", 1, {"part": 1}, bytes=44),
             r"payload.part: expected null, as the record ends before it, after 44 bytes, found 1"),
            (of("PSI", 1, {"path": {"name": "DOPBS"}}, bytes=44), r"payload.path.name: expected null, as the record "),
            (dma2(rc=2**31), r"payload.rc: expected -2147483648 to 2147483647, found 2147483648"),
            (dma2(err_stat=-1), r"payload.err_stat: expected 0 to 4294967295, found -1"),
            (dma2(engine=65536), r"payload.engine: expected 0 to 65535, found 65536"),
            (dma2(src_base=str(2**64)), r"payload.src_base: expected an integer, found '18446744073709551616'"),
            (dma2(rc=1.5), r"payload.rc: expected an integer, found 1.5"),
            (dma2(evt=0x51), r"payload.evt: expected bits of 0xf0, found 81"),
            (dma2(fsi=2), r"payload.fsi: expected true or false, found 2"),
            (of("RTC", 257, {"alarm": {"alarm_secs": 80}}), r"payload.alarm.alarm_secs: expected 0 to 79, found 80"),
            (dma2(hint=129 * "x"), r"payload.hint: expected at most 128 characters, found 129"),
            (dma2(hint="\u20ac"), r"payload.hint: expected a text of the characters U\+0001 to U\+00FF, found '"),
            (of("IIC", 3, {"trace": 514 * "0"}), r"payload.trace: expected at most 256 bytes, found 257"),
            (of("IIC", 3, {"trace": "0g"}), r"payload.trace: expected two hex digits for every byte, found '0g'"),
            (of("IIC", 3, {"kor": {"registers": 10 * [0]}}), r"payload.kor.registers\[9\]: expected a key of IIC vers"),
            (dma2(src_type="DIRECTLY"), r"payload.src_type: expected a number or a name, the nearest of which are "
             "DIRECT, DEVICE, ZCOPY, FIFO, INVALID, found 'DIRECTLY'$"),
            *((dma2(rcc=empty), rf"payload.rcc{path}: expected a key of DMA version 2, found none such; ")
              for empty, path in (({}, ""), ([], ""), ({"x": [{}]}, r".x\[0\]"))),
            (dma2(registers=[]), r"payload.registers: expected a key of DMA version 2, found none such; "),
            (dma2(rc={}), r"payload.rc: expected an integer, found \{\}$"),
            (dma2() | {"typ": {}}, r"typ: expected a key of an object, found 'typ'; "),
            (dma2() | {"unshown": {}}, r"unshown: expected an array, found an object$"),
            (dma2() | {"unshown": [{}]}, r"unshown\[0\]: expected an offset and bytes, as hex digits, found \{\}$"),
            (dma2() | {"file": []}, r"file: expected one value, found an array$"),
            (dma2(src_type={"value": 3, "name": "FIFO"}),
             r"payload.src_type.name: expected 'DIRECT', the name of 3, found 'FIFO'"),
            (dma2(flags=0, fsi=True),
             r"payload.fsi: expected false, which payload.flags says of the same bits, found true"),
            (dma2() | {"type_code": 4}, r"type_code: expected 3, which type says of the same bits, found 4"),
            ({"type": "DMB"}, r"type: expected a code or one of FSI, .*, found 'DMB'"),
            ({"type": "DMA"}, r"version: expected one that `ffdc types -t DMA` names, found none"),
            ({"payload": {"rc": 1}}, r"type: expected the name or the code of a type, found none"),
            ({"header": None, "version": 1}, r"type: expected the name or the code of a type, found none"),
            ({"header": None, "payload": {"rc": 1}}, r"payload.rc: expected no value without a header, found 1"),
            (of("DMA", 2, 5), r"payload: expected an object, found 5"),
            (of("DMA", 2, [5]), r"payload\[0\]: expected an object, found an array$"),
            (dma2() | {"unshown": {"offset": 5}}, r"unshown.offset: expected an array, found an object$"),
            (dma2() | {"bytes": {"x": 302}}, r"bytes.x: expected one value, found an object$"),
            (dma2() | {"bytes": 41}, r"bytes: expected at least the 42 bytes of a header, found 41"),
            (dma2() | {"bytes": 2**20}, r"header.size: expected the size of a record of more than 65535 bytes, "),
            ({"header": None, "bytes": 2**20 + 1}, r"bytes: expected 0 to 1048576, found 1048577"),
            (dma2() | {"unshown": runs}, r"unshown\[1\].offset: expected at least 52, where the run before ends, "),
            ({"header": None, "bytes": 51, "unshown": runs[:1]}, r"unshown\[0\].bytes: expected at most 1 bytes, "),
            (dma2() | {"format": 1}, r"format: expected 2, found 1"),
        ]
        messages = self.refused(*(object for object, _ in cases))
        for line, (message, (object, expected)) in enumerate(zip(messages, cases), 1):
            with self.subTest(json.dumps(object)[:100]):
                self.assertRegex(message, f"^line {line}: {expected}")
        texts = {
            b'{"type":"DMA",\n "version": 2,}': "line 3, column 15: expected JSON: .*, found '}'",
            b'{"type":"DMA"': "line 2, column 14: expected JSON: .*, found the end",
            b"[1]": r"line 2, column 1: expected a JSON object, found '\['",
            b'{"header":' + 99 * b"[": "line 2, column 75: expected less of an object, at most 65536 values, 64 l",
            b'{"' + 999 * b"x" + b'":1}': "line 2, column 1003: expected less of an object",
            b'{"cause":"' + (5 << 20) * b"x": "line 2, column 1: expected an object of at most 4194304 bytes",
            b'{"cause":"\xff"}': "line 2, column 12: expected JSON: .*encoding",
            b'{"cause":"\0"}': "line 2, column 11: expected JSON: ",
        }
        for text, expected in texts.items():
            with self.subTest(text[:40]):
                status, out, messages = run("make", input=lines([dma2()]) + text)
                self.assertEqual((status, out), (2, b""))
                self.assertRegex(messages.decode(errors="replace"), "^ffdc: -: " + expected)

    def test_nothing_is_written_unless_all_is_well(self):
        many, size = lines([{"type": "DRA", "bytes": 65535}] * 40), 40 * 65535  # more than is held in memory
        with tempfile.TemporaryDirectory() as folder:
            good, bad, out, none = (Path(folder, name) for name in ("good", "bad", "out", "none"))
            good.write_bytes(many)
            bad.write_bytes(many + b'{"type":"DMA"}')
            out.write_bytes(size * b"-")
            for files in ([bad], [good, none], [bad, good], [good]):
                with self.subTest(files):
                    well = files == [good]
                    status, made, _ = run("make", *files, env={**os.environ, "TMPDIR": folder})
                    self.assertEqual((status, len(made)), (0, size) if well else (2, 0))
                    self.assertEqual(run("make", *files, "-o", out)[0], status)
                    self.assertEqual(out.read_bytes(), made if well else size * b"-")
            self.assertEqual(sorted(os.listdir(folder)), ["bad", "good", "out"])
        for text in (many, lines([{"type": "DRA"}])):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([ffdc, "make"], input=text, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr[-24:]), (2, b"No space left on device\n"))
        self.assertEqual(run("make"), (1, b"", b"ffdc: -: is empty\n"))

    def test_templates(self):
        """All keys of the schema, and nothing in them that is refused."""
        schema = json.loads(Path(root, "docs", "record.schema.json").read_text())["$defs"]

        def keys(rule, path=""):
            rule = schema[rule["$ref"].split("/")[-1]] if "$ref" in rule else rule
            inner = rule.get("properties", {"value": None})
            return {path} if "value" in inner else set().union(*(keys(inner[key], f"{path}.{key}") for key in inner))

        def paths(value, path=""):
            inner = value.items() if isinstance(value, dict) else None
            return {path} if inner is None else set().union(*(paths(inner, f"{path}.{key}") for key, inner in inner))

        for type in (name for name in schema if name.isupper() or name == "8250"):
            with self.subTest(type):
                templates = [json.loads(line) for line in run("make", "--template", type)[1].splitlines()]
                found = set().union(*(paths(template["payload"]) for template in templates))
                self.assertEqual(found - {""}, keys(schema[type]) - {""})
                again = objects(self.made(*templates))
                self.assertEqual([(o["type"], o["version"], o["state"]) for o in again],
                                 [(t["type"], t["version"], "ok") for t in templates])
        self.assertEqual(json.loads(run("make", "--template", "dra", "--pretty")[1])["payload"], {})

    def test_any_text_at_all(self):
        chance = random.Random(41)
        pieces = (b"", b"9", b"-", b"{", b"]", b'"', b"null,", b"\\u00", b"\xc3", b"\0")
        text = run("json", "-q", input=fsi + mbox[:300] + b"gap")[1]
        for number in range(dumps // 20):
            changed = bytearray(text)
            for _ in range(chance.randint(1, 3)):
                at = chance.randrange(len(changed))
                changed[at:at + chance.choice((0, 1, 9))] = chance.choice(pieces)
            with self.subTest(number):
                status, out, messages = run("make", input=bytes(changed))
                self.assertIn((status, bool(out), bool(messages)), ((0, True, False), (2, False, True)))


if __name__ == "__main__":
    unittest.main()
