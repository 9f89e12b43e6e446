"""Every way in gives the same records; what cannot be read is an error that says where and why."""
import base64
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from common import dma, ffdc, fsi, mbox, record, run

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


class Input(unittest.TestCase):
    def test_every_form_gives_the_same_records(self):
        status, expected, _ = run("show", input=dump)
        self.assertEqual((status, expected.count(b"==> ")), (0, 3))
        zeros = record("DIO", 1, bytes(400)) + fsi
        forms = {
            "xxd": xxd(dump),
            "xxd with long lines": xxd(dump, 32),
            "xxd of a later part": xxd(dump, first=0x4000),
            "xxd, indented and with CRLF": b"  " + xxd(dump).replace(b"\n", b"\r\n  "),
            "hexdump -C": hexdump(dump),
            "plain hex": dump.hex().encode(),
            "plain hex in lines": "\n".join(dump.hex(" ", 4)[i:i + 72] for i in range(0, len(dump.hex(" ", 4)), 72)).encode(),
            "plain hex, upper case": dump.hex().upper().encode(),
            "base64": base64.b64encode(dump),
            "base64 in lines": base64.encodebytes(dump),
        }
        for name, text in forms.items():
            form = "base64" if "base64" in name else "hex"
            for how in ("auto", form):
                with self.subTest(name, how=how):
                    self.assertEqual(run("show", "--from", how, input=text), (0, expected, b""))
        with self.subTest("lines that repeat"):
            self.assertIn(b"*\n", hexdump(zeros))
            self.assertEqual(run("json", input=hexdump(zeros)), run("json", input=zeros))
        with self.subTest("base64 that begins with digits of hex"):
            self.assertEqual(run("json", input=base64.encodebytes(bytes(120) + fsi)), run("json", input=bytes(120) + fsi))
        with self.subTest("long enough to be judged by its beginning"):
            self.assertEqual(run("show", input=xxd(dump * 200))[1], run("show", input=dump * 200)[1])
            self.assertEqual(run("show", input=base64.b64encode(dump * 200))[1], run("show", input=dump * 200)[1])

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
            with self.subTest("the output is never an input"):
                before = Path(b).read_bytes()
                status, _, err = run("show", "-o", b, b)
                self.assertEqual((status, b"is also the output" in err, Path(b).read_bytes()), (2, True, before))

    def test_text_that_is_wrong(self):
        lines = xxd(dump).splitlines(keepends=True)
        cases = [
            ("hex", b"ff dc fx dc", "line 1: expected pairs of hex digits, found 'fx'"),
            ("hex", b"ffdc\nffd", "line 2: expected pairs of hex digits, found 'ffd'"),
            ("hex", lines[0] + lines[2], "line 2: expected offset 00000010, found '00000020'"),
            ("auto", b"".join(lines[:8]) + b"-- more --\n", "line 9: expected an offset, found '-- more --'"),
            ("hex", hexdump(bytes(64)).replace(b"00000040\n", b"10000041\n"), "line 3: expected an offset that repeats less than 256 MiB in all"),
            ("hex", b"11112222333344445555: ff\n", "line 1: expected an offset, found '11112222333344445555'"),
            ("base64", b"/9z/\n3A!=", "line 2: expected base64, found '3A!='"),
            ("base64", b"/9z/3", "expected base64, found that its last group is cut"),
            ("hex", dump, "line 1: expected pairs of hex digits"),
        ]
        for form, text, message in cases:
            with self.subTest(message):
                status, _, err = run("show", "--from", form, input=text)
                self.assertEqual(status, 2)
                self.assertIn("ffdc: -: " + message, err.decode("latin-1"))

    def test_a_file_that_is_cut_while_it_is_read(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(dma * 40000)
            file.flush()
            with subprocess.Popen([ffdc, "show", "-q", file.name], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
                child.stdout.read(1)  # the tool has begun, and gets stuck when the pipe is full
                file.truncate(0)
                child.stdout.read()
                self.assertEqual(child.stderr.read(), b"ffdc: an input was cut, or could not be read, while it was in use\n")
            self.assertEqual(child.returncode, 2)

    def test_prose_is_no_dump(self):
        for text in (b"", b"\n", b"no records here, only words\n", b"deadbeef", b"words" * 1000):
            with self.subTest(text[:20]):
                self.assertEqual(run("show", "-q", input=text)[0], 1)


if __name__ == "__main__":
    unittest.main()
