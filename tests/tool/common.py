"""What the tests of the tool share: running it, building records, reading golden payloads."""
import glob
import os
import re
import resource
import struct
import subprocess
from pathlib import Path

here = os.path.dirname(os.path.abspath(__file__))
root = os.path.dirname(os.path.dirname(here))
ffdc = os.environ["FFDC"]

codes = {name: int(code) for name, code in
         re.findall(r"FFDC_TYPE_(\w+) = (\d+)", Path(root, "include", "tavi_ffdc.h").read_text())}

# A loop that does not end, in the tool or with what it prints here, ends in seconds and takes no machine with it.
resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
if "REFUSE_LIBRARY" in os.environ:  # sanitizers and emulators reserve more
    resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))


def run(*arguments, input=b"", timeout=60, **more):
    """Status, output, messages."""
    done = subprocess.run([ffdc, *arguments], input=input, capture_output=True, timeout=timeout, **more)
    return done.returncode, done.stdout, done.stderr


def record(type, version, payload, chained=0, head_version=1, size=None, magic=0xFFDCFFDC, pid=4711):
    code = codes[type] if type in codes else type
    size = 42 + len(payload) if size is None else size
    header = (magic, chained, head_version, pid, code, version, 0x5F3C0001, 0x2A, size, 815)
    return struct.pack(">I8xIiiHHIIHi", *header) + payload


def resized(data, size):
    """A record that says another size."""
    return data[:36] + size.to_bytes(2, "big") + data[38:]


def golden(path):
    """Version and payload of a golden case."""
    text = re.sub(r"#.*", "", Path(path).read_text(encoding="latin-1"))
    version, digits = re.match(r"\s*version\s+(\S+)(.*)", text, re.S).groups()
    return int(version, 0), bytes.fromhex(digits)


def goldens():
    """Type, case, version and payload of every golden case."""
    for path in sorted(glob.glob(os.path.join(root, "tests", "golden", "*", "*.hex"))):
        type, case = path.split(os.sep)[-2:]
        yield type.upper(), case[:-4], *golden(path)


def case(type, name):
    return golden(os.path.join(root, "tests", "golden", type, name + ".hex"))


dma = record("DMA", *case("dma", "v1"))
mbox = record("MBOX", *case("mbox", "v4"))
fsi = record("FSI", *case("fsi", "v1"))
