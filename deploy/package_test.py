"""Installs, uses and purges the packages in a clean root. The build tree, whose packages are made
already, is the first argument. Exit status 77: not possible here.
"""

import json
import os
import shutil
import subprocess
import unittest

import clean_root
from package_case import BUILD, ENVIRONMENT, PackageCase, main

# A drive that passes its test at once.
SMARTCTL = """#!/bin/sh
case $1 in
--version) echo 'smartctl 7.3 stand-in' ;;
-i) rm -f /tmp/state; echo 'SMART support is: Enabled' ;;
-t) echo > /tmp/state ;;
-l) echo 'SMART Self-test log structure revision number 1'
    [ ! -e /tmp/state ] ||
      echo '# 1  Short offline       Completed without error       00%      1217         -' ;;
esac
"""
SFCB = {"sfcbstage": '#!/bin/sh\nmkdir -p "$4/mofs/$2" && cp "$5" "$4/mofs/$2"\n',
        "sfcbrepos": """#!/bin/sh
cat "$5"/default.reg "$5"/regs/*.reg >"$3/providerRegister"
mkdir -p "$3/repository"
cat "$5"/default.reg "$5"/mofs/*/*.mof >"$3/repository/classSchemas" 2>/dev/null || :
"""}


class PackageTest(PackageCase):
    def setUp(self):
        super().setUp()
        self.install()

    def registered(self):
        """The files that a registration has made anywhere."""
        return sorted(path for path in clean_root.contents(self.root)
                      if path.split("/")[-1] in ("hddtest.mof", "hddtest.reg", "registrations")
                      or path == "hddtest")

    def in_root(self, *command, status=0):
        done = subprocess.run(["chroot", self.root, *command], capture_output=True, text=True,
                              timeout=120, env=ENVIRONMENT)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout

    def findings(self):
        done = subprocess.run(["chroot", self.root, "hddtest", "check", "--json"], capture_output=True,
                              text=True, timeout=120, env=ENVIRONMENT)
        found = {finding["name"]: finding for finding in json.loads(done.stdout)}
        # The privileges are those of this machine, which may be a container without them.
        del found["privileges"]
        return found

    def test_everything_is_at_its_place(self):
        libraries = "usr/lib/x86_64-linux-gnu"
        expected = {
            "usr/bin/hddtest", "usr/sbin/hddtest-register", "usr/libexec/hddtest/hvx-run",
            f"{libraries}/cmpi/libhddtest.cmpi.so", f"{libraries}/cmpi/libkavroinventory.cmpi.so",
            *(f"{libraries}/hddtest/{name}.so" for name in (
                "libhvxcore", "libkavromodel", "libovk_1_2_0_cimple",
                "libovk_1_2_0_cimplecmpiadap", "libovk_hvxcommon", "libsmbios", "libxmlparser")),
            *(f"usr/share/hddtest/{name}" for name in (
                "cim.mof", "kavro.mof", "pegasus.mof", "hddtest.reg", "hddtest.msg.xml")),
            *(f"usr/share/hddtest/register/{name}.py" for name in (
                "__init__", "data", "lock", "machine", "notes", "pegasus", "repository", "sfcb",
                "undo")),
            "usr/share/man/man1/hddtest.1.gz", "usr/share/man/man8/hddtest-register.8.gz",
            "usr/lib/systemd/system/hddtest.service",
            "usr/lib/systemd/system/hddtest.socket", "etc/logrotate.d/hddtest-module",
            *(f"usr/lib/systemd/system/hddtest-{name}" for name in (
                "run@.service", "run@.timer", "run@short.timer.d/schedule.conf",
                "run@long.timer.d/schedule.conf", "metrics.service", "metrics.timer")),
            "etc/default/hddtest",
            *(f"usr/share/doc/{package}/{name}" for package in ("hddtest", "hddtest-module")
              for name in ("copyright", "changelog.Debian.gz")),
            "usr/share/doc/hddtest/README.md", "usr/share/doc/hddtest/NEWS.Debian.gz",
            *(f"usr/share/doc/hddtest/docs/{name}.md"
              for name in ("architecture", "clients", "deployment", "faults", "fleet", "history",
                           "limits", "tests", "troubleshooting")),
            *(f"usr/share/doc/hddtest-module/{name}.md"
              for name in ("deployment", "faults", "fleet", "history", "limits", "tests",
                           "troubleshooting")),
            "usr/share/bash-completion/completions/hddtest",
            "usr/share/lintian/overrides/hddtest", "usr/share/lintian/overrides/hddtest-module",
            "var/log/hvx", "etc/hddtest"}
        added = {path for path in set(clean_root.contents(self.root)) - self.pristine
                 if not path.startswith("var/lib/dpkg/")}
        files = {path for path in added
                 if (self.root / path).is_file() or not any((self.root / path).iterdir())}
        self.assertEqual(files, expected)

    def test_the_units_are_not_enabled(self):
        self.assertEqual([path for path in clean_root.contents(self.root)
                          if ".wants/hddtest" in path], [])

    def test_nothing_is_missing(self):
        for name, finding in self.findings().items():
            self.assertTrue(finding["ok"], finding)
            self.assertEqual(finding["remedy"], None, name)

    def test_a_drive_passes(self):
        self.place("usr/local/bin/smartctl", SMARTCTL)
        self.addCleanup((self.root / "tmp/state").unlink)
        output = self.in_root("hddtest", "run", "--force", "/dev/sda")
        self.assertIn("/dev/sda: passed", output)
        self.assertIn("HDST-000", output)
        self.assertIn("SMART support is: Enabled",
                      (self.root / "var/log/hvx/diagnostics.log").read_text())

    def test_the_server_starts_and_ends(self):
        users = "/etc/hddtest/users"
        subprocess.run(["chroot", self.root, "hddtest", "passwd", users, "admin"], env=ENVIRONMENT,
                       input="correct horse battery\n", text=True, check=True)
        server = subprocess.Popen(["chroot", self.root, "hddtest", "serve", "--users", users, "--port",
                                   "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  text=True, env=ENVIRONMENT)
        self.assertRegex(server.stdout.readline(), r"^Listening on http://127\.0\.0\.1:\d+( and http://\[::1\]:\d+)?$")
        server.terminate()
        self.assertEqual((server.communicate(timeout=60)[1], server.returncode), ("", 0))

    @unittest.skipUnless(shutil.which("logrotate"), "logrotate is not installed")
    def test_logs_are_rotated(self):
        log = self.root / "var/log/hvx/diagnostics.log"
        log.write_text("line\n")
        settings = BUILD / "package-root/logrotate"
        settings.write_text((self.root / "etc/logrotate.d/hddtest-module").read_text()
                            .replace("/var/log", f"{self.root}/var/log"))
        clean_root.run("logrotate", "--force", "--state", BUILD / "package-root/state", settings)
        self.assertEqual(sorted(path.name for path in log.parent.iterdir()), ["diagnostics.log.1"])

    def place_sfcb(self, folder):
        """Its programs, and an installation below the folder."""
        for name, text in SFCB.items():
            if not (self.root / f"usr/bin/{name}").exists():
                self.place(f"usr/bin/{name}", text)
        self.addCleanup(shutil.rmtree, self.root / folder)
        for name in ("stage/regs", "registration/repository"):
            (self.root / folder / name).mkdir(parents=True)
        for name in ("stage/default.reg", "stage/regs/other.reg"):
            (self.root / folder / name).write_text("[Other]\n")
        (self.root / folder / "registration/providerRegister").write_text("[Other]\n[Other]\n")
        (self.root / folder / "registration/repository/classSchemas").write_text("[Other]\n")

    def registered_with(self, folder):
        return "[KAVRO" in (self.root / folder / "registration/providerRegister").read_text()

    OTHER = ("--stage", "/var/lib/other/stage", "--registrations", "/var/lib/other/registration")

    def test_a_registration_is_found_and_ends_with_the_package(self):
        for folder in ("var/lib/sfcb", "var/lib/other"):
            self.place_sfcb(folder)
        before = clean_root.contents(self.root / "var/lib")
        self.assertNotIn("sfcb", self.findings())
        self.in_root("hddtest-register", "sfcb", *self.OTHER)
        self.assertTrue(self.findings()["sfcb"]["ok"])
        self.assertTrue(self.registered_with("var/lib/other"))
        (self.root / "hddtest").unlink()
        self.assertFalse(self.findings()["sfcb"]["ok"])
        self.in_root("hddtest-register", "sfcb")
        self.assertEqual(os.readlink(self.root / "hddtest"), "/usr/share/hddtest")
        self.remove()
        self.assertEqual(self.registered(), [])
        after = clean_root.contents(self.root / "var/lib")
        for folder in ("sfcb", "other"):
            self.assertEqual({path: what for path, what in after.items() if path.startswith(folder)},
                             {path: what for path, what in before.items()
                              if path.startswith(folder)})

    def test_a_registration_ends_with_the_package_while_its_manager_runs(self):
        self.place_sfcb("var/lib/other")
        self.in_root("hddtest-register", "sfcb", *self.OTHER)
        (self.root / "proc/4711").mkdir()
        self.addCleanup(shutil.rmtree, self.root / "proc/4711")
        (self.root / "proc/4711/comm").write_text("sfcbd\n")
        output = self.remove()
        self.assertIn("stop sfcb, run sfcbrepos -f -s /var/lib/other/stage -r "
                      "/var/lib/other/registration, and start", output)
        self.assertIn("until its restart", output)
        self.assertTrue(self.registered_with("var/lib/other"))
        self.assertEqual(self.registered(), ["var/lib/hddtest/registrations"])

    def register_with_pegasus(self):
        for name in ("cimmof", "cimprovider", "cimcli"):
            self.place(f"usr/bin/{name}", "#!/bin/sh\n")
        self.in_root("hddtest-register", "pegasus")

    def test_a_server_that_does_not_answer_does_not_keep_the_package(self):
        self.register_with_pegasus()
        (self.root / "usr/bin/cimprovider").write_text("#!/bin/sh\necho Cannot connect\nexit 1\n")
        self.assertIn("\ncimprovider -r -m hddtest\n", self.remove())
        self.assertEqual(self.registered(), ["var/lib/hddtest/registrations"])

    def test_an_upgrade_tells_to_register_again_where_it_is_registered(self):
        self.assertNotIn("hddtest-register", self.install())
        self.register_with_pegasus()
        self.assertIn("Run hddtest-register again", self.install())

    def test_a_server_without_a_unit_is_found_and_forgotten_with_the_package(self):
        self.register_with_pegasus()
        self.assertTrue(self.findings()["pegasus"]["ok"])
        self.remove()
        self.assertEqual(self.registered(), [])


if __name__ == "__main__":
    main()
