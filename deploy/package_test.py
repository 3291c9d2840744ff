"""Installs, uses and purges the packages in a clean root. The build tree, whose packages are made
already, is the first argument. Exit status 77: not possible here.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

import clean_root

BUILD = pathlib.Path(sys.argv[1]).resolve()
TOOLS = "dpkg dpkg-deb apt-get apt-cache chroot tar xz".split()

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


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


# Whatever this machine's dpkg is set to log and to leave out.
def dpkg(*arguments):
    return clean_root.run("dpkg", f"--root={ROOT}", "--log=/dev/null", "--path-include=*", *arguments,
                          env=ENVIRONMENT)


class PackageTest(unittest.TestCase):
    def setUp(self):
        # What a purge leaves is compared without what a test leaves.
        self.addCleanup(self.expect_no_trace, clean_root.contents(ROOT))
        self.addCleanup(self.purge)
        dpkg("--install", *PACKAGES)

    def purge(self):
        dpkg("--purge", "hddtest", "hddtest-module")

    def remove(self):
        return dpkg("--remove", "hddtest", "hddtest-module")

    def registered(self):
        """What a registration has put anywhere."""
        return sorted(path for path in clean_root.contents(ROOT)
                      if path.split("/")[-1] in ("hddtest.mof", "hddtest.reg", "registrations")
                      or path == "hddtest")

    def expect_no_trace(self, before):
        after = clean_root.contents(ROOT)
        self.assertEqual({path: what for path, what in after.items() if before.get(path) != what},
                         {})
        self.assertEqual(set(before) - set(after), set())

    def place(self, name, text):
        """A program in the root, until the end of the test."""
        program = ROOT / name
        # The root's links lead out of it from here.
        self.assertFalse(program.is_symlink(), program)
        program.write_text(text)
        program.chmod(0o755)
        self.addCleanup(program.unlink, missing_ok=True)

    def in_root(self, *command, status=0):
        done = subprocess.run(["chroot", ROOT, *command], capture_output=True, text=True,
                              timeout=120, env=ENVIRONMENT)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout

    def findings(self):
        done = subprocess.run(["chroot", ROOT, "hddtest", "check", "--json"], capture_output=True,
                              text=True, timeout=120, env=ENVIRONMENT)
        found = {finding["name"]: finding for finding in json.loads(done.stdout)}
        # These are the machine's, which may be a container without them.
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
            *(f"usr/share/doc/{package}/{name}" for package in ("hddtest", "hddtest-module")
              for name in ("copyright", "changelog.Debian.gz")),
            "usr/share/doc/hddtest/README.md", "usr/share/doc/hddtest/NEWS.Debian.gz",
            *(f"usr/share/doc/hddtest/docs/{name}.md"
              for name in ["architecture", "clients", "deployment", "troubleshooting"]),
            "usr/share/doc/hddtest-module/deployment.md",
            "usr/share/doc/hddtest-module/troubleshooting.md",
            "usr/share/bash-completion/completions/hddtest",
            "usr/share/lintian/overrides/hddtest", "usr/share/lintian/overrides/hddtest-module",
            "var/log/hvx", "etc/hddtest"}
        added = {path for path in set(clean_root.contents(ROOT)) - PRISTINE
                 if not path.startswith("var/lib/dpkg/")}
        files = {path for path in added
                 if (ROOT / path).is_file() or not any((ROOT / path).iterdir())}
        self.assertEqual(files, expected)

    def test_the_units_are_not_enabled(self):
        self.assertEqual([path for path in clean_root.contents(ROOT)
                          if path.endswith((".wants/hddtest.service", ".wants/hddtest.socket"))], [])

    def test_nothing_is_missing(self):
        for name, finding in self.findings().items():
            self.assertTrue(finding["ok"], finding)
            self.assertEqual(finding["remedy"], None, name)

    def test_a_drive_passes(self):
        self.place("usr/local/bin/smartctl", SMARTCTL)
        self.addCleanup((ROOT / "tmp/state").unlink)
        output = self.in_root("hddtest", "run", "--force", "/dev/sda")
        self.assertIn("/dev/sda: passed", output)
        self.assertIn("HDST-000", output)
        self.assertIn("SMART support is: Enabled",
                      (ROOT / "var/log/hvx/diagnostics.log").read_text())

    def test_the_server_starts_and_ends(self):
        users = "/etc/hddtest/users"
        subprocess.run(["chroot", ROOT, "hddtest", "passwd", users, "admin"], env=ENVIRONMENT,
                       input="correct horse battery\n", text=True, check=True)
        server = subprocess.Popen(["chroot", ROOT, "hddtest", "serve", "--users", users, "--port",
                                   "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  text=True, env=ENVIRONMENT)
        self.assertRegex(server.stdout.readline(), r"^Listening on http://127\.0\.0\.1:\d+( and http://\[::1\]:\d+)?$")
        server.terminate()
        self.assertEqual((server.communicate(timeout=60)[1], server.returncode), ("", 0))

    @unittest.skipUnless(shutil.which("logrotate"), "logrotate is not installed")
    def test_logs_are_rotated(self):
        log = ROOT / "var/log/hvx/diagnostics.log"
        log.write_text("line\n")
        settings = BUILD / "package-root/logrotate"
        settings.write_text((ROOT / "etc/logrotate.d/hddtest-module").read_text()
                            .replace("/var/log", f"{ROOT}/var/log"))
        clean_root.run("logrotate", "--force", "--state", BUILD / "package-root/state", settings)
        self.assertEqual(sorted(path.name for path in log.parent.iterdir()), ["diagnostics.log.1"])

    def place_sfcb(self, folder):
        """Its programs, and an installation below the folder."""
        for name, text in SFCB.items():
            if not (ROOT / f"usr/bin/{name}").exists():
                self.place(f"usr/bin/{name}", text)
        self.addCleanup(shutil.rmtree, ROOT / folder)
        for name in ("stage/regs", "registration/repository"):
            (ROOT / folder / name).mkdir(parents=True)
        for name in ("stage/default.reg", "stage/regs/other.reg"):
            (ROOT / folder / name).write_text("[Other]\n")
        (ROOT / folder / "registration/providerRegister").write_text("[Other]\n[Other]\n")
        (ROOT / folder / "registration/repository/classSchemas").write_text("[Other]\n")

    def registered_with(self, folder):
        return "[KAVRO" in (ROOT / folder / "registration/providerRegister").read_text()

    OTHER = ("--stage", "/var/lib/other/stage", "--registrations", "/var/lib/other/registration")

    def test_a_registration_is_found_and_ends_with_the_package(self):
        for folder in ("var/lib/sfcb", "var/lib/other"):
            self.place_sfcb(folder)
        before = clean_root.contents(ROOT / "var/lib")
        self.assertNotIn("sfcb", self.findings())
        self.in_root("hddtest-register", "sfcb", *self.OTHER)
        self.assertTrue(self.findings()["sfcb"]["ok"])
        self.assertTrue(self.registered_with("var/lib/other"))
        (ROOT / "hddtest").unlink()
        self.assertFalse(self.findings()["sfcb"]["ok"])
        self.in_root("hddtest-register", "sfcb")
        self.assertEqual(os.readlink(ROOT / "hddtest"), "/usr/share/hddtest")
        self.remove()
        self.assertEqual(self.registered(), [])
        after = clean_root.contents(ROOT / "var/lib")
        for folder in ("sfcb", "other"):
            self.assertEqual({path: what for path, what in after.items() if path.startswith(folder)},
                             {path: what for path, what in before.items()
                              if path.startswith(folder)})

    def test_a_registration_ends_with_the_package_while_its_manager_runs(self):
        self.place_sfcb("var/lib/other")
        self.in_root("hddtest-register", "sfcb", *self.OTHER)
        (ROOT / "proc/4711").mkdir()
        self.addCleanup(shutil.rmtree, ROOT / "proc/4711")
        (ROOT / "proc/4711/comm").write_text("sfcbd\n")
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
        (ROOT / "usr/bin/cimprovider").write_text("#!/bin/sh\necho Cannot connect\nexit 1\n")
        self.assertIn("\ncimprovider -r -m hddtest\n", self.remove())
        self.assertEqual(self.registered(), ["var/lib/hddtest/registrations"])

    def test_an_upgrade_tells_to_register_again_where_it_is_registered(self):
        self.assertNotIn("hddtest-register", dpkg("--install", *PACKAGES))
        self.register_with_pegasus()
        self.assertIn("Run hddtest-register again", dpkg("--install", *PACKAGES))

    def test_a_server_without_a_unit_is_found_and_forgotten_with_the_package(self):
        self.register_with_pegasus()
        self.assertTrue(self.findings()["pegasus"]["ok"])
        self.remove()
        self.assertEqual(self.registered(), [])


if __name__ == "__main__":
    if os.geteuid() != 0:
        skip("only root can install packages")
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        skip(f"not installed: {', '.join(missing)}")
    if subprocess.run(["chroot", "/", "true"], capture_output=True).returncode != 0:
        skip("changing the root is not permitted")
    ENVIRONMENT = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                   "LC_ALL": "C.UTF-8"}
    PACKAGES = sorted((BUILD / "packages").glob("*.deb"))
    if not PACKAGES:
        skip("there are no packages")
    try:
        ROOT = clean_root.make(BUILD / "package-root", PACKAGES)
    except clean_root.Unavailable as reason:
        skip(reason)
    clean_root.present_as(ROOT, "/usr/bin/hddtest")
    PRISTINE = set(clean_root.contents(ROOT))
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
