"""hddtest-register with sfcb, where nothing fails."""

import os
import shutil

import register_case
import sfcb_case
from register_case import DATA, NOTE
from sfcb_case import COPY, MOF, REG, REGISTRATIONS, SCHEMAS, STAGE

SCRATCH = rf"{REGISTRATIONS}/\.hddtest-register\.\w+"


class Registering(sfcb_case.SfcbCase):
    def test_classes_registration_link_and_repository_are_put_in_place(self):
        self.run_program("sfcb")
        self.expect_registered()
        self.expect_no_work_left()
        self.assertEqual(self.text(NOTE), f"link|/hddtest|{DATA}\n" + self.noted())
        stage, build = self.calls()
        self.assertRegex(stage, rf"^sfcbstage -n root/cimv2 -s {STAGE} {SCRATCH}/hddtest.mof$")
        self.assertRegex(build, rf"^sfcbrepos -f -r {SCRATCH}/new -s {STAGE}$")

    def test_the_link_is_announced(self):
        self.run_program("sfcb")
        self.assertIn(f"Making the link /hddtest to {DATA}", self.output)

    def test_a_registration_ends_in_a_line_end(self):
        self.assertTrue((DATA / "hddtest.reg").read_text().endswith("\n"))

    def test_twice_is_like_once_and_keeps_what_was_there_before_the_first(self):
        self.run_program("sfcb")
        once = self.all()
        self.run_program("sfcb")
        self.assertEqual(self.all(), once)
        copied = {path[len(COPY):]: what for path, what in once.items() if path.startswith(COPY)}
        self.assertEqual(copied, {path[len(REGISTRATIONS):]: what
                                  for path, what in self.before.items()
                                  if path.startswith(REGISTRATIONS)})

    def test_instances_and_rights_of_others_are_in_the_new_repository(self):
        self.run_program("sfcb")
        instances = f"{REGISTRATIONS}/repository/root/other/Other"
        self.assertEqual(self.all()[instances], self.before[instances])
        self.assertEqual(self.path(f"{REGISTRATIONS}/repository").stat().st_mode & 0o777, 0o700)

    def test_instances_without_classes_are_told_and_kept(self):
        gone = "repository/root/gone"
        self.ours += rf"|{REGISTRATIONS}/({gone}|{SCRATCH[len(REGISTRATIONS) + 1:]})(/.*)?"
        self.write(f"{REGISTRATIONS}/{gone}/classSchemas", "class Gone {};\n")
        self.write(f"{REGISTRATIONS}/{gone}/Gone", "instances of others")
        self.run_program("sfcb")
        self.assertRegex(self.errors, rf"nothing that is staged has classes for .*/{gone}: what was")
        for _ in range(2):
            left, = self.path(REGISTRATIONS).glob(".hddtest-register.*")
            self.assertEqual((left / "old" / gone / "Gone").read_text(), "instances of others")
            self.run_program("sfcb")
            self.assertNotIn("nothing that is staged", self.errors)

    def test_what_another_version_staged_is_brought_to_this_one(self):
        self.run_program("sfcb")
        self.write(MOF, "class Old {};\n")
        self.write(REG, "[Old]\n")
        self.run_program("sfcb")
        self.expect_registered()

    def test_a_line_of_a_version_that_noted_less_is_completed(self):
        self.write(NOTE, f"sfcb|{STAGE}|||\n")
        self.write(MOF, "class Old {};\n")
        self.write(REG, "[Old]\n")
        self.path("/hddtest").symlink_to(DATA)
        self.run_program("sfcb")
        self.expect_registered()
        self.run_program("sfcb", "--unregister")
        for name in (NOTE, REG, MOF, "/hddtest"):
            self.assertFalse(os.path.lexists(self.path(name)), name)

    def test_a_running_manager_is_stopped_only_to_replace_the_repository(self):
        self.install_unit("sblim-sfcb", active=True)
        self.runs("sfcbd")
        self.run_program("sfcb")
        self.assertEqual([call.split()[:2] for call in self.calls()], [
            ["systemctl", "--quiet"], ["sfcbstage", "-n"], ["sfcbrepos", "-f"],
            ["systemctl", "stop"], ["systemctl", "start"], ["systemctl", "--quiet"]])
        self.assertEqual(self.state()["active"], "sblim-sfcb")

    def test_a_manager_that_does_not_run_is_not_started(self):
        self.install_unit("sfcb", active=False)
        self.run_program("sfcb")
        self.assertEqual(self.calls("systemctl"), ["systemctl --quiet is-active sfcb"])

    def test_provider_folders_without_our_libraries_are_noted_and_left_alone(self):
        self.run_program("sfcb")
        self.assertIn("no folder of providerDirs in /etc/sfcb/sfcb.cfg holds", self.errors)
        for name in ("libhddtest.cmpi.so", "libkavroinventory.cmpi.so"):
            self.write(f"/lib/cmpi/{name}", "library")
        self.before = self.all()
        self.run_program("sfcb")
        self.assertEqual(self.errors, "")


