"""Adds up the results of ctest: prints "N passed, N failed" and fails when a test did. Before that it
names what failed, and what was skipped and why.

    summary.py TREE...    build trees with ctest's junit.xml; in their folder cases/ each GoogleTest
                          program has NAME.running until its end, and NAME.xml from then on

The cases of such a program count one by one. Of a program that broke off, the cases count that its
output tells of, and the one that it was in counts as failed, whatever the program's exit status. A Python
test counts as one, and what it skips beside that; it tells why if it runs with verbosity 2.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

STATES = {"OK": "passed", "FAILED": "failed", "SKIPPED": "skipped"}


def state(case):
    if case.find("failure") is not None:
        return "failed"
    return "passed" if case.find("skipped") is None else "skipped"


def state_of_test(test):
    """For ctest also skips what it could not start, such as a program that is not there."""
    skipped = test.find("skipped")
    if skipped is not None and not skipped.get("message", "").startswith("SKIP_"):
        return "failed"
    return state(test)


def last_line(text):
    return text.strip().rpartition("\n")[2].strip()


def cases_written(path):
    """Name, state and reason of each, from what GoogleTest wrote at the end."""
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        if case.get("status") == "run":
            skipped = case.find("skipped")
            # Its first line is the place in the sources.
            why = "" if skipped is None else last_line(skipped.get("message", "")) or "no reason was told"
            yield f"{case.get('classname')}.{case.get('name')}", state(case), why


def cases_printed(output):
    """The same, from the output of a program that broke off."""
    cases = {}
    for word, name in re.findall(r"^\[ +(RUN|OK|FAILED|SKIPPED) +\] (\S+?)(?:,.*| \(.*)?$", output,
                                 re.MULTILINE):
        cases[name] = "broke off" if word == "RUN" else STATES[word]
    announced = re.search(r"^\[=+\] Running (\d+) test", output, re.MULTILINE)
    missing = int(announced[1]) - len(cases) if announced else 0
    rest = f" (broke off, {missing} more not run)" if missing else " (broke off)"
    return [(name + rest, "failed", "") if how == "broke off" else (name, how, "")
            for name, how in cases.items()]


def skips_of_unittest(output):
    """Name, state and reason of what a Python test left out."""
    name, told = "", []
    for line in output.splitlines():
        named = re.match(r" *(\w+) \(\S+\)", line)
        name = named[1] if named else name
        why = re.search(r"(?:^|\.\.\. )skipped (['\"])(.*)\1$", line)
        if why:
            told.append((name, "skipped", why[2]))
    counted = re.search(r"^OK \(.*?skipped=(\d+)", output, re.MULTILINE)
    silent = int(counted[1]) - len(told) if counted else 0
    return told + [("one of its cases", "skipped", "no reason was told")] * silent


def results(tree):
    """Name, state and reason of all that ran in a tree."""
    for test in ElementTree.parse(tree / "junit.xml").getroot().iter("testcase"):
        name, whole, output = test.get("name"), state_of_test(test), test.findtext("system-out") or ""
        written, cases = tree / "cases" / f"{name}.xml", []
        if (tree / "cases" / f"{name}.running").exists():
            cases, whole = cases_printed(output), "failed"
        elif written.exists():
            cases = list(cases_written(written))
        yield from ((f"{name}: {case}", how, why) for case, how, why in cases)
        if not cases:
            yield name, whole, last_line(output) if whole == "skipped" else ""
            yield from ((f"{name}: {case}", how, why) for case, how, why in skips_of_unittest(output))
        # Such as a leak, which is found after the last case.
        elif whole == "failed" and all(how != "failed" for _, how, _ in cases):
            yield f"{name}: after its cases", "failed", ""


def main(trees):
    counts = dict.fromkeys(STATES.values(), 0)
    for tree in map(pathlib.Path, trees):
        for name, how, why in results(tree):
            counts[how] += 1
            if how != "passed":
                print(f"{how}: {name} ({tree}){': ' if why else ''}{why}")
    skipped = f", {counts['skipped']} skipped" if counts["skipped"] else ""
    print(f"{counts['passed']} passed, {counts['failed']} failed{skipped}")
    return 1 if counts["failed"] or not counts["passed"] else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
