"""Somebody has put links, or folders of his own, where the packages keep theirs: their scripts, which
root runs, touch nothing behind them. The build tree is the first argument. Exit status 77: not
possible here.
"""

import os
import pathlib
import shutil

import clean_root
from package_case import PackageCase, main

FOLDERS = {"etc/hddtest": 0o700, "var/log/hvx": 0o750, "var/lib/hddtest": 0o755,
           "var/lib/hvx": 0o700}
MADE = ("etc/hddtest", "var/log/hvx")  # at installation
DAMAGED = "var/lib/hvx/history.sqlite.damaged-2026-11-22T12-00-00Z"
HISTORY = ("var/lib/hvx/history.sqlite", "var/lib/hvx/history.sqlite-wal",
           "var/lib/hvx/history.sqlite-shm", "var/lib/hvx/history.sqlite-journal", DAMAGED,
           "var/lib/hvx/history.lock", f"{DAMAGED}-wal", f"{DAMAGED}.2", f"{DAMAGED}.2-wal", f"{DAMAGED}.12")
FILES = ("etc/hddtest/users", "var/log/hvx/diagnostics.log", "var/log/hvx/diagnostics.log.1",
         "var/log/hvx/diagnostics.log.2.gz", *HISTORY, "var/lib/hddtest/registrations", "var/lib/hddtest/lock",
         "var/lib/hddtest/before")
UNITS = "etc/systemd/system"
ENABLED = {f"{UNITS}/multi-user.target.wants/hddtest.service": "hddtest.service",
           f"{UNITS}/sockets.target.wants/hddtest.socket": "hddtest.socket",
           f"{UNITS}/timers.target.wants/hddtest-run@short.timer": "hddtest-run@.timer",
           f"{UNITS}/timers.target.wants/hddtest-run@long.timer": "hddtest-run@.timer",
           f"{UNITS}/timers.target.wants/hddtest-metrics.timer": "hddtest-metrics.timer"}
STAMPS = tuple(f"var/lib/systemd/timers/stamp-hddtest-run@{name}.timer" for name in ("short", "long"))
COLLECTED = "var/lib/prometheus/node-exporter"


