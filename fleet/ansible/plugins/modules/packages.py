#!/usr/bin/python
"""Installs packages that need each other."""

DOCUMENTATION = """
module: packages
short_description: Installs packages that need each other
description:
  - Gives all packages to apt-get at once. The module ansible.builtin.apt looks at each file by itself, and so
    can replace neither of two packages one of which needs the very version of the other.
  - What is installed in the same version already is left alone. No package is removed and none gets an older
    version. Packages that are only recommended are not installed.
  - Where a file of settings was changed on the machine and in the package, that of the machine stays.
options:
  packages:
    description: Files of the machine, or URLs.
    type: list
    elements: str
    required: true
author: The developers of hddtest
"""

EXAMPLES = """
- name: Install both packages
  hddtest.fleet.packages:
    packages: [/var/cache/hddtest/hddtest-module_0.1.0-1_amd64.deb, /var/cache/hddtest/hddtest_0.1.0-1_amd64.deb]
"""

RETURN = """
installed:
  description: The files that were installed.
  type: list
  elements: str
  returned: success
"""

# pylint: disable=wrong-import-position
from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.urls import fetch_file

# Nobody answers questions. Another apt, such as that of unattended upgrades, is waited for.
INSTALL = ["apt-get", "install", "--yes", "--no-remove", "--no-install-recommends", "-o", "DPkg::Lock::Timeout=60",
           "-o", "Dpkg::Options::=--force-confdef", "-o", "Dpkg::Options::=--force-confold"]
SURROUNDINGS = {"DEBIAN_FRONTEND": "noninteractive", "LC_ALL": "C.UTF-8", "LANGUAGE": "C"}
# apt-get names packages below these lines.
HEADS = ("The following packages have unmet dependencies:", "The following packages will be REMOVED:")


def refusal(output):
    """Why apt-get did not install them: what it says, in one line."""
    reasons, head = [], ""
    for line in output.splitlines():
        if line.startswith(" ") and head in HEADS:
            reasons[-1] += " " + " ".join(line.split())
            continue
        head = line.strip()
        if head in HEADS or head.startswith(("E: ", "dpkg: error")):
            reasons.append(head.removeprefix("E: "))
    return "apt-get: " + ("; ".join(reasons) or "it did not say why")


def is_installed(module, file):
    """In the version of the file."""
    status, told, errors = module.run_command(["dpkg-deb", "--show", "--showformat", "${Package} ${Version}", file])
    if status != 0:
        module.fail_json(msg=" ".join(errors.split()))
    name, version = told.split()
    _, there, _ = module.run_command(["dpkg-query", "--show", "--showformat", "${db:Status-Status} ${Version}", name])
    return there == "installed " + version


def main():
    module = AnsibleModule({"packages": {"type": "list", "elements": "str", "required": True}},
                           supports_check_mode=True)
    module.run_command_environ_update = SURROUNDINGS
    files = [fetch_file(module, package) if "://" in package else package for package in module.params["packages"]]
    missing = [file for file in files if not is_installed(module, file)]
    if missing:
        simulate = ["--simulate"] if module.check_mode else []
        status, output, errors = module.run_command([*INSTALL, *simulate, *missing])
        if status != 0:
            module.fail_json(msg=refusal(output + "\n" + errors), stdout=output, stderr=errors)
    module.exit_json(changed=bool(missing), installed=missing)


if __name__ == "__main__":
    main()
