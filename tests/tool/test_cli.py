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

from common import case, dma, ffdc, fsi, mbox, record, resized, run

commands = ("show", "list", "count", "json", "csv", "hex", "carve", "diff", "html", "types", "make")
helps = {command: run(command, "--help")[1].decode() for command in commands}
top = run("--help")[1].decode()


def flags_of(text):
    return re.findall(r"^  (-\S+)", text, re.M)


def on_terminal(*arguments, rows=24, columns=80, input=b"", **environment):
    """What a terminal shows; standard input is a pipe."""
    try:
        main, side = pty.openpty()
    except OSError as e:
        raise unittest.SkipTest(f"no terminal here: {e}")
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

    def test_examples_work_for_one_file_and_for_several(self):
        environment = {**os.environ, "PATH": os.path.dirname(ffdc) + os.pathsep + os.environ["PATH"]}
        names = ("dump.bin", "before.bin", "after.bin", "memory.dump", "flash.img", "dumps/a.ffdc")
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "dumps"))
            for name in names:
                Path(folder, name).write_bytes(dma + mbox + record("SCOM", *case("scom", "v1")))
            Path(folder, "dumps", "b.ffdc").write_bytes(record(14, 1, b""))
            for command, text in helps.items():
                if command == "html":  # needs the viewer's page
                    continue
                for example in text.split("Examples:\n")[1].strip().splitlines():
                    example = example.strip().replace("ssh sp cat /var/log/ffdc", "cat memory.dump")
                    for files in ("dump.bin", "dump.bin flash.img"):
                        with self.subTest(example, files=files):
                            script = "set -o pipefail; rm -f v.db; " + example.replace("dump.bin", files)
                            done = subprocess.run(["bash", "-c", script], cwd=folder, env=environment,
                                                  stdin=subprocess.DEVNULL, capture_output=True)
                            expected = (3, True) if "dumps" in example else (0, False)
                            self.assertEqual((done.returncode, b"a known type, found type 14" in done.stderr), expected,
                                             done.stderr)
                            made = [name for name in ("records.csv", "v.db", "found") if Path(folder, name).exists()]
                            self.assertTrue(done.stdout or made)

    def test_version(self):
        for flag in ("-V", "--version"):
            status, out, _ = run(flag)
            self.assertEqual((status, re.fullmatch(rb"ffdc \d+\.\d+\.\d+\n", out) is not None), (0, True))

    def test_wrong_usage(self):
        table = [
            ((), "expected a command, found nothing"), (("shw",), "expected a command, found 'shw'"),
            (("--nope",), "found '--nope'"), (("show", "--nope"), "--nope"), (("diff", "one"), "FILE"),
            (("show", "--color", "red"), "--color: expected auto|always|never, found 'red'"),
            (("show", "--from=ascii"), "--from: expected auto|raw|hex|base64, found 'ascii'"),
            (("list", "-t"), "--type"), (("types", "file"), "file"), (("show", "/none"), "/none: No such file"),
            (("show", "-o", "/none/x"), "/none/x: No such file"),
            (("completion", "csh"), "expected bash|zsh|fish, found 'csh'"),
        ]
        for arguments, message in table:
            with self.subTest(arguments):
                status, out, err = run(*arguments)
                self.assertEqual((status, out), (2, b""))
                self.assertIn(message, err.decode())
                self.assertTrue(err.startswith(b"ffdc: "))

    def test_names_of_types_mean_the_same_in_turkish(self):
        with tempfile.TemporaryDirectory() as folder:  # where i is not the small letter of I
            locale = os.path.join(folder, "tr_TR.UTF-8")
            subprocess.run(["localedef", "--no-archive", "-i", "tr_TR", "-f", "UTF-8", locale], check=True)
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
                        of_fish = f" -l {name} " if flag.startswith("--") else f" -s {name} "
                        self.assertIn(option.format(flag) if option else of_fish, own)
            with self.subTest(shell + " -n"):
                checked = subprocess.run([shell, "-n"], input=script.encode(), capture_output=True)
                self.assertEqual((checked.returncode, checked.stderr), (0, b""))

    def test_fish_completes_lists(self):
        for typed, expected in (("d", {"DMA", "DIO", "DRA", "DPSS"}), ("dma,h", {"dma,HDMA"})):
            with self.subTest(typed):
                script = f"{ffdc} completion fish | source; complete -C 'ffdc show -t {typed}'"
                done = subprocess.run(["fish", "-N", "-c", script], capture_output=True, text=True)
                self.assertLessEqual(expected, {line.split("\t")[0] for line in done.stdout.splitlines()})

    def test_bash_completes(self):
        table = [(("s",), "show"), (("show", "--no"), "--no-legend --no-pager --no-limits"),
                 (("carve", "--from", "h"), "hex"),
                 (("list", "-t", "MB"), "MBOX"), (("types", "MB"), "MBOX"), (("list", "-t", "d"), "dma dio dra dpss"),
                 (("list", "-t", "dma,h"), "dma,hdma"), (("list", "-t", "dma,H"), "dma,HDMA"),
                 (("show", "--color", "="), "auto always never"), (("show", "-o", "x"), "")]
        for words, expected in table:
            with self.subTest(words):
                script = ('eval "$("$0" completion bash)"; COMP_WORDS=(ffdc "$@"); COMP_CWORD=$#; _ffdc; '
                          'echo "${COMPREPLY[*]}"')
                done = subprocess.run(["bash", "-c", script, ffdc, *words], capture_output=True, text=True)
                self.assertEqual(done.stdout.strip(), expected)


