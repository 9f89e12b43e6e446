"""Installs the build into a prefix with a space in its path, and uses what stands there as a stranger would.

install.py SOURCE BUILD CMAKE CC CXX; the build's own list of installed files is left as it was.
"""
import csv
import io
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

source, build = map(pathlib.Path, sys.argv[1:3])
cmake, cc, cxx = sys.argv[3:6]
header = (source / "include" / "tavi_ffdc.h").read_text()
version = ".".join(re.search(rf"TAVI_FFDC_VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))
examples = source / "examples"
samples = source / "samples"


def run(*command, **more):
    command = [str(c) for c in command]
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **more)
    if done.returncode != 0:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}")
    return done.stdout


def needed(program):
    return re.findall(r"NEEDED.*\[(.*)\]", run("readelf", "-d", program))


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="ffdc install "))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.prefix = cls.folder / "prefix"
        kept = [(path, path.read_bytes()) for path in build.glob("install_manifest*.txt")]
        cls.addClassCleanup(lambda: [path.write_bytes(text) for path, text in kept])
        cls.files = {}
        for component in ("runtime", "development", "tool"):
            before = cls.installed()
            run(cmake, "--install", build, "--prefix", cls.prefix, "--component", component)
            cls.files[component] = cls.installed() - before

    @classmethod
    def installed(cls):
        return {path.relative_to(cls.prefix).as_posix() for path in cls.prefix.rglob("*") if not path.is_dir()}

    def built(self, change=lambda project: project):
        """The examples, with the library found as their project says or as it is changed to."""
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder)) / "examples"
        shutil.copytree(examples, folder)
        project = folder / "CMakeLists.txt"
        project.write_text(change(project.read_text()))
        run(cmake, "-G", "Ninja", "-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_COMPILER={cc}", f"-DCMAKE_CXX_COMPILER={cxx}")
        return folder / "build"

    def test_components(self):
        self.assertEqual(self.files["runtime"], {"lib/libtavi_ffdc.so"})
        self.assertLessEqual({"include/tavi_ffdc.h", "lib/libtavi_ffdc.a", "lib/pkgconfig/tavi_ffdc.pc",
                              "lib/cmake/tavi_ffdc/tavi_ffdc-config.cmake"}, self.files["development"])
        self.assertLessEqual({"bin/ffdc", "share/man/man1/ffdc.1", "share/bash-completion/completions/ffdc",
                              "share/zsh/site-functions/_ffdc", "share/fish/vendor_completions.d/ffdc.fish"},
                             self.files["tool"])

    def test_the_tool_starts_wherever_it_stands(self):
        self.assertEqual(run(self.prefix / "bin" / "ffdc", "--version"), f"ffdc {version}\n")
        moved = self.folder / "moved"
        shutil.copytree(self.prefix, moved)
        self.assertEqual(run(moved / "bin" / "ffdc", "--version"), f"ffdc {version}\n")

    def test_pkg_config(self):
        environment = os.environ | {"PKG_CONFIG_PATH": str(self.prefix / "lib" / "pkgconfig")}
        self.assertEqual(run("pkg-config", "--modversion", "tavi_ffdc", env=environment).strip(), version)
        # In the shell, as it is written in makefiles: the space must survive.
        for name in ("text", "values"):
            run("sh", "-c", f"eval {cc} -std=gnu99 -Werror -Wall -Wextra {shlex.quote(str(examples / name))}.c "
                f"$(pkg-config --cflags --libs tavi_ffdc) -o {name}", env=environment, cwd=self.folder)
            self.assertEqual(needed(self.folder / name), ["libtavi_ffdc.so", "libc.so.6"])
        self.use(self.folder, env=os.environ | {"LD_LIBRARY_PATH": str(self.prefix / "lib")})

    def use(self, folder, **more):
        """The examples give what the tool shows, and each value what its bytes are."""
        for name, damaged in ("chain", 0), ("damaged", 2):
            dump = samples / f"{name}.ffdc"
            shown = subprocess.run([self.prefix / "bin" / "ffdc", "show", dump], capture_output=True).stdout
            parts = re.split(rb"(?m)^==> .* record \d+ (.*) <==\n", shown)[1:]
            parts = [(kind, text) for kind, text in zip(parts[::2], parts[1::2]) if b"damaged" not in kind]
            told = subprocess.run([folder / "text", dump], capture_output=True, check=True, **more)
            self.assertEqual(told.stdout, b"".join(text for _, text in parts))
            self.assertEqual(told.stderr.count(b"damaged"), damaged)
            if (folder / "one_type").exists():
                self.assertEqual(run(folder / "one_type", "FSI", dump, **more).encode(),
                                 b"".join(text for kind, text in parts if kind == b"FSI"))

        # With a text that has all that CSV must quote.
        area = (samples / "all_types.ffdc").read_bytes().replace(b"putscan failed", b'put,"scan" bad')
        table = subprocess.run([folder / "values"], input=area, capture_output=True, check=True, **more).stdout
        rows = list(csv.DictReader(io.StringIO(table.decode("latin-1"), newline="")))
        self.assertIn('put,"scan" bad: 100%s of %d\nline two', [row["text"] for row in rows if row["type"] == "SCAN"])
        self.assertEqual({row["type"] for row in rows}, set(re.findall(r"FFDC_TYPE_(\w+) = ", header)))
        for row in (row for row in rows if row["mask"]):
            offset, size, mask, number = (int(row[name], 0) for name in ("offset", "size", "mask", "number"))
            bits = int.from_bytes(area[offset:offset + size], "big") & mask
            digits = f"{bits:x}"  # of a binary-coded decimal number
            wanted = bits, bits == mask, int(digits) if digits.isdigit() else bits
            self.assertIn(number & (1 << 8 * size) - 1, wanted, row)

    def test_cmake_package(self):
        made = self.built()
        run(cmake, "--build", made)
        self.use(made)
        static = self.built(lambda project: project.replace("tavi_ffdc::tavi_ffdc)", "tavi_ffdc::tavi_ffdc_static)"))
        run(cmake, "--build", static, "--target", "text")
        for made, libraries in (made, ["libtavi_ffdc.so", "libc.so.6"]), (static, ["libc.so.6"]):
            self.assertEqual(needed(made / "text"), libraries)
        with self.assertRaisesRegex(AssertionError, "compatible"):
            self.built(lambda project: project.replace("tavi_ffdc 1.1", "tavi_ffdc 2"))

    def test_in_a_project_of_others(self):
        """The same names, no installation of its own, and every file that it is made from is found."""
        page = (source / "docs" / "linking.md").read_text()
        lines = re.search(r"```cmake\n(include\(FetchContent\).*?)```", page, re.S)[1]
        lines = lines.replace("${CMAKE_SOURCE_DIR}/libtavi_ffdc", str(source))
        made = self.built(lambda project: project.replace("find_package(tavi_ffdc 1.1 REQUIRED)", lines))
        inputs = shlex.split(run("ninja", "-C", made, "-t", "inputs", "all"))
        inputs = [path for path in inputs if path.startswith(str(source))]
        self.assertIn(str(source / "core" / "records" / "exports.map"), inputs)
        self.assertEqual([path for path in inputs if not os.path.exists(path)], [])
        run(cmake, "--install", made, "--prefix", self.folder / "theirs")
        self.assertFalse((self.folder / "theirs").exists())

    def test_what_is_missing_is_told_by_package(self):
        command = [cmake, "-G", "Ninja", "-S", source, "-B", self.folder / "less", f"-DCMAKE_CXX_COMPILER={cxx}",
                   "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_doctest=ON",
                   "-DFFDC_TESTS=AUTO"]
        told = run(*command)
        self.assertIn("Without the ffdc tool: missing libcli11-dev (apt-get install libcli11-dev)", told)
        self.assertIn("Without the tests: missing doctest-dev", told)
        with self.assertRaisesRegex(AssertionError, "the ffdc tool: missing libcli11-dev"):
            run(*command, "-DFFDC_TOOL=ON")

    def test_uninstall(self):
        prefix = self.folder / "uninstall"
        run(cmake, "--install", build, "--prefix", prefix)
        self.assertTrue((prefix / "bin" / "ffdc").exists())
        run(cmake, "--build", build, "--target", "uninstall")
        self.assertEqual([str(path) for path in prefix.rglob("*") if not path.is_dir() or path.name == "tavi_ffdc"], [])


unittest.main(argv=sys.argv[:1])
