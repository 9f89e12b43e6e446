#!/usr/bin/env python3
"""Runs the commands of docs/fleet.md as they stand, over 10,000 small dumps and one of 256 MB, and holds what they
found against what the dumps hold. Machines and servers are this machine: nothing leaves it, what was started is ended.

    tests/fleet.py FFDC"""
import collections
import csv
import os
import pathlib
import random
import re
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(__file__).resolve().parent.parent
small, big_size, most_seconds = 10_000, 256 << 20, 900
sample = (root / "samples" / "all_types.ffdc").read_bytes()
names = ("FSI PSI DMA HDMA MDMA IIC UART JTAG MBOX DIO SCAN SCOM TONE - RTC SPAD IOMUX DRA USB 8250 RS485 ALERT "
         "KOR_PORT TAM_PORT WEX_PORT DPSS MTDCRAM").split()


def split(data):
    while data:
        size = int.from_bytes(data[36:38], "big")
        yield data[:12] + bytes(4) + data[16:size]  # no chain: any record may be the last one
        data = data[size:]


records = list(split(sample))
type_of = lambda record: names[int.from_bytes(record[24:26], "big") - 1]

# Instead of ssh: a machine is a folder, in which its logins begin.
remote = """#!/bin/sh
while [ "$1" != node1 ] && [ "$1" != node2 ]; do shift; done
cd "$1"
shift
[ "$1" != -- ] || shift
exec sh -c "$*"
"""


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        place = cls.place = pathlib.Path(cls.folder.name)
        chance = random.Random(13)
        cls.types, cls.in_dumps, cls.hdma = collections.Counter(), collections.Counter(), 0
        (place / "dumps").mkdir()
        for number in range(small):
            chosen = [chance.choice(records) for _ in range(chance.randint(1, 4))]
            cls.in_dumps.update(map(type_of, chosen))
            if number % 100 == 0:
                chosen.append(b"damage" * 9)
                cls.in_dumps["-"] += 1
            folder = place / "dumps" / ("", "node1", "node2/old")[number % 3]
            folder.mkdir(parents=True, exist_ok=True)
            (folder / f"{number:05}{'.ffdc' if number % 7 else ''}").write_bytes(b"".join(chosen))
        every = b"".join(records)
        repeats = big_size // len(every)
        with open(place / "big.ffdc", "wb") as big:
            for _ in range(repeats):
                big.write(every)
        cls.types.update(cls.in_dumps)
        for record in records:
            cls.types[type_of(record)] += repeats
        for node in ("node1", "node2"):
            (place / node / "dumps-here").mkdir(parents=True)
            (place / node / "dumps-here" / "one.ffdc").write_bytes(every)
        (place / "bin").mkdir()
        (place / "bin" / "remote").write_text(remote)
        (place / "bin" / "remote").chmod(0o755)
        (place / "bin" / "ffdc").symlink_to(os.path.abspath(sys.argv[1]))
        (place / "home").mkdir()
        page = (root / "docs" / "fleet.md").read_text()
        script = "set -eu\n" + "\n".join(re.findall(r"^```sh\n(.*?)^```$", page, re.M | re.S))
        variables = {**os.environ, "PATH": f"{place / 'bin'}:{os.environ['PATH']}", "HOME": str(place / "home"),
                     "PARALLEL_SSH": str(place / "bin" / "remote"), "LC_ALL": "C.UTF-8",
                     "SHELL": "/bin/bash"}  # as a login has one: GNU parallel asks for it
        try:
            with open(place / "messages", "w") as messages:  # no pipe: the servers would hold it
                cls.status = subprocess.run(["timeout", str(most_seconds), "bash", "-c", script], cwd=place,
                                            env=variables, stdin=subprocess.DEVNULL, stdout=messages,
                                            stderr=messages).returncode
        finally:
            for pid in place.glob("server*/pid"):
                try:
                    os.kill(int(pid.read_text()), signal.SIGKILL)
                except (ProcessLookupError, ValueError):
                    pass

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def counts(self, name):
        pairs = [line.split() for line in (self.place / name).read_text().splitlines()]
        return {type: int(n) for n, type in pairs if n != "COUNT"}

    def rows(self, name):
        with open(self.place / name, newline="", encoding="utf-8") as file:
            return list(csv.reader(file))

    def test_all_commands_end_well(self):
        self.assertEqual(self.status, 0, (self.place / "messages").read_text()[-4000:])

    def test_counts(self):
        self.assertEqual(self.counts("counts"), self.types)
        self.assertEqual(self.counts("cluster_counts"), self.types)
        shards = [int((self.place / shard).read_text()) for shard in ("shard1", "shard2")]
        self.assertEqual(sum(shards), sum(self.types.values()))
        self.assertLess(max(shards), 0.6 * sum(shards))
        self.assertEqual(len(self.rows("damaged.csv")), 1 + self.in_dumps["-"])

    def test_cores_and_machines(self):
        heading, *rows = self.rows("records.csv")
        self.assertEqual(heading, ["file", "offset", "type", "state", "pid", "cause"])
        self.assertEqual(collections.Counter(row[2] or "-" for row in rows), self.types)
        shared = self.rows("shared.csv")
        self.assertEqual(collections.Counter(row[3] or "-" for row in shared), self.in_dumps)
        self.assertEqual([row[0] for row in shared], sorted(row[0] for row in shared))
        nodes = [line.split() for line in (self.place / "nodes").read_text().splitlines()]
        one = collections.Counter(map(type_of, records))
        self.assertEqual({(node, type): int(n) for node, n, type in nodes if n != "COUNT"},
                         {(node, type): n for node in ("node1", "node2") for type, n in one.items()})

    def test_sqlite(self):
        with sqlite3.connect(self.place / "fleet.db") as database:
            ask = lambda question: database.execute(question).fetchall()
            for type in ("dma", "hdma", "scom"):
                self.assertEqual(ask(f"SELECT count(*) FROM {type}"), [(self.in_dumps[type.upper()],)])
            self.assertEqual(ask("SELECT count(*) FROM hdma_errors WHERE rc IS NOT NULL"), [(self.in_dumps["HDMA"],)])
            file, at, rc, pid = ask('SELECT file, at, rc, "header.pid" FROM dma WHERE "header.version" = 1 LIMIT 1')[0]
            record = (self.place / file).read_bytes()[at:]
            self.assertEqual((rc, pid), tuple(int.from_bytes(record[i:i + 4], "big", signed=True) for i in (54, 20)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
