"""The command line itself: help, errors, completions, man page, terminals, and outputs that go wrong."""
import fcntl
import os
import pty
import re
import resource
import signal
import struct
import subprocess
import tempfile
import termios
import threading
import time
import unittest
from pathlib import Path

from common import case, dma, ffdc, fsi, mbox, record, run

commands = ("show", "list", "json", "hex", "carve", "diff", "types")
helps = {command: run(command, "--help")[1].decode() for command in commands}
top = run("--help")[1].decode()


def flags_of(text):
    return re.findall(r"^  (-\S+)", text, re.M)


def on_terminal(*arguments, rows=24, columns=80, input=b"", **environment):
    """What a terminal shows; standard input is a pipe."""
    main, side = pty.openpty()
    fcntl.ioctl(side, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
    variables = {k: v for k, v in os.environ.items() if k not in ("PAGER", "LESS", "NO_COLOR", "COLUMNS")}
    child = subprocess.Popen([ffdc, *arguments], stdin=subprocess.PIPE, stdout=side, stderr=side,
                             env={**variables, "TERM": "xterm", "PAGER": "", **environment}, start_new_session=True)
    os.close(side)
    child.stdin.write(input)
    child.stdin.close()
    shown = b""
    while True:
        try:
            part = os.read(main, 65536)
        except OSError:
            break
        if not part:
            break
        shown += part
    os.close(main)
    return child.wait(), shown.decode("latin-1").replace("\r\n", "\n")


class Help(unittest.TestCase):
    def test_help_fits_a_screen_and_has_two_examples(self):
        self.assertLessEqual(len(top.splitlines()), 24)
        for command, text in [("", top), *helps.items()]:
            with self.subTest(command):
                self.assertLessEqual(max(map(len, text.splitlines())), 80)
                self.assertLessEqual(len(text.splitlines()), 40)
                if command:
                    self.assertIn(command, top)
                    examples = text.split("Examples:\n")[1].strip().splitlines()
                    self.assertEqual(len(examples), 2)
                    self.assertTrue(all("ffdc " + command in line for line in examples))

    def test_version(self):
        for flag in ("-V", "--version"):
            status, out, _ = run(flag)
            self.assertEqual((status, re.fullmatch(rb"ffdc \d+\.\d+\.\d+\n", out) is not None), (0, True))

    def test_wrong_usage(self):
        table = [
            ((), "expected a command, found nothing"), (("shw",), "expected a command, found 'shw'"), (("--nope",), "found '--nope'"),
            (("show", "--nope"), "--nope"), (("show", "--color", "red"), "--color: expected auto|always|never, found 'red'"),
            (("show", "--from=ascii"), "--from: expected auto|raw|hex|base64, found 'ascii'"), (("diff", "one"), "FILE"),
            (("diff", "--by", "name", "a", "b"), "--by: expected position|type, found 'name'"), (("list", "-t"), "--type"),
            (("types", "file"), "file"), (("show", "-o", "/none/x"), "/none/x: No such file"), (("show", "/none"), "/none: No such file"),
        ]
        for arguments, message in table:
            with self.subTest(arguments):
                status, out, err = run(*arguments)
                self.assertEqual((status, out), (2, b""))
                self.assertIn(message, err.decode())
                self.assertTrue(err.startswith(b"ffdc: "))

    def test_names_of_types_mean_the_same_in_turkish(self):
        with tempfile.TemporaryDirectory() as folder:  # where i is not the small letter of I
            subprocess.run(["localedef", "--no-archive", "-i", "tr_TR", "-f", "UTF-8", os.path.join(folder, "tr_TR.UTF-8")],
                           check=True)
            turkish = os.environ | {"LOCPATH": folder, "LC_ALL": "tr_TR.UTF-8"}
            for name in ("fsi", "FSI", "ffdc_type_Fsi"):
                with self.subTest(name):
                    self.assertEqual(run("list", "-t", name, input=fsi, env=turkish), run("list", input=fsi))


class Made(unittest.TestCase):
    """What is made from the option table has all of it."""

    def test_man_page(self):
        status, out, _ = run("man")
        page = out.decode().replace("\\-", "-")
        for command, text in helps.items():
            self.assertIn(f"\n.SS {command}\n", page)
            section = page.split(f"\n.SS {command}\n")[1].split("\n.S")[0]
            for flags in flags_of(text):
                self.assertIn(f"\\fB{flags.replace(',', ', ')}\\fR", section)
        warnings = subprocess.run(["groff", "-man", "-ww", "-z", "-Tascii"], input=out, capture_output=True).stderr
        self.assertEqual(warnings, b"")

    def test_completions_have_every_command_and_option(self):
        for shell, option in (("bash", "{}"), ("zsh", "{}["), ("fish", None)):
            script = run("completion", shell)[1].decode()
            lines = script.replace("\\\n", "").splitlines()
            for command, text in helps.items():
                with self.subTest(shell, command=command):
                    own = "\n".join(line for line in lines if re.search(rf"\b{command}\b", line))
                    self.assertTrue(own)
                    for flag in ",".join(flags_of(text)).split(","):
                        name = flag.lstrip("-")
                        expected = option.format(flag) if option else f" -l {name} " if flag.startswith("--") else f" -s {name} "
                        self.assertIn(expected, own)
            with self.subTest(shell + " -n"):
                checked = subprocess.run([shell, "-n"], input=script.encode(), capture_output=True)
                self.assertEqual((checked.returncode, checked.stderr), (0, b""))

    def test_bash_completes(self):
        table = [(("s",), "show"), (("show", "--no"), "--no-legend --no-pager"), (("carve", "--from", "h"), "hex"),
                 (("list", "-t", "MB"), "MBOX"), (("diff", "--by", "="), "position type"), (("show", "-o", "x"), "")]
        for words, expected in table:
            with self.subTest(words):
                script = ('eval "$("$0" completion bash)"; COMP_WORDS=(ffdc "$@"); COMP_CWORD=$#; _ffdc; echo "${COMPREPLY[*]}"')
                done = subprocess.run(["bash", "-c", script, ffdc, *words], capture_output=True, text=True)
                self.assertEqual(done.stdout.strip(), expected)


class Terminal(unittest.TestCase):
    def test_colour(self):
        table = [((), {}, True), ((), {"NO_COLOR": "1"}, False), ((), {"NO_COLOR": ""}, True), (("--color=never",), {}, False),
                 (("--color=always",), {"NO_COLOR": "1"}, True)]
        for options, environment, expected in table:
            for command in ("show", "hex", "list"):
                with self.subTest(options, command=command, **environment):
                    _, shown = on_terminal(command, "-q", *options, input=b"x" * 9 + dma, **environment)
                    self.assertEqual("\33[" in shown, expected)
        self.assertNotIn(b"\33", run("show", input=dma)[1])
        self.assertIn(b"\33[", run("show", "--color", "always", input=dma)[1])

    def test_tables_fit(self):
        long_name = "d" * 60
        with tempfile.TemporaryDirectory() as folder:
            for name in ("a" + long_name, "b" + long_name):
                Path(folder, name).write_bytes(dma + fsi)
            for columns in (80, 100, 132):
                with self.subTest(columns):
                    _, shown = on_terminal("list", "--color=never", folder, columns=columns)
                    self.assertEqual(len(shown.splitlines()), 5)
                    self.assertLessEqual(max(map(len, shown.splitlines())), columns)
            self.assertIn(("a" + long_name).encode(), run("list", folder)[1])

    def test_a_record_does_not_steer_the_terminal(self):
        version, payload = case("dma", "v1")
        evil = record("DMA", version, payload[:124] + b"\33]0;evil\7\33[2J" + payload[137:])
        for command in ("show", "hex", "list", "diff"):
            with self.subTest(command), tempfile.TemporaryDirectory() as folder:
                Path(folder, "evil").write_bytes(evil)
                files = ["evil", "evil", "--all"] if command == "diff" else ["evil"]
                _, shown = on_terminal(command, "--color=never", *[os.path.join(folder, f) if f == "evil" else f for f in files])
                self.assertIn("DMA", shown)
                self.assertNotRegex(shown, "[\0-\10\13-\37]")

    def test_pager(self):
        table = [("more than a screen", dma * 3, (), "sed s/^/P:/", True), ("less than a screen", dma, ("-t", "14"), "sed s/^/P:/", False),
                 ("not wanted", dma * 3, ("--no-pager",), "sed s/^/P:/", False), ("not there", dma * 3, (), "no-such-pager -x", False)]
        for name, data, options, pager, paged in table:
            with self.subTest(name):
                status, shown = on_terminal("show", "-q", "--color=never", *options, input=data, PAGER=pager)
                self.assertIn(status, (0, 1, 3))
                self.assertEqual("P:==> " in shown, paged)
                self.assertEqual(shown.replace("P:", ""), run("show", "-q", *options, input=data)[1].decode("latin-1"))

    def test_carve_tells_how_far_a_long_search_is(self):
        def write(pipe):
            with open(pipe, "wb", buffering=0) as slow:
                for part in (bytes(3 << 20), bytes(1 << 20) + dma):
                    slow.write(part)
                    time.sleep(1.1)

        for options, told in (((), True), (("-q",), False)):
            with self.subTest(options), tempfile.TemporaryDirectory() as folder:
                pipe = os.path.join(folder, "pipe")
                os.mkfifo(pipe)
                writer = threading.Thread(target=write, args=(pipe,))
                writer.start()
                _, shown = on_terminal("carve", "--color=never", *options, pipe)
                writer.join()
                self.assertEqual(re.findall(r"\r\x1b\[Kffdc: .*: ([234]) MiB, 0 records.*\r\x1b\[K", shown) != [], told, shown)
                self.assertIn("0x400000 DMA", shown)

    def test_messages_come_after_the_output(self):
        _, shown = on_terminal("show", "--color=never", input=dma[:100])
        self.assertRegex(shown, r"(?s)^==> .*\nffdc: -: offset 0x000000: expected a record of 294 bytes, found 100 bytes\n$")


class Output(unittest.TestCase):
    def test_a_reader_that_stops_ends_it_quietly(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(dma * 20000)
            file.flush()
            for command in ("show", "json", "hex", "list"):
                with self.subTest(command):
                    child = subprocess.Popen([ffdc, command, "-q", file.name], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    self.assertTrue(child.stdout.read(5))
                    child.stdout.close()
                    self.assertEqual(child.stderr.read(), b"")
                    child.stderr.close()
                    self.assertEqual(child.wait(), -signal.SIGPIPE)

    def test_write_errors(self):
        for command in (("show",), ("list",), ("json",), ("hex",), ("carve",), ("types",), ("--help",)):
            for data in (dma, dma * 3000):
                with self.subTest(command), open("/dev/full", "wb") as full:
                    done = subprocess.run([ffdc, *command], input=data, stdout=full, stderr=subprocess.PIPE)
                    self.assertEqual((done.returncode, done.stderr), (2, b"ffdc: standard output: No space left on device\n"))
        self.assertEqual(run("show", "-o", "/dev/full", input=dma)[::2], (2, b"ffdc: /dev/full: No space left on device\n"))

    def test_output_file(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "out")
            for command in commands[:5]:
                for data in (dma + mbox, dma, b""):  # each shorter than what is there
                    with self.subTest(command):
                        status, out, _ = run(command, "-o", path, input=data)
                        self.assertEqual((status, out, Path(path).read_bytes()), (0 if data else 1, b"", run(command, input=data)[1]))

    def test_out_of_memory(self):
        if b"__asan_init" in Path(ffdc).read_bytes():
            self.skipTest("the sanitizer needs its own memory")
        text = b"00000000  " + b"ff " * 8 + b" " + b"ff " * 8 + b" |................|\n*\n08000000\n"
        limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20))
        self.assertEqual(run("show", "--from=hex", input=text, preexec_fn=limit), (2, b"", b"ffdc: out of memory\n"))


if __name__ == "__main__":
    unittest.main()