class Links(PackageCase):
    def setUp(self):
        super().setUp()
        self.victim = self.root / "srv/victim"
        self.victim.mkdir(parents=True)
        self.victim.chmod(0o755)
        for name in [pathlib.Path(name).name for name in (*FILES, *FOLDERS)]:
            (self.victim / name).write_text("sfcb|/stage|/registrations|||registered\n")
            (self.victim / name).chmod(0o644)
        self.before = clean_root.contents(self.victim), self.victim.stat()

    def tidy(self):
        made = [name for name in ("var/lib/prometheus", "var/lib/systemd", "var/lib/systemd/timers")
                if name not in self.pristine]
        for name in (*FOLDERS, *ENABLED, "srv", *made):
            path = self.root / name
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path)
            elif path.parent.is_dir():
                path.unlink(missing_ok=True)
        for folder in sorted({str(path) for name in ENABLED for path in pathlib.Path(name).parents},
                             reverse=True):
            if folder != "." and folder not in self.pristine and (self.root / folder).is_dir():
                (self.root / folder).rmdir()

    def expect_victim_untouched(self):
        contents, status = self.before
        self.assertEqual(clean_root.contents(self.victim), contents)
        now = self.victim.stat()
        self.assertEqual((now.st_mode, now.st_uid, now.st_gid, now.st_mtime_ns),
                         (status.st_mode, status.st_uid, status.st_gid, status.st_mtime_ns))

    def link(self, name, target="/srv/victim"):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        else:
            path.unlink(missing_ok=True)
        path.symlink_to(target)

    def expect_link(self, name, target="/srv/victim"):
        self.assertEqual(os.readlink(self.root / name), target)

    def mode(self, name):
        return oct((self.root / name).lstat().st_mode & 0o7777)

    def test_folders_are_made_for_administrators_alone(self):
        self.install()
        for name in MADE:
            self.assertEqual(self.mode(name), oct(FOLDERS[name]))

    def test_installation_follows_no_link(self):
        for name in MADE:
            self.link(name)
        said = self.install()
        for name in MADE:
            self.expect_link(name)
            self.assertIn(f"/{name} is no folder", said)
        self.expect_victim_untouched()

    def test_installation_makes_nothing_behind_a_link_that_leads_nowhere(self):
        for name in MADE:
            self.link(name, "/srv/none")
        self.install()
        for name in MADE:
            self.expect_link(name, "/srv/none")
        self.assertFalse((self.root / "srv/none").exists())

    def test_installation_leaves_a_file_in_place_of_a_folder(self):
        for name in MADE:
            (self.root / name).write_text("a file")
        self.install()
        for name in MADE:
            self.assertEqual((self.root / name).read_text(), "a file")

    def test_folders_that_are_there_keep_mode_and_owner(self):
        for name in MADE:
            (self.root / name).mkdir()
            (self.root / name).chmod(0o2755)
            os.chown(self.root / name, 12345, 23456)
        for _ in range(2):  # installation and upgrade
            self.install()
            for name in MADE:
                self.assertEqual(self.mode(name), "0o2755")
                status = (self.root / name).stat()
                self.assertEqual((status.st_uid, status.st_gid), (12345, 23456))

    def test_upgrade_follows_no_link(self):
        self.install()
        for name in FOLDERS:
            self.link(name)
        self.install()
        for name in FOLDERS:
            self.expect_link(name)
        self.expect_victim_untouched()

    def test_removal_believes_no_note_behind_a_link(self):
        for name in ("var/lib/hddtest", "var/lib/hddtest/registrations"):
            with self.subTest(name):
                self.install()
                self.link(name, "/srv/victim" if name.endswith("hddtest")
                          else "/srv/victim/registrations")
                register = self.root / "usr/sbin/hddtest-register"
                register.write_text("#!/bin/sh\necho it was called\n")
                self.assertNotIn("it was called", self.remove())
                self.expect_victim_untouched()
                self.purge()
                (self.root / "var/lib/hddtest").unlink(missing_ok=True)

    def test_purge_follows_no_link_to_a_folder(self):
        self.install()
        for name in FOLDERS:
            self.link(name)
        said = self.purge()
        for name in FOLDERS:
            self.expect_link(name)
            self.assertIn(f"/{name} stays", said)
        self.expect_victim_untouched()

    def test_purge_follows_no_link_to_a_file(self):
        self.install()
        for name in FILES:
            self.link(name, f"/srv/victim/{pathlib.Path(name).name}")
        self.purge()
        for name in FOLDERS:
            self.assertFalse(os.path.lexists(self.root / name), name)
        self.expect_victim_untouched()

    def test_purge_follows_no_link_below_what_is_removed_whole(self):
        self.install()
        self.link("var/lib/hddtest/before/etc", "/srv/victim")
        self.purge()
        self.assertFalse(os.path.lexists(self.root / "var/lib/hddtest"))
        self.expect_victim_untouched()

    def test_purge_leaves_what_others_have_made(self):
        self.install()
        foreign = [f"{name}/own" for name in FOLDERS] + [
            "var/log/hvx/other.log", "var/lib/hvx/history.sqlite.damaged-own"]
        for name in (*FILES[:-1], *foreign):
            (self.root / name).parent.mkdir(exist_ok=True)
            (self.root / name).write_text("text\n")
        said = self.purge()
        for name in foreign:
            self.assertEqual((self.root / name).read_text(), "text\n")
        for name in FILES:
            self.assertFalse((self.root / name).exists(), name)
        for name in FOLDERS:
            self.assertIn(f"/{name} stays", said)

    def test_the_history_stays_until_the_purge(self):
        self.install()
        for name in HISTORY:
            (self.root / name).parent.mkdir(exist_ok=True)
            (self.root / name).write_text("text\n")
        (self.root / "var/lib/hvx").chmod(0o700)
        self.install()  # an upgrade
        self.remove()
        for name in HISTORY:
            self.assertEqual((self.root / name).read_text(), "text\n")
        self.assertEqual(self.mode("var/lib/hvx"), "0o700")
        self.purge()
        self.assertFalse((self.root / "var/lib/hvx").exists())

    def test_what_the_timers_have_made_goes(self):
        self.install()
        others = [f"{COLLECTED}/other.prom", "var/lib/systemd/timers/stamp-other.timer"]
        for name in (*STAMPS, f"{COLLECTED}/hddtest.prom", *others):
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text("text\n")
        self.remove()
        self.assertFalse((self.root / COLLECTED / "hddtest.prom").exists())
        self.purge()
        for name in STAMPS:
            self.assertFalse((self.root / name).exists(), name)
        for name in others:
            self.assertEqual((self.root / name).read_text(), "text\n")

    def test_metrics_behind_a_link_are_left_alone(self):
        self.install()
        (self.victim / "hddtest.prom").write_text("text\n")
        self.link(COLLECTED, "/srv/victim")
        self.purge()
        self.assertEqual((self.victim / "hddtest.prom").read_text(), "text\n")

    def test_purge_takes_back_what_enabled_the_units_and_no_units_of_others(self):
        for folder in ("/lib/systemd/system", "/usr/lib/systemd/system"):
            self.install()
            for name, unit in ENABLED.items():
                self.link(name, f"{folder}/{unit}")
            self.purge()
            for name in ENABLED:
                self.assertFalse(os.path.lexists(self.root / name), name)
        self.install()
        for name, unit in ENABLED.items():
            self.link(name, f"/etc/systemd/system/{unit}")
        self.purge()
        for name, unit in ENABLED.items():
            self.expect_link(name, f"/etc/systemd/system/{unit}")


if __name__ == "__main__":
    main()