class Terminal(unittest.TestCase):
    def test_colour(self):
        table = [((), {}, True), ((), {"NO_COLOR": "1"}, False), ((), {"NO_COLOR": ""}, True),
                 ((), {"TERM": "dumb"}, False), (("--color=never",), {}, False),
                 (("--color=always",), {"NO_COLOR": "1"}, True)]
        for options, environment, expected in table:
            for command in ("show", "hex", "list"):
                with self.subTest(options, command=command, **environment):
                    _, shown = on_terminal(command, "-q", *options, input=b"x" * 9 + dma, **environment)
                    self.assertEqual("\33[" in shown, expected)
        self.assertNotIn(b"\33", run("show", input=dma)[1])
        self.assertIn(b"\33[", run("show", "--color", "always", input=dma)[1])

    def test_tables_fit(self):
        """Every line within the columns, what is cut marked, the end of a name and the first difference in sight."""
        long_name = "d" * 60
        other = bytearray(dma)
        other[124 + 42 + 20] ^= 1
        with tempfile.TemporaryDirectory() as folder:
            for name, data in ((long_name + "-1", dma + fsi), (long_name + "-2", bytes(other) + fsi)):
                Path(folder, name).write_bytes(data)
            for columns in (40, 80, 100, 132):
                files = sorted(map(str, Path(folder).iterdir()))
                for command, arguments, lines in (("list", [folder], 5), ("diff", files, 2)):
                    with self.subTest(command, columns=columns):
                        _, shown = on_terminal(command, "--color=never", *arguments, columns=columns, LC_ALL="C.UTF-8")
                        rows = [line for line in shown.encode("latin-1").decode().splitlines()
                                if not line.startswith(("==>", "ffdc:"))]
                        rows = rows[-lines:]
                        self.assertLessEqual(max(map(len, rows)), columns)
                        if command == "list":
                            self.assertEqual([row.split()[0][-2:] for row in rows[1:]], ["-1", "-1", "-2", "-2"])
                            self.assertTrue(all(row.startswith("…") for row in rows[1:]))
                            self.assertEqual("…" in rows[0], columns < 100)
                        else:
                            self.assertRegex(rows[1], " at.* au")
            self.assertIn((long_name + "-1").encode(), run("list", folder)[1])
        self.assertIn("~", on_terminal("list", input=dma, columns=40, LC_ALL="C")[1])

    def test_nothing_steers_the_terminal(self):
        """Neither a record nor a file's name: no control, of one byte or in UTF-8, and nothing that turns the order.
        Into a pipe, only the text of show and csv is exact."""
        version, payload = case("dma", "v1")
        evil = b"\33]0;evil\7\x9b2J\xc2\x9b\x7f\xe2\x80\xae\xe2\x81\xa6\xe2\x80\xa9"
        data = record("DMA", version, payload[:124] + evil + b"\xc3\xa9\0" + payload[124 + len(evil) + 3:])
        steers = "[\0-\10\13-\37\x7f]|\xc2[\x80-\x9f]|\xe2\x80[\xa9\xae]|\xe2\x81\xa6"
        for line in ("show", "hex", "list", "diff --all", "carve", "carve --decode", "count --by file,hint", "csv",
                     "csv --values", "csv --columns file,type,hint"):
            for locale in ("C", "C.UTF-8"):
                with self.subTest(line, locale=locale), tempfile.TemporaryDirectory() as folder:
                    name = os.path.join(os.fsencode(folder), b"evil\n==> " + evil)
                    Path(os.fsdecode(name)).write_bytes(data + data[:50])
                    command, *options = line.split()
                    files = [name, name] if command == "diff" else [name]
                    shown = [on_terminal(command, *options, *more, *files, LC_ALL=locale)[1]
                             for more in ([], ["--color=always"])]
                    if command != "csv":
                        environment = {**os.environ, "LC_ALL": locale}
                        piped = run(command, *options, *files, env=environment)[1].decode("latin-1")
                        shown += re.findall("(?m)^==> .*$", piped) if command == "show" else [piped]
                        self.assertEqual(evil in piped.encode("latin-1"), command == "show")
                    for text in shown:
                        text = re.sub(r"\x1b\[[0-9;]*m", "", text)
                        self.assertIn("DMA" if command != "count" else "COUNT", text)
                        self.assertNotRegex(text.replace("\r\n", "\n"), steers)
                        self.assertNotRegex(re.sub("[\xc2-\xf4][\x80-\xbf]+", "", text), "[\x80-\x9f]")

    def test_only_separators_begin_like_one(self):
        forged = b"\n==> none offset 0x000000 record 0 FSI <==\r==> none\n"
        version, payload = case("dma", "v1")
        data = record("DMA", version, payload[:124] + forged + payload[124 + len(forged):])
        with tempfile.TemporaryDirectory() as folder:
            name = os.path.join(folder, "a" + os.fsdecode(forged))
            Path(name).write_bytes(data + b"x" * 9)
            for command, separators in ((("show", name), 2), (("hex", name), 2), (("carve", "--decode", name), 1),
                                        (("diff", "--all", name, name), 2), (("list", name, name + "none"), 0),
                                        (("show", "-o", name + "/x", "-"), 0)):
                with self.subTest(command):
                    _, out, err = run(*command, input=dma)
                    self.assertEqual(len(re.findall(rb"(?:^|[\r\n])==>", out)), separators)
                    self.assertNotRegex(err, rb"(?m)^(?!ffdc: ).")
            self.assertIn(forged, run("show", "--no-legend", name)[1])

    def test_pager(self):
        table = [("more than a screen", dma * 3, (), "sed s/^/P:/", True),
                 ("less than a screen", dma, ("-t", "14"), "sed s/^/P:/", False),
                 ("not wanted", dma * 3, ("--no-pager",), "sed s/^/P:/", False),
                 ("not there", dma * 3, (), "no-such-pager -x", False)]
        for name, data, options, pager, paged in table:
            with self.subTest(name):
                status, shown = on_terminal("show", "-q", "--color=never", *options, input=data, PAGER=pager)
                self.assertIn(status, (0, 1, 3))
                self.assertEqual("P:==> " in shown, paged)
                self.assertEqual(shown.replace("P:", ""), run("show", "-q", *options, input=data)[1].decode("latin-1"))

    def test_messages_are_seen_after_a_pager_that_ends_early(self):
        input = resized(fsi, 100)[:100] + dma * 3000
        shown = on_terminal("show", "--color=never", input=input, PAGER="head -n 1")
        self.assertEqual(shown, (3, "==> - offset 0x000000 record 0 FSI <==\n"
                                    "ffdc: -: offset 0x000000: expected a payload of 96 bytes, found 58 bytes\n"))

    def test_carve_tells_how_far_a_long_search_is(self):
        def write(pipe):
            with open(pipe, "wb", buffering=0) as slow:
                for part in (bytes(3 << 20), bytes(1 << 20) + dma):
                    slow.write(part)
                    time.sleep(1.1)

        for options, terminal, told in (((), "xterm", True), (("-q",), "xterm", False), ((), "dumb", False)):
            with self.subTest(options, terminal=terminal), tempfile.TemporaryDirectory() as folder:
                pipe = os.path.join(folder, "pipe\33[2J")
                os.mkfifo(pipe)
                writer = threading.Thread(target=write, args=(pipe,), daemon=True)
                writer.start()
                _, shown = on_terminal("carve", "--color=never", *options, pipe, TERM=terminal)
                writer.join()
                found = re.search(r"\r\x1b\[Kffdc: .*/pipe\.\[2J: [234] MiB, 0 records.*\r\x1b\[K", shown)
                self.assertEqual(found is not None, told, shown)
                self.assertIn("0x400000 DMA", shown)

    def test_messages_come_after_the_output(self):
        _, shown = on_terminal("show", "--color=never", input=dma[:100])
        message = "ffdc: -: offset 0x000000: expected a record of 294 bytes, found 100 bytes"
        self.assertRegex(shown, rf"(?s)^==> .*\n{message}\n$")


