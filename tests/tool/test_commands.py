"""What each command shows of good, damaged, unknown and missing records, and the status that it ends with."""
import json
import os
import random
import re
import resource
import signal
import struct
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from common import codes, dma, ffdc, fsi, goldens, mbox, record, resized, root, run

unknown_type = record(14, 1, b"four")
unknown_version = record("DMA", 9, b"four")
short = record("FSI", 1, fsi[42:100])
mismatch = record("DMA", 1, dma[42:-1])
no_magic = b"abcd" + mbox[4:]
damaged = dma + no_magic + fsi
readers = ("show", "list", "json", "hex", "carve")


def separators(out):
    return re.findall(r"^==> (.*) <==$", out.decode("latin-1"), re.M)


class Status(unittest.TestCase):
    def test_statuses(self):
        walkers = readers[:4]
        table = [
            ("good", dma + mbox + fsi, readers, 0),
            ("nothing at all", b"", readers, 1),
            ("no record", b"\x01\x02\x03" * 99, readers, 1),
            ("unknown type", unknown_type + dma, readers, 3),
            ("unknown version", unknown_version + dma, readers, 3),
            ("short", short + dma, readers, 3),
            ("size mismatch", mismatch, readers, 3),
            ("magic missing in the middle", damaged, walkers, 3),
            ("magic missing in the middle", damaged, ("carve",), 0),
            ("cut", dma + fsi[:-1], walkers, 3),
            ("only a cut one", fsi[:-1], walkers, 3),
            ("only a cut one", fsi[:-1], ("carve",), 3),
        ]
        for name, data, commands, status in table:
            for command in commands:
                with self.subTest(name, command=command):
                    self.assertEqual(run(command, "-q", input=data)[::2], (status, b""))

    def test_filters(self):
        data = dma + mbox + fsi + unknown_type
        table = [
            (("-t", "dma"), ["DMA"], 0), (("-t", "Dma,FSI"), ["DMA", "FSI"], 0), (("-t", "14"), ["TYPE_14"], 3),
            (("-t", "3", "-t", "0x9"), ["DMA", "MBOX"], 0), (("--type=FFDC_TYPE_MBOX",), ["MBOX"], 0),
            (("-t", "8250"), [], 1), (("-t", "65535"), [], 1),
        ]
        for options, expected, status in table:
            for command in ("show", "hex", "list", "json", "carve"):
                with self.subTest(options, command=command):
                    got, out, _ = run(command, *options, input=data)
                    self.assertEqual(got, status)
                    if command in ("show", "hex"):
                        self.assertEqual([line.split()[-1] for line in separators(out)], expected)
                    else:
                        self.assertEqual(len(out.splitlines()), len(expected) + (command != "json" and status != 1))
        with self.subTest("damage is told, but not shown among the records of a type"):
            status, out, err = run("list", "--no-legend", "-t", "fsi", input=damaged)
            self.assertEqual((status, len(out.splitlines()), b"offset 0x000126" in err), (3, 1, True))
        for wrong in ("dmaa", "-1", "65536", "0x", "3 ", ""):
            with self.subTest(wrong):
                status, _, err = run("show", "-t", wrong, input=data)
                self.assertEqual(status, 2)
                self.assertTrue(wrong == "" or all(name.encode() in err for name in codes), err)


