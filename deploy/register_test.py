"""hddtest-register with stand-ins of the object managers' programs that record their calls. The
script's path, in a tree that has the shape of an installed one, is the first argument."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(sys.argv[1]).resolve()
DATA = SCRIPT.parent.parent / "share/hddtest"

# Of the system, nothing else is on PATH: no object manager that this machine may have.
TOOLS = "sh sed cat readlink dirname ln rm rmdir mkdir mktemp mv cp find grep".split()

NOTE = "var/lib/hddtest/registrations"

# NAME_STATUS and NAME_OUTPUT say how a stand-in ends and what it prints, cimprovider_list_... what
# cimprovider does with -l.
STAND_IN = r"""#!/bin/sh
name=${0##*/}
echo "$name $*" >> "$RECORD"
case $name${1-} in
sfcbstage-n) mkdir -p "$4/mofs/$2" && cp "$5" "$4/mofs/$2" ;;
cimprovider-l) name=cimprovider_list ;;
esac
eval "output=\${${name}_OUTPUT-} status=\${${name}_STATUS-0}"
[ -z "$output" ] || echo "$output"
exit "$status"
"""


class RegisterTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_register."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = self.folder / "root"
        self.root.mkdir()
        self.binaries = self.folder / "bin"
        self.binaries.mkdir()
        for tool in TOOLS:
            (self.binaries / tool).symlink_to(shutil.which(tool))
        self.record = self.folder / "record"
        self.record.touch()
        self.install("pidof")
        self.settings = {"pidof_STATUS": "1"}

    def install(self, *names):
        for name in names:
            (self.binaries / name).write_text(STAND_IN)
            (self.binaries / name).chmod(0o755)

    def install_unit(self, name, active):
        self.install("systemctl")
        (self.root / "run/systemd/system").mkdir(parents=True)
        (self.root / "usr/lib/systemd/system").mkdir(parents=True)
        (self.root / f"usr/lib/systemd/system/{name}.service").touch()
        self.settings["systemctl_STATUS"] = "0" if active else "3"

    def run_script(self, *arguments, status=0):
        self.record.write_text("")
        done = subprocess.run([SCRIPT, *arguments, "--root", self.root], capture_output=True,
                              text=True, timeout=60, cwd=self.folder,
                              env={"PATH": str(self.binaries), "RECORD": str(self.record),
                                   **self.settings})
        self.output, self.errors = done.stdout, done.stderr
        self.assertEqual(done.returncode, status, self.output + self.errors)

    def calls(self, *names):
        """The recorded calls of these programs, or of all but pidof."""
        lines = self.record.read_text().splitlines()
        return [line for line in lines
                if (line.split()[0] in names if names else not line.startswith("pidof"))]

    def files(self):
        """All of the root, by path: the text of a file, the target of a link."""
        found = {}
        for path in sorted(self.root.rglob("*")):
            name = str(path.relative_to(self.root))
            if path.is_symlink():
                found[name] = os.readlink(path)
            elif path.is_file():
                found[name] = path.read_text()
        return found


class CommandLine(RegisterTest):
    def test_mistakes_change_nothing(self):
        self.install("sfcbstage", "sfcbrepos", "cimmof", "cimprovider")
        for arguments in ([], ["other"], ["sfcb", "pegasus"], ["sfcb", "--wrong"],
                          ["sfcb", "--stage", ""], ["sfcb", "--stage", "a|b"],
                          ["sfcb", "--schema", "a\nb"]):
            self.run_script(*arguments, status=2)
            self.assertRegex(self.errors, r"\Ahddtest-register: .*--help\n\Z")
        self.assertEqual((self.calls(), self.files()), ([], {}))

    def test_help_is_no_registration(self):
        self.run_script("sfcb", "--help")
        self.assertIn("Usage: hddtest-register", self.output)
        self.assertEqual(self.files(), {})

    def test_a_manager_that_is_not_there_is_named(self):
        for manager, program in (("sfcb", "sfcbstage"), ("pegasus", "cimmof")):
            self.run_script(manager, status=1)
            self.assertIn(f"{program} was not found", self.errors)
        self.assertEqual(self.files(), {})

    def test_what_is_not_registered_can_be_unregistered(self):
        for manager in ("sfcb", "pegasus"):
            self.run_script(manager, "--unregister")
        self.assertEqual(self.files(), {})


class Sfcb(RegisterTest):
    def setUp(self):
        super().setUp()
        self.install("sfcbstage", "sfcbrepos")
        self.stage = self.root / "var/lib/sfcb/stage"

    def expected(self, classes):
        return {"hddtest": str(DATA), NOTE: f"sfcb|{self.stage}|||\n",
                "var/lib/sfcb/stage/mofs/root/cimv2/hddtest.mof": classes,
                "var/lib/sfcb/stage/regs/hddtest.reg": (DATA / "hddtest.reg").read_text()}

    def test_classes_registration_and_link_are_put_in_place(self):
        self.run_script("sfcb")
        self.assertEqual(self.files(), self.expected((DATA / "kavro.mof").read_text()))
        stage, rebuild = self.calls()
        self.assertRegex(stage, rf"^sfcbstage -n root/cimv2 -s {self.stage} /\S+/hddtest.mof$")
        self.assertEqual(rebuild, f"sfcbrepos -f -s {self.stage}")
        self.assertFalse(pathlib.Path(stage.split()[-1]).parent.exists(), "a folder is left behind")
        self.assertTrue((self.root / "hddtest/hddtest.msg.xml").is_file())

    def test_the_link_is_announced(self):
        self.run_script("sfcb")
        self.assertIn(f"Making the link {self.root}/hddtest to {DATA}", self.output)

    def test_a_registration_ends_in_a_line_end(self):
        self.assertTrue((DATA / "hddtest.reg").read_text().endswith("\n"))

    def test_superclasses_come_first_where_they_are_wanted(self):
        self.run_script("sfcb", "--with-cim")
        self.assertEqual(self.files(), self.expected(
            (DATA / "cim.mof").read_text() + (DATA / "kavro.mof").read_text()))

    def test_twice_is_like_once(self):
        self.run_script("sfcb", "--with-cim")
        self.run_script("sfcb")
        self.assertEqual(self.files(), self.expected((DATA / "kavro.mof").read_text()))

    def test_unregistering_leaves_what_others_staged(self):
        others = {"var/lib/sfcb/stage/mofs/root/cimv2/other.mof": "class Other {};\n",
                  "var/lib/sfcb/stage/regs/other.reg": "[Other]\n"}
        for name, text in others.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text(text)
        self.run_script("sfcb", "--with-cim")
        self.run_script("sfcb", "--unregister")
        self.assertEqual(self.files(), others)
        self.assertEqual(self.calls(), [f"sfcbrepos -f -s {self.stage}"])
        self.run_script("sfcb", "--unregister")
        self.assertEqual((self.files(), self.calls()), (others, []))

    def test_the_folders_of_another_installation_are_passed_on(self):
        stage = self.folder / "stage"
        self.run_script("sfcb", "--stage", stage, "--registrations", "/r", "--schema", "/s")
        self.assertEqual(self.calls("sfcbrepos"), [f"sfcbrepos -f -s {stage} -r /r -c /s"])
        self.assertTrue((stage / "regs/hddtest.reg").is_file())
        self.assertEqual(self.files()[NOTE], f"sfcb|{stage}|/r|/s|\n")

    def test_unregistering_takes_back_every_stage_with_the_folders_it_was_given(self):
        one, two = self.folder / "stage one", self.folder / "two"
        self.run_script("sfcb", "--stage", one, "--registrations", "/r", "--schema", "/s")
        self.run_script("sfcb", "--stage", "two", "--unit", "mine")  # relative
        self.run_script("sfcb", "--unregister")
        self.assertEqual(self.calls(), [f"sfcbrepos -f -s {one} -r /r -c /s",
                                        f"sfcbrepos -f -s {two}"])
        self.assertEqual(self.files(), {})
        self.assertEqual([path for stage in (one, two) for path in stage.rglob("hddtest.*")], [])

    def test_one_of_two_stages_leaves_the_link_to_the_other(self):
        other = self.folder / "other"
        self.run_script("sfcb")
        self.run_script("sfcb", "--stage", other)
        self.run_script("sfcb", "--unregister", "--stage", other)
        self.assertEqual(self.files(), self.expected((DATA / "kavro.mof").read_text()))
        self.run_script("sfcb", "--unregister", "--stage", self.stage)
        self.assertEqual(self.files(), {})

    def test_a_stage_that_is_gone_is_forgotten(self):
        stage = self.folder / "stage"
        self.run_script("sfcb", "--stage", stage)
        shutil.rmtree(stage)
        self.run_script("sfcb", "--unregister")
        self.assertEqual((self.files(), self.calls()), ({}, []))

    def test_files_and_link_go_while_it_runs_without_a_unit_and_the_rest_is_told(self):
        self.run_script("sfcb", "--schema", "/s")
        self.settings["pidof_STATUS"] = "0"
        self.run_script("sfcb", "--unregister", status=1)
        self.assertEqual((self.files(), self.calls()),
                         ({NOTE: f"sfcb|{self.stage}||/s|\n"}, []))
        self.assertIn(f"sfcbrepos -f -s {self.stage} -c /s, and start sfcb again", self.errors)
        self.settings["pidof_STATUS"] = "1"
        self.run_script("sfcb", "--unregister")  # now the repository too
        self.assertEqual((self.files(), self.calls()),
                         ({}, [f"sfcbrepos -f -s {self.stage} -c /s"]))

    def test_a_link_in_the_way_leaves_the_manager_running(self):
        self.install_unit("sfcb", active=True)
        (self.root / "hddtest").symlink_to("/elsewhere")
        self.run_script("sfcb", status=1)
        self.assertEqual(self.calls()[-1], "systemctl start sfcb")

    def test_a_foreign_file_in_the_links_place_stops_it_all_and_stays(self):
        (self.root / "hddtest").symlink_to("/elsewhere")
        for arguments, status in ((["sfcb"], 1), (["sfcb", "--unregister"], 0)):
            self.run_script(*arguments, status=status)
            self.assertEqual((self.files(), self.calls()), ({"hddtest": "/elsewhere"}, []))

    def test_an_error_in_the_output_is_a_failure_although_the_status_is_0(self):
        for text in ("hddtest.mof(3): Syntax ERROR", "error: no such class", "Fatal error.",
                     "CIM_Error.mof\nhddtest.mof:3: error: unknown qualifier"):
            self.settings["sfcbrepos_OUTPUT"] = text
            self.run_script("sfcb", status=1)
            self.assertIn(text.split("\n")[-1], self.output)
            self.assertIn("--unregister", self.errors)

    def test_the_name_of_an_error_class_in_the_output_is_none(self):
        for text in ("Compiling Interop/CIM_Error.mof", "/s/Error.mof", "class CIM_Error", "CIM_ErrorType:",
                     "Done: 0 errors", "No errors."):
            self.settings["sfcbrepos_OUTPUT"] = text
            self.run_script("sfcb")

    def test_a_running_manager_is_stopped_for_the_rebuild_even_if_that_fails(self):
        self.install_unit("sblim-sfcb", active=True)
        for rebuilt in ("0", "3"):
            self.settings["sfcbrepos_STATUS"] = rebuilt
            self.run_script("sfcb", status=int(rebuilt != "0"))
            self.assertEqual([call.split()[:2] for call in self.calls()], [
                ["systemctl", "--quiet"], ["systemctl", "stop"], ["sfcbstage", "-n"],
                ["sfcbrepos", "-f"], ["systemctl", "start"]])
        self.run_script("sfcb", "--unregister", status=1)
        self.assertEqual(self.calls()[-1], "systemctl start sblim-sfcb")

    def test_a_manager_that_does_not_run_is_not_started(self):
        self.install_unit("sfcb", active=False)
        self.run_script("sfcb")
        self.assertEqual(self.calls("systemctl"), ["systemctl --quiet is-active sfcb"])

    def test_one_that_runs_without_a_unit_has_to_be_stopped_first(self):
        self.settings["pidof_STATUS"] = "0"
        self.run_script("sfcb", status=1)
        self.assertEqual((self.files(), self.calls()), ({}, []))

    def test_it_can_be_unregistered_when_the_manager_is_gone(self):
        self.run_script("sfcb")
        (self.binaries / "sfcbrepos").unlink()
        self.run_script("sfcb", "--unregister")
        self.assertEqual(self.files(), {})

    def test_provider_folders_without_our_libraries_are_noted(self):
        configuration = self.root / "etc/sfcb/sfcb.cfg"
        configuration.parent.mkdir(parents=True)
        configuration.write_text("httpPort: 5988\nproviderDirs: /lib/sfcb /lib/cmpi\n")
        self.run_script("sfcb")
        self.assertIn("no folder of providerDirs", self.errors)
        (self.root / "lib/cmpi").mkdir(parents=True)
        (self.root / "lib/cmpi/libhddtest.cmpi.so").touch()
        self.run_script("sfcb")
        self.assertEqual(self.errors, "")


class Pegasus(RegisterTest):
    def setUp(self):
        super().setUp()
        self.install("cimmof", "cimprovider", "cimcli")
        self.install_unit("tog-pegasus", active=True)
        self.before = self.files()
        self.drop_in = "etc/systemd/system/tog-pegasus.service.d/hddtest.conf"

    REMOVAL = [f"cimprovider {option} -m {module}"
               for module in ("kavroinventory", "hddtest") for option in ("-d", "-r")]
    RESTART = ["systemctl daemon-reload", "systemctl try-restart tog-pegasus"]

    def classes(self, *names):
        return [f"cimmof -nroot/cimv2 -I {DATA} -aEV -uc {DATA}/{name}" for name in names]

    def test_classes_then_registration_then_working_directory(self):
        for _ in range(2):
            self.run_script("pegasus")
            self.assertEqual(self.calls(), [
                *self.classes("kavro.mof"), *self.REMOVAL,
                f"cimmof -nroot/PG_InterOp {DATA}/pegasus.mof", *self.RESTART])
            text = self.files()[self.drop_in]
            self.assertTrue(text.endswith(f"[Service]\nWorkingDirectory={DATA.parent}\n"), text)
            self.assertEqual(self.files()[NOTE], f"pegasus|tog-pegasus|{DATA.parent}\n")
            self.assertEqual(len(self.files()), len(self.before) + 2)

    def test_superclasses_come_first_where_they_are_wanted(self):
        self.run_script("pegasus", "--with-cim")
        self.assertEqual(self.calls()[:2], self.classes("cim.mof", "kavro.mof"))

    def test_unregistering_takes_all_back(self):
        self.run_script("pegasus")
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), self.before)
        self.assertEqual(self.calls("cimprovider"), ["cimprovider -l -s", *self.REMOVAL])
        self.assertEqual(self.calls("systemctl"), self.RESTART)
        removed = self.calls("cimcli")
        self.assertEqual(len(removed), 26)
        self.assertIn("cimcli dc -n root/cimv2 KAVRO_HDDTest_DiagnosticService", removed)
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.calls("systemctl"), [])

    def test_a_drop_in_of_another_author_stays(self):
        other = self.root / "etc/systemd/system/cimserver.service.d/hddtest.conf"
        other.parent.mkdir(parents=True)
        other.write_text("[Service]\nWorkingDirectory=/srv\n")
        before = self.files()
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), before)

    def test_a_unit_of_another_name_can_be_named(self):
        self.run_script("pegasus", "--unit", "wbem.service")
        self.assertIn("etc/systemd/system/wbem.service.d/hddtest.conf", self.files())
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), self.before)
        self.assertIn("systemctl try-restart wbem", self.calls())

    def test_without_a_unit_the_working_directory_is_told(self):
        (self.root / "usr/lib/systemd/system/tog-pegasus.service").unlink()
        self.run_script("pegasus")
        self.assertIn(f"start cimserver in {DATA.parent},", self.errors)
        self.assertEqual((self.files(), self.calls("systemctl")),
                         ({NOTE: f"pegasus||{DATA.parent}\n"}, []))
        self.run_script("pegasus", "--unregister")
        self.assertIn("restart it", self.errors)
        self.assertEqual(self.files(), {})

    def test_a_server_that_does_not_answer_is_a_failure(self):
        self.settings["cimmof_STATUS"] = "1"
        self.run_script("pegasus", status=1)
        self.assertIn("does cimserver run?", self.errors)
        self.assertEqual(self.calls("cimprovider"), [])
        self.assertEqual(set(self.files()) - set(self.before), {NOTE})  # classes may be there

    def test_a_server_that_does_not_answer_keeps_its_registration_noted(self):
        self.run_script("pegasus")
        registered = self.files()
        for program, status, output, last in (
                ("cimprovider_list", "1", "any", "cimprovider -l"),
                ("cimprovider_list", "0", "cimprovider: Cannot connect to the server", "cimprovider -l"),
                ("cimprovider", "1", "Cannot connect to localhost", "cimprovider -d"),
                ("cimprovider", "0", "The CIM server may not be running.", "cimprovider -d"),
                ("cimcli", "1", "Error: cannot connect to localhost:5988", "cimcli dc")):
            settings = {f"{program}_STATUS": status, f"{program}_OUTPUT": output}
            with self.subTest(**settings):
                self.settings.update(settings)
                self.run_script("pegasus", "--unregister", status=1)
                self.assertIn("start cimserver and repeat this", self.errors)
                self.assertIn("cimprovider -d -m hddtest; cimprovider -r -m hddtest;", self.errors)
                self.assertEqual(self.files(), registered)
                self.assertTrue(self.calls()[-1].startswith(last), self.calls())
            for name in settings:
                del self.settings[name]
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), self.before)

    def test_a_missing_registration_and_missing_classes_can_be_unregistered(self):
        self.run_script("pegasus")
        self.settings |= {"cimprovider_STATUS": "1", "cimprovider_OUTPUT": "no such module",
                          "cimcli_STATUS": "6", "cimcli_OUTPUT": "CIM_ERR_NOT_FOUND"}
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), self.before)

    def test_a_request_in_progress_is_a_failure_and_a_missing_registration_none(self):
        self.settings["cimprovider_STATUS"] = "1"
        self.run_script("pegasus")
        self.settings["cimprovider_OUTPUT"] = "Provider is busy"
        self.run_script("pegasus", "--unregister", status=1)
        self.assertIn("try again", self.errors)

    def test_the_working_directory_goes_when_the_manager_is_gone(self):
        self.run_script("pegasus")
        for name in ("cimmof", "cimprovider", "cimcli"):
            (self.binaries / name).unlink()
        self.run_script("pegasus", "--unregister")
        self.assertEqual(self.files(), self.before)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
