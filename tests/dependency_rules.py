"""The arrows of the house: which folder may include what, that a unit includes its own header, what only
one place may use, that each test is built or run, and what the broker may link.

    dependency_rules.py SOURCE-DIRECTORY PROGRAM
"""

import pathlib
import re
import subprocess
import sys

MODULE = ["module", "providers", "engine", "discovery", "results"]

# Folder: the places whose headers it may include besides its own. A folder below it that has a rule
# of its own goes by that. "model" stands for the generated classes.
RULES = {
    "platform/framework": [],
    "platform/support": [],
    "platform/xml": [],
    "platform/smbios": ["platform/support"],
    "platform/cmpi": ["platform/framework"],
    "model": ["platform/framework", "platform/cmpi/cmpi.h", "broker/repository.h"],
    "results": ["platform/support", "platform/xml"],
    "engine": ["platform/support"],
    "discovery": ["platform/support", "platform/smbios"],
    "providers": ["engine", "discovery", "results", "platform/framework", "platform/support",
                  "model"],
    "module": [*MODULE, "platform", "model"],
    "inventory": ["platform", "model"],
    # The broker sees CMPI as any object manager does: the interface, not the adapter.
    "broker": ["platform/cmpi/cmpi.h"],
    "broker/cimxml": ["broker"],
    # The server hands requests on and knows nothing of the object manager.
    "broker/http": ["broker/cimxml/call.h", "broker/cimxml/functional_groups.h"],
    # No CIM in it. What sysfs tells of drives is read by the inventory's units.
    "drivetest": ["platform/support", "inventory/device_text.h", "inventory/disk.h",
                  "inventory/sysfs.h", "inventory/test_tree.h"],
    # What is wrong with the message file has to be what the module finds wrong: by its parser.
    "cli": ["broker", "drivetest", "platform/support", "results/message_file.h",
            "inventory/test_tree.h"],
}
# What a rule would allow otherwise.
FORBIDDEN = {"broker": ["broker/cimxml", "broker/http"], "broker/cimxml": ["broker/http"]}

# The folders of the product, and those that have tests.
FOLDERS = sorted({folder.split("/")[0] for folder in RULES})
TESTED = [*FOLDERS, "deploy", "lab", "tests"]

# What is done in one place: how it looks, and the files that may do it. All others call these.
ONE_PLACE = [
    ("starts a process", re.compile(r"\bposix_spawnp?\b"), ["platform/spawn_plan.h"]),
    ("makes an XML parser", re.compile(r"\bXML_ParserCreate"), ["platform/xml_reader.h"]),
    ("reads UTF-8", re.compile(r"\b0x[CcEe]0\b"), ["platform/utf8.h"]),
    ("reads Base64", re.compile(r"\bgnutls_base64_decode|\bEVP_Decode"), ["broker/http/head.cpp"]),
    ("compares without regard to case", re.compile(r"\bstrn?casecmp\b"), ["platform/words.h"]),
    ("opens a database", re.compile(r"\bsqlite3_open"), ["drivetest/database.cpp"]),
    # The present, and the times that people read.
    ("asks for local time", re.compile(r"\blocaltime(_r)?\b"),
     ["platform/local_time.h", "cli/test_words.cpp"]),
]
NO_PRODUCT = re.compile(r"(^|/)test_|_test\.")

OURS = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
LINKED = re.compile(r"\(NEEDED\).*\[(.*)\]")


def inside(path, places):
    return any(path == place or path.startswith(place + "/") for place in places)


def folder_of(source, root):
    """The innermost folder with a rule that the source is in."""
    parents = [str(parent) for parent in source.relative_to(root).parents]
    return next(parent for parent in parents if parent in RULES)


ANYWHERE_IN_TESTS = ["tests/replaced_memory.h"]


def leaves(root):
    """The headers that every folder may include: those directly in platform/."""
    return [str(header.relative_to(root)) for header in sorted((root / "platform").glob("*.h"))]


def wrong_leaves(root):
    for leaf in leaves(root):
        for header in OURS.findall((root / leaf).read_text(encoding="utf-8")):
            yield f"{leaf} includes {header}: every folder may include it, so it includes none of ours"


def wrong_includes(root):
    anywhere = leaves(root)
    for folder, allowed in RULES.items():
        for source in sorted((root / folder).rglob("*")):
            if source.suffix not in {".h", ".c", ".cpp", ".def"} or folder_of(source, root) != folder:
                continue
            for header in OURS.findall(source.read_text(encoding="utf-8")):
                places = [folder, *allowed, *anywhere]
                if source.stem.endswith("_test"):
                    places += ANYWHERE_IN_TESTS
                if not inside(header, places) or inside(header, FORBIDDEN.get(folder, [])):
                    yield f"{source.relative_to(root)} includes {header}"


def wrong_units(root):
    """A unit that was copied and still includes the header that it was copied with."""
    for folder in RULES:
        for source in sorted((root / folder).rglob("*.cpp")):
            header = source.with_suffix(".h")
            own = str(header.relative_to(root))
            if header.exists() and own not in OURS.findall(source.read_text(encoding="utf-8")):
                yield f"{source.relative_to(root)} does not include {own}"


def second_places(root):
    for folder in FOLDERS:
        for source in sorted((root / folder).rglob("*")):
            name = str(source.relative_to(root))
            if source.suffix not in {".h", ".c", ".cpp"} or NO_PRODUCT.search(name):
                continue
            code = re.sub(r"//.*", "", source.read_text(encoding="utf-8"))
            for what, pattern, places in ONE_PLACE:
                if pattern.search(code) and name not in places:
                    yield f"{name} {what} by itself; {' or '.join(places)} does so"


def names_file(commands, name):
    """Whether the commands of a CMakeLists.txt name the file: as it is, or as that of a loop, such as
    ${name}_test.py, whose words stand there too."""
    for named in re.findall(r"(?:\w|\$\{\w+\})+\.(?:cpp|py)\b", commands):
        pattern = re.sub(r"\\\$\\\{\w+\\\}", r"(\\w+)", re.escape(named))
        if (found := re.fullmatch(pattern, name)) and all(
                re.search(rf"(?<![\w./]){word}(?![\w.])", commands) for word in found.groups()):
            return True
    return False


def forgotten_tests(root):
    """A test that no CMakeLists.txt names is never built or run, and nobody misses it."""
    for folder in TESTED:
        for test in sorted((root / folder).rglob("*_test.*")):
            if test.suffix not in {".cpp", ".py"}:
                continue
            lists = (parent / "CMakeLists.txt" for parent in test.parents if parent.is_relative_to(root))
            if not any(names_file(re.sub("#.*", "", one.read_text(encoding="utf-8")), test.name)
                       for one in lists if one.exists()):
                yield f"{test.relative_to(root)} is in no CMakeLists.txt"


def wrong_libraries(program):
    listing = subprocess.run(["readelf", "-d", program], check=True, capture_output=True, text=True)
    for library in LINKED.findall(listing.stdout):
        if re.search(r"cmpi|cimple|kavromodel", library):
            yield f"{program} links {library}: providers are reached through CMPI alone"


def main():
    root = pathlib.Path(sys.argv[1])
    faults = [*wrong_leaves(root), *wrong_includes(root), *wrong_units(root),
              *second_places(root), *forgotten_tests(root), *wrong_libraries(sys.argv[2])]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
