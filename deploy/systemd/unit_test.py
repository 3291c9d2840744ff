"""The unit is one that systemd understands, and that exposes little of the machine to its clients.

    unit_test.py UNIT PROGRAM
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
# In tenths, as systemd-analyze rates it: 100 for a service that may do everything. lab/with-systemd
# shows that the service can still do its work.
EXPOSURE = 30


def main():
    if not shutil.which("systemd-analyze"):
        print("there is no systemd-analyze")
        return SKIPPED
    text = pathlib.Path(sys.argv[1]).read_text()
    installed = "ExecStart=/usr/bin/hddtest serve "
    if installed not in text or "Type=notify" not in text:
        print(f"{installed!r} or Type=notify is missing")
        return 1
    with tempfile.TemporaryDirectory(prefix="hddtest_unit.") as folder:
        unit = pathlib.Path(folder) / "hddtest.service"
        # What systemd starts has to be there, and there may be no manual page yet.
        text = text.replace("/usr/bin/hddtest", sys.argv[2], 1)
        unit.write_text("".join(line for line in text.splitlines(keepends=True)
                                if not line.startswith("Documentation=")))
        done = subprocess.run(["systemd-analyze", "verify", unit], capture_output=True, text=True)
        rating = subprocess.run(["systemd-analyze", "security", "--no-pager", "--offline=true",
                                 f"--threshold={EXPOSURE}", unit], capture_output=True, text=True)
    if rating.returncode != 0:
        print(rating.stdout + rating.stderr)
        return 1
    faults = [line for line in done.stderr.splitlines() if "hddtest.service" in line]
    print(done.stderr, end="")
    return 1 if faults or done.returncode != 0 else 0


sys.exit(main())
