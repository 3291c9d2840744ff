"""What ./run and its like say while they install and build, with stand-ins for the programs.

    prepare_test.py
"""

import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent


class Prepare(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="hddtest_prepare.")
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name)
        (self.folder / "bin").mkdir()
        self.environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}",
                                TERM="xterm")
        self.program("cmake", 'case $1 in --build) for i in $(seq 1 20); do echo "[$i/20] x"; done;'
                              ' exit ${RESULT:-0};; esac')
        self.program("dpkg-query", "exit 1")
        self.program("apt-get", 'echo "Reading..."; printf "E: Unable to locate package nosuch\\033[2J\\n"'
                                " >&2; exit 100")
        self.program("id", "echo 0")

    def program(self, name, text):
        path = self.folder / "bin" / name
        path.write_text("#!/bin/sh\n" + text + "\n")
        path.chmod(0o755)

    def call(self, text, **environment):
        done = subprocess.run(["bash", "-uo", "pipefail", "-c", f". {TREE}/tools/prepare.sh; {text}"],
                              cwd=self.folder, env=dict(self.environment, **environment),
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.stdout, "")
        return done.returncode, done.stderr

    def test_build_tells_how_far_it_is_in_a_few_lines(self):
        status, says = self.call("build default all")
        self.assertEqual((status, says.splitlines()[1:]),
                         (0, [f"  {number} of 20 steps" for number in (4, 8, 12, 16, 20)]))
        log = (self.folder / "build/build.log").read_text()
        self.assertEqual(log.splitlines(), [f"[{number}/20] x" for number in range(1, 21)])

    def test_build_that_fails_shows_its_log(self):
        status, says = self.call("build default", RESULT="1")
        self.assertEqual(status, 3)
        self.assertIn("[20/20] x\nThe build failed; the whole log is build/build.log\n", says)

    @unittest.skipUnless(os.geteuid() == 0, "only root can be another user")
    def test_user_of_another_is_told_what_to_do(self):
        shutil.copy(TREE / "tools/prepare.sh", self.folder)  # the other user may be unable to read the tree
        (self.folder / "build").mkdir()
        log = self.folder / "build/build.log"
        for path in (self.folder, self.folder / "bin"):
            path.chmod(0o755)
        advice = "Do this as that user, or in a copy of the sources that is your own."
        for name, prepared in (("build", lambda: None), ("build/build.log", log.touch),
                               (".", lambda: shutil.rmtree(self.folder / "build"))):
            prepared()
            done = subprocess.run(["bash", "-uo", "pipefail", "-c", ". ./prepare.sh; build default"],
                                  cwd=self.folder, env=self.environment, user="nobody",
                                  capture_output=True, text=True, timeout=60)
            self.assertEqual((done.returncode, done.stderr.splitlines()), (3, [
                f"build/build.log cannot be written: Permission denied ({name} belongs to root).",
                advice]))

    def test_terminal_has_one_line_that_goes(self):
        master, slave = pty.openpty()
        process = subprocess.Popen(["bash", "-c", f". {TREE}/tools/prepare.sh; build default"],
                                   cwd=self.folder, env=self.environment, stderr=slave)
        os.close(slave)
        written = b""
        try:
            while piece := os.read(master, 65536):
                written += piece
        except OSError:  # the terminal's last user has gone
            pass
        os.close(master)
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertIn(b"\r  20 of 20 steps\x1b[K", written)
        self.assertTrue(written.endswith(b"\r\x1b[K"), written)
        self.assertEqual(written.count(b"\n"), 1, "that of the line before")

    def test_packages_that_cannot_be_installed_are_told_with_the_cause(self):
        status, says = self.call("require_packages nosuch")
        self.assertEqual((status, says.splitlines()), (3, [
            "Installing nosuch",
            "Packages are missing and could not be installed (the log is build/install.log).",
            "apt says: Unable to locate package nosuch[2J", "As root, run:",
            "  apt-get update && apt-get install --no-install-recommends nosuch"]))

    def test_user_who_may_not_install_is_told_so(self):
        self.program("id", "echo 1000")
        self.program("sudo", "exit 1")
        status, says = self.call("require_packages nosuch </dev/null")
        self.assertEqual(status, 3)
        self.assertIn("This user may not install packages: there is no sudo that lets it.\n", says)

    def test_services_of_the_fleets_programs_are_masked_and_never_started(self):
        units, policy = (self.folder / name for name in ("etc/systemd/system", "usr/sbin/policy-rc.d"))
        policy.parent.mkdir(parents=True)
        self.program("dpkg-query", 'case $4 in prometheus-node-exporter) echo installed;; *) exit 1;; esac')
        self.program("apt-get", f'[ "$1" != update ] || exit 0; {policy}; echo $? >refused\n'
                                f'ls -l {units} >units; echo "$*" >installed')
        (self.folder / "etc/systemd/system").mkdir(parents=True)
        (units / "prometheus-alertmanager.service").write_text("of the administrator\n")
        status, says = self.call("require_fleet_packages", machine_root=str(self.folder))
        self.assertEqual(status, 0, says)
        self.assertEqual((self.folder / "refused").read_text(), "101\n")
        self.assertIn("prometheus.service -> /dev/null\n", (self.folder / "units").read_text())
        self.assertRegex((self.folder / "installed").read_text(), "^install .* prometheus .*ansible-lint")
        self.assertEqual(sorted(path.name for path in units.iterdir()),
                         ["prometheus-alertmanager.service", "prometheus.service", "ssh.service"])
        self.assertEqual((units / "prometheus-alertmanager.service").read_text(), "of the administrator\n")
        self.assertFalse(policy.exists(), "only while the packages are installed")

    @unittest.skipUnless(shutil.which("dpkg-query"), "there is no dpkg-query")
    def test_with_them_comes_each_program_that_their_tests_look_for(self):
        _, says = self.call("say $build_packages $fleet_packages")
        for path in sorted((TREE / "tests/fleet").glob("*_test.py")):
            for names in re.findall(r"^(?:NEEDED|PROGRAMS) = \(([^)]*)\)", path.read_text(), re.MULTILINE):
                for name in re.findall(r'"([^"]+)"', names):
                    found = shutil.which(name, path="/usr/sbin:/usr/bin:/sbin:/bin")
                    if not found:
                        continue
                    # Packages may name it below /bin or /usr/bin, which are one folder.
                    done = subprocess.run(["dpkg-query", "-S", f"*bin/{os.path.basename(os.path.realpath(found))}"],
                                          capture_output=True, text=True, check=False)
                    packages = {line.partition(":")[0] for line in done.stdout.splitlines()}
                    if "util-linux" not in packages:  # a part of every Debian
                        self.assertTrue(packages & set(says.split()), f"{path.name}: {name} of {packages}")

    def test_own_policy_of_a_machine_stays(self):
        policy = self.folder / "usr/sbin/policy-rc.d"
        policy.parent.mkdir(parents=True)
        policy.write_text("own\n")
        status, _ = self.call("require_fleet_packages", machine_root=str(self.folder))
        self.assertEqual((status, policy.read_text()), (3, "own\n"))

    def test_installed_programs_of_fleets_are_left_as_they_are(self):
        self.program("dpkg-query", "echo installed")
        self.assertEqual(self.call("require_fleet_packages", machine_root=str(self.folder)), (0, ""))
        self.assertFalse((self.folder / "etc").exists())

    def test_help_is_shown_before_anything_is_installed(self):
        for name in ("run", "test"):
            done = subprocess.run([TREE / name, "--help"], env=self.environment, cwd=self.folder,
                                  capture_output=True, text=True, timeout=60)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertNotIn("#", done.stdout)
        done = subprocess.run([TREE / "run", "-h"], env=self.environment, capture_output=True,
                              text=True, timeout=60)
        self.assertIn("\n  ./run [OPTION...] [DEVICE...]\n", done.stdout)

    def machine_without_drives(self):
        """Stand-ins for all that ./run calls, with an hddtest that prints its arguments."""
        shutil.copytree(TREE / "tools", self.folder / "tools")
        shutil.copy(TREE / "run", self.folder)
        (self.folder / "lab").mkdir()
        (self.folder / "build/bin").mkdir(parents=True)
        self.program("dpkg-query", "echo installed")
        for name in ("apt-cache", "../lab/run", "../lab/machine.pl"):
            self.program(name, "exit 0")
        self.program("sudo", "exit 1")
        self.program("../build/bin/hddtest", 'case $1 in drives) echo "[]";; *) echo "$*";; esac')

    def test_run_with_an_option_leaves_the_lab_out_and_says_so(self):
        self.machine_without_drives()
        self.program("../lab/run", "echo the lab")
        done = subprocess.run(["./run", "--json"], cwd=self.folder, env=self.environment,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout), (0, "run --json\n"))
        self.assertIn("SMART; the disk lab is for ./run without options.\n", done.stderr)
        done = subprocess.run(["./run", "--json", "/dev/sda"], cwd=self.folder, env=self.environment,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout), (0, "run --json /dev/sda\n"))
        self.assertNotIn("lab", done.stderr)

    def test_run_says_why_it_tests_the_lab(self):
        self.machine_without_drives()
        for user, why in [("0", "No drive of this machine is testable and has SMART"),
                          ("1000", "Only root may test this machine's drives")]:
            self.program("id", f"echo {user}")
            done = subprocess.run(["./run"], cwd=self.folder, env=self.environment,
                                  capture_output=True, text=True, timeout=60)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertIn(f"\n{why}: testing those of the disk lab, a virtual machine.\n",
                          done.stderr)


unittest.main(verbosity=2)
