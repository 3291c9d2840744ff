"""The units are such that systemd understands, and that expose little of the machine to clients.
The socket's unit is beside the service's.

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
SERVICE = """
Type=notify
ExecStart=/usr/bin/hddtest serve --users /etc/hddtest/users
KillMode=mixed
SendSIGKILL=yes
MemoryMax=1G
TasksMax=512
LimitNOFILE=4096
StateDirectory=hvx
StateDirectoryMode=0700
"""
SOCKET = """
ListenStream=127.0.0.1:5988
ListenStream=[::1]:5988
BindIPv6Only=ipv6-only
"""


def missing(settings, text):
    return [line for line in settings.strip().splitlines() if line not in text.splitlines()]


def main():
    if not shutil.which("systemd-analyze"):
        print("there is no systemd-analyze")
        return SKIPPED
    text = pathlib.Path(sys.argv[1]).read_text()
    socket = pathlib.Path(sys.argv[1]).with_suffix(".socket").read_text()
    if gone := missing(SERVICE, text) + missing(SOCKET, socket):
        print("missing: " + ", ".join(gone))
        return 1
    # The socket unit listens at no address that a machine may lack, nor at further ones.
    if others := [line for line in socket.splitlines()
                  if line.startswith("Listen") and line not in SOCKET or line.startswith("FreeBind")]:
        print("not meant: " + ", ".join(others))
        return 1
    with tempfile.TemporaryDirectory(prefix="hddtest_unit.") as folder:
        unit = pathlib.Path(folder) / "hddtest.service"
        # systemd looks for the program, and there may be no manual page yet.
        text = text.replace("/usr/bin/hddtest", sys.argv[2], 1)
        units = [unit, unit.with_suffix(".socket")]
        for place, content in zip(units, [text, socket]):
            place.write_text("".join(line for line in content.splitlines(keepends=True)
                                     if not line.startswith("Documentation=")))
        done = subprocess.run(["systemd-analyze", "verify", *units], capture_output=True, text=True)
        rating = subprocess.run(["systemd-analyze", "security", "--no-pager", "--offline=true",
                                 f"--threshold={EXPOSURE}", unit], capture_output=True, text=True)
    if rating.returncode != 0:
        print(rating.stdout + rating.stderr)
        return 1
    faults = [line for line in done.stderr.splitlines() if "hddtest." in line]
    print(done.stderr, end="")
    return 1 if faults or done.returncode != 0 else 0


sys.exit(main())
