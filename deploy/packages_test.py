"""Makes the packages, for the tests that look into them and install them too. A second build gets
the same bytes, wherever it is done, and lintian finds nothing. The build tree is the first argument.
Exit status 77: not possible here.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
SOURCE = pathlib.Path(__file__).resolve().parent.parent
PACK = SOURCE / "deploy/pack"
TOOLS = "cmake ninja cpack lintian dpkg-deb dpkg-shlibdeps file".split()


def output(*command, **options):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}:\n{done.stdout}")
    return done.stdout


def pack(folder, **options):
    return [pathlib.Path(line) for line in output(PACK, BUILD, folder, **options).splitlines()]


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.packages = pack(BUILD / "packages")

    def test_the_same_bytes_for_everybody(self):
        self.assertEqual(len(self.packages), 2)
        with tempfile.TemporaryDirectory(prefix="hddtest_packages.") as folder:
            # The files of a new folder may be listed in another order, too.
            environment = {**os.environ, "TZ": "Asia/Tokyo", "LC_ALL": "C.UTF-8", "HOME": folder}
            again = pack(pathlib.Path(folder) / "elsewhere", umask=0o077, env=environment)
            self.assertEqual([path.name for path in again], [path.name for path in self.packages])
            for first, second in zip(self.packages, again):
                self.assertEqual(first.read_bytes(), second.read_bytes(), first.name)

    # Only a few targets, since a whole build takes minutes: sources in C and in C++, and generated
    # ones.
    TARGETS = ("hvx-run", "smbios", "hvxcore", "pegasus_registration")

    def test_a_build_in_another_folder_has_the_same_bytes(self):
        # A compiler cache may write source names of its own.
        plain = {name: value for name, value in os.environ.items() if "LAUNCHER" not in name}
        built = []
        with tempfile.TemporaryDirectory(prefix="hddtest_packages.") as folder:
            for name, seed in (("one", "1"), ("another of another length", "2")):
                tree = pathlib.Path(folder) / name
                shutil.copytree(SOURCE, tree, symlinks=True,
                                ignore=shutil.ignore_patterns("build", ".git", "__pycache__"))
                environment = {**plain, "PYTHONHASHSEED": seed}
                output("cmake", "--preset", "default", cwd=tree, env=environment)
                output("cmake", "--build", "build", "--target", *self.TARGETS, cwd=tree,
                       env=environment)
                built.append({str(path.relative_to(tree)): path.read_bytes()
                              for place in ("lib", "libexec", "share", "generated")
                              for path in (tree / "build" / place).rglob("*") if path.is_file()})
        one, another = built
        for name in ("lib/libsmbios.so", "lib/libhvxcore.so", "libexec/hvx-run",
                     "share/hddtest/pegasus.mof", "generated/model/repository.cpp"):
            self.assertIn(f"build/{name}", one)
        self.assertEqual(one.keys(), another.keys())
        self.assertEqual([name for name in one if one[name] != another[name]], [])

    def test_files_bear_the_time_of_the_source(self):
        moment = 1_000_000_000
        with tempfile.TemporaryDirectory(prefix="hddtest_packages.") as folder:
            for package in pack(folder, env={**os.environ, "SOURCE_DATE_EPOCH": str(moment)}):
                listing = output("dpkg-deb", "--contents", package, env={**os.environ, "TZ": "UTC"})
                times = {" ".join(line.split()[3:5]) for line in listing.splitlines()}
                self.assertEqual(times, {time.strftime("%Y-%m-%d %H:%M", time.gmtime(moment))})

    def test_lintian_finds_nothing(self):
        print(output("lintian", "--allow-root", "--fail-on", "error,warning", *self.packages))


if __name__ == "__main__":
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        print(f"skipped: not installed: {', '.join(missing)}")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
