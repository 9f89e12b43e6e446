"""Memory that is refused, request by request: an error or the same output, no signal, no part for the whole."""
import base64
import os
import tempfile
import unittest
from pathlib import Path

from common import dma, fsi, mbox, record, run

most = 250  # requests that are refused in a command of its own; more are sampled
commands = [
    ("show", "dump"), ("list", "dump"), ("list", "--color=always", "folder"), ("json", "--pretty", "dump"),
    ("csv", "--values", "dump"), ("count", "--by=cause", "--where=pid=1", "dump"), ("list", "--sort=-time", "dump"),
    ("hex", "--color=always", "dump"), ("hex", "--from=base64", "folder/text"), ("carve", "-v", "dump"),
    ("carve", "--decode", "dump"), ("diff", "dump", "folder/other"), ("types", "-t", "dma,scom"), ("--help",),
    ("show", "--help"), ("make", "objects"), ("make", "--template=dma"), ("types", "dma"), ("types", "--json", "dma"),
    ("show", "--nope"), ("list", "none"), ("man",), ("completion", "bash"),
]


@unittest.skipUnless("REFUSE_LIBRARY" in os.environ, "a build with an allocator of its own")
class Memory(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        dump = dma + record("SCAN", 9, bytes(20)) + mbox + b"damage" + fsi[:-1] + b"\xff"
        (self.folder / "folder").mkdir()
        (self.folder / "refuse").symlink_to(os.environ["REFUSE_LIBRARY"])  # LD_PRELOAD ends at a space
        (self.folder / "dump").write_bytes(dump)
        (self.folder / "folder" / "other").write_bytes(dma[:-1] + b"\0" + mbox)
        (self.folder / "objects").write_bytes(run("json", "-q", input=dump)[1])
        (self.folder / "folder" / "text").write_bytes(base64.encodebytes(dump))

    def run_refused(self, what, command):
        variables = {**os.environ, "LC_ALL": "C", "LD_PRELOAD": str(self.folder / "refuse"), "REFUSE": what}
        return run(*command, env={**variables, "REFUSE_COUNT": str(self.folder / "count")}, cwd=self.folder, timeout=20)

    def check(self, command, numbers, expected):
        for number in numbers:
            with self.subTest(command, refused=number):
                status, out, messages = found = self.run_refused(number, command)
                if found == expected:
                    continue
                self.assertEqual(status, 2, messages)
                self.assertTrue(expected[1].startswith(out), out)
                self.assertRegex(messages, rb"(^|\n)ffdc: (.*: Cannot allocate|out of) memory\n$")

    def test_each_request(self):
        def requests(command):
            """What comes out when nothing is refused, and how often the command asks."""
            expected = self.run_refused("", command)
            return expected, int((self.folder / "count").read_text())

        expected, start = requests(("--version",))
        self.check(("--version",), [f"{n}{all}" for n in (*range(1, 50), *range(50, start, 9)) for all in ("", "-")],
                   expected)
        for command in commands:
            expected, total = requests(command)
            step = max(1, (total - start) // most)
            numbers = [str(n) for n in range(start, total + 2, step)]
            numbers += [f"{n}-" for n in range(start, total + 1, 5 * step)]
            self.check(command, numbers, expected)


if __name__ == "__main__":
    unittest.main()