class Damage(unittest.TestCase):
    def test_good_records_always_come_out(self):
        message = b"ffdc: -: offset 0x000126: expected magic ffdcffdc, found 61626364\n"
        for command in readers[:4]:
            with self.subTest(command):
                status, out, err = run(command, input=damaged)
                self.assertEqual((status, err), (3, message))
                self.assertEqual(run(command, "-q", input=damaged)[1:], (out, b""))
                if command in ("show", "hex"):
                    self.assertEqual(separators(out), ["- offset 0x000000 record 0 DMA",
                                                       "- offset 0x000126 record 1 damaged",
                                                       "- offset 0x00027c record 2 FSI"])
                    for data in (dma, fsi):
                        self.assertIn(run(command, "--no-legend", input=data)[1], out)
                else:
                    states = rb'"state":"(\w+)"' if command == "json" else rb"(?m)^ .* 5f3c0001:2a (\w+)|^ .* (damaged)"
                    self.assertEqual([b"".join(found) if command == "list" else found
                                      for found in re.findall(states, out)],
                                     [b"ok", b"damaged", b"ok"])

    def test_every_kind_of_damage(self):
        table = [
            ("magic", dma + no_magic, 294, "magic ffdcffdc", "61626364", "damaged"),
            ("too short for a magic", dma + b"\x01", 294, "magic ffdcffdc", "01", "damaged"),
            ("size of nothing", record("FSI", 1, b"", size=0), 0, "a record size of at least 42", "0", "FSI damaged"),
            ("size below a header", record("FSI", 1, b"", size=41), 0, "a record size of at least 42", "41",
             "FSI damaged"),
            ("size of a header", record("FSI", 1, b"", size=42), 0, "a payload of 96 bytes", "0 bytes", "FSI"),
            ("largest size", dma + record("FSI", 1, bytes(96), size=65535), 294, "a record of 65535 bytes", "138 bytes",
             "FSI damaged"),
            ("cut", dma + fsi[:-1], 294, "a record of 138 bytes", "137 bytes", "FSI damaged"),
            ("cut in the header", fsi[:41], 0, "a header of 42 bytes", "41 bytes", "damaged"),
            ("end of a chain", record("DIO", 1, b"", chained=1), 42, "another record, which the last one announces",
             "the end of the input", "damaged"),
            ("short", short, 0, "a payload of 96 bytes", "58 bytes", "FSI"),
            ("mismatch", mismatch, 0, "a payload of 252 bytes", "251 bytes", "DMA"),
            ("version", unknown_version, 0, "a known version of DMA", "version 9", "DMA"),
            ("type", unknown_type, 0, "a known type", "type 14", "TYPE_14"),
        ]
        for name, data, offset, expected, found, marked in table:
            with self.subTest(name):
                _, out, err = run("show", input=data)
                self.assertEqual(err.decode(), f"ffdc: -: offset 0x{offset:06x}: expected {expected}, found {found}\n")
                self.assertEqual(separators(out)[-1].split(" ", 5)[-1], marked)
                self.assertEqual(f"damaged: expected {expected}, found {found}\n" in out.decode("latin-1"),
                                 "damaged" in marked)

    def test_what_is_there_of_a_cut_record_shows(self):
        _, out, _ = run("show", input=dma[:42 + 100])
        self.assertIn(b"\n  head version[1] time[5f3c0001 2a] size[294]\n", out)
        self.assertIn(b"Data size mismatch 252 vs", out)


class Show(unittest.TestCase):
    def test_text_of_every_golden(self):
        cases = [(type, name, record(type, version, payload)) for type, name, version, payload in goldens()]
        texts = re.split(rb"^==> .* <==\n", run("show", "-q", input=b"".join(data for *_, data in cases))[1],
                         flags=re.M)[1:]
        for (type, name, data), text in zip(cases, texts, strict=True):
            with self.subTest(type, case=name):
                expected = Path(root, "tests", "golden", type.lower(), name + ".txt").read_bytes()
                head = (f"  head version[1] time[5f3c0001 2a] size[{len(data)}]\n"
                        f"  pid[4711]  tgid[815] type[{codes[type]}]\ntype: FFDC_TYPE_{type}\n").encode()
                self.assertEqual(text, head + expected + (b"" if expected.endswith(b"\n") or not expected else b"\n"))

    def test_ascii(self):
        data = record("DIO", 1, "Gerät\xff ".encode("latin-1") + bytes(range(0x80, 0x100)))
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(os.fsencode(folder), b"b\xe4d")
            Path(os.fsdecode(path)).write_bytes(data)
            for locale in ("C", "C.UTF-8"):
                out = run("show", path, env={**os.environ, "LC_ALL": locale})[1]
                escaped = re.sub(rb"[\x80-\xff]", lambda byte: b"\\x%02x" % ord(byte[0]), out)
                self.assertEqual(run("show", "--ascii", path, env={**os.environ, "LC_ALL": locale})[1], escaped)
                self.assertIn(rb"b\xe4d", escaped)


