"""The role and the playbooks over SSH, as on real machines: two systems of this one's files, each with changes
of its own, mounts of its own and an sshd on loopback. Needs root; exit status 77: not possible here.

    ansible_roots_test.py BUILD PROGRAMS STANDIN

HDDTEST_FLEET_BASE names the root folder of another system whose files are taken, which is left as it is. By hand,
as root: a bare Debian, whose own archives give what the packages depend on.

    debootstrap --variant=minbase --include=openssh-server,python3,systemd-sysv bookworm FOLDER
    printf '#!/bin/sh\\nexit 101\\n' >FOLDER/usr/sbin/policy-rc.d; chmod 755 FOLDER/usr/sbin/policy-rc.d
"""

import concurrent.futures
import functools
import http.server
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import threading
import unittest

from ansible_case import COLLECTION, AnsibleCase, TREE, disk
from newer_packages import newer

BUILD = pathlib.Path(sys.argv[1]).resolve()
PROGRAMS, STANDIN = sys.argv[2:4]
BASE = os.environ.get("HDDTEST_FLEET_BASE", "/")
NEEDED = ("ansible-playbook", "sshd", "ssh", "ssh-keygen", "smartctl", "cpack", "unshare", "systemctl")

# $0 is a folder for the system, the other words are folders that it sees as they are here. Nothing of it
# outlasts the first process.
SYSTEM = """
set -e
mount -t tmpfs tmpfs "$0"
mkdir "$0/changes" "$0/work" "$0/root"
mount -t overlay overlay -o "lowerdir=$BASE,upperdir=$0/changes,workdir=$0/work" "$0/root"
for place; do mkdir -p "$0/root$place"; mount --rbind "$place" "$0/root$place"; done
mount -t proc proc "$0/root/proc"
mount -t tmpfs tmpfs "$0/root/run"
mkdir -p "$0/root/run/sshd" "$0/root/tmp"
cmp -s /etc/resolv.conf "$0/root/etc/resolv.conf" || cp /etc/resolv.conf "$0/root/etc/"
rm -rf "$0/root/etc/hddtest" "$0/root/etc/default/hddtest"
exec chroot "$0/root" /usr/sbin/sshd -D -e -f "$CONFIGURATION"
"""

# There is no systemd, so its units are enabled and never started.
CONFIGURATION = """
ListenAddress 127.0.0.1:{port}
HostKey {folder}/host_key
AuthorizedKeysFile {folder}/key.pub
StrictModes no
PermitRootLogin prohibit-password
PasswordAuthentication no
UsePAM no
PidFile none
SetEnv SYSTEMD_OFFLINE=1
Subsystem sftp internal-sftp
"""

# A systemd that lets nothing start. Without it there, Ansible's module would not even try.
SYSTEMCTL = """#!/bin/sh
case $1 in
  show) echo LoadState=loaded; echo ActiveState=active;;
  restart|reload) echo "the job of $2 has failed" >&2; exit 1;;
esac
"""
ONLINE = """#!/bin/sh
SYSTEMD_OFFLINE=0 exec python3 "$@"
"""

HASH = "$y$j9T$neverShown$example"
KEY = "-----BEGIN EXAMPLE KEY-----\nneverShownEither\n-----END EXAMPLE KEY-----\n"


