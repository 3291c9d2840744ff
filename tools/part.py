"""Finds a part of the test suite by its name, for ./test NAME.

    part.py TREE NAME    prints what to build, a regular expression of ctest names, and a filter of
                         GoogleTest cases, a line each; the first and the last may be empty

A part is what NAME is the name of: a test, a test's name up to a dot (a program with shards, or
a group such as lab), a folder of the sources with those in it, or a label. Where it is none of
these, it is a regular expression of names of tests, or else of cases in the programs that are
built. Exit status 2 when there is no such part; standard error says which there are.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import textwrap


class Test:
    def __init__(self, entry, tree):
        properties = {one["name"]: one["value"] for one in entry["properties"]}
        self.name = entry["name"]
        self.folder = os.path.relpath(properties["WORKING_DIRECTORY"], tree)
        self.labels = properties.get("LABELS", [])
        self.command = entry.get("command", [])  # there is none until the program is built
        if self.command and self.command[0].endswith("/own_tmp.sh"):
            self.command = self.command[2:]
        self.required = properties.get("REQUIRED_FILES", [])
        self.environment = dict(one.split("=", 1) for one in properties.get("ENVIRONMENT", []))

    def answers_to(self, name):
        return (self.name == name or self.name.startswith(name + ".") or name in self.labels or
                (self.folder + "/").startswith(name.rstrip("/") + "/"))

    def cases(self):
        """Those of its program, if it is one of GoogleTest and built."""
        if "GTEST_OUTPUT" not in self.environment or not os.access(self.command[0], os.X_OK):
            return []
        listed = subprocess.run([self.command[0], "--gtest_list_tests"], capture_output=True,
                                text=True, check=False, env={**os.environ, **self.environment})
        cases, suite = [], ""
        for line in listed.stdout.splitlines():
            word = line.split("#")[0].strip()
            if line.startswith("  "):
                cases.append(suite + word)
            else:
                suite = word
        return cases


def built_files(tree):
    """What the build makes, by path in the tree."""
    listed = subprocess.run(["ninja", "-C", tree, "-t", "targets", "all"], capture_output=True,
                            text=True, check=True)
    return {line.rsplit(": ", 1)[0] for line in listed.stdout.splitlines()}


def targets(tests, tree):
    """What the tests need: the files of the tree that their commands name, or that they require. A
    command that names a folder may use anything in it, unless the test says what it requires. A
    program's first build goes by its target's name."""
    built, needed = built_files(tree), set()
    for name in {test.name.split(".")[0] for test in tests if not test.command}:
        needed.add(name if name in built else "all")
    words = {word for test in tests for word in test.command + test.required
             if not (test.required and os.path.isdir(word))}
    for word in words:
        if pathlib.Path(word).is_relative_to(tree):
            path = os.path.relpath(word, tree)
            if path in built:
                needed.add(path)
            elif os.path.isdir(word):
                needed.add("all")
    return ["all"] if "all" in needed else sorted(needed)


def choose(tests, name):
    """The tests of the part, and which cases of them when not all."""
    if chosen := [test for test in tests if test.answers_to(name)]:
        return chosen, []
    try:
        wanted = re.compile(name)
    except re.error:
        return [], []
    if chosen := [test for test in tests if wanted.search(test.name)]:
        return chosen, []
    found = {test: [case for case in test.cases() if wanted.search(f"{test.name}.{case}")]
             for test in tests}
    return [test for test in tests if found[test]], sorted(set(sum(found.values(), [])))


def explain(tests, name):
    def listed(what, names):
        print(textwrap.fill(f"{what}: {' '.join(sorted(names))}", 100, subsequent_indent="  ",
                            break_long_words=False, break_on_hyphens=False), file=sys.stderr)
    print(f"./test: there is no part '{name}': no test, folder, label or case that is built.",
          file=sys.stderr)
    listed("Tests", {test.name.split(".")[0] for test in tests})
    listed("Folders", {test.folder for test in tests})
    listed("Labels", {label for test in tests for label in test.labels})


def main(tree, name):
    tree = os.path.realpath(tree)
    shown = subprocess.run(["ctest", "--test-dir", tree, "--show-only=json-v1"], check=True,
                           capture_output=True, text=True)
    tests = [Test(entry, tree) for entry in json.loads(shown.stdout)["tests"]]
    chosen, cases = choose(tests, name)
    if not chosen:
        explain(tests, name)
        return 2
    print(" ".join(targets(chosen, tree)))
    print("^(" + "|".join(re.escape(test.name) for test in chosen) + ")$")
    print(":".join(cases))
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
