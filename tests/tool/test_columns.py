"""list, csv, count and --where speak one language of columns, and say what JSON says."""
import collections
import csv
import io
import json
import re
import tempfile
import unittest
from pathlib import Path

from common import case, codes, dma, fsi, goldens, mbox, record, root, run

hdma = record("HDMA", *case("hdma", "v256"))
short = record("FSI", 1, fsi[42:100])
unknown_type = record(14, 1, b"four")
late = dma[:28] + bytes.fromhex("5f3c000100000100") + dma[36:54] + (7).to_bytes(4, "big") + dma[58:]  # time, rc
# 0 DMA, 1 HDMA, 2 FSI (short), 3 TYPE_14, 4 damage, 5 MBOX, 6 DMA
dump = dma + hdma + short + unknown_type + b"no record" + mbox + late
corpus = b"".join(record(type, version, payload) for type, _, version, payload in goldens())


def rows(command, *options, input=dump):
    status, out, err = run(command, "-q", *options, input=input)
    return [re.split(" +", line.strip()) for line in out.decode("latin-1").splitlines()]


def csv_rows(*options, input=dump):
    return list(csv.DictReader(io.StringIO(run("csv", "-q", *options, input=input)[1].decode(), newline="")))


def objects(input):
    return [json.loads(line) for line in run("json", "-q", input=input)[1].splitlines()]


def at(object, key):
    """The value of a key: number and text, "" for what there is not."""
    node = object if key.startswith("header.") else object["payload"] or {}
    for part in re.findall(r"[^.\[\]]+", key):
        if isinstance(node, list):
            node = node[int(part)] if part.isdigit() else None
        else:
            node = node.get(part) if isinstance(node, dict) else None
    if isinstance(node, dict):
        return node["value"], node["name"]
    return (node, None) if not isinstance(node, str) or re.fullmatch(r"-?\d{1,20}", node) else (None, node)


class List(unittest.TestCase):
    def test_rows(self):
        _, out, _ = run("list", "-q", input=dump)
        error = objects(hdma)[0]["payload"]["err_type"]["name"]
        self.assertEqual([re.split(r"\s+", line.strip(), maxsplit=9) for line in out.decode().splitlines()], [
            "INDEX OFFSET TYPE VERSION SIZE PID TGID TIME STATE CAUSE".split(),
            "0 0x000000 DMA 1 294 4711 815 5f3c0001:2a ok".split() + ["rc -305419896"],
            "1 0x000126 HDMA 256 82 4711 815 5f3c0001:2a ok".split() + ["rc -305419896, " + error],
            "2 0x000178 FSI 1 100 4711 815 5f3c0001:2a short -".split(),
            "3 0x0001dc TYPE_14 1 46 4711 815 5f3c0001:2a unknown_type -".split(),
            "4 0x00020a - - - - - - damaged".split() + ["expected magic ffdcffdc, found 6e6f2072"],
            "5 0x000213 MBOX 4 342 4711 815 5f3c0001:2a ok".split() + [objects(mbox)[0]["cause"]],
            "6 0x000369 DMA 1 294 4711 815 5f3c0001:100 ok".split() + ["rc 7"],
        ])

    def test_what_tells_the_cause(self):
        """The return code, and the name of the error, of a payload with these numbers at these offsets."""
        table = [
            ("SCAN", 2, 134, {8: 7, 16: -5}, "func_rc -5"), ("JTAG", 0, 308, {8: -1}, "return_code -1"),
            ("UART", 8, 12, {8: 3}, "fsi_rc 3"), ("FSI", 1, 96, {88: 27}, "errno 0x0000001b"),
            ("IIC", 0, 205, {0: -19}, "status -19"),
            ("MBOX", 1, 184, {0: 3 << 16, 4: -5}, "rc 0xfffffffb, MBX_WAIT_ERR"),
            ("MBOX", 4, 300, {24: -5}, "rc -5, Input/output error"),
        ]
        for type, version, size, numbers, cause in table:
            with self.subTest(type, version=version):
                payload = bytearray(size)
                for offset, number in numbers.items():
                    payload[offset:offset + 4] = number.to_bytes(4, "big", signed=True)
                self.assertEqual(objects(record(type, version, bytes(payload)))[0]["cause"], cause)

    def test_columns_and_order(self):
        by = lambda *sort: [row[0] for row in rows("list", "--no-legend", "--columns", "index",
                                                   "--sort=" + ",".join(sort))]
        table = [
            (("-offset",), "6543210"), (("rc", "-index"), "1065432"), (("-rc", "index"), "5601234"),
            (("size",), "3120654"), (("type", "-time"), "6021534"), (("-time", "type"), "6021534"),
            (("state", "-size"), "4506123"), (("err_type", "index"), "1023456"), (("time", "type"), "0215364"),
        ]
        for sort, expected in table:
            with self.subTest(sort):
                found = by(*sort)
                if sort == ("-rc", "index") or sort == ("rc", "-index"):  # MBOX has one, too
                    found.remove("5"), (expected := expected.replace("5", ""))
                self.assertEqual("".join(found), expected)
        self.assertEqual(rows("list", "--columns", "type,registers.sgc,tgid", "-t", "fsi,dma", "--where", "index<3"),
                         [["TYPE", "REGISTERS.SGC", "TGID"],
                          ["DMA", "0x%08x" % objects(dma)[0]["payload"]["registers"]["sgc"], "815"],
                          ["FSI", "-", "815"]])


