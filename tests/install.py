"""Installs the build into a prefix with a space in its path, and uses what stands there as a stranger would.

install.py SOURCE BUILD CMAKE CC CXX; the build's own list of installed files is left as it was.
"""
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
program = f"""
#include <string.h>
#include <tavi_ffdc.h>
int main(void) {{ return strcmp(tavi_ffdc_version(), "{version}") || strcmp(TAVI_FFDC_VERSION, "{version}"); }}
"""
project = """
cmake_minimum_required(VERSION 3.25)
project(stranger LANGUAGES C CXX)
%s
add_executable(shared main.c)
target_link_libraries(shared PRIVATE tavi_ffdc::tavi_ffdc)
add_executable(static main.c)
target_link_libraries(static PRIVATE tavi_ffdc::tavi_ffdc_static)
"""


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
        (cls.folder / "main.c").write_text(program)

    @classmethod
    def installed(cls):
        return {path.relative_to(cls.prefix).as_posix() for path in cls.prefix.rglob("*") if not path.is_dir()}

    def built(self, find):
        """A project of its own, with the library found in this way."""
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        shutil.copy(self.folder / "main.c", folder)
        (folder / "CMakeLists.txt").write_text(project % find)
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
        link = f"eval {cc} main.c $(pkg-config --cflags --libs tavi_ffdc) -o linked"
        run("sh", "-c", link, env=environment, cwd=self.folder)
        run(self.folder / "linked", env=os.environ | {"LD_LIBRARY_PATH": str(self.prefix / "lib")})
        self.assertEqual(needed(self.folder / "linked"), ["libtavi_ffdc.so", "libc.so.6"])

    def test_cmake_package(self):
        major, minor, _ = version.split(".")
        made = self.built(f"find_package(tavi_ffdc {major}.{minor} REQUIRED)")
        run(cmake, "--build", made)
        for kind, libraries in (("shared", ["libtavi_ffdc.so", "libc.so.6"]), ("static", ["libc.so.6"])):
            run(made / kind)
            self.assertEqual(needed(made / kind), libraries)
        with self.assertRaisesRegex(AssertionError, "compatible"):
            self.built(f"find_package(tavi_ffdc {int(major) + 1} REQUIRED)")

    def test_in_a_project_of_others(self):
        """The same names, no installation of its own, and every file that it is made from is found."""
        made = self.built(f'include(FetchContent)\nFetchContent_Declare(tavi_ffdc SOURCE_DIR "{source}")\n'
                          "FetchContent_MakeAvailable(tavi_ffdc)")
        inputs = shlex.split(run("ninja", "-C", made, "-t", "inputs", "all"))
        inputs = [path for path in inputs if path.startswith(str(source))]
        self.assertIn(str(source / "core" / "exports.map"), inputs)
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
