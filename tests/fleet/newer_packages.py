"""The packages as a later version of hddtest would bring them."""

import pathlib
import re
import subprocess


def newer(package, version, folder):
    """A package with the same content under this version; what belongs to hddtest as well depends on it. The
    settings that it brings have one more comment."""
    name = pathlib.Path(package).name.partition("_")[0]
    content = pathlib.Path(folder) / name
    subprocess.run(["dpkg-deb", "--raw-extract", package, content], check=True)
    control = content / "DEBIAN/control"
    fields = control.read_text()
    old = re.search(r"^Version: (.*)$", fields, re.MULTILINE)[1]
    control.write_text(fields.replace(f"Version: {old}", f"Version: {version}").replace(f"(= {old})", f"(= {version})"))
    settings = content / "etc/default/hddtest"
    if settings.exists():
        settings.write_text(settings.read_text() + "# Another comment.\n")
    made = pathlib.Path(folder) / f"{name}_{version}_amd64.deb"
    subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "--build", content, made], check=True,
                   stdout=subprocess.DEVNULL)
    return str(made)
