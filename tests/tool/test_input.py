"""Every way in gives the same records; what cannot be read is an error that says where and why."""
import base64
import bz2
import gzip
import io
import json
import lzma
import os
import random
import re
import resource
import subprocess
import tarfile
import tempfile
import time
import unittest
import zipfile
import zlib
from pathlib import Path

from common import dma, ffdc, fsi, mbox, record, root, run

dump = dma + mbox + fsi


def xxd(data, columns=16, first=0):
    lines = []
    for at in range(0, len(data), columns):
        row = data[at:at + columns]
        pairs = " ".join(row[i:i + 2].hex() for i in range(0, len(row), 2))
        text = "".join(chr(c) if 32 <= c < 127 else "." for c in row)
        lines.append(f"{first + at:08x}: {pairs:<{columns * 5 // 2}} {text}\n")
    return "".join(lines).encode()


def hexdump(data, squeeze=True):
    lines, last = [], None
    for at in range(0, len(data), 16):
        row = data[at:at + 16]
        if squeeze and row == last:
            if lines[-1] != "*\n":
                lines.append("*\n")
            continue
        last = row
        digits = " ".join(f"{c:02x}" for c in row[:8]) + "  " + " ".join(f"{c:02x}" for c in row[8:])
        text = "".join(chr(c) if 32 <= c < 127 else "." for c in row)
        lines.append(f"{at:08x}  {digits:<49} |{text}|\n")
    return ("".join(lines) + f"{len(data):08x}\n").encode()


def offsets(data, at, line, first=0, columns=16):
    """Lines of so many bytes, each with its offset."""
    rows = range(0, len(data), columns)
    return "".join(at.format(first + i) + line(data[i:i + columns]) + "\n" for i in rows).encode()


def shown(row):
    return "".join(chr(c) if 32 <= c < 127 else "." for c in row)


def od(data, at, end=True, sign=""):
    line = lambda row: row.hex(" ") + (f"{'':{3 * (16 - len(row))}}  {sign[0]}{shown(row)}{sign[1]}" if sign else "")
    return offsets(data, at + " ", line) + (at.format(len(data)) + "\n" if end else "").encode()


def swapped(data, size):
    return b"".join(data[i:i + size][::-1] for i in range(0, len(data), size))


def before_each(prefix, text):
    return b"".join(prefix.encode() + line for line in text.splitlines(keepends=True))


def checked(data, form):
    """Lines with an address, which begin and end as the form says, and a sum."""
    lines = []
    for at in range(0, len(data), 16):
        row = data[at:at + 16]
        body = bytes([len(row) + form[1]]) + at.to_bytes(2, "big") + form[2] + row
        lines.append(form[0] + (body + bytes([(form[3] - sum(body)) % 256])).hex().upper() + "\n")
    return "".join(lines).encode()


