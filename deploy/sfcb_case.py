"""A root with an sfcb in which others are registered already, for the tests of hddtest-register."""

from register_case import DATA, NOTE, RegisterCase

STAGE = "/var/lib/sfcb/stage"
REGISTRATIONS = "/var/lib/sfcb/registration"
COPY = f"/var/lib/hddtest/before{REGISTRATIONS}"
MOF = f"{STAGE}/mofs/root/cimv2/hddtest.mof"
REG = f"{STAGE}/regs/hddtest.reg"
MADE = "|".join([f"{STAGE}/mofs/root/cimv2/", MOF, REG])
SCHEMAS = f"{REGISTRATIONS}/repository/root/cimv2/classSchemas"
CLASSES = (DATA / "kavro.mof").read_text()


class SfcbCase(RegisterCase):
    programs = ("sfcbstage", "sfcbrepos")
    # The rebuilt part of the repository is compared by the tests themselves.
    ours = (rf"/hddtest|/var/lib/hddtest(/.*)?|{REG}|{STAGE}/mofs/root/cimv2(/hddtest\.mof)?|"
            rf"{REGISTRATIONS}/providerRegister|"
            rf"{REGISTRATIONS}/repository/root(/cimv2(/classSchemas)?|/other/classSchemas)?")

    def setUp(self):
        super().setUp()
        for name, text in {
                f"{STAGE}/default.reg": "[Default]\n",
                f"{STAGE}/regs/other.reg": "[Other]\n",
                f"{STAGE}/mofs/root/other/other.mof": "class Other {};\n",
                # Belongs to others, although it has the name of ours.
                f"{STAGE}/mofs/root/other/hddtest.mof": "class Theirs {};\n",
                f"{REGISTRATIONS}/providerRegister": "[Default]\n[Other]\n",
                f"{REGISTRATIONS}/repository/root/other/classSchemas": (
                    "class Theirs {};\nclass Other {};\n"),
                f"{REGISTRATIONS}/repository/root/other/Other": "instances of others",
                f"{REGISTRATIONS}/repository.saved/any": "kept by the administrator",
                "/etc/sfcb/sfcb.cfg": "httpPort: 5988\nproviderDirs: /lib/sfcb /lib/cmpi\n",
                "/lib/sfcb/libother.so": "library", "/lib/cmpi/libmore.so": "library",
                "/hddtest.conf": "none of ours"}.items():
            self.write(name, text)
        self.path(f"{REGISTRATIONS}/repository/root/other/Other").chmod(0o600)
        self.path(f"{REGISTRATIONS}/repository").chmod(0o700)

    def noted(self, state="registered", schema="", unit=""):
        return f"sfcb|{STAGE}|{REGISTRATIONS}|{schema}|{unit}|{state}|{MADE}\n"

    def break_classes(self):
        """A faulty class of somebody else."""
        self.write(f"{STAGE}/mofs/root/other/more.mof", "BROKEN\n")

    def expect_registered(self):
        self.assertEqual(self.text(MOF), CLASSES)
        self.assertEqual(self.text(REG), (DATA / "hddtest.reg").read_text())
        self.assertIn("[KAVRO_DiskDrive]", self.text(f"{REGISTRATIONS}/providerRegister"))
        self.assertIn("[Other]", self.text(f"{REGISTRATIONS}/providerRegister"))
        self.assertEqual(self.text(SCHEMAS), CLASSES)
        self.assertIn("|registered|", self.text(NOTE))
        self.assertTrue((self.path("/hddtest") / "hddtest.msg.xml").is_file())

    def expect_no_work_left(self):
        self.assertEqual([path for path in self.all() if ".hddtest-" in path], [])
