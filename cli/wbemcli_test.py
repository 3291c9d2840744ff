"""A client that others wrote, wbemcli, asks the server.

    wbemcli_test.py PROGRAM
"""

import re
import shutil
import subprocess
import sys

from command_case import main
from server_case import RECORD, SERVICE, SERVICE_KEYS, ServerTest

SKIPPED = 77
AVAILABLE = "KAVRO_HDDTest_AvailableDiagnosticService"
SERVICE_PATH = SERVICE + "." + ",".join(f'{name}="{value}"' for name, value in SERVICE_KEYS.items())


class Wbemcli(ServerTest):
    def ask_with(self, *arguments, user="", space="root/cimv2"):
        """The arguments with the server's address and a name space in place of each leading @."""
        where = self.url.replace("://", f"://{user}@" if user else "://") + f"/{space}:"
        words = [re.sub("^@", lambda _: where, word) for word in arguments]
        done = subprocess.run(["wbemcli", *words], capture_output=True, text=True, timeout=60)
        self.status, self.output, self.errors = done.returncode, done.stdout, done.stderr
        return self.output

    def lines(self, *arguments, **how):
        self.ask_with(*arguments, **how)
        self.assertEqual((self.status, self.errors), (0, ""))
        return self.output.splitlines()

    def serve_machine(self):
        """A server on a machine of one drive; the path of that drive."""
        self.machine("sda")
        self.serve("--no-auth")
        (name,) = self.lines("ein", "@KAVRO_DiskDrive")
        return name.split(":", 2)[2]

    def test_classes(self):
        self.serve("--no-auth")
        classes = "\n".join(self.lines("ec", "@CIM_DiagnosticService"))
        self.assertIn(f"{SERVICE} ", classes)
        self.assertIn("KAVRO_DiskDrive", "\n".join(self.lines("ecn", "@CIM_DiskDrive")))
        self.assertIn("RunDiagnostic", "\n".join(self.lines("gcd", f"@{SERVICE}")))

    def test_instances(self):
        drive = self.serve_machine()
        self.assertIn('DeviceID="/dev/sda"', drive)
        (whole,) = self.lines("ei", "@KAVRO_DiskDrive")
        self.assertIn('Name="/dev/sda"', whole)
        (one,) = self.lines("gi", "@" + drive)
        self.assertEqual(one, whole)
        (chosen,) = self.lines("gi", "@" + drive, "DeviceID")
        self.assertTrue(chosen.endswith(' DeviceID="/dev/sda"'), chosen)
        (service,) = self.lines("ein", f"@{SERVICE}")
        self.assertTrue(service.endswith(SERVICE_PATH), service)

    def test_from_the_drive_to_the_service_and_back(self):
        drive = self.serve_machine()
        ends = {drive: (SERVICE, "UserOfService", "ServiceProvided"),
                SERVICE_PATH: ("KAVRO_DiskDrive", "ServiceProvided", "UserOfService")}
        for path, (far_class, role, far_role) in ends.items():
            (other,) = set(ends) - {path}
            right = [["-ac", AVAILABLE], ["-arc", far_class], ["-ar", role], ["-arr", far_role]]
            wrong = [["-ac", "KAVRO_HDDTest_UseOfLog"], ["-arc", "KAVRO_ComputerSystem"],
                     ["-ar", far_role], ["-arr", role]]
            for options in [[], *right, sum(right, [])]:
                names = self.lines("ain", *options, "@" + path)
                self.assertEqual([name.split(":", 1)[1] for name in names].count(other), 1, options)
            for options in wrong:
                names = self.lines("ain", *options, "@" + path)
                self.assertNotIn(other, "\n".join(names), options)
            (instance,) = self.lines("ai", "-ac", AVAILABLE, "@" + path)
            self.assertIn(f":{other} ", instance)

    def test_references(self):
        drive = self.serve_machine()
        for path, role, wrong in [(drive, "UserOfService", "ServiceProvided"),
                                  (SERVICE_PATH, "ServiceProvided", "UserOfService")]:
            (name,) = self.lines("rin", "-arc", AVAILABLE, "-ar", role, "@" + path)
            self.assertIn(f":{AVAILABLE}.", name)
            (instance,) = self.lines("ri", "-arc", AVAILABLE, "@" + path)
            self.assertIn("EstimatedDurationOfService=", instance)
            self.assertEqual(self.lines("rin", "-arc", AVAILABLE, "-ar", wrong, "@" + path), [])

    def test_run_with_its_job_and_record(self):
        drive = self.serve_machine()
        (answer,) = self.lines("cm", f"@{SERVICE_PATH}", f"RunDiagnostic.ManagedElement={drive}")
        self.assertIn("RunDiagnostic: 0", answer)
        self.assertIn('KAVRO_HDDTest_ConcreteJob.InstanceID="HDDTest_ConcreteJob001"', answer)
        (job,) = self.lines("ei", "@KAVRO_HDDTest_ConcreteJob")
        self.assertIn('InstanceID="HDDTest_ConcreteJob001"', job)
        record = self.ask_with("ei", f"@{RECORD}")
        self.assertEqual(record.count(f":{RECORD}.InstanceID="), 1)
        self.assertIn('ManagedElementName="/dev/sda"', record)
        self.assertIn("HDST-000", record)

    def test_a_newcomer_finds_the_service_from_the_name_space_interop(self):
        self.machine("sda")
        self.serve("--no-auth")
        for space in ["interop", "root/interop"]:
            names = self.lines("ein", "@CIM_Namespace", space=space)
            self.assertEqual([re.search(',Name="([^"]*)"', name)[1] for name in names],
                             ["root/cimv2", "interop", "root/interop"])
            (manager,) = self.lines("ei", "@CIM_ObjectManager", space=space)
            self.assertIn("hddtest object manager Version ", manager)
            (profile,) = self.lines("ein", "@CIM_RegisteredProfile", space=space)
            profile = profile.split(":", 2)[2]
            (whole,) = self.lines("gi", "@" + profile, space=space)
            self.assertIn('RegisteredName="Hard Drive Self Test"', whole)
            (service,) = self.lines("ain", "-ac", "CIM_ElementConformsToProfile", "@" + profile,
                                    space=space)
            self.assertTrue(service.endswith(f"/root/cimv2:{SERVICE_PATH}"), service)
            classes = self.lines("ecn", "@CIM_ManagedElement", space=space)
            self.assertTrue(classes[-1].endswith(":CIM_Namespace"), classes)
            self.assertIn("ClassInfo", "\n".join(self.lines("gc", "@CIM_Namespace", space=space)))
        (back,) = self.lines("ain", "-ac", "CIM_ElementConformsToProfile", f"@{SERVICE_PATH}")
        self.assertTrue(back.endswith("/interop:" + profile), back)

    def test_errors_are_those_of_cim(self):
        self.serve("--no-auth")
        self.ask_with("ei", "@KAVRO_None")
        self.assertIn("(5) CIM_ERR_INVALID_CLASS", self.errors)
        self.ask_with("gi", '@KAVRO_DiskDrive.DeviceID="/dev/none"')
        self.assertIn("CIM_ERR_", self.errors)
        self.assertNotEqual(self.status, 0)

    def test_log_in(self):
        self.make_user()
        self.serve("--users", "users")
        self.assertEqual(len(self.lines("ein", f"@{SERVICE}", user="operator:secret")), 1)
        for user in ["", "operator:wrong"]:
            self.ask_with("ein", f"@{SERVICE}", user=user)
            self.assertNotEqual(self.status, 0)
            self.assertEqual(self.output, "")

    def test_tls(self):
        self.make_user()
        self.serve("--users", "users", *self.make_certificate())
        found = self.lines("ein", "-noverify", f"@{SERVICE}", user="operator:secret")
        self.assertEqual(len(found), 1)
        self.url = self.url.replace("127.0.0.1", "localhost")
        known = ["-cacert", str(self.folder / "cert.pem")]
        found = self.lines("ein", *known, f"@{SERVICE}", user="operator:secret")
        self.assertEqual(len(found), 1)
        self.make_certificate("other")
        known = ["-cacert", str(self.folder / "other.pem")]
        self.ask_with("ein", *known, f"@{SERVICE}", user="operator:secret")
        self.assertNotEqual(self.status, 0, "it is the certificate of another")
        self.ask_with("ein", f"@{SERVICE}", user="operator:secret")
        self.assertNotEqual(self.status, 0, "nobody vouches for the certificate")


if __name__ == "__main__":
    if not shutil.which("wbemcli"):
        print("there is no wbemcli (package sblim-wbemcli)")
        sys.exit(SKIPPED)
    main()
