"""hddtest-register with OpenPegasus."""

import re
import signal

import register_case
from register_case import DATA, NOTE

DROP_IN = "/etc/systemd/system/tog-pegasus.service.d/hddtest.conf"
SHARE = DATA.parent
MODULES = ("kavroinventory", "hddtest")
CLASSES = re.findall(r"^class (\w+) : (\w+)", (DATA / "kavro.mof").read_text(), re.MULTILINE)
RESTART = ["systemctl daemon-reload", "systemctl try-restart tog-pegasus"]


def steps(option, modules=MODULES):
    return [f"cimprovider {option} -m {module}" for module in modules]


class PegasusCase(register_case.RegisterCase):
    programs = ("cimmof", "cimprovider", "cimcli", "cimconfig")
    ours = rf"/var/lib/hddtest(/.*)?|{DROP_IN}|/etc/systemd/system/tog-pegasus.service.d"

    def setUp(self):
        super().setUp()
        self.install_unit("tog-pegasus", active=True)
        self.write("/etc/systemd/system/other.service.d/hddtest.conf",
                   "[Service]\nWorkingDirectory=/srv\n")
        self.write("/usr/lib/pegasus/libother.so", "library")
        self.superclasses = {"CIM_Other", "CIM_ManagedElement", *self.needed()}
        self.change(classes=sorted(self.superclasses))

    @staticmethod
    def needed():
        return {superclass for _, superclass in CLASSES}

    def noted(self, state="registered"):
        made = f"/etc/systemd/system/tog-pegasus.service.d/|{DROP_IN}"
        return f"pegasus|tog-pegasus|{SHARE}|{state}|{made}\n"

    def registered(self):
        return self.state()["modules"]

    def classes(self, *names):
        return [f"cimmof -nroot/cimv2 -I {DATA} -aEV -uc {DATA}/{name}" for name in names]


class Registering(PegasusCase):
    def test_classes_then_providers_then_working_directory(self):
        self.run_program("pegasus")
        self.assertEqual(self.calls(), [
            "cimprovider -l -s", *steps("-d"), *self.classes("kavro.mof"),
            f"cimmof -nroot/PG_InterOp {DATA}/pegasus.mof", "cimconfig -g providerDir", *RESTART])
        self.assertTrue(self.text(DROP_IN).endswith(f"[Service]\nWorkingDirectory={SHARE}\n"))
        self.assertEqual(self.text(NOTE), self.noted())
        self.assertEqual(self.registered(), {"other": "OK", **dict.fromkeys(MODULES, "OK")})

    def test_twice_is_like_once_and_disables_all_before_one_is_removed(self):
        self.run_program("pegasus")
        once = (self.all(), self.state())
        self.run_program("pegasus")
        self.assertEqual((self.all(), self.state()), once)
        self.assertEqual(self.calls("cimprovider"),
                         ["cimprovider -l -s", *steps("-d"), *steps("-r")])

    def test_a_unit_of_another_name_can_be_named(self):
        self.ours += "|/etc/systemd/system/wbem.service.d(/hddtest.conf)?"
        self.run_program("pegasus", "--unit", "wbem.service")
        self.assertIn("systemctl try-restart wbem", self.calls())
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()

    def test_a_drop_in_of_another_author_is_not_overwritten(self):
        self.write(DROP_IN, "[Service]\nWorkingDirectory=/srv\n")
        self.run_program("pegasus", status=1)
        self.assertIn(f"{DROP_IN} is in the way", self.errors)
        self.assertEqual(self.calls(), [])
        self.expect_as_before()

    def test_without_a_unit_the_working_directory_is_told(self):
        self.path("/usr/lib/systemd/system/tog-pegasus.service").unlink()
        self.run_program("pegasus")
        self.assertIn(f"start cimserver in {SHARE},", self.errors)
        self.assertEqual(self.text(NOTE), f"pegasus||{SHARE}|registered\n")
        self.assertEqual(self.calls("systemctl"), [])
        self.run_program("pegasus", "--unregister")
        self.assertIn("restart it", self.errors)
        self.expect_as_before()


