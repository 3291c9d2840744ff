"""The end of the server is the end of everything that it has started.

    serve_stop_test.py PROGRAM
"""

import os
import pathlib
import re
import signal

from command_case import main
from server_case import ServerTest, run_of

STOPPED = "T"


class Stop(ServerTest):
    # In the session of a container's first process the kernel sends no signal to a stopped group
    # that has lost its parent.
    new_session = True

    def begin(self, script):
        """Starts the server, and in it a run whose smartctl is the script."""
        self.smartctl.write_text(f"#!/bin/sh\necho begun >> '{self.folder}/begun'\n{script}")
        self.mark = f"HDDTEST_STOP_TEST={self.folder}"
        self.serve("--no-auth", HDDTEST_STOP_TEST=str(self.folder))
        self.send(self.connect(), run_of("/dev/fake"))
        self.wait_for((self.folder / "begun").exists, "smartctl never began")
        self.addCleanup(self.kill_the_rest)

    def started(self):
        """The descendants of the server: process, name and state."""
        found = {}
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            number = int(process.name)
            try:
                if (self.mark.encode() not in (process / "environ").read_bytes().split(b"\0")
                        or (self.process and number == self.process.pid)):
                    continue
                status = (process / "status").read_text()
            except OSError:  # it has ended
                continue
            found[number] = (re.search(r"Name:\t(.*)", status)[1],
                             re.search(r"State:\t(\S)", status)[1])
        return found

    def kill_the_rest(self):
        for number in self.started():
            os.kill(number, signal.SIGKILL)

    def wait_for_state(self, name, state):
        self.wait_for(lambda: (name, state) in self.started().values(), f"no {name} is {state}")

    def stop(self, name):
        for number, (its, _) in self.started().items():
            if its == name:
                os.kill(number, signal.SIGSTOP)
        self.wait_for_state(name, STOPPED)

    def expect_nothing_left(self):
        self.assertNotEqual(self.started(), {})
        self.assertEqual(self.end(), 0)
        self.assertRegex(self.errors, r"\Ahddtest: ended with 1 request in work; [^\n]*\n\Z")
        self.assertEqual(self.started(), {})

    def test_program_that_was_stopped(self):
        for how in ("kill -STOP $$", "trap '' HUP; kill -TSTP 0"):
            with self.subTest(how):
                self.begin(how)
                self.wait_for_state("smartctl", STOPPED)
                self.expect_nothing_left()

    def test_its_helper_that_was_stopped(self):
        self.begin("sleep 1000")
        self.wait_for_state("sleep", "S")
        self.stop("hvx-run")
        self.expect_nothing_left()

    def test_everything_stopped(self):
        self.begin("trap '' HUP; sleep 1000")
        self.wait_for_state("sleep", "S")
        for name in ("sleep", "smartctl", "hvx-run"):
            self.stop(name)
        self.expect_nothing_left()

    def test_child_in_a_group_of_its_own(self):
        self.begin("setsid sh -c 'kill -STOP $$; exec sleep 1000' & wait")
        self.wait_for_state("sh", STOPPED)
        self.expect_nothing_left()

    def test_daemon(self):
        self.begin("(setsid sh -c 'trap \"\" TERM HUP; sleep 1000; :' &) ; sleep 1000")
        self.wait_for_state("sleep", "S")
        self.expect_nothing_left()

    def test_stopped_helper_of_a_server_that_was_killed(self):
        self.begin("sleep 1000")
        self.wait_for_state("sleep", "S")
        self.stop("hvx-run")
        self.end(signal.SIGKILL)
        self.wait_for(lambda: not self.started(), "something is left")


if __name__ == "__main__":
    main()
