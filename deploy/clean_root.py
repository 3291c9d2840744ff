"""A small Debian system in a folder, to install packages into: what the packages need, and what
is essential to their installation.

It is assembled from packages that apt downloads once; nothing in it is configured, nothing is
mounted. So it takes seconds and needs root, but neither the right to mount nor a network the
second time.
"""

import os
import pathlib
import re
import shutil
import subprocess

ESSENTIAL = "base-files base-passwd coreutils dash findutils grep sed".split()
# All of Debian has /usr merged.
MERGED = {"bin": "usr/bin", "sbin": "usr/sbin", "lib": "usr/lib", "lib64": "usr/lib64"}


class Unavailable(Exception):
    """Thrown when the root cannot be made here; says why."""


def run(*command, **options):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}:\n{done.stdout}")
    return done.stdout


def download(cache, packages):
    """The package files of all that these packages depend on, and of all that is essential."""
    archives = cache / "archives"
    (archives / "partial").mkdir(parents=True, exist_ok=True)
    if not subprocess.run(["apt-cache", "show", *ESSENTIAL], capture_output=True).stdout:
        raise Unavailable("there are no package lists: apt-get update fetches them")
    nothing = cache / "status"  # no package is installed
    nothing.touch()
    apt = ["apt-get", "-qq", "-o", f"Dir::State::status={nothing}", "-o",
           f"Dir::Cache::archives={archives}", "-o", "Debug::NoLocking=1", "-o",
           "APT::Sandbox::User=root", "--no-install-recommends", "--download-only", "install",
           "--yes", *ESSENTIAL, *packages]
    # If Debian lacks a package that ours depend on, that is a fault of ours: a failure and no
    # skipping.
    chosen = [re.match(r"Inst (\S+) \((\S+)", line).groups()
              for line in run(*apt, "--simulate").splitlines() if line.startswith("Inst ")]
    try:
        run(*apt)
    except AssertionError as error:
        raise Unavailable(f"packages cannot be downloaded: {error}") from error
    local = {run("dpkg-deb", "--field", package, "Package").strip() for package in packages}
    return [next(archives.glob(f"{name}_{version.replace(':', '%3a')}_*.deb"))
            for name, version in chosen if name not in local]


def unpack(root, packages):
    database = root / "var/lib/dpkg"
    for folder in (*MERGED.values(), "usr/local/bin", "var/lib/dpkg/info", "var/lib/dpkg/updates",
                   "var/log", "tmp", "dev", "proc/self", "etc", "root"):
        (root / folder).mkdir(parents=True, exist_ok=True)
    for name, target in MERGED.items():
        (root / name).symlink_to(target)
    stanzas = []
    for package in packages:
        # Unpacked by tar, since dpkg-deb would replace the links of the merged /usr.
        with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package],
                              stdout=subprocess.PIPE) as archive:
            listing = run_tar(archive, root)
        fields = run("dpkg-deb", "--field", package).rstrip("\n")
        name = fields.split("\n")[0].removeprefix("Package: ")
        stanzas.append(f"{fields}\nStatus: install ok installed\n")
        if "Multi-Arch: same" in fields:
            name += ":amd64"
        paths = [line[1:].rstrip("/") or "/." for line in listing]
        (database / f"info/{name}.list").write_text("\n".join(paths) + "\n")
    (database / "status").write_text("\n".join(stanzas))
    (database / "available").touch()
    (database / "info/format").write_text("1\n")
    for kind in ("passwd", "group"):
        shutil.copy(root / f"usr/share/base-passwd/{kind}.master", root / f"etc/{kind}")


def run_tar(archive, root):
    done = subprocess.run(["tar", "--extract", "--verbose", "--keep-directory-symlink", "--directory",
                           root], stdin=archive.stdout, capture_output=True, text=True, check=True)
    return [line for line in done.stdout.splitlines() if line.startswith("./")]


def make(cache, packages):
    """A new root in the folder, in which nothing of these packages is installed yet."""
    files = download(cache, packages)
    root = cache / "root"
    if root.exists():
        shutil.rmtree(root)
    root.mkdir()
    unpack(root, files)
    null = root / "dev/null"
    try:
        os.mknod(null, 0o20666, os.makedev(1, 3))
    except PermissionError:
        null.touch()
    return root


def present_as(root, program):
    """Writes what a program there sees of itself in place of /proc, which is not mounted."""
    own = root / "proc/self"
    shutil.copyfile("/proc/self/status", own / "status")
    (own / "exe").symlink_to(program)


def contents(root):
    """Every path, without those of the package database, with its kind and content."""
    found = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = pathlib.Path(folder) / name
            status = path.lstat()
            what = [oct(status.st_mode), status.st_uid, status.st_gid]
            if path.is_symlink():
                what.append(os.readlink(path))
            elif path.is_file():
                what.append(hash(path.read_bytes()))
            found[str(path.relative_to(root))] = what
    return {path: what for path, what in found.items()
            if not path.startswith("var/lib/dpkg/") or path.startswith("var/lib/dpkg/info/")}
