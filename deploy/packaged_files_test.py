"""What the packages hold, file by file: programs and libraries are hardened as Debian's are, no
file knows the folder that it was built in, and links in documents lead somewhere. The build tree,
whose packages are made already, is the first argument. Exit status 77: not possible here.
"""

import gzip
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
SOURCE = pathlib.Path(__file__).resolve().parent.parent
# Linked statically: it imports nothing, and most of it is the C library, which was built otherwise.
HELPER = "hvx-run"
PAGE = 4096


def listing(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def files():
    return [path for path in ROOT.rglob("*") if path.is_file() and not path.is_symlink()]


def programs():
    found = [path for path in files() if path.read_bytes()[:4] == b"\x7fELF"]
    assert len(found) >= 11, found
    return found


class Hardening(unittest.TestCase):
    def expect_of_each(self, expectation):
        for path in programs():
            with self.subTest(path.name):
                expectation(path)

    def importers(self, pattern):
        """The programs and libraries that call such a function."""
        return {path.name for path in programs()
                if re.search(rf" U {pattern}\b", listing("nm", "-D", "--undefined-only", path))}

    def test_addresses_are_chosen_at_each_start(self):
        def expectation(path):
            self.assertRegex(listing("readelf", "-hW", path), r"Type: +DYN ")
            self.assertNotIn("TEXTREL", listing("readelf", "-dW", path))
        self.expect_of_each(expectation)

    def test_tables_of_addresses_are_read_only_before_it_runs(self):
        def expectation(path):
            self.assertIn("GNU_RELRO", listing("readelf", "-lW", path))
            self.assertRegex(listing("readelf", "-dW", path), r"BIND_NOW|\(FLAGS_1\).* NOW")
        self.expect_of_each(expectation)

    def test_nothing_is_both_written_and_executed(self):
        def expectation(path):
            segments = listing("readelf", "-lW", path)
            self.assertRegex(segments, r"GNU_STACK .* RW +0x")
            self.assertNotRegex(segments, r" RWE ")
        self.expect_of_each(expectation)

    def test_stacks_are_protected(self):
        everything = {path.name for path in programs()}
        self.assertEqual(self.importers("__stack_chk_fail"), everything - {HELPER})

    def test_large_frames_touch_each_page_of_the_stack(self):
        def expectation(path):
            steps = re.findall(r"sub +\$0x([0-9a-f]{1,8}),%rsp", listing("objdump", "-d", path))
            if path.name != HELPER:
                self.assertLessEqual(max((int(step, 16) for step in steps), default=0), PAGE)
        self.expect_of_each(expectation)

    def test_functions_of_the_c_library_and_containers_are_the_checked_ones(self):
        for function in (r"__\w+_chk", r"_ZSt21__glibcxx_assert_fail\w+"):
            self.assertLessEqual({"hddtest", "libhddtest.cmpi.so"}, self.importers(function))

    def test_calls_by_address_reach_only_what_is_meant_for_them(self):
        def expectation(path):
            code = listing("objdump", "-d", "--no-show-raw-insn", path)
            self.assertGreater(code.count("endbr64"), 2)
        self.expect_of_each(expectation)


class Exports(unittest.TestCase):
    def symbols(self, path):
        return {tuple(line.split()[-2:])
                for line in listing("nm", "-D", "--defined-only", path).splitlines()}

    def test_are_those_of_the_tested_libraries(self):
        libraries = [path for path in programs() if path.name.endswith(".so")]
        self.assertGreaterEqual(len(libraries), 9)
        for path in libraries:
            self.assertEqual(self.symbols(path), self.symbols(BUILD / "lib" / path.name), path.name)
        (module,) = [path for path in libraries if path.name == "libhddtest.cmpi.so"]
        self.assertIn(("T", "KAVRO_HDDTest_DiagnosticService_Provider_Create_MethodMI"),
                      self.symbols(module))


class Documents(unittest.TestCase):
    def test_links_lead_somewhere(self):
        links = 0
        for page in ROOT.rglob("*.md"):
            for target in re.findall(r"\]\(([^)#]+)", page.read_text()):
                links += 1
                self.assertTrue((page.parent / target).exists(),
                                f"{page.relative_to(ROOT)}: {target}")
        self.assertGreater(links, 5)

    def test_paths_in_manual_pages_are_installed(self):
        for page in ROOT.rglob("*.[18].gz"):
            for path in re.findall(r"/usr/(?:share|lib)/[\w./@-]*hddtest[\w./@-]*\w",
                                   gzip.decompress(page.read_bytes()).decode().replace("\\-", "-")):
                self.assertTrue((ROOT / path[1:]).exists(), f"{page.name}: {path}")

    def test_changelogs_are_there(self):
        for package in ("hddtest", "hddtest-module"):
            page = ROOT / f"usr/share/doc/{package}/changelog.Debian.gz"
            with gzip.open(page, "rt") as changelog:
                self.assertRegex(changelog.readline(), r"^hddtest \(")


class Recommended(unittest.TestCase):
    # The command can start without them; it names them where it needs one that is missing.
    PROGRAMS = {"smartmontools": "smartctl", "nvme-cli": "nvme"}

    def test_packages_are_those_that_the_command_asks_for(self):
        package = next((BUILD / "packages").glob("hddtest_*.deb"))
        recommended = listing("dpkg-deb", "--field", package, "Recommends").strip()
        self.assertEqual(set(recommended.split(", ")), set(self.PROGRAMS))
        command = (ROOT / "usr/bin/hddtest").read_bytes()
        for name in self.PROGRAMS:
            self.assertIn(name.encode(), command)

    def test_packages_have_the_programs(self):
        for package, program in self.PROGRAMS.items():
            place = shutil.which(program, path="/usr/sbin:/usr/bin")
            if place:
                self.assertEqual(listing("dpkg-query", "--search", place).split(":")[0], package)


class Origin(unittest.TestCase):
    def test_no_file_knows_where_it_was_built(self):
        # The identity of a packaged file was made from the names of its sources, among others.
        built = [folder / path.name for path in programs()
                 for folder in (BUILD / "bin", BUILD / "lib", BUILD / "libexec")]
        for path in [*files(), *filter(pathlib.Path.exists, built)]:
            for folder in (SOURCE, BUILD):
                self.assertNotIn(str(folder).encode(), path.read_bytes(), path)


if __name__ == "__main__":
    packages = sorted((BUILD / "packages").glob("*.deb"))
    missing = [tool for tool in ("dpkg-deb", "readelf", "objdump", "nm") if not shutil.which(tool)]
    if missing or not packages:
        print(f"skipped: {', '.join(missing) or 'packages'} missing")
        sys.exit(77)
    with tempfile.TemporaryDirectory(prefix="hddtest_files.") as folder:
        ROOT = pathlib.Path(folder)
        for package in packages:
            subprocess.run(["dpkg-deb", "--extract", package, ROOT], check=True)
        unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