class Where(unittest.TestCase):
    def test_conditions(self):
        rc = objects(mbox)[0]["payload"]["rc"]
        error, base = objects(hdma)[0]["payload"]["err_type"], int(objects(dma)[0]["payload"]["src_base"])
        table = [
            (("type=DMA",), "06"), (("type != dma",), "1235"), (("type=FFDC_TYPE_HDMA",), "1"), (("type=14",), "3"),
            (("type=TYPE_14",), "3"), (("type ~ dma",), "016"), (("type=3", "index>0"), "6"),
            (("offset>=0x1dc", "offset <= 531"), "345"), (("state=damaged",), "4"), (("state='OK'",), "0156"),
            (("cause ~ MAGIC",), "4"), (("rc=-305419896",), "01"), (("rc = 0xedcba988",), "01"), (("rc != 7",), "015"),
            (("rc<0",), "015" if rc < 0 else "01"), (("rc > 6", "type=dma"), "6"), (("time>5f3c0001:2b",), "6"),
            (("err_type=" + error["name"].lower(),), "1"), (("err_type = %d" % error["value"],), "1"),
            (("time=5F3C0001:0000002A",), "01235"), (("time<5f3c0001:9",), ""), (("pid=4711", "pid!=4711"), ""),
            (("hint ~ copy",), "06"), (("hint != '=a or b<'",), "06"),
            ((f"src_base={base}",), "06"), ((f"src_base<{base + 1:#x}",), "06"),
            (("header.chained=0",), "012356"), (("file=-", "index<=1"), "01"),
        ]
        for conditions, expected in table:
            with self.subTest(conditions):
                options = [word for condition in conditions for word in ("--where", condition)]
                self.assertEqual("".join(row[0] for row in rows("list", "--no-legend", "--columns=index", *options)),
                                 expected)
        for command, count in (("show", rb"(?m)^==> "), ("json", rb"(?m)^{"), ("hex", rb"(?m)^==> "), ("carve", rb"0x"),
                               ("csv", rb"(?m)^-"),
                               ("count", rb"(?m)^ .* DMA")):
            with self.subTest(command):
                status, out, _ = run(command, "--where", "rc=7", "-t", "dma", input=dump)
                self.assertEqual((status, len(re.findall(count, out))), (0 if command == "carve" else 3, 1))
        self.assertEqual(run("list", "--where", "rc=8", input=dma)[:2], (1, b""))
        status, out, _ = run("csv", "--where", "state = damaged", input=dma + b"damage" + dma)
        self.assertEqual((status, len(out.splitlines())), (3, 2))

    def test_only_what_is_asked_for_is_decoded(self):
        """A payload of 64 KiB is a dump of 280 KB as text, but none of that is read where the header says no."""
        big = record("DIO", 1, bytes(65000)) * 200
        with tempfile.NamedTemporaryFile() as file:
            file.write(big)
            file.flush()
            self.assertEqual(run("list", "--where", "type=dma", "--where", "cause~x", file.name)[0], 1)

    def test_errors(self):
        table = [
            (("list", "--columns", "pdi"), "--columns: expected a column, found 'pdi'; the nearest are .*pid, "),
            (("list", "--sort", "tyme"), "--sort: expected a column, found 'tyme'; the nearest are .*time"),
            (("csv", "--columns", "index,sisk"), "--columns: expected a column, found 'sisk'; the nearest are "),
            (("count", "--by", "sisc"), "--by: expected a column, found 'sisc'; the nearest are .*slave.sisc"),
            (("show", "--where", "rc"),
             "--where: expected COLUMN OP VALUE with OP one of = != < <= > >= ~, found 'rc'"),
            (("list", "--where", "src_type = DIRCT"), "--where: src_type: expected a number or a name, the nearest of "
             "which are DIRECT, DEVICE, .*, found 'DIRCT'$"),
            (("show", "--where", "rcx=1"), "--where: expected a column, found 'rcx'"),
            (("json", "--where", "pid=0x"), "--where: pid: expected a number, decimal or 0x, found '0x'"),
            (("hex", "--where", "type=dmaa"), "--where: type: expected a code or one of FSI, PSI"),
        ]
        values = [
            ("time >= 0x60015180", "two words in hexadecimal", "0x60015180"), ("time > 100", "two words", "100"),
            ("time < 1:123456789", "two words", "1:123456789"), ("rc == -5", "a value, in quotes", "= -5"),
            ("rc <> 0", "a value, in quotes", "> 0"), ("rc = -5 or rc = -22", "a value", "-5 or rc = -22"),
            ("hint =~ stuck.*", "a value, in quotes", r"~ stuck\.\*"), ("write = true", "0 or 1", "true"),
            ("rc = ETIMEDOUT", "a number", "ETIMEDOUT"), ("offset = x", "a number", "x"), ("pid =", "a value", ""),
            ("hint ~ 'a' or hint ~ 'b'", "one text in quotes", "'a' or hint ~ 'b'"), ("write < 2", "0 or 1", "2"),
            ("state = broken", "ok, short, .* or damaged", "broken"),
        ]
        table += [(("list", "--where", given), f"--where: {given.split()[0]}: expected {expected}.*, found '{found}'$")
                  for given, expected, found in values]
        for arguments, message in table:
            with self.subTest(arguments):
                status, out, err = run(*arguments, input=dump)
                self.assertEqual((status, out), (2, b""))
                self.assertRegex(err.decode(), "^ffdc: " + message)

    def test_every_key_is_a_column(self):
        schema = json.loads(Path(root, "docs", "record.schema.json").read_text())["$defs"]

        def keys(node, path):
            if "$ref" in node and node["$ref"].split("/")[-1] in (*codes, "header"):
                node = schema[node["$ref"].split("/")[-1]]
            if "properties" in node:
                for key, inner in node["properties"].items():
                    yield from keys(inner, path + [key])
            elif node.get("type") == "array" or node.get("$ref") == "#/$defs/uints":
                yield ".".join(path) + "[1]"
            else:
                yield ".".join(path)

        payload = lambda key: "payload." + key if key in ("file", "offset", "type", "size", "state") else key
        all_keys = [*keys(schema["header"], ["header"])]
        all_keys += [payload(key) for type in codes for key in keys(schema[type], [])]
        self.assertGreater(len(all_keys), 700)
        status, out, err = run("csv", "--columns", ",".join(dict.fromkeys(all_keys)), input=dma)
        self.assertEqual((status, err), (0, b""))