class Output(unittest.TestCase):
    def test_a_reader_that_stops_ends_it_quietly(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(dma * 20000)
            file.flush()
            for command in ("show", "json", "csv", "hex", "list"):
                with self.subTest(command):
                    child = subprocess.Popen([ffdc, command, "-q", file.name], stdout=subprocess.PIPE,
                                             stderr=subprocess.PIPE)
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
                    self.assertEqual((done.returncode, done.stderr),
                                     (2, b"ffdc: standard output: No space left on device\n"))
        self.assertEqual(run("show", "-o", "/dev/full", input=dma)[::2],
                         (2, b"ffdc: /dev/full: No space left on device\n"))

    def test_output_file(self):
        """All of it, and only when all is well; then in place of the old file, whose mode and links stay."""
        with tempfile.TemporaryDirectory() as folder:
            path, link = Path(folder, "out"), Path(folder, "link")
            link.symlink_to("out")
            for command in commands[:7]:
                for data in (dma + mbox, dma, b""):  # each shorter than what is there
                    with self.subTest(command):
                        status, out, _ = run(command, "-o", link, input=data)
                        self.assertEqual((status, out, path.read_bytes()),
                                         (0 if data else 1, b"", run(command, input=data)[1]))
            path.write_bytes(b"old")
            path.chmod(0o640)
            for wrong in (("show", "--nope"), ("show", "-t", "nope"), ("list", "/none"), ("list", "/none", "-"),
                          ("diff", "-", "/none")):
                with self.subTest(wrong):
                    status, _, err = run(*wrong, "-o", path, input=dma)
                    self.assertEqual((status, path.read_bytes()), (2, b"old"), err)
            self.assertEqual(run("diff", "-", path, "-o", path, input=dma)[::2],
                             (2, f"ffdc: {path}: is also the output\n".encode()))

            def limit():
                resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

            status, _, err = run("show", "-o", path, input=dma * 9, preexec_fn=limit)
            self.assertEqual((status, path.read_bytes(), err), (2, b"old", f"ffdc: {path}: File too large\n".encode()))
            self.assertEqual(run("show", "-o", path, input=dma)[0], 0)
            self.assertEqual((path.stat().st_mode & 0o777, link.is_symlink()), (0o640, True))
            self.assertEqual(sorted(os.listdir(folder)), ["link", "out"])

    def test_closed_descriptors_are_not_reused(self):
        data = dma + b"x" * 9
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "out")
            for closed in ((2,), (0, 1, 2)):
                run("json", "-o", path, "-", "/dev/stdin", input=data, preexec_fn=lambda: [os.close(n) for n in closed])
                self.assertNotIn(b"ffdc: ", path.read_bytes())
        done = run("list", input=data, preexec_fn=lambda: os.close(1))
        self.assertEqual((done[0], done[2].splitlines()[-1]), (2, b"ffdc: standard output: Bad file descriptor"))

    def test_links_are_followed_as_the_system_does(self):
        """In a directory such as /tmp, the system may refuse the links of others."""
        with tempfile.TemporaryDirectory() as folder:
            path, link = Path(folder, "own"), Path(folder, "tmp", "link")
            path.write_bytes(b"old")
            link.parent.mkdir()
            link.parent.chmod(0o1777)
            link.symlink_to(path)
            if os.geteuid() == 0:
                os.lchown(link, 1, 1)
            try:
                os.close(os.open(link, os.O_WRONLY))
                expected = 0, run("list", input=dma)[1]
            except PermissionError:
                expected = 2, b"old"
            self.assertEqual((run("list", "-o", link, input=dma)[0], path.read_bytes()), expected)

    def test_output_that_is_no_file(self):
        expected = run("list", input=dma)[1]
        with tempfile.TemporaryDirectory() as folder:
            pipe, file = os.path.join(folder, "pipe"), os.path.join(folder, "file")
            os.mkfifo(pipe)
            reader = subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE)
            self.assertEqual(run("list", "-o", pipe, input=dma)[0], 0)
            self.assertEqual(reader.communicate()[0], expected)
            for name in ("-", "/dev/stdout"):
                with self.subTest(name):
                    self.assertEqual(run("list", "-o", name, input=dma), (0, expected, b""))
                    Path(file).write_bytes(b"before\n")
                    with open(file, "ab") as appended:
                        subprocess.run([ffdc, "list", "-o", name], input=dma, stdout=appended)
                    self.assertEqual(Path(file).read_bytes(), b"before\n" + expected)

    def test_output_that_is_an_input(self):
        with tempfile.TemporaryDirectory() as folder:
            path, link = Path(folder, "dump"), Path(folder, "link")
            path.write_bytes(dma)
            os.link(path, link)
            for command in ("show dump -o dump", "show link -o dump", "show -o dump < link", "show dump >> link",
                            "show <> dump >&0", "show -o - - < dump >> link"):
                with self.subTest(command):
                    done = subprocess.run(["sh", "-c", '"$0" ' + command, ffdc], cwd=folder, capture_output=True)
                    self.assertEqual((done.returncode, done.stdout, path.read_bytes()), (2, b"", dma))
                    self.assertRegex(done.stderr, rb"^ffdc: (dump|link|standard input): is also the output\n$")

    def test_out_of_memory(self):
        if b"__asan_init" in Path(ffdc).read_bytes():
            self.skipTest("the sanitizer needs its own memory")
        text = b"00000000  " + b"ff " * 8 + b" " + b"ff " * 8 + b" |................|\n*\n08000000\n"
        limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20))
        self.assertEqual(run("diff", "--no-limits", "--from=hex", "-", "/dev/null", input=text, preexec_fn=limit),
                         (2, b"", b"ffdc: out of memory\n"))


if __name__ == "__main__":
    unittest.main()
