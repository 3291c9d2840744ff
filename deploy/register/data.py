"""What is registered: the files of the data folder, and the libraries."""

import os
import re

from register.machine import Failure

FILES = ("hddtest.msg.xml", "hddtest.reg", "pegasus.mof", "cim.mof", "kavro.mof")


class Data:
    def __init__(self, folder, machine):
        self.folder = folder
        self.name = machine.name(folder)  # as object managers see it
        for file in FILES:
            if not os.access(folder / file, os.R_OK):
                raise Failure(f"{folder / file} is missing: reinstall hddtest")
        self.libraries = sorted({f"lib{location}.so" for location in self._found(
            "hddtest.reg", r"^\s*location:\s*(\S+)")})
        self.sections = self._found("hddtest.reg", r"^(\[.+\])\s*$")
        self.modules = re.findall(r'^instance of PG_ProviderModule\n\{\n  Name = "(.*)";',
                                  (folder / "pegasus.mof").read_text(), re.MULTILINE)
        # Subclasses before their superclasses.
        self.classes = self._found("kavro.mof", r"^class (\w+)")[::-1]
        self.library_folder = self._library_folder(machine)

    def _found(self, file, pattern):
        return re.findall(pattern, (self.folder / file).read_text(), re.MULTILINE)

    def _library_folder(self, machine):
        """In the build tree, or where the package has it."""
        prefix = self.folder.parent.parent
        for folder in (prefix / "lib", *sorted(prefix.glob("lib/*/cmpi"))):
            if all((folder / library).is_file() for library in self.libraries):
                return machine.name(folder)
        return "DIR"  # the administrator, who has moved them, knows it
