"""Runs hddtest-register so that it fails where it would write outside its root, or read there what
is not its own: register_watch.py PROGRAM ROOT [ARGUMENT...]"""

import os
import pathlib
import runpy
import sys
import sysconfig

PROGRAM, ROOT = (os.path.realpath(name) for name in sys.argv[1:3])
OWN = str(pathlib.Path(PROGRAM).parent.parent)
READ = (OWN, os.path.realpath(sysconfig.get_path("stdlib")), "/dev/null")
WRITING = {"os.mkdir": 1, "os.rename": 2, "os.remove": 1, "os.rmdir": 1, "os.chmod": 1,
           "os.chown": 1, "os.link": 2, "os.truncate": 1, "os.utime": 1, "os.mkfifo": 1}
READING = {"os.listdir", "os.scandir"}


class Outside(BaseException):
    pass


def below(path, folders):
    # Links in the path are followed, but the last name stays as it is: it may itself be a link.
    path = os.fsdecode(path)
    real = os.path.join(os.path.realpath(os.path.dirname(os.path.abspath(path))),
                        os.path.basename(path))
    return any(real == folder or real.startswith(folder + "/") for folder in folders)


def watch(event, arguments):
    if event == "open":
        path, mode, flags = arguments
        writes = (flags or 0) & (os.O_WRONLY | os.O_RDWR | os.O_CREAT)
        paths, folders = [path], (ROOT, "/dev/null") if writes else (ROOT, *READ)
    elif event == "os.symlink":
        paths, folders = [arguments[1]], (ROOT,)
    elif event in WRITING:
        paths, folders = arguments[:WRITING[event]], (ROOT,)
    elif event in READING:
        paths, folders = arguments[:1], (ROOT, *READ)
    else:
        return
    for path in paths:
        if isinstance(path, (str, bytes)) and os.path.isabs(path) and not below(path, folders):
            sys.stderr.write(f"OUTSIDE: {event} {path}\n")
            raise Outside


sys.argv[:] = [PROGRAM, *sys.argv[3:]]
sys.addaudithook(watch)
runpy.run_path(PROGRAM, run_name="__main__")
