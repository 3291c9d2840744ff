"""The loop of docs/fleet.md that gathers histories with ssh, some of which cannot be had.

    history_loop_test.py
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

PAGE = pathlib.Path(__file__).resolve().parent.parent.parent / "docs/fleet.md"
SSH = """#!/bin/sh
[ "$2 $3 $4" = "hddtest history --json" ] || exit 2
case $1 in
  root@web01) echo whole ;;
  root@web02) echo first line; exit 255 ;;
  *) echo "no route to host" >&2; exit 255 ;;
esac
"""


class Loop(unittest.TestCase):
    def test_of_page_keeps_what_is_whole_and_names_the_other_machines(self):
        loop, = re.findall(r"^```\n(mkdir [^`]*ssh root@[^`]*)^```", PAGE.read_text(), re.MULTILINE)
        with tempfile.TemporaryDirectory(prefix="hddtest_fleet.") as name:
            folder = pathlib.Path(name)
            for program, text in (("ssh", SSH), ("hddtest", '#!/bin/sh\necho "$@"\n')):
                (folder / program).write_text(text)
                (folder / program).chmod(0o755)
            histories = folder / "histories"
            histories.mkdir()
            (histories / "web02.json").write_text("of yesterday\n")
            done = subprocess.run(["sh", "-c", loop], cwd=folder, env={"PATH": f"{folder}:{os.environ['PATH']}"},
                                  capture_output=True, text=True, check=False)
            self.assertEqual({path.name: path.read_text() for path in histories.iterdir()},
                             {"web01.json": "whole\n", "web02.json": "of yesterday\n"})
            self.assertEqual(done.stdout, "web02: not gathered\nweb03: not gathered\n"
                                          "report --output drives.html histories\n")


if __name__ == "__main__":
    unittest.main()