class Folders(sfcb_case.SfcbCase):
    ours = sfcb_case.SfcbCase.ours + "|/srv/.*"

    def test_those_of_the_configuration_are_used(self):
        for name in ("stage", "registration"):
            shutil.copytree(self.path(f"/var/lib/sfcb/{name}"), self.path(f"/srv/sfcb/{name}"))
        self.write("/etc/sfcb/sfcb.cfg", "# registrationDir: /none\n REGISTRATIONDIR :/srv//sfcb"
                                         "/registration/ \r\n")
        self.run_program("sfcb")
        self.assertIn("\nsfcb|/srv/sfcb/stage|/srv/sfcb/registration|||", self.text(NOTE))
        self.assertIn("[KAVRO", self.text("/srv/sfcb/registration/providerRegister"))
        self.assertFalse(self.path(REG).exists())

    def test_a_stage_that_the_configuration_names_is_used(self):
        shutil.copytree(self.path(STAGE), self.path("/srv/staging"))
        self.write("/etc/sfcb/sfcb.cfg", "stagingDir: /srv/staging\n")
        self.run_program("sfcb")
        self.assertTrue(self.path("/srv/staging/regs/hddtest.reg").is_file())

    def test_those_of_another_installation_are_passed_on_and_noted(self):
        for name in ("stage", "registration"):
            shutil.copytree(self.path(f"/var/lib/sfcb/{name}"), self.path(f"/srv/{name} two"))
        self.run_program("sfcb", "--stage", "/srv/stage two", "--registrations",
                         "/srv/registration two", "--schema", "/srv/s", "--unit", "mine.service")
        self.assertRegex(self.calls("sfcbrepos")[0],
                         r"^sfcbrepos -f -r /srv/registration two/.* -s /srv/stage two -c /srv/s$")
        self.assertIn("\nsfcb|/srv/stage two|/srv/registration two|/srv/s|mine|registered|",
                      self.text(NOTE))
        self.run_program("sfcb", "--unregister")
        self.assertRegex(self.calls("sfcbrepos")[0], r"-s /srv/stage two -c /srv/s$")

    def test_a_stage_without_default_registration_is_refused(self):
        self.path(f"{STAGE}/default.reg").unlink()
        self.run_program("sfcb", status=1)
        self.assertIn(f"{STAGE} has no default.reg", self.errors)
        self.assertIn("--stage DIR", self.errors)
        self.assertEqual(self.calls(), [])
        self.expect_as_before()

    def test_a_missing_registration_folder_is_refused(self):
        self.run_program("sfcb", "--stage", STAGE, "--registrations", "/srv/none",
                         status=1)
        self.assertIn("--registrations DIR", self.errors)
        self.assertEqual(self.calls(), [])
        self.expect_as_before()

    def test_links_lead_where_they_lead_below_the_root(self):
        shutil.copytree(self.path(STAGE), self.path("/srv/sfcb-stage"))
        self.path("/srv/link").symlink_to("/srv/other/../sfcb-stage")
        self.path("/srv/other").mkdir()
        self.run_program("sfcb", "--stage", "/srv/link")  # not the /srv of this machine
        self.assertTrue(self.path("/srv/sfcb-stage/regs/hddtest.reg").is_file())
        self.path("/srv/loop").symlink_to("/srv/loop")
        self.run_program("sfcb", "--stage", "/srv/loop", status=1)