class Hex(unittest.TestCase):
    def test_every_byte_once_and_every_value(self):
        out = run("hex", "-q", input=dma + no_magic[:20])[1].decode("latin-1")
        self.assertIn("  0x00009e  34 05 4d d6 9a e6 76 21  (not shown)\n", out)
        self.assertIn("  0x000036  ed cb a9 88              rc                          -305419896\n", out)
        self.assertIn("  0x000000  61 62 63 64", out)
        for flag, bit in (("fsi", 31), ("dp", 15)):
            self.assertRegex(out, rf"(?m)^  0x00002a .{{24}}  {flag} +\S+  bit {bit}$")
        self.assertIn("(no record)", out)
        data = b"".join(record(type, version, payload) for type, _, version, payload in goldens()) + damaged
        data += resized(mbox, len(mbox) + 100) + dma + resized(fsi, 5) + mbox + fsi[:50]
        for size in (8, 9, 15, 16, 17, 24, 3 << 20):
            data += fsi + b"x" * size + record("DIO", 1, bytes(min(size, 65000)))
        out = run("hex", "-q", input=data)[1].decode("latin-1")
        self.assertLess(len(out), len(data))
        shown, at, repeats = bytearray(), 0, False
        for line in re.findall(r"^==> .*|^  0x.*|^\*$", out, re.M):
            if line.startswith("=="):
                at = int(line.split()[3], 16)
                self.assertEqual((len(shown), repeats), (at, False))
                continue
            if line == "*":
                repeats = True
                continue
            place, digits = int(line[2:10], 16), line[11:35]
            if repeats and (digits.strip() or not line[35:]):
                lines, rest = divmod(place - (len(shown) - at), 8)
                self.assertTrue(lines > 0 and rest == 0, line)
                shown += shown[-8:] * lines
                repeats = False
            if digits.strip():
                self.assertEqual(place, len(shown) - at, line)
            shown += bytes.fromhex(digits)
            self.assertRegex(line[35:], r"^$|^  \(|^  \S+ +\S|^  \S*(data|trace|transfer|capture|ffdc|dump)\S*$", line)
        self.assertEqual(bytes(shown), data)


