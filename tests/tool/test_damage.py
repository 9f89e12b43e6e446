"""Damage of every kind in thousands of dumps: no crash, no hang, valid output, and what is whole comes out."""
import json
import os
import random
import tempfile
import unittest
from pathlib import Path

from common import root, run

sample = Path(root, "samples", "all_types.ffdc").read_bytes()
seed = 20  # of the damage: a failure names the dump that it made, and comes again
variants, batch, run_length = int(os.environ["FFDC_DAMAGED_DUMPS"]), 500, 8


def split(data):
    records = []
    while data:
        size = int.from_bytes(data[36:38], "big")
        records.append(data[:size])
        data = data[size:]
    return records


records = split(sample)


def damaged(chance):
    """Records of a run, and the same bytes after one to four accidents."""
    first = chance.randrange(len(records) - run_length + 1)
    good = records[first:first + run_length]
    data = bytearray(b"".join(good))
    for _ in range(chance.randint(1, 4)):
        at, n = chance.randrange(len(data)), chance.choice((1, 2, 4, 16, 300))
        kind = chance.choice(("flip", "flip", "noise", "cut", "repeat", "insert", "end"))
        if kind == "flip":
            data[at] ^= 1 << chance.randrange(8)
        elif kind == "noise":
            data[at:at + n] = chance.randbytes(len(data[at:at + n]))
        elif kind == "cut":
            del data[at:at + n]
        elif kind == "repeat":
            data[at:at] = data[at:at + n]
        elif kind == "insert":
            data[at:at] = chance.choice((bytes(n), b"\xff" * n, bytes.fromhex("ffdcffdc"), chance.randbytes(n)))
        elif len(data) > 600:
            del data[-chance.randrange(1, 500):]
    return good, bytes(data)


def whole(good, data):
    """Offset, record: those whose own bytes and whose neighbours' bytes are as they were."""
    for before, this, after in zip([b""] + good, good, good[1:] + [b""]):
        together = before + this + after
        at = data.find(together)
        if at < 0 or (not before and at != 0) or (not after and at + len(together) != len(data)):
            continue
        yield at + len(before), this


class Damage(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.chance = random.Random(seed)

    def dumps(self, count):
        """Names, each with its undamaged records and its bytes, of dumps that now stand in the folder."""
        made = {}
        for i in range(count):
            name = str(self.folder / f"{i:05}")
            made[name] = damaged(self.chance)
            Path(name).write_bytes(made[name][1])
        return made

    def ffdc(self, *arguments):
        status, out, messages = run(*arguments, timeout=60)
        self.assertIn(status, (0, 1, 3), (arguments, messages[-2000:]))
        return out, messages

    def check_whole(self, made, found):
        expected = 0
        for name, (good, data) in made.items():
            for offset, record in whole(good, data):
                expected += 1
                if found.get((name, offset)) != (int.from_bytes(record[24:26], "big"), len(record)):
                    kept = Path(tempfile.gettempdir(), "ffdc_damaged")
                    kept.write_bytes(data)
                    self.fail(f"{kept}: the record at {offset} is {found.get((name, offset))}, but it is whole")
        return expected

    def test_list(self):
        codes = {row.split()[0]: int(row.split()[1]) for row in run("types", "--no-legend")[1].decode().splitlines()}
        expected = 0
        for _ in range(variants // batch):
            made, found = self.dumps(batch), {}
            for row in self.ffdc("list", "--no-legend", "-q", str(self.folder))[0].decode("latin-1").splitlines():
                file, _, offset, type, _, size, _, _, _, state = row.split()[:10]
                if state != "damaged" and type in codes:
                    found[file, int(offset, 16)] = (codes[type], int(size))
            expected += self.check_whole(made, found)
        self.assertGreater(expected, variants)  # or the damage leaves nothing to find

    def test_json(self):
        made, found = self.dumps(300), {}
        for line in self.ffdc("json", str(self.folder))[0].decode().splitlines():
            entry = json.loads(line)
            if not entry["damage"] and entry["header"]:
                found[entry["file"], entry["offset"]] = (entry["type_code"], entry["header"]["size"])
        self.check_whole(made, found)

    def test_other_commands(self):
        made = list(self.dumps(100).items())
        for (name, (good, data)), (other, _) in zip(made, made[1:]):
            for command in (["show"], ["hex"], ["carve"], ["carve", "--all", "--decode"], ["diff", other]):
                self.ffdc(*command, name)
            # A pipe cannot be mapped.
            status, _, messages = run("show", "-", input=data, timeout=60)
            self.assertIn(status, (0, 1, 3), messages)


if __name__ == "__main__":
    unittest.main()