class Superclasses(PegasusCase):
    def test_come_first_where_they_are_wanted(self):
        self.change(classes=[])
        self.run_program("pegasus", "--with-cim")
        self.assertEqual(self.calls("cimcli", "cimmof")[:3], [
            "cimcli gc -n root/cimv2 CIM_ManagedElement", *self.classes("cim.mof", "kavro.mof")])

    def test_are_refused_where_they_are_already(self):
        self.run_program("pegasus", "--with-cim", status=1)
        self.assertIn("repeat this without --with-cim", self.errors)
        self.assertEqual(self.calls(), ["cimcli gc -n root/cimv2 CIM_ManagedElement"])
        self.expect_as_before()

    def test_are_refused_where_nobody_can_tell(self):
        self.change(status={"cimcli": 1}, output={"cimcli": "access denied"})
        self.run_program("pegasus", "--with-cim", status=1)
        self.assertEqual(self.calls("cimmof"), [])
        self.expect_as_before()

    def test_a_missing_schema_is_told(self):
        self.change(classes=[])
        self.run_program("pegasus", status=1)
        self.assertIn("use --with-cim", self.errors)


class ProviderFolders(PegasusCase):
    def place(self, folder):
        for name in ("libhddtest.cmpi.so", "libkavroinventory.cmpi.so"):
            self.write(f"{folder}/{name}", "library")

    def test_without_our_libraries_are_told_with_the_command(self):
        self.run_program("pegasus")
        setting = f"providerDir=/usr/lib/pegasus:{DATA.parent.parent}/lib"
        self.assertIn(f"cimconfig -s {setting};", self.errors)
        self.assertIn(f"cimconfig -p -s {setting}\n", self.errors)

    def test_with_our_libraries_are_not_told(self):
        self.place("/opt/providers")
        self.change(providerDir="/usr/lib/pegasus:/opt/providers")
        self.run_program("pegasus")
        self.assertEqual(self.errors, "")

    def test_that_cannot_be_looked_at_are_told(self):
        (self.binaries / "cimconfig").unlink()
        self.run_program("pegasus")
        self.assertIn("see that providerDir names", self.errors)


class Failing(PegasusCase):
    def test_a_busy_module_changes_nothing(self):
        self.run_program("pegasus")
        self.before = registered = self.all()
        for busy in MODULES:
            for arguments in ([], ["--unregister"]):
                with self.subTest(busy=busy, arguments=arguments):
                    self.change(busy=[busy])
                    state = self.state()
                    self.run_program("pegasus", *arguments, status=1)
                    self.assertIn("a request is running; try again", self.errors)
                    self.assertEqual((self.all(), self.state()), (registered, state))
                    self.assertEqual(self.calls("cimmof"), [])

    def test_a_module_that_cannot_be_disabled_changes_nothing(self):
        self.run_program("pegasus")
        self.before, registered = self.all(), self.registered()
        self.change(status={"cimprovider-d": 1}, output={"cimprovider-d": "internal error"})
        for arguments in ([], ["--unregister"]):
            self.run_program("pegasus", *arguments, status=1)
            self.assertIn("kavroinventory could not be disabled", self.errors)
            self.assertEqual(self.registered(), registered)
            self.expect_as_before()

    def test_a_module_that_was_disabled_stays_so_when_another_is_busy(self):
        self.run_program("pegasus")
        for lenient in (False, True):
            self.change(busy=["hddtest"], modules={"kavroinventory": "Stopped", "hddtest": "OK"},
                        lenient=lenient)
            self.run_program("pegasus", "--unregister", status=1)
            self.assertEqual(self.registered(), {"kavroinventory": "Stopped", "hddtest": "OK"})

    def test_modules_that_were_disabled_are_replaced_and_removed(self):
        self.run_program("pegasus")
        self.change(modules=dict.fromkeys(MODULES, "Stopped"))
        self.run_program("pegasus")
        self.assertEqual(self.registered(), dict.fromkeys(MODULES, "OK"))
        self.change(modules=dict.fromkeys(MODULES, "Stopped"))
        self.run_program("pegasus", "--unregister")
        self.assertEqual(self.registered(), {})

    def test_a_failure_leaves_an_earlier_registration(self):
        self.run_program("pegasus")
        before = (self.all(), self.registered())
        self.change(status={"cimmof-nroot/cimv2": 1})
        self.run_program("pegasus", status=1)
        self.assertIn("does cimserver run?", self.errors)
        self.assertEqual((self.all(), self.registered()), before)
        self.change(status={}, stuck=["hddtest"])
        self.run_program("pegasus", status=1)
        self.assertIn("hddtest could not be removed", self.errors)
        self.assertEqual((self.all(), self.registered()), before)

    def test_the_first_that_fails_can_be_taken_back(self):
        self.change(status={"cimmof-nroot/PG_InterOp": 1})
        self.run_program("pegasus", status=1)
        self.assertEqual(self.text(NOTE), f"pegasus|tog-pegasus|{SHARE}|begun\n")
        self.change(status={})
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()
        self.assertEqual(set(self.state()["classes"]), self.superclasses)

    def test_a_signal_leaves_an_earlier_registration(self):
        self.run_program("pegasus")
        before = (self.all(), self.registered())
        self.change(signals={"cimmof-nroot/PG_InterOp": int(signal.SIGTERM)})
        self.run_program("pegasus", status=128 + signal.SIGTERM)
        self.assertEqual((self.all(), self.registered()), before)

    def test_a_server_that_does_not_answer(self):
        self.change(answers=False)
        self.run_program("pegasus", status=1)
        self.assertIn("cimserver does not answer", self.errors)
        self.expect_as_before()

    def test_a_server_that_cannot_be_restarted(self):
        self.change(status={"systemctltry-restart": 1})
        self.run_program("pegasus", status=1)
        self.assertIn("could not be restarted", self.errors)
        self.assertEqual(self.text(NOTE), self.noted())