class Carve(unittest.TestCase):
    def found(self, data, *options):
        status, out, err = run("carve", "--no-legend", *options, input=data)
        return status, [(int(line.split()[1], 16), line.split()[2]) for line in out.decode().splitlines()], err.decode()

    def test_records_at_any_offset_in_any_bytes(self):
        noise = random.Random(1)
        fillers = {"zeros": bytes, "erased flash": lambda n: b"\xff" * n, "noise": noise.randbytes,
                   "pointers": lambda n: (b"\xff\xdc\xff\x00" * n)[:n],
                   "magics": lambda n: (b"\xff\xdc\xff\xdc" * n)[:n]}
        for name, filler in fillers.items():
            for junk in (1, 3, 41, 65536, (1 << 20) - 100, (1 << 20) + 1, (2 << 20) - 50):
                with self.subTest(name, junk=junk):
                    data = filler(junk) + dma + filler(7) + fsi + filler(100)
                    expected = [(junk, "DMA"), (junk + len(dma) + 7, "FSI")]
                    self.assertEqual(self.found(data)[:2], (0, expected))
        large = record("DIO", 1, dma + noise.randbytes(65534 - 42 - len(dma)), chained=1)
        cut = record("DIO", 1, noise.randbytes(65534 - 42 - len(mbox)) + mbox)[:-1]
        for junk in (5, (1 << 20) - 65536, (1 << 20) - 30000, (1 << 20) - 10, (2 << 20) - 65000):
            with self.subTest("a large record", junk=junk):
                expected = [(junk, "DIO"), (junk + len(large), "DIO"), (junk + 2 * len(large), "DMA")]
                self.assertEqual(self.found(b"x" * junk + large + large + dma)[:2], (0, expected))
                self.assertEqual(self.found(b"x" * junk + cut)[1], expected[:1])
        for there in range(65534 - len(mbox) + 1, 65534, 40):
            with self.subTest("a record that begins in the end of a large size", there=there):
                data = record("DIO", 1, bytes(there - 42), size=65534) + mbox + bytes(1 << 17)
                self.assertEqual(self.found(data)[:2], (3, [(0, "DIO"), (there, "MBOX")]))
        with self.subTest("a file gives what a pipe gives"), tempfile.NamedTemporaryFile() as file:
            data = noise.randbytes(3 << 20) + (dma + mbox) * 4000 + noise.randbytes(1000) + fsi
            file.write(data)
            file.flush()
            self.assertEqual(run("carve", file.name)[1], run("carve", input=data)[1])
            self.assertEqual(len(self.found(data)[1]), 8001)

    def test_records_inside_records(self):
        outer = record("DIO", 1, b"xx" + dma + b"yy")
        self.assertEqual(self.found(outer + fsi)[1], [(0, "DIO"), (len(outer), "FSI")])
        self.assertEqual(self.found(outer + fsi, "--all")[1], [(0, "DIO"), (44, "DMA"), (len(outer), "FSI")])

    def test_records_that_overlap(self):
        """Every 22 bytes a header whose record goes on to the end: 16 times the bytes come out, and what is missing."""
        n = 1000
        header = lambda i: b"\xff\xdc\xff\xdc" + bytes(10) + (22 * (n - i + 1) * (i > 0)).to_bytes(2, "big")
        data = b"".join(header(i) + b"\0\0\0\1\0\0" for i in range(n)) + fsi
        status, hits, err = self.found(data, "--all", "-q")
        inside = [at for at, _ in hits[1:-1]]
        self.assertEqual((status, inside, hits[-1]), (3, [22 * i for i in range(1, len(hits) - 1)], (22 * n, "FSI")))
        self.assertLessEqual(sum(22 * n - at for at in inside), 16 * 22 * n)
        self.assertGreater(sum(22 * n - at for at in inside), 15 * 22 * n)
        self.assertRegex(err, f"16 times the 22000 bytes .*offset 0x{inside[-1] + 22:06x} on are missing; --no-limits")
        self.assertEqual(len(self.found(data, "--all", "-q", "--no-limits")[1]), n)

    def test_why_hits_were_rejected(self):
        data = record("DMA", 1, b"", size=5) + record(99, 1, b"", head_version=7) + dma
        data += record(98, 1, b"", size=60000, head_version=7)
        status, hits, err = self.found(data, "-v")
        self.assertEqual((status, hits), (0, [(84, "DMA")]))
        self.assertEqual(err.splitlines(), [
            "ffdc: -: offset 0x000000: not a record: expected a record size of at least 42, found 5",
            "ffdc: -: offset 0x00002a: not a record: expected header version 1, or a known type and a chain flag of 0 "
            "or 1, found header version 7, type 99, chain flag 0",
            "ffdc: -: offset 0x00017a: not a record: expected a record of 60000 bytes, found 42 bytes",
        ])
        self.assertEqual(self.found(data)[2], "")

    def test_a_record_that_the_end_cuts(self):
        for size in (0, 80000, (1 << 20) - len(dma) - 50, (2 << 20) - 50):
            with self.subTest(size):
                junk = bytes(size)
                status, hits, err = self.found(junk + dma + mbox[:-1])
                self.assertEqual((status, hits), (3, [(size, "DMA"), (size + len(dma), "MBOX")]))
                self.assertIn("expected a record of 342 bytes, found 341 bytes", err)
                self.assertEqual(self.found(dma + junk + b"x" + mbox[:-1], "-q")[1],
                                 [(0, "DMA"), (len(dma) + size + 1, "MBOX")])
                status, hits, err = self.found(dma + junk + mbox[:41])
                self.assertEqual((status, hits, "found 41 bytes" in err),
                                 (3, [(0, "DMA"), (len(dma) + size, "-")], True))

    def test_decode_and_json(self):
        data = b"junk" + dma + b"junk" + unknown_type
        shown = run("carve", "--decode", "-q", "--no-legend", input=data)[1]
        self.assertEqual(shown, run("show", "-q", "--no-legend", input=dma + unknown_type)[1])
        status, out, _ = run("carve", "--json", input=b"junk" + dma + fsi + mbox[:-1])
        moved = lambda object: {**object, "offset": object["offset"] + 4}
        self.assertEqual((status, [json.loads(line) for line in out.splitlines()]),
                         (3, [moved(json.loads(line))
                              for line in run("json", input=dma + fsi + mbox[:-1])[1].splitlines()]))
        self.assertEqual(run("carve", "--json", "--decode", input=data)[0], 2)

    def test_write(self):
        """A file for each chain and for each record; what was written stays; what reads back has no complaint."""
        chained = lambda data: data[:12] + b"\0\0\0\1" + data[16:]
        data = b"junk" + chained(dma) + chained(mbox) + fsi + chained(fsi) + b"x" + chained(dma)
        data += record("DIO", 1, b"a" + chained(fsi))
        at = {"chain": 4, "alone": 4 + len(dma + mbox + fsi), "end": 4 + len(dma + mbox + fsi + fsi) + 1}
        expected = {f"0x{at['chain']:08x}-DMA": data[4:at["alone"]], f"0x{at['alone']:08x}-FSI": fsi,
                    f"0x{at['end']:08x}-DMA": data[at["end"]:]}
        with tempfile.TemporaryDirectory() as folder:
            def written(*arguments):
                status, _, err = run("carve", "--write", "new/er", *arguments, cwd=folder)
                files = {path.name: path.read_bytes() for path in Path(folder, "new", "er").iterdir()}
                for name in files:
                    self.assertEqual(run("list", name, cwd=os.path.join(folder, "new", "er"))[::2], (0, b""))
                return status, files, err.decode()

            for name in ("a/dump", "b/dump"):
                Path(folder, name).parent.mkdir()
                Path(folder, name).write_bytes(data)
            status, files, err = written("a/dump")
            self.assertEqual((status, files), (0, {name + ".ffdc": bytes for name, bytes in expected.items()}))
            self.assertEqual(err, f"ffdc: a/dump: offset 0x{at['alone']:06x}: chain flag 1 is cleared in "
                                  f"new/er/0x{at['alone']:08x}-FSI.ffdc, as the record that it announces was not found "
                                  "behind it\n")
            again = {f"{name}{number}.ffdc": bytes for name, bytes in expected.items() for number in ("", "-2")}
            self.assertEqual(written("-q", "a/dump"), (0, again, ""))
            both = {f"{input}_dump-{name}.ffdc": bytes for name, bytes in expected.items() for input in "ab"}
            self.assertEqual(written("-q", "a/dump", "b/dump"), (0, again | both, ""))
            inner = {f"0x{at['end'] + len(dma) + 43:08x}-FSI.ffdc": fsi}
            self.assertLessEqual(inner.items(), written("-q", "--all", "a/dump")[1].items())
            self.assertEqual(len(list(Path(folder, "new", "er").iterdir())), 16)

    def test_write_leaves_no_file_that_is_not_complete(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (len(dma) + 9, len(dma) + 9))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        chained = dma[:12] + b"\0\0\0\1" + dma[16:]
        with tempfile.TemporaryDirectory() as folder:
            done = run("carve", "--write", folder, input=fsi + chained + dma, preexec_fn=limit)
            self.assertEqual((done[0], done[2].decode()),
                             (2, f"ffdc: {folder}/0x{len(fsi):08x}-DMA.ffdc: File too large\n"))
            self.assertEqual(os.listdir(folder), ["0x00000000-FSI.ffdc"])
            for number in (signal.SIGINT, signal.SIGTERM):
                unignored = lambda: signal.signal(number, signal.SIG_DFL)
                with subprocess.Popen([ffdc, "carve", "--write", folder], stdin=subprocess.PIPE,
                                      stdout=subprocess.DEVNULL, preexec_fn=unignored) as child:
                    child.stdin.write(chained + bytes(300_000))
                    child.stdin.flush()
                    while not any(name.startswith(".") for name in os.listdir(folder)):
                        time.sleep(0.01)
                    child.send_signal(number)
                    self.assertEqual(child.wait(), -number)
                self.assertEqual(os.listdir(folder), ["0x00000000-FSI.ffdc"])