class Unregistering(sfcb_case.SfcbCase):
    def test_everything_is_as_before(self):
        self.run_program("sfcb")
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.calls(), [])
        self.expect_as_before()

    def test_every_stage_is_taken_back_and_the_link_with_the_last(self):
        for name in ("stage", "registration"):
            shutil.copytree(self.path(f"/var/lib/sfcb/{name}"), self.path(f"/srv/{name}"))
        two = ("--stage", "/srv/stage", "--registrations", "/srv/registration")
        self.ours += "|/srv/.*"
        self.run_program("sfcb")
        self.run_program("sfcb", *two)
        self.run_program("sfcb", "--unregister", "--stage", "/srv/stage")
        self.expect_registered()
        self.assertFalse(self.path("/srv/stage/regs/hddtest.reg").exists())
        self.run_program("sfcb", *two)
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()

    def test_what_others_put_into_our_folder_stays(self):
        self.run_program("sfcb")
        self.write(f"{STAGE}/mofs/root/cimv2/later.mof", "class Later {};\n")
        self.ours += f"|{STAGE}/mofs/root/cimv2/later.mof"
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.text(f"{STAGE}/mofs/root/cimv2/later.mof"), "class Later {};\n")
        self.assertEqual(self.text(SCHEMAS), "class Later {};\n")

    def test_a_link_that_was_there_already_stays(self):
        self.path("/hddtest").symlink_to(DATA)
        self.run_program("sfcb")
        self.run_program("sfcb", "--unregister")
        self.assertEqual(os.readlink(self.path("/hddtest")), str(DATA))
        self.expect_as_before()

    def test_a_link_that_leads_elsewhere_now_stays(self):
        self.run_program("sfcb")
        self.path("/hddtest").unlink()
        self.path("/hddtest").symlink_to("/elsewhere")
        self.run_program("sfcb", "--unregister")
        self.assertEqual(os.readlink(self.path("/hddtest")), "/elsewhere")

    def test_a_line_of_a_version_that_noted_less_is_taken_back(self):
        self.run_program("sfcb")
        self.write(NOTE, f"sfcb|{STAGE}|||\n")
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.all().keys() - self.before.keys(),
                         {f"{STAGE}/mofs/root/cimv2", })  # nobody noted who made the folder

    def test_a_stage_that_is_gone_is_forgotten(self):
        self.path("/srv").mkdir()
        shutil.copytree(self.path(STAGE), self.path("/srv/stage"))
        self.ours += "|/srv/.*"
        self.run_program("sfcb", "--stage", "/srv/stage")
        shutil.rmtree(self.path("/srv/stage"))
        self.run_program("sfcb", "--unregister")
        self.assertEqual(self.calls(), [])
        self.assertFalse(self.path(NOTE).exists() or self.path("/hddtest").is_symlink())

    def test_it_goes_when_the_manager_is_gone(self):
        self.run_program("sfcb")
        (self.binaries / "sfcbrepos").unlink()
        self.run_program("sfcb", "--unregister")
        for name in (NOTE, REG, MOF, "/hddtest"):
            self.assertFalse(os.path.lexists(self.path(name)), name)

    def test_a_manager_that_runs_is_not_gone_because_its_tool_is_not_found(self):
        self.run_program("sfcb")
        built = self.text(f"{REGISTRATIONS}/providerRegister")
        tool = self.binaries / "sfcbrepos"
        tool.rename(self.folder / "elsewhere")
        self.runs("sfcbd")
        self.run_program("sfcb", "--unregister", status=1)
        self.assertIn("sfcb runs, but sfcbrepos was not found on PATH", self.errors)
        self.assertNotIn("no longer registered", self.output)
        self.assertEqual(self.text(f"{REGISTRATIONS}/providerRegister"), built)
        self.assertEqual(self.text(NOTE), self.noted("leaving"))
        self.ends()
        (self.folder / "elsewhere").rename(tool)
        self.run_program("sfcb", "--unregister")
        self.expect_as_before()

    def test_while_it_runs_without_a_unit_it_is_told_what_stops_working(self):
        self.run_program("sfcb", "--schema", "/s")
        built = self.text(f"{REGISTRATIONS}/providerRegister")
        self.runs("sfcbd")
        self.run_program("sfcb", "--unregister", status=1)
        self.assertEqual(self.calls(), [])
        for name in (REG, MOF, "/hddtest"):
            self.assertFalse(os.path.lexists(self.path(name)), name)
        self.assertEqual(self.text(f"{REGISTRATIONS}/providerRegister"), built)
        self.assertEqual(self.text(NOTE), self.noted("leaving", schema="/s"))
        self.assertIn("until its restart tests there make no completion records", self.errors)
        self.assertIn(f"run sfcbrepos -f -s {STAGE} -r {REGISTRATIONS} -c /s, and start sfcb again",
                      self.errors)
        self.ends()
        self.run_program("sfcb", "--unregister")  # now the repository too
        self.expect_as_before()


if __name__ == "__main__":
    register_case.main()
