"""A module's symbols: the dynamic ones are the documented ones and nothing else of ours.

    exports_test.py MODULE TABLE [UNITS FUNCTIONS]

FUNCTIONS are further ones with C++ linkage, between commas. With the number of the module's source
units it also reads the full symbol table, which a stripped library has not.
"""

import pathlib
import re
import subprocess
import sys
import unittest

MODULE, TABLE = sys.argv[1:3]
UNITS = int(sys.argv[3]) if len(sys.argv) > 3 else None
FUNCTIONS = sys.argv[4].split(",") if len(sys.argv) > 4 else []


def listing(*options):
    return subprocess.run(["nm", *options, MODULE], check=True, capture_output=True,
                          text=True).stdout.splitlines()


def symbols(*options):
    """Kind and name of each symbol."""
    return [(line.split()[-2], line.split()[-1].split("@")[0]) for line in listing(*options)]


def dynamic_symbols(*options):
    return {name for _, name in symbols("-D", *options)}


def rows():
    with open(TABLE, encoding="utf-8") as table:
        return re.findall(r"^(INSTANCE|ASSOCIATION)\((\w+)\)$", table.read(), re.MULTILINE)


class Exports(unittest.TestCase):
    def test_defined_symbols_are_the_documented_ones(self):
        expected = {"cimple_module"}
        for kind, name in rows():
            kinds = ["Instance", "Method"] + (["Association"] if kind == "ASSOCIATION" else [])
            expected |= {f"{name}_Provider_Create_{k}MI" for k in kinds}
        plain = {name for name in dynamic_symbols("--defined-only") if not name.startswith("_Z")}
        self.assertEqual(plain, expected)
        demangled = {re.split(r"[(\[]", line.split(maxsplit=2)[2])[0]
                     for line in listing("-DC", "--defined-only") if "(" in line}
        self.assertEqual(demangled, set(FUNCTIONS))
        self.assertEqual(len(dynamic_symbols("--defined-only")), len(expected) + len(FUNCTIONS))

    def test_version_word_is_asked_of_the_framework(self):
        self.assertIn("__cimple_version_1_2_0", dynamic_symbols("--undefined-only"))

    def test_no_program_is_started_but_by_the_process_runner(self):
        # The C library's functions for this change the host's signal handling, or let the program
        # inherit the host's descriptors.
        programs = {"system", "popen", "vfork", "posix_spawn", "posix_spawnp", "execl", "execle",
                    "execlp", "execv", "execve", "execvp", "execvpe", "fexecve"}
        self.assertEqual(dynamic_symbols("--undefined-only") & programs, set())


@unittest.skipIf(UNITS is None, "only the dynamic symbols are looked at")
class FullTable(unittest.TestCase):
    def matches(self, pattern, kinds=""):
        """The text of the pattern's group in each symbol that matches and is of one of the kinds."""
        found = [(kind, re.fullmatch(pattern, name)) for kind, name in symbols()]
        return sorted(match[1] for kind, match in found if match and (not kinds or kind in kinds))

    def setUp(self):
        self.providers = sorted(f"{name}_Provider" for _, name in rows())

    def test_every_registered_provider_and_no_other_has_a_dispatch_routine(self):
        # The compiler adds the scope and the length before the name, and the argument types after it.
        self.assertEqual(self.matches(r"_ZN\d+ovk_cimple\d+__cimple_(\w+)_procEPKNS_\w+", "tT"),
                         self.providers)

    def test_every_registered_provider_has_its_zeroed_static_data(self):
        self.assertEqual(self.matches(r"_cmpi_static_data(\w+)", "bB"), self.providers)
        self.assertEqual(self.matches(r"_cmpi_static_data(\w+)"), self.providers)

    def test_the_unregistered_provider_has_neither(self):
        pattern = r".*(__cimple_|_cmpi_static_data)KAVRO_HDDTest_AffectedJobElement_Provider.*"
        self.assertEqual(self.matches(pattern), [])

    def test_every_registered_provider_has_a_unit(self):
        folder = pathlib.Path(TABLE).parent.parent / "providers"
        for provider in self.providers:
            self.assertTrue((folder / f"{provider}.cpp").exists(), f"no providers/{provider}.cpp")

    def test_every_unit_has_a_version_word_of_its_own(self):
        self.assertEqual(len(self.matches(r"(?:_ZL\d+)?(__cimple_version_symbol)", "bd")), UNITS)

    def test_the_completion_record_provider_keeps_its_results(self):
        name = "KAVRO_HDDTest_DiagnosticCompletionRecord_Provider"
        member = rf"_ZN\d+ovk_cimple\d+({name})8fResults(?:B\w+)?E"  # B: the compiler's ABI tag
        self.assertEqual(self.matches(member, "bB"), [name])


unittest.main(argv=sys.argv[:1], verbosity=2)
