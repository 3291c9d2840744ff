"""Adds up ctest's result files: prints "N passed, N failed" and fails when a test did."""

import sys
import xml.etree.ElementTree as ElementTree

passed = failed = skipped = 0
for path in sys.argv[1:]:
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        if case.find("failure") is not None:
            failed += 1
            print(f"failed: {case.get('name')} ({path})")
        elif case.find("skipped") is not None:
            skipped += 1
            print(f"skipped: {case.get('name')} ({path})")
        else:
            passed += 1
print(f"{passed} passed, {failed} failed" + (f", {skipped} skipped" if skipped else ""))
sys.exit(1 if failed or not passed else 0)
