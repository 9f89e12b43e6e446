"""Makes the seeds of every fuzz target from the golden payloads and the samples: seeds.py FOLDER."""
import base64
import os
import pathlib
import random
import struct
import sys

root = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(root / "tests" / "tool"))
os.environ.setdefault("FFDC", "")  # nothing here runs the tool
from common import codes, goldens, record  # noqa: E402

folder = pathlib.Path(sys.argv[1])


def put(target, name, data):
    path = folder / target / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(data)


# Decoders are numbered by types; pieces stand behind them.
decoders = list(codes)
descriptor = len(decoders) + 6
for type, case, version, payload in goldens():
    name = f"{type.lower()}_{case}"
    put("record", name, record(type, version, payload))
    for cut in range(1, min(len(payload), 600), 29):
        put("record", f"{name}_{cut}", record(type, version, payload)[:-cut])
    calls = [decoders.index(type)]
    if type == "IIC" and version <= 3:
        calls += range(len(decoders), descriptor)
    if type == "UART":
        calls.append(descriptor)
    for call in calls:
        for room in (0x7000, len(payload) % 300):
            head = struct.pack(">BIhh", call, version, len(payload) & 0x7fff, room)
            put("decoder", f"{name}_{call}_{room}", head + payload)

# Bytes full of headers, of which many lie or are cut.
chance = random.Random(20)
for number in range(300):
    data = b""
    while len(data) < 2000:
        size = chance.choice((None, chance.randrange(300)))
        filler = b"\xff" * chance.randrange(60)
        one = record(chance.randrange(30), 0, filler, chance.randrange(3), chance.randrange(3), size)
        data += one[:len(one) - chance.choice((0, chance.randrange(42)))]
    put("area", f"headers_{number}", data)

for path in sorted((root / "samples").glob("*.ffdc")):
    data = path.read_bytes()
    put("area", path.stem, data)
    head = data[:400]
    put("input", path.stem + ".raw", head)
    put("input", path.stem + ".hex", head.hex(" ").encode())
    put("input", path.stem + ".base64", base64.encodebytes(head))
    for dump, start, end in (("xxd", ": ", ""), ("hexdump", "  ", "|")):
        lines = [f"{at:08x}{start}{head[at:at + 16].hex(' ')}  {end}................{end}"
                 for at in range(0, len(head), 16)]
        put("input", f"{path.stem}.{dump}", "\n".join(lines).encode())
repeated = "00000000  ff dc ff dc 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n*\n00000040\n"
put("input", "repeated.hexdump", repeated.encode())