class Unregistering(PegasusCase):
    def test_everything_is_as_before(self):
        self.run_program("pegasus")
        self.run_program("pegasus", "--unregister")
        self.assertEqual(self.calls("cimprovider"),
                         ["cimprovider -l -s", *steps("-d"), *steps("-r")])
        self.assertEqual(self.calls("systemctl"), RESTART)
        self.assertEqual(len(self.calls("cimcli")), len(CLASSES))
        self.assertEqual(self.registered(), {"other": "OK"})
        self.assertEqual(set(self.state()["classes"]), self.superclasses)
        self.expect_as_before()
        self.run_program("pegasus", "--unregister")
        self.assertEqual(self.calls("systemctl"), [])
        self.expect_as_before()

    def test_a_folder_that_was_there_before_stays(self):
        self.path("/etc/systemd/system/tog-pegasus.service.d").mkdir()
        self.run_program("pegasus")
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()

    def test_a_line_of_a_version_that_noted_less_is_taken_back(self):
        self.run_program("pegasus")
        self.write(NOTE, f"pegasus|tog-pegasus|{SHARE}\n")
        self.run_program("pegasus", "--unregister")
        self.assertFalse(self.path(DROP_IN).exists() or self.path(NOTE).exists())

    def test_a_server_that_does_not_answer_keeps_its_registration_noted(self):
        self.run_program("pegasus")
        registered = self.all()
        for program, status, output in (
                ("cimprovider-l", 1, "any"),
                ("cimprovider-l", 0, "cimprovider: Cannot connect to the server"),
                ("cimprovider-d", 1, "Cannot connect to localhost"),
                ("cimprovider-d", 0, "The CIM server may not be running.")):
            with self.subTest(program=program, output=output):
                self.change(status={program: status}, output={program: output})
                self.run_program("pegasus", "--unregister", status=1)
                self.assertIn("start cimserver and repeat this", self.errors)
                self.assertIn("cimprovider -d -m hddtest\n", self.errors)
                self.assertIn("cimprovider -r -m hddtest\n", self.errors)
                self.assertEqual(self.all(), registered)
        self.change(status={"cimcli": 1}, output={"cimcli": "Error: cannot connect to localhost"})
        self.run_program("pegasus", "--unregister", status=1)
        self.assertEqual(self.text(NOTE), self.noted("leaving"))
        self.change(status={}, output={})
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()

    def test_a_missing_registration_and_missing_classes_are_no_fault(self):
        self.run_program("pegasus")
        self.change(modules={}, classes=[])
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()

    def test_the_working_directory_goes_when_the_manager_is_gone(self):
        self.run_program("pegasus")
        for name in self.programs:
            (self.binaries / name).unlink()
        self.run_program("pegasus", "--unregister")
        self.expect_as_before()


if __name__ == "__main__":
    register_case.main()
