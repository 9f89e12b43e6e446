"""Damage of every kind in thousands of dumps: no crash, no hang, valid output, and what is whole comes out."""
import json
import os
import random
import tempfile
import unittest
from pathlib import Path

from common import codes, root, run

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

    def found_in(self, command, *files):
        """Type and size of each record that is told whole, by its file and offset."""
        found = {}
        if command == "json":
            for line in self.ffdc("json", *files)[0].decode().splitlines():
                entry = json.loads(line)
                if entry["header"] and entry["state"] != "damaged":
                    found[entry["file"], entry["offset"]] = (entry["type_code"], entry["header"]["size"])
            return found
        for row in self.ffdc(command, "--no-legend", "-q", *files)[0].decode("latin-1").splitlines():
            file, _, offset, type, _, size, _, _, _, state = row.split()[:10]
            if state != "damaged":
                found[file, int(offset, 16)] = (codes.get(type) or int(type.removeprefix("TYPE_")), int(size))
        return found

    def test_damaged_headers_hide_nothing(self):
        image, whole, begins = bytearray(), {}, set()
        for copy in range(150):
            bad = set(self.chance.sample(range(len(records)), 5))
            for number, record in enumerate(records):
                begins.add(len(image))
                if number in bad:
                    record = bytearray(record)
                    at = self.chance.choice((0, 12, 16, 24, 36, 36, 36))
                    record[at:at + 4] = self.chance.randbytes(4)
                else:
                    whole[len(image)] = (int.from_bytes(record[24:26], "big"), len(record))
                image += record
            if copy % 3 == 0:
                image += self.chance.choice((bytes, self.chance.randbytes))(self.chance.randrange(3000))
        name = str(self.folder / "image")
        Path(name).write_bytes(image)
        Path(name + "2").write_bytes(b"")  # two files, so that rows say which
        for command in ("list", "carve", "json"):
            with self.subTest(command):
                found = {offset: what for (file, offset), what in self.found_in(command, name, name + "2").items()}
                lost = [offset for offset, what in whole.items() if found.get(offset) != what]
                self.assertEqual((len(whole), lost, [offset for offset in found if offset not in begins]),
                                 (150 * (len(records) - 5), [], []))

    def test_list_and_carve(self):
        expected = 0
        for number in range(variants // batch):
            made = self.dumps(batch)
            expected += self.check_whole(made, self.found_in(("list", "carve")[number % 2], str(self.folder)))
        self.assertGreater(expected, variants)  # or the damage leaves nothing to find

    def test_json(self):
        made = self.dumps(300)
        self.check_whole(made, self.found_in("json", str(self.folder)))

    def test_other_commands(self):
        made = list(self.dumps(100).items())
        for (name, (good, data)), (other, _) in zip(made, made[1:]):
            for command in (["show"], ["hex"], ["carve"], ["carve", "--all", "--decode"], ["diff", other]):
                self.ffdc(*command, name)
            # A pipe has no size.
            status, _, messages = run("show", "-", input=data, timeout=60)
            self.assertIn(status, (0, 1, 3), messages)


if __name__ == "__main__":
    unittest.main()