class Input(unittest.TestCase):
    def test_every_form_gives_the_same_records(self):
        status, expected, _ = run("show", input=dump)
        self.assertEqual((status, expected.count(b"==> ")), (0, 3))
        plain = "\n".join(dump.hex(" ", 4)[i:i + 72] for i in range(0, len(dump.hex(" ", 4)), 72)).encode()
        base = base64.encodebytes(dump)
        forms = {
            "xxd": xxd(dump), "xxd with long lines": xxd(dump, 32), "xxd of one line": xxd(dump, len(dump)),
            "xxd, indented and with CRLF": b"  " + xxd(dump).replace(b"\n", b"\r\n  "),
            "hexdump -C": hexdump(dump), "od -t x1": od(dump, "{:07o}"), "od -Ax -tx1": od(dump, "{:06x}"),
            "od -Ax -tx1z": od(dump, "{:06x}", sign="><"), "od -Ad -tx1": od(dump, "{:07}"),
            "od without its last line": od(dump, "{:06x}", end=False), "od -An": od(dump, ""),
            "plain hex": dump.hex().encode(), "plain hex in lines": plain,
            "plain hex, upper case": dump.hex().upper().encode(),
            "a list": b"unsigned char dump[] = {\n%b};\nunsigned int dump_len = 814;\n" %
                      offsets(dump, "  ", lambda row: "".join(f"0x{c:x}, " for c in row)),
            "a list with colons": dump.hex(":").encode(),
            "colons at the ends of lines": offsets(dump, "", lambda row: row.hex(":") + ":"),
            "od -t d1": offsets(dump, "{:07o}", lambda row: "".join(f"{c - 256 * (c > 127):5}" for c in row)),
            "od -Ad -t u1": offsets(dump, "{:07}", lambda row: "".join(f"{c:4}" for c in row)),
            "Wireshark": offsets(dump, "{:04x}   ", lambda row: f"{row.hex(' '):47}   {shown(row)}"),
            "Wireshark, with a gap": offsets(dump, "{:04x}  ", lambda row: row[:8].hex(" ") + "  " +
                                             f"{row[8:].hex(' '):23}   {shown(row)}"),
            "JSON": b'{"_PID":"1","_TAGS":["x"],"MESSAGE":%a,"A":[1]}' % list(dump),
            "JSON with signs, indented": json.dumps([c - 256 * (c > 127) for c in dump], indent=1).encode(),
            "Python": b"{'type': 'a', 'data': %a, 'more': 'it'}" % dump,
            "C": offsets(dump, '  "', lambda row: "".join(f'\\x{c:02x}" "' if c > 99 else f"\\{c:o}" if c < 8 else
                                                          f"\\{c:03o}" for c in row) + '"', columns=9),
            "a shell": offsets(dump, "", lambda row: "".join(f"\\x{c:02X}" for c in row)),
            "gdb": offsets(dump, "0x{:x} <buf+16>:\t", lambda row: "\t".join(f"0x{c:02x}" for c in row), columns=8),
            "gdb x/db": offsets(dump, "0x{:x}:\t", lambda row: "\t".join(map(str, row)), columns=8),
            "base64": base64.b64encode(dump), "base64 in lines": base, "base64 without padding": base.rstrip(b"=\n"),
            "base64 of URLs": base.translate(bytes.maketrans(b"+/", b"-_")),
            "quoted": before_each("> > ", xxd(dump)), "base64, quoted": before_each("> ", base),
            "with a mark": b"\xef\xbb\xbf" + hexdump(dump), "UTF-16": xxd(dump).decode().encode("utf-16"),
            "UTF-16, big-endian": b"\xfe\xff" + hexdump(dump).decode().encode("utf-16-be"),
            "a log": before_each("Nov 23 06:16:01 host kernel: [   12.345678] dma: ", xxd(dump)),
            "a log without offsets": before_each("[   12.345678] dma: ", od(dump, "").replace(b"\n ", b"\n")),
            "in a mail": b"Hello,\nlook at this:\n```\n" + od(dump, "{:06x}") + b"```\nWhat do you think?\n",
            "behind a long text": b"12:34:56 a line of a log\n" * 8000 + xxd(dump),
            "noise between lines": xxd(dump).replace(b"\n", b"\n-- \xff more \x01--\n", 1),
        }
        for name, text in forms.items():
            for how in ("auto", "base64" if "base64" in name else "hex"):
                if how == "auto" or not name.startswith(("behind", "UTF", "JSON", "Python", "C", "a shell")):
                    with self.subTest(name, how=how):
                        self.check_records(run("show", "--from", how, input=text), expected)
        with self.subTest("a later part has its own offsets"):
            at = lambda out: out.replace(b" offset 0x004", b" offset 0x000")
            self.assertEqual(at(run("show", input=xxd(dump, first=0x4000))[1]), expected)
        zeros = record("DIO", 1, bytes(400)) + fsi
        with self.subTest("lines that repeat"):
            self.assertIn(b"*\n", hexdump(zeros))
            self.assertEqual(run("json", input=hexdump(zeros)), run("json", input=zeros))
        with self.subTest("base64 that begins with digits of hex"):
            self.assertEqual(run("json", "-q", input=base64.encodebytes(bytes(120) + fsi)),
                             run("json", "-q", input=bytes(120) + fsi))
        for name, text in (("xxd", xxd(dump * 200)), ("base64", base64.b64encode(dump * 200))):
            with self.subTest("long enough to be judged by its beginning: " + name):
                self.assertEqual(run("show", input=text)[1], run("show", input=dump * 200)[1])

    def check_records(self, found, expected):
        """The same records, wherever the text says that they begin."""
        first = found[1].split(b" ")[3:4]
        base = int(first[0], 16) if first else 0
        out = re.sub(rb"offset (0x[0-9a-f]+)", lambda m: b"offset 0x%06x" % (int(m[1], 16) - base), found[1])
        self.assertEqual((found[0], out, found[2]), (0, expected, b""))

    def test_words_are_read_in_the_order_that_a_magic_shows(self):
        data = dump + record("DIO", 1, bytes(403))  # lines that repeat, and a last word that is not full
        for size in (2, 4, 8):
            for order, in_order in (("swapped", lambda data: swapped(data, size)), ("straight", bytes)):
                full = data + bytes(-len(data) % size)
                row = lambda row, gap=" ": "".join(gap + in_order(row)[i:i + size].hex()
                                                   for i in range(0, len(row), size))

                def with_stars(at, text):
                    """As od writes them, with the offset of the end."""
                    lines, last = [], None
                    for line in text.splitlines(keepends=True):
                        words = line.split(b" ", 1)[1]
                        if words != last:
                            lines.append(line)
                        elif lines[-1] != b"*\n":
                            lines.append(b"*\n")
                        last = words
                    return b"".join(lines) + at.format(len(data)).encode() + b"\n"

                plain = {"od": with_stars("{:07o}", offsets(full, "{:07o}", row)),
                         "od -Ax": with_stars("{:06x}", offsets(full, "{:06x}", row)),
                         "hexdump -x": with_stars("{:07x}", offsets(full, "{:07x}", lambda r: row(r, " " * 4)))}
                padded = {"gdb": offsets(full, "0x{:x} <a+8>:\t", lambda r: row(r, "\t0x")[1:]),
                          "a list": offsets(full, "", lambda r: row(r, ", 0x")[2:] + ",")}
                for name, text in {**plain, **padded}.items():
                    with self.subTest(name, size=size, order=order):
                        filled = full if name in padded else data
                        self.assertEqual(run("json", "-q", input=text), run("json", "-q", input=filled))

    def test_what_is_no_sequence_of_bytes_is_refused_by_name(self):
        data = dump.replace(dump[:4], b"none")[:800]  # words that no magic shows the order of

        def words(size, at, gap=" "):
            pairs = lambda row: "".join(gap + row[i:i + size].hex() for i in range(0, len(row), size))
            return offsets(swapped(data, size), at, pairs)

        def numbers(at, form, size, signed=False):
            numbers = lambda row: (int.from_bytes(row[i:i + size], "little", signed=signed)
                                   for i in range(0, 16, size))
            return offsets(dump[:800], at, lambda row: "".join(map(form.format, numbers(row))))

        table = {
            "hexdump": (words(2, "{:07x}"), "hexdump -C"), "hexdump -x": (words(2, "{:07x}", "    "), "hexdump -C"),
            "od -x": (words(2, "{:07o}"), "od -Ax -tx1"), "od -t x4": (words(4, "{:07o}"), "od -Ax -tx1"),
            "od": (numbers("{:07o}", " {:06o}", 2), "od -Ax -tx1"),
            "od -b": (numbers("{:07o}", " {:03o}", 1), "od -Ax -tx1"),
            "od -t d2": (numbers("{:07o}", "{:7}", 2, True), "od -Ax -tx1"),
            "od -t u4": (numbers("{:07o}", "{:11}", 4), "od -Ax -tx1"),
            "od -t d8": (numbers("{:07o}", "{:21}", 8, True), "od -Ax -tx1"),
            "words without zeros": ", ".join(f"{int.from_bytes(data[i:i + 4], 'big') | 256:#x}"
                                             for i in range(0, 800, 4)).encode(),
            "gdb x/xw": offsets(swapped(data, 4), "0x{:x}:", lambda row: "\t0x" + row.hex(" ", 4).replace(" ", "\t0x")),
            "xxd -e": (offsets(dump[:800], "{:08x}: ", lambda row: swapped(row, 4).hex(" ", 4) + "  " + shown(row)),
                       "xxd FILE, without -e"),
            "xxd -b": (offsets(dump, "{:08x}: ", lambda row: " ".join(f"{c:08b}" for c in row) + "  " + shown(row),
                               columns=6),
                       "xxd FILE, without -b"),
            "words in pairs": (swapped(dump[:800], 2).hex(" ", 2).encode(), "without options for words"),
            "a list of words": ("0x" + swapped(data, 4).hex(" ", 4).replace(" ", ", 0x")).encode(),
            "Intel HEX": (checked(dump, (":", 0, b"\0", 0)) + b":00000001FF\n", "objcopy -I ihex -O binary"),
            "S-records": (b"S0030000FC\n" + checked(dump, ("S1", 3, b"", 255)), "objcopy -I srec -O binary"),
        }
        for name, case in table.items():
            text, instead = case if isinstance(case, tuple) else (case, "x/NNxb")
            with self.subTest(name):
                status, out, err = run("json", input=text)
                self.assertEqual((status, out, err.count(b"\n")), (2, b"", 1), err)
                self.assertRegex(err.decode(), "^ffdc: -: expected bytes in their order, found .*what helps: .*" +
                                 re.escape(instead))

    def test_what_only_looks_like_text_stays_as_it_is(self):
        records = lambda out: [line.split()[2:] for line in out.splitlines() if b"damaged" not in line]
        expected = records(run("list", "--no-legend", input=dump)[1])
        for filler in (b"\x5a", b"\x6b", b"\x55", b"A", b"0", b"\n", xxd(bytes(4096)), base64.encodebytes(bytes(4096))):
            for size in (100, 70000, 100000, 5 << 20):
                if size < 1 << 20 or filler == b"0":
                    with self.subTest(filler[:20], size=size):
                        data = (filler * size)[:size] + dump
                        status, out, _ = run("list", "--no-legend", "-q", input=data)
                        self.assertEqual((status, records(out)), (3, expected))
                        self.assertEqual(records(run("carve", "--no-legend", input=data)[1]), expected)
        for text in (b"", b"\n", b"no records here, only words\n", b"deadbeef", b"words" * 1000, b"face: cafe\n" * 9,
                     Path(root, "README.md").read_bytes(), Path(root, "CONTRIBUTING.md").read_bytes()):
            with self.subTest(text[:20]):
                status, out, err = run("hex", "-q", input=text)
                self.assertEqual((status, text[:8].hex(" ") in out.decode()), (1, True))

    def test_damage_of_a_paste_is_damage_of_its_place(self):
        def states(text, *options):
            status, out, err = run("list", "--no-legend", *options, input=text)
            return status, [(line.split()[2], int(line.split()[1], 16), line.split()[8])
                            for line in out.decode().splitlines()], err.decode()

        ends = [0, len(dma), len(dma + mbox), len(dump)]
        good = [("DMA", 0, "ok"), ("MBOX", ends[1], "ok"), ("FSI", ends[2], "ok")]
        texts = {"xxd": xxd(dump), "hexdump -C": hexdump(dump, False), "od -t x1": od(dump, "{:06x}")}
        for name, text in texts.items():
            lines = text.splitlines(keepends=True)
            at = ends[1] // 16 + 3
            for what, line, told in (("missing", b"", f"offset 0x{16 * at:06x}, found offset 0x{16 * at + 16:06x}"),
                                     ("unreadable", lines[at][:12] + b"zz" + lines[at][14:], f"{name}, found '"),
                                     ("another", b"-- more --\n", f"{name}, found '-- more --'")):
                with self.subTest(name, line=what):
                    status, found, err = states(b"".join(lines[:at]) + line + b"".join(lines[at + 1:]))
                    self.assertEqual((status, found[0], found[-1]), (3, good[0], good[2]))
                    self.assertEqual(found[1], ("MBOX", ends[1], "damaged"))
                    self.assertEqual(found[2], ("-", 16 * at + 16, "damaged"))
                    self.assertIn(f"ffdc: -: read as {name}: line {at + 1}: expected {told}", err)
                with self.subTest(name, line="one too many"):
                    self.assertEqual(states(b"".join(lines[:at]) + b"-- more --\n" + b"".join(lines[at:])),
                                     (0, good, ""))
        pairs = offsets(dump, "", lambda row: row.hex(" "))
        status, found, err = states(pairs.replace(b"\n", b"\n-- more --\n", 1))
        self.assertEqual((status, found[-2:]), (3, good[1:]))
        self.assertIn("ffdc: -: read as hex digits: line 2: expected hex digits, found '-- more --'", err)

    def test_text_that_cannot_be_read(self):
        table = [
            ("hex", b"no dump", 2, "line 1: expected hex digits, found 'no dump'"),
            ("hex", dump, 2, "line 1: expected hex digits, found"),
            ("hex", b"ffdc\nffd", 3, "line 2: expected hex digits, found 'ffd'"),
            ("hex", hexdump(bytes(64)).replace(b"00000040\n", b"10000041\n"), 3,
             "line 3: expected offset 0x000010, found offset 0x10000041"),
            ("base64", b"/9z/\n3A!=", 3, "line 2: expected base64, found '3A!='"),
            ("base64", b"/9z/3", 3, "expected base64, found that its last group is cut"),
        ]
        for form, text, status, message in table:
            with self.subTest(message):
                found, _, err = run("show", "--from", form, input=text)
                self.assertIn(message, err.decode("latin-1"))
                self.assertIn(found, (status, 1 if status == 3 else 2))  # 1: nothing but damage

    def test_packed(self):
        text = xxd(dump)

        def packed(make, *members):
            file = io.BytesIO()
            make(file, members)
            return file.getvalue()

        def tar(file, members):
            with tarfile.open(fileobj=file, mode="w:gz") as archive:
                for name, data in members:
                    info = tarfile.TarInfo(name)
                    info.size = len(data)
                    archive.addfile(info, io.BytesIO(data))

        def zip(file, members):
            with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED) as archive:
                for name, data in members:
                    archive.writestr(name, data)

        if b"this build" in run("list", input=gzip.compress(dump))[2]:
            return self.check_refused(gzip.compress(dump))
        for pack in (gzip.compress, lzma.compress, bz2.compress):
            for data in (dump, text):
                with self.subTest(pack.__module__):
                    self.assertEqual(run("show", input=pack(data)), run("show", input=data))
        for make in (tar, zip):
            with self.subTest(make.__name__):
                data = packed(make, ("a.bin", dump), ("dir/b.txt", text), ("c.gz", gzip.compress(fsi)), ("d", dma[:-1]))
                status, out, err = run("json", input=data)
                self.assertEqual((status, [json.loads(line)["file"] for line in out.splitlines()]),
                                 (3, ["-:a.bin"] * 3 + ["-:dir/b.txt"] * 3 + ["-:c.gz", "-:d"]))
                self.assertIn(b"ffdc: -:d: offset 0x000000: expected a record of 294 bytes, found 293 bytes", err)
                rows = [line.split()[0] for line in run("list", "-q", input=data)[1].decode().splitlines()]
                self.assertEqual(rows, ["FILE"] + ["-:a.bin"] * 3 + ["-:dir/b.txt"] * 3 + ["-:c.gz", "-:d"])
        with self.subTest("only looks packed"):
            self.assertEqual(run("list", "-q", "--no-legend", input=b"BZh" + dump)[1].count(b"ok"), 3)
        memory = {}
        if b"__asan_init" not in Path(ffdc).read_bytes():
            memory["preexec_fn"] = lambda: resource.setrlimit(resource.RLIMIT_AS, (200 << 20, 200 << 20))
        with self.subTest("a bomb"):
            zeros = lambda n: bytes((n << 20) - len(fsi))
            whole = fsi + zeros(60) + fsi + zeros(10) + fsi
            lines = hexdump(fsi + bytes(22)).splitlines(True)[:-1]
            text = lambda n: b"".join(b"%08x" % (int(line[:8], 16) + (n << 20)) + line[8:] for line in lines)
            once = bz2.compress(whole)
            table = [("bzip2", once), ("gzip", gzip.compress(whole)), ("twice", lzma.compress(once)),
                     ("tar", packed(tar, ("a", whole[:40 << 20]), ("b", whole[40 << 20:]))),
                     ("repeats", text(0) + b"*\n" + text(60) + b"*\n" + text(70)),
                     ("below 64 MiB", bz2.compress(whole[:63 << 20])), ("below", text(0) + b"*\n" + text(60))]
            for name, bomb in table:
                for options in ([], ["--no-limits"]):
                    with self.subTest(name, options=options):
                        limited = "below" not in name and not options
                        status, out, err = run("count", "-q", "-t", "fsi", *options, input=bomb, **memory)
                        self.assertEqual((status, out.split()[2]), (3, b"2" if limited or "below" in name else b"3"))
                        told = rb"ffdc: -\S*: .*expected at most 64 MiB, .*: the rest is missing; --no-limits .*\n"
                        self.assertEqual(re.findall(told, err), [err] * limited)
        with self.subTest("many members"), tempfile.NamedTemporaryFile() as file:
            file.write(packed(tar, ("record", fsi), *((str(n), b"") for n in range(1000))))
            file.flush()
            self.assertEqual(run("diff", "-q", file.name, file.name, **memory)[0], 0)

    @unittest.skipIf(b"this build" in run("list", input=gzip.compress(b""))[2], "a build without compressed files")
    def test_damage_in_packed_files(self):
        """Every flipped bit and every cut: what precedes it is there, as Python's readers have it, and it is told."""
        records = [record("DIO", 1, bytes([n, n]), pid=n) for n in range(1, 5)]
        one, whole, readers = len(records[0]), b"".join(records), {
            "gz": lambda: zlib.decompressobj(31), "xz": lzma.LZMADecompressor, "bz2": bz2.BZ2Decompressor}

        def unpacked(form, data):
            """What precedes damage, and whether there is none."""
            out = b""
            try:
                while data:
                    reader = readers[form]()
                    for n in range(len(data)):
                        out += reader.decompress(data[n:n + 1])
                        if reader.eof:
                            break
                    data = data[n + 1:]
                return out, reader.eof
            except (zlib.error, lzma.LZMAError, OSError):
                return out, False

        tar, zip = io.BytesIO(), io.BytesIO()
        with tarfile.open(fileobj=tar, mode="w") as archive:
            for n, data in enumerate(records):
                info = tarfile.TarInfo(str(n))
                info.size = one
                archive.addfile(info, io.BytesIO(data))
        with zipfile.ZipFile(zip, "w", zipfile.ZIP_DEFLATED) as archive:
            for n, data in enumerate(records):
                archive.writestr(str(n), data)
            begins = [info.header_offset for info in archive.infolist()][1:] + [archive.start_dir]
        frame = b"\x28\xb5\x2f\xfd\0\x58" + b"".join(  # of zstd, a block a record
            (8 * one + (n == 3)).to_bytes(3, "little") + data for n, data in enumerate(records))
        tar = tar.getvalue()
        table = {  # what is packed; the length of the mark
            "gz": (gzip.compress(whole[:99]) + gzip.compress(whole[99:]), 2), "tar.gz": (gzip.compress(tar), 2),
            "xz": (lzma.compress(whole), 6), "bz2": (bz2.compress(whole), 4), "zip": (zip.getvalue(), 4),
            "zst": (frame, 4)}

        good = [(n, bytes([n, n]).hex()) for n in range(1, 5)]

        def precede(form, damaged, at):
            """What must come out, and whether nothing must be told."""
            if form == "zip":  # what follows damaged data, too
                n = sum(begin <= at for begin in begins)
                return good[:n] + (good[n + 1:] if len(damaged) > at >= ([0] + begins)[n] + 31 else []), False
            if form == "zst":
                return good[:max(0, at - 6) // (one + 3)], False
            out, intact = unpacked(form[-3:].lstrip("."), damaged)
            same = len(os.path.commonprefix([out, tar if form == "tar.gz" else whole]))
            return good[:(same + 512 - one) // 1024 if form == "tar.gz" else same // one], intact

        with tempfile.TemporaryDirectory() as folder:
            expected = {}
            for form, (packed, mark) in table.items():
                cases = {f"{at}.cut": packed[:at] for at in range(mark, len(packed))}
                for bit in range(8 * mark, 8 * len(packed)) if form != "zst" else ():
                    at = bit // 8
                    cases[f"{at}.{bit}"] = packed[:at] + bytes([packed[at] ^ 1 << bit % 8]) + packed[at + 1:]
                for name, data in cases.items():
                    path = f"{folder}/{name}.{form}"
                    Path(path).write_bytes(data)
                    expected[path] = precede(form, data, int(name.split(".")[0]))
            status, out, err = run("json", "-q", folder)
        self.assertEqual(status, 3)
        rows, told = {}, {}
        path_of = re.compile(r"%s/[\w.]+" % folder)
        for line in out.splitlines():
            row = json.loads(line)
            rows.setdefault(path_of.match(row["file"])[0], []).append(
                row["header"] and (row["header"]["pid"], row["unshown"][-1]["bytes"]))
        for line in err.decode("latin-1").splitlines():
            told.setdefault(path_of.search(line)[0], []).append(line)
        self.assertGreater(len(expected), 5000)
        for path, (must, intact) in expected.items():
            with self.subTest(path):
                found, messages = rows.get(path, []), told.get(path, [])
                self.assertEqual([row for row in dict.fromkeys(found) if row in must], must)
                self.assertTrue(not intact if messages else found == good or intact, (found, messages))
                self.assertTrue(all(re.search(r" offset 0x\w+ of the \w+ data: ", m) for m in messages), messages)

    def check_refused(self, data):
        status, out, err = run("list", input=data)
        self.assertEqual((status, out), (2, b""))
        self.assertIn(b"found gzip: unpack it first", err)

    def test_a_pipe_is_read_in_windows(self):
        chance = random.Random(7)
        for n in range(12):
            data = bytearray(b"".join(chance.choice((dump, fsi, chance.randbytes(chance.randrange(99)),
                                                     bytes(chance.randrange(200000)),
                                                     bytes(3 << 20) if n == 5 else dma, record("DIO", 1, bytes(65000))))
                                      for _ in range(60)))
            for _ in range(chance.randrange(30)):
                data[chance.randrange(len(data))] ^= 1 << chance.randrange(8)
            with tempfile.NamedTemporaryFile() as file:
                file.write(data)
                file.flush()
                for command in ("list", "hex") if n == 5 else ("list",):
                    with self.subTest(n, command=command):
                        status, *texts = run(command, file.name)
                        whole = [part.replace(file.name.encode(), b"-").split() for part in texts]
                        found, *texts = run(command, input=bytes(data))  # may be in parts of other widths
                        self.assertEqual((found, [part.split() for part in texts]), (status, whole))

    def test_records_come_out_while_input_arrives(self):
        for command in ("show", "list", "csv", "json", "hex", "carve", "carve --json"):
            with self.subTest(command), subprocess.Popen([ffdc, *command.split(), "-q"], stdin=subprocess.PIPE,
                                                         stdout=subprocess.PIPE) as child:
                child.stdin.write(fsi + bytes(70000))
                child.stdin.flush()
                first = child.stdout.read1()
                while b"FSI" not in first:  # headings may come before
                    first += child.stdout.read1()
                self.assertEqual(first[:1] == b"{", "json" in command, first)
                child.stdin.close()
                child.stdout.read()

    def test_files_and_directories(self):
        with tempfile.TemporaryDirectory() as folder:
            a, b = os.path.join(folder, "a"), os.path.join(folder, "b")
            Path(a).write_bytes(dma)
            Path(b).write_bytes(hexdump(fsi))
            both = run("list", "--no-legend", a, b)
            self.assertEqual(both[0], 0)
            self.assertEqual([line.split()[:4] for line in both[1].decode().splitlines()],
                             [[a, "0", "0x000000", "DMA"], [b, "0", "0x000000", "FSI"]])
            self.assertEqual(run("list", "--no-legend", folder), both)
            with self.subTest("directories in it"):
                Path(folder, "below", "deeper").mkdir(parents=True)
                Path(folder, "below", "deeper", "c").write_bytes(mbox)
                Path(folder, "below", "none").write_bytes(b"")
                os.mkfifo(Path(folder, "below", "pipe"))
                self.assertEqual(run("list", "--no-legend", folder)[:2], both[:2])
                for quiet in ([], ["-q"]):
                    self.assertEqual(run("list", "--no-legend", *quiet, folder)[2].decode(),
                                     f"ffdc: {folder}: skipped 1 directory in it; -r reads them, too\n")
                status, out, err = run("list", "--no-legend", "-r", folder)
                self.assertEqual((status, [line.split()[3] for line in out.splitlines()]),
                                 (0, [b"DMA", b"FSI", b"MBOX"]))
                self.assertEqual(err.decode(), f"ffdc: {folder}/below: skipped 1 entry that is no file\n"
                                               f"ffdc: {folder}/below/none: is empty\n")
                os.remove(Path(folder, "below", "pipe"))
            with self.subTest("standard input that is a file, from where it stands"):
                Path(a).write_bytes(b"junk" + dma)
                with open(a, "rb") as file:
                    os.lseek(file.fileno(), 4, os.SEEK_SET)
                    done = subprocess.run([ffdc, "list", "--no-legend"], stdin=file, capture_output=True)
                self.assertEqual((done.returncode, done.stdout.split()[2]), (0, b"DMA"))
            with self.subTest("one that is not there does not hide the others"):
                status, out, err = run("list", "--no-legend", folder + "/none", b)
                self.assertEqual((status, out.split()[3]), (2, b"FSI"))
                self.assertIn(b"/none: No such file", err)

    def test_a_file_that_is_cut_while_it_is_read(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(dma * 40000)
            file.flush()
            with subprocess.Popen([ffdc, "list", "--no-legend", "--columns", "file,type", file.name, "-"], bufsize=0,
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
                out = child.stdout.read(1)  # the tool has begun, and gets stuck when the pipe is full
                file.truncate(0)
                child.stdin.write(mbox)
                child.stdin.close()
                out += child.stdout.read()
                name, err = re.escape(file.name.encode()), child.stderr.read()
                self.assertRegex(err, b"ffdc: %s: expected 11760000 bytes, found that the file was cut after" % name)
                size = int(re.search(rb"after (\d+)", err)[1])
            self.assertEqual((child.returncode, out.count(b"DMA")), (3, -(-size // len(dma))))
            self.assertEqual(out.split()[-1], b"MBOX")

    def test_a_pipe_that_does_not_block(self):
        ends = os.pipe2(os.O_NONBLOCK)
        with subprocess.Popen([ffdc, "count", "--no-legend"], stdin=ends[0], stdout=subprocess.PIPE) as child:
            os.close(ends[0])
            os.set_blocking(ends[1], True)
            with open(ends[1], "wb") as pipe:
                for _ in range(3):
                    pipe.write(dump * 1000)
                    pipe.flush()
                    time.sleep(0.1)
            self.assertEqual(child.stdout.read().split()[::2], [b"3000"] * 3)
        self.assertEqual(child.returncode, 0)


if __name__ == "__main__":
    unittest.main()