class Files(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        """Says nothing."""


def free_port():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return free.getsockname()[1]


class Roots(AnsibleCase):
    def setUp(self):
        super().setUp()
        for name in ("key", "host_key"):
            subprocess.run(["ssh-keygen", "-q", "-N", "", "-t", "ed25519", "-f", self.folder / name], check=True)
        packed = subprocess.run([TREE / "deploy/pack", BUILD, self.folder / "packages"], capture_output=True,
                                text=True, check=True).stdout.split()
        self.packages = sorted(packed, key=lambda path: "hddtest-module" not in path)
        self.ports = {}
        lines = []
        for name, drives in (("one", {"disk": disk(1)}), ("two", {"disk": disk(2, "result 7")})):
            place = self.play_machine(name, drives, "/usr/bin", STANDIN)
            self.start_system(name)
            lines.append(f"{name} ansible_port={self.ports[name]} "
                         f"hddtest_environment=\"{{'PATH': '{place}:/usr/sbin:/usr/bin:/sbin:/bin'}}\"")
        self.inventory.write_text("\n".join([
            *lines, "[all:vars]", "ansible_host=127.0.0.1", "ansible_user=root", "hddtest_poll=1",
            "ansible_python_interpreter=/usr/bin/python3", f"ansible_ssh_private_key_file={self.folder}/key",
            f"ansible_ssh_common_args='{' '.join(self.ssh_options())}'"]) + "\n")

    def ssh_options(self):
        """One connection for all that is done on a machine; its socket must have a short name."""
        return ["-F", "none", "-o", "UserKnownHostsFile=/dev/null", "-o", "StrictHostKeyChecking=no", "-o",
                "LogLevel=ERROR", "-o", "ControlMaster=auto", "-o", "ControlPersist=600", "-o",
                f"ControlPath={self.folder}/%p"]

    def start_system(self, name):
        root = self.folder / name
        root.mkdir()
        self.ports[name] = free_port()
        configuration = self.folder / f"{name}.conf"
        configuration.write_text(CONFIGURATION.format(port=self.ports[name], folder=self.folder))
        system = subprocess.Popen(
            ["unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-c", SYSTEM, root, "/dev",
             self.folder.parent, BUILD], env=dict(os.environ, CONFIGURATION=str(configuration), BASE=BASE),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.addCleanup(system.stderr.close)
        self.addCleanup(system.wait)
        self.addCleanup(system.kill)
        line = ""
        while "Server listening" not in line:
            line = system.stderr.readline()
            if not line:
                self.skipTest("this machine does not let us make another system")

    def inside(self, name, command):
        done = subprocess.run(["ssh", *self.ssh_options(), "-i", self.folder / "key", "-p",
                               str(self.ports[name]), "root@127.0.0.1", command], capture_output=True,
                              text=True, check=False, stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 0, f"{command}: {done.stderr}")
        return done.stdout

    def expect(self, output, status, changed):
        """What the end says of both; `changed` is a test of the number."""
        self.assertEqual(status, 0, output)
        for name, counts in self.recap(output).items():
            self.assertEqual((counts["failed"], counts["unreachable"]), (0, 0), output)
            self.assertTrue(changed(counts["changed"]), f"{name}: {output}")

    def set_up(self, *words, collections="collections", **variables):
        variables = json.dumps({"hddtest_packages": self.packages, **variables})
        return self.ansible("hddtest.fleet.setup", "-e", variables, *words, collections=collections)

    def expect_no_secret(self, output):
        for secret in ("neverShown", "operator"):
            self.assertEqual([line for line in output.splitlines() if secret in line], [])

    def at_once(self, *calls):
        """What each returns. Each is about machines of its own."""
        with concurrent.futures.ThreadPoolExecutor(len(calls)) as pool:
            return [running.result() for running in [pool.submit(call) for call in calls]]

    def set_up_without(self, setting, name, **variables):
        """With a role that lacks this line; the machine is asked what would be changed."""
        place = self.place_of_collection(setting)
        shutil.copytree(COLLECTION, place)
        for part in ("users", "server"):
            tasks = place / f"roles/hddtest/tasks/{part}.yml"
            text, count = re.subn(rf"^ *{setting}: .*\n", "", tasks.read_text(), flags=re.MULTILINE)
            self.assertEqual(count, 1)
            tasks.write_text(text)
        return self.set_up("--check", "--diff", "-vvv", "--limit", name, collections=setting, **variables)

    def expect_reasons_of_servers_that_do_not_start(self, **server):
        """Of a change that the server is to read, and of one for which it is to start anew."""
        places = {"/usr/local/bin/systemctl": SYSTEMCTL, "/usr/local/bin/python-online": ONLINE}
        actions = {"one": ("reload", {"hddtest_server_users": {"operator": HASH + "3"}}),
                   "two": ("restart", {"hddtest_server_listen": ["192.0.2.8"]})}
        online = ("-e", "ansible_python_interpreter=/usr/local/bin/python-online")
        for name in actions:
            for place, text in places.items():
                self.inside(name, f"cat >{place} <<'END'\n{text}END\nchmod 755 {place}")
        ended = self.at_once(*(functools.partial(self.set_up, "--limit", name, *online, **{
            **server, **change, "hddtest_packages": [], "hddtest_timers": {}}) for name, (_, change) in actions.items()))
        # A server that runs reads users that come alone, also where they came before and it could not.
        for _ in range(2):
            alone = self.set_up("--limit", "one", *online, hddtest_packages=[], hddtest_timers={},
                                hddtest_server_users={"operator": HASH + "4"})
            self.assertEqual(self.told(alone[1]), self.told(ended[0][1]), alone)
        for (status, output), (name, (action, _)) in zip(ended, actions.items()):
            self.assertEqual(status, 2, output)
            self.assertEqual(self.told(output).get(name), (
                False, f"Unable to {action} service hddtest.service: the job of hddtest.service has failed"), output)
            self.inside(name, "rm " + " ".join(places))

    def serve(self, folder):
        """The address of a web server of the folder's files."""
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Files, directory=folder))
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return f"http://127.0.0.1:{server.server_port}"

    def upgrade(self, packages, *words):
        return self.ansible("hddtest.fleet.upgrade", "-e", json.dumps({"hddtest_packages": packages}), *words)

    def expect_versions(self, version):
        for name in ("one", "two"):
            self.assertEqual(self.inside(name, "dpkg-query -W -f '${db:Status-Status} ${Version}, ' "
                                               "hddtest hddtest-module"), f"installed {version}, " * 2)

    def expect_upgrades(self):
        """From the packages that are installed to others, from files and from a web server."""
        first = pathlib.Path(self.packages[0]).name.split("_")[1]
        status, output = self.upgrade(self.packages)
        self.expect(output, status, lambda count: count == 0)
        self.assertEqual({text.split()[0] for _, text in self.told(output).values()}, {"hddtest"}, output)
        self.expect_versions(first)

        folder = self.folder / "newer"
        folder.mkdir()
        files = [newer(package, "0.2.0-1", folder) for package in self.packages]
        address = self.serve(folder)
        urls = [f"{address}/{pathlib.Path(file).name}" for file in files]

        # One package alone would need the other one to go, or to be as new.
        (_, of_module), (_, of_command) = refused = self.at_once(
            lambda: self.upgrade(files[:1], "--limit", "one"), lambda: self.upgrade(files[1:], "--limit", "two"))
        self.assertEqual([status for status, _ in refused], [2, 2], refused)
        self.assertEqual(self.told(of_module)["one"], (
            False, "apt-get: The following packages will be REMOVED: hddtest; "
            "Packages need to be removed but remove is disabled."))
        self.assertFalse(self.told(of_command)["two"][0])
        self.assertIn("apt-get: The following packages have unmet dependencies: "
                      "hddtest : Depends: hddtest-module (= 0.2.0-1)", self.told(of_command)["two"][1])
        status, output = self.upgrade(urls, "--check")
        self.expect(output, status, lambda count: count == 1)
        self.expect_versions(first)

        for status, output in self.at_once(lambda: self.upgrade(files, "--limit", "one"),
                                           lambda: self.upgrade(urls, "--limit", "two")):
            self.expect(output, status, lambda count: count > 0)
        self.expect_versions("0.2.0-1")
        self.assertIn('PATROL_OPTIONS="--wake --jobs 4"\n', self.inside("one", "cat /etc/default/hddtest"))
        for status, output in self.at_once(lambda: self.upgrade(files, "--limit", "one"),
                                           lambda: self.upgrade(urls, "--limit", "two")):
            self.expect(output, status, lambda count: count == 0)

        # Whoever asks for older ones is told so.
        status, output = self.upgrade(self.packages)
        self.assertEqual(status, 2, output)
        for is_good, text in self.told(output).values():
            self.assertFalse(is_good)
            self.assertIn("downgrade", text)

    def test_machines_are_set_up_tested_gathered_and_upgraded(self):
        status, output = self.set_up("--check")
        self.expect(output, status, lambda count: count > 0)
        self.assertEqual(set(self.told(output).values()), {(True, "would be installed")}, output)
        self.assertEqual(self.inside("one", "ls /usr/bin/hddtest /var/cache/hddtest 2>&1 | grep -c 'No such'"), "2\n")

        server = {"hddtest_server": True, "hddtest_server_users": {"operator": HASH},
                  "hddtest_server_listen": ["192.0.2.7"], "hddtest_server_certificate": "EXAMPLE\n",
                  "hddtest_server_key": KEY, "hddtest_patrol_options": "--wake --jobs 4"}
        status, output = self.set_up("--diff", "-vvv", **server)
        self.expect(output, status, lambda count: count > 0)
        self.assertEqual({(is_good, text.split()[0]) for is_good, text in self.told(output).values()},
                         {(True, "hddtest")}, output)
        self.assertIn("PATROL_OPTIONS", output)
        self.expect_no_secret(output)
        self.assertEqual(self.inside("two", "cat /etc/hddtest/users /etc/hddtest/key.pem"),
                         f"operator:{HASH}\n{KEY}")
        self.assertEqual(self.inside("two", "cd /etc/hddtest && stat -c '%a %U %n' . users key.pem"),
                         "700 root .\n600 root users\n600 root key.pem\n")
        self.assertIn('PATROL_OPTIONS="--wake --jobs 4"\n', self.inside("one", "cat /etc/default/hddtest"))
        self.assertEqual(self.inside("one", "cd /etc/systemd/system && ls */hddtest* | sort"),
                         "multi-user.target.wants/hddtest.service\n"
                         "timers.target.wants/hddtest-metrics.timer\n"
                         "timers.target.wants/hddtest-run@long.timer\n"
                         "timers.target.wants/hddtest-run@short.timer\n")
        self.assertIn("--key /etc/hddtest/key.pem --listen 192.0.2.7\n",
                      self.inside("one", "cat /etc/systemd/system/hddtest.service.d/fleet.conf"))

        # Both machines are alike.
        for status, output in self.at_once(lambda: self.set_up("--limit", "one", **server),
                                           lambda: self.set_up("--check", "--limit", "two", **server)):
            self.expect(output, status, lambda count: count == 0)

        # Either of two settings keeps secrets out of sight where the other one is forgotten.
        others = {**server, "hddtest_server_users": {"operator": HASH + "2"}, "hddtest_server_key": KEY + KEY,
                  "hddtest_packages": [], "hddtest_timers": {}}
        for status, output in self.at_once(lambda: self.set_up_without("diff", "one", **others),
                                           lambda: self.set_up_without("no_log", "two", **others)):
            self.expect(output, status, lambda count: count == 2)
            self.expect_no_secret(output)

        status, output = self.ansible("hddtest.fleet.test")
        told = self.told(output)
        self.assertEqual((status, told["one"]), (2, (True, "1 passed")), output)
        self.assertEqual(told["two"][0], False)
        self.assertIn("1 failed; /dev/sda: read failure; back up its data, then replace it: ", told["two"][1])
        self.ansible("hddtest.fleet.gather")
        self.assertIn('"outcome":"failed"', (self.folder / "hddtest-histories/two.jsonl").read_text())

        self.expect_upgrades()

        self.expect_reasons_of_servers_that_do_not_start(**server)

        # Nobody is left to log in only where no server runs.
        for name, (status, output) in zip(("one", "two"), self.at_once(
                *(functools.partial(self.set_up, "--limit", name, hddtest_packages=[], hddtest_server_users={}, **server)
                  for name, server in (("one", {"hddtest_server": True}), ("two", {}))))):
            self.assertEqual((status, self.told(output)[name][0]), (2, False), output)
            self.assertIn("the server does not run without users", self.told(output)[name][1])
        status, output = self.set_up("--limit", "two", hddtest_packages=[], hddtest_server_users={"guest": HASH})
        self.expect(output, status, lambda count: count == 1)
        for name, users in (("one", {"hddtest_server_users": {}}), ("two", {})):
            status, output = self.set_up("--limit", name, hddtest_packages=[], hddtest_server=False,
                                         hddtest_timers={"run@long": False}, **users)
            self.expect(output, status, lambda count: count > 0)
        self.assertEqual(self.inside("one", "cd /etc/systemd/system && ls */hddtest* | sort; ls /etc/hddtest"),
                         "timers.target.wants/hddtest-metrics.timer\n"
                         "timers.target.wants/hddtest-run@short.timer\n"
                         "certificate.pem\nkey.pem\n")
        self.assertEqual(self.inside("two", "cat /etc/hddtest/users"), f"guest:{HASH}\n")
        self.assertIn('PATROL_OPTIONS="--wake --jobs 4"\n', self.inside("one", "cat /etc/default/hddtest"))


if __name__ == "__main__":
    path = os.environ["PATH"] + ":/usr/sbin:/sbin"
    missing = [name for name in NEEDED if not shutil.which(name, path=path)]
    reasons = [f"not installed: {', '.join(missing)}"] if missing else []
    if os.geteuid() != 0:
        reasons.append("only root can mount")
    if os.path.exists(BASE + "/usr/bin/hddtest"):
        reasons.append("hddtest is installed there, and so it would be in each system")
    if reasons:
        print("skipped:", "; ".join(reasons))
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