class Diff(unittest.TestCase):
    def diff(self, a, b, *options):
        with tempfile.TemporaryDirectory() as folder:
            for name, data in (("a", a), ("b", b)):
                Path(folder, name).write_bytes(data)
            status, out, err = run("diff", *options, "a", "b", cwd=folder)
            return status, out.decode("latin-1"), err

    def test_what_differs(self):
        other = bytearray(dma)
        other[54:58] = (5).to_bytes(4, "big")   # rc
        other[158] ^= 0xff                      # a byte that is not shown
        pid = dma[:20] + (1).to_bytes(4, "big") + dma[24:]
        unnamed_bit = bytearray(dma)
        unnamed_bit[44] ^= 0x01
        table = [
            ("same", dma + fsi, dma + fsi, 0, []),
            ("values", dma + fsi, bytes(other) + fsi, 1, ["rc -305419896 5 -305419896 5",
                                                          "(not shown) 0x009e 34054dd69ae67621 cb054dd69ae67621 - -"]),
            ("header", dma, pid, 1, ["header.pid 4711 1 4711 1"]),
            ("state", short, short[:-1], 1, None),
            ("damage", damaged, damaged, 3, []),
            ("bytes of damage", damaged, damaged.replace(b"abcd", b"abce"), 1,
             ["(bytes) 0x0003 64" + no_magic[4:11].hex() + " 65" + no_magic[4:11].hex() + " - -"]),
            ("one more", dma, dma + fsi, 1,
             ["only in b offset 0x000126 record 1 FSI version 1 time 5f3c0001:2a pid 4711"]),
        ]
        for name, a, b, expected, rows in table:
            with self.subTest(name):
                status, out, _ = self.diff(a, b, "-q", "--no-legend")
                self.assertEqual(status, expected)
                if rows is not None:
                    self.assertEqual([" ".join(line.split()) for line in out.splitlines()], rows)
        with self.subTest("a bit that no value shows"):
            self.assertEqual(self.diff(dma, bytes(unnamed_bit), "-q")[0], 1)
        with self.subTest("all values"):
            status, out, _ = self.diff(dma, dma, "--all", "--no-legend")
            self.assertEqual(status, 0)
            self.assertRegex(out, r"(?m)^registers.cr +(0x)?d9119366 +(0x)?d9119366 +3641807718 +3641807718$")
        for a, b, options in ((b"", b"", ()), (b"no dump", b"neither", ("-q",)), (dma, dma, ("-t", "fsi"))):
            status, out, err = self.diff(a, b, *options)
            self.assertEqual((status, out), (2, ""))
            self.assertIn(b"nothing to compare: no record found in a and b\n", err)
        self.assertEqual(run("diff", "/none", "/none")[0], 2)

    def test_partners(self):
        """The bytes decide, then what a record is; the rest has no partner. Told: records, by time, on either side."""
        def stamped(type, time, payload=b"abcd", pid=1):
            data = record(type, 1, payload)
            return data[:20] + struct.pack(">I", pid) + data[24:28] + struct.pack(">II", time, 0) + data[36:]

        many = [stamped("DIO", time, bytes([time & 0xff] * (time % 9))) for time in range(1, 1000)]
        other = lambda *gone: b"".join(data for time, data in enumerate(many, 1) if time not in gone)
        whole, same = b"".join(many), stamped("TONE", 5)
        table = [
            ("the first is gone", whole, other(1), [(1, None)]),
            ("the last is new", other(999), whole, [(None, 999)]),
            ("some are gone", whole, other(*range(1, 1000, 97)), [(time, None) for time in range(1, 1000, 97)]),
            ("some are gone and others new", other(7, 8, 500), other(20, 600),
             [(None, 7), (None, 8), (20, None), (None, 500), (600, None)]),
            ("a half is gone", whole, other(*range(2, 502)), [(time, None) for time in range(2, 502)]),
            ("one of many twins", same * 500, same * 200 + fsi + same * 299, [(5, None), (None, 0x5f3c0001)]),
            ("nothing in common", stamped("DIO", 1) * 300, stamped("TONE", 2) * 300,
             [(1, None)] * 300 + [(None, 2)] * 300),
            ("changed", other(3, 4) + stamped("DIO", 2000, b"x"), other(3) + stamped("DIO", 2000, b"y"),
             [(None, 4), (2000, 2000)]),
            ("at another time", stamped("DIO", 1) + stamped("TONE", 2) + fsi, stamped("TONE", 3) + fsi,
             [(1, None), (2, 3)]),
            ("same time, other pid", stamped("DIO", 1, b"a", pid=3),
             stamped("DIO", 1, b"b", pid=4) + stamped("DIO", 1, b"c", pid=3),
             [(None, 1), (1, 1)]),
        ]
        for name, a, b, expected in table:
            with self.subTest(name):
                status, out, _ = self.diff(a, b, "-q", "--color=never")
                found = []
                for line in out.splitlines():
                    if only := re.match(r"only in (.) .* time (\w+):", line):
                        found.append((int(only[2], 16), None) if only[1] == "a" else (None, int(only[2], 16)))
                    elif pair := re.match(r"==> a offset 0x(\w+) .* \| b offset 0x(\w+) ", line):
                        found.append(tuple(int.from_bytes(data[int(at, 16) + 28:][:4], "big")
                                           for data, at in zip((a, b), pair.groups())))
                self.assertEqual((status, found), (1, expected))


class Types(unittest.TestCase):
    def test_all_are_there(self):
        status, out, _ = run("types", "--no-legend")
        rows = [line.split(maxsplit=2) for line in out.decode().splitlines()]
        self.assertEqual((status, {row[0]: int(row[1]) for row in rows}), (0, codes))
        layouts = {(row[0], *row[2].rsplit(maxsplit=1)) for row in rows}
        self.assertLessEqual({("DMA", "1", "252"), ("DMA", "2", "260"), ("FSI", "any", "96"), ("HDMA", "256", "40"),
                              ("DIO", "any", "raw"),
                              ("SCAN", "1", "232"), ("IIC", "0-1", "205"), ("UART", "8 and later", "12")}, layouts)
        self.assertEqual(len(run("types", "-t", "dma", "--no-legend")[1].splitlines()), 2)


if __name__ == "__main__":
    unittest.main()