class Csv(unittest.TestCase):
    def test_columns_say_what_json_says(self):
        keys = ["rc", "err_type", "func_rc", "master.slave.sisc", "src_base", "write", "hint", "registers.tx_data[1]",
                "header.time[0]", "evt"]
        names = ["file", "offset", "index", "type", "version", "state", "size", "pid", "tgid", "time", "cause"]
        data = corpus + b"lost"
        found, expected = csv_rows("--columns", ",".join(names + keys), input=data), objects(data)
        self.assertEqual([row["cause"] for row in csv_rows(input=corpus)],
                         [object["cause"] or "" for object in expected[:-1]])
        for row, object in zip(found, expected, strict=True):
            header = object["header"]
            with self.subTest(object["type"], index=object["index"]):
                of_header = {"size": "", "pid": "", "tgid": "", "time": ""}
                if header:
                    of_header = {key: str(header[key]) for key in ("size", "pid", "tgid")}
                    of_header["time"] = "%08x:%08x" % tuple(header["time"])
                texts = {key: "" if object[key] is None else str(object[key])
                         for key in ("file", "offset", "index", "type", "version", "state", "cause")}
                values = {}
                for key in keys:
                    number, text = at(object, key)
                    values[key] = text if text is not None else "" if number is None else str(int(number))
                self.assertEqual(row, texts | of_header | values)

    def test_no_formulas(self):
        """Only texts have a ' before them, and only those that a spreadsheet would execute."""
        version, payload = case("dma", "v1")
        for text, guarded in [("=1,2", "'=1,2"), ("+1", "'+1"), ("-1", "'-1"), ("@a", "'@a"), ("\t=", "'\t="),
                              ("\r=", "'\r="), ("'=", "'="), ("a=1", "a=1")]:
            data = record("DMA", version, payload[:124] + text.encode() + b"\0" + payload[125 + len(text):], pid=-5)
            for name, option, expected in (("=x", ("--no-formulas",), guarded), ("x", (), text)):
                with self.subTest(text, option=option), tempfile.TemporaryDirectory() as folder:
                    Path(folder, name).write_bytes(data)
                    rows = lambda *options: list(csv.DictReader(io.StringIO(
                        run("csv", *options, *option, name, cwd=folder)[1].decode(), newline="")))
                    [row] = rows("--columns", "file,pid,rc,hint")
                    file = "'=x" if option else "x"
                    self.assertEqual(row, {"file": file, "pid": "-5", "rc": "-305419896", "hint": expected})
                    values = {row["name"]: row for row in rows("--values")}
                    self.assertEqual([values["hint"]["file"], values["hint"]["text"], values["rc"]["text"]],
                                     [file, expected, "-305419896"])

    def test_values_say_what_json_says(self):
        def flat(node, path=(), element=""):
            if isinstance(node, dict) and set(node) != {"value", "name"}:
                return [row for key, inner in node.items() for row in flat(inner, (*path, key))]
            if isinstance(node, list):
                return [row for i, inner in enumerate(node) for row in flat(inner, path, str(i))]
            return [(".".join(path[:-1]), path[-1], element, node)]

        text = b"a,\"b\"\r\nc\xe9"
        data = corpus + record("SCOM", 1, text + bytes(6) + case("scom", "v1")[1][16:])
        expected = [(str(o["index"]), *row) for o in objects(data)
                    for row in flat({"header": o["header"]}) + flat(o["payload"])]
        found = collections.Counter()
        for row in csv_rows("--values", input=data):
            found[row["index"], row["group"], row["name"], row["element"]] += 1
            found[row["index"], row["group"], row["name"], row["element"], row["number"], row["text"]] += 1
        for index, group, name, element, value in expected:
            with self.subTest(index=index, group=group, name=name):
                if value is None or (isinstance(value, dict) and value["value"] is None):
                    self.assertEqual(found[index, group, name, element], 1)
                elif isinstance(value, dict):
                    self.assertEqual(found[index, group, name, element, str(value["value"]), value["name"].strip()], 1)
                elif isinstance(value, str) and not re.fullmatch(r"-?\d{1,20}", value):
                    self.assertEqual(found[index, group, name, element, "", value], 1)
                else:
                    self.assertEqual(found[index, group, name, element], 1)
        self.assertEqual(2 * len(expected), found.total())


class Count(unittest.TestCase):
    def test_counts_are_those_of_json(self):
        def named(object, key):
            unknown = key == "type" and object["type"] is None and object["header"]
            value = "TYPE_%d" % object["type_code"] if unknown else object[key]
            return "-" if value is None else str(value)

        data = dump * 3 + corpus
        found = objects(data)
        table = [((), ("type",)), (("--by", "type,state,cause"), ("type", "state", "cause")),
                 (("--by=version,header.pid",), ("version",))]
        for options, keys in table:
            with self.subTest(options):
                lines = run("count", "-q", "--no-legend", *options, input=data)[1].decode().splitlines()
                counts = [int(line.split()[0]) for line in lines]
                expected = collections.Counter(tuple(named(o, key) for key in keys) for o in found)
                self.assertEqual(counts, sorted(expected.values(), reverse=True))
                if len(keys) == 1 and not options:
                    self.assertEqual({line.split()[1]: int(line.split()[0]) for line in lines},
                                     {key: n for (key,), n in expected.items()})
                if len(keys) == 3:
                    self.assertEqual({tuple(line.split(maxsplit=3)[1:]): int(line.split()[0]) for line in lines},
                                     expected)


if __name__ == "__main__":
    unittest.main()
