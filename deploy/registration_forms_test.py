"""The two forms of the registration, held against the lists of providers and the classes. The
folder of the data is the first argument."""

import pathlib
import re
import sys
import unittest

import pegasus_registration
import registration

DATA = pathlib.Path(sys.argv[1])
TREE = pathlib.Path(__file__).parent.parent
SECTIONS = registration.read((DATA / "hddtest.reg").read_text())


def rows(folder):
    """Kind and name of each row of a list of providers."""
    return re.findall(r"^(INSTANCE|ASSOCIATION)\((\w+)\)$",
                      (TREE / folder / "providers.def").read_text(), re.MULTILINE)


def instances(class_name):
    """The property texts of each instance in the form for OpenPegasus."""
    text = (DATA / "pegasus.mof").read_text()
    return [dict(re.findall(r"^  (\w+) = (.*);$", body, re.MULTILINE))
            for body in re.findall(rf"^instance of {class_name}\n{{\n(.*?)^}};$", text,
                                   re.MULTILINE | re.DOTALL)]


class Registration(unittest.TestCase):
    def test_each_provider_of_both_libraries_is_registered_once(self):
        expected = {}
        for kind, name in rows("module"):
            types = {"instance", "method"} | ({"association"} if kind == "ASSOCIATION" else set())
            # The inventory answers for instances of drives.
            expected[name] = (f"{name}_Provider", "hddtest.cmpi",
                              {"method"} if name == "KAVRO_DiskDrive" else types)
        found = {section.class_name: (section.values["provider"], section.values["location"],
                                      set(section.types))
                 for section in SECTIONS if section.values["location"] == "hddtest.cmpi"}
        self.assertEqual(expected.keys() - found.keys(), set(), "without a section in hddtest.reg")
        self.assertEqual(found.keys() - expected.keys(), set(), "without a row in providers.def")
        for name, wanted in expected.items():
            with self.subTest(section=name):
                self.assertEqual(found[name], wanted)
        inventory = {(section.class_name, section.values["provider"], tuple(section.types))
                     for section in SECTIONS if section.values["location"] == "kavroinventory.cmpi"}
        self.assertEqual(inventory, {
            (name.replace("_Inventory", ""), f"{name}_Provider", ("instance",))
            for _, name in rows("inventory")})
        self.assertEqual(len(SECTIONS), len(found) + len(inventory))

    def test_all_share_one_process_and_are_never_unloaded(self):
        for section in SECTIONS:
            self.assertEqual(set(section.values), {"provider", "location", "type", "namespace",
                                                   "group", "unload"})
            self.assertEqual((section.values["group"], section.values["unload"],
                              section.values["namespace"]), ("hddtest", "never", "root/cimv2"))

    def test_each_class_is_defined(self):
        defined = set(re.findall(r"^class (\w+)", (DATA / "kavro.mof").read_text(), re.MULTILINE))
        self.assertLessEqual({section.class_name for section in SECTIONS}, defined)

    def test_a_line_that_is_none_is_refused(self):
        for text in ("provider: P\n", "[C]\nprovider\n", "[C]\ntype: a\ntype: b\n"):
            with self.assertRaises(ValueError):
                registration.read(text)


class Pegasus(unittest.TestCase):
    def test_a_library_is_a_module_in_one_group(self):
        modules = instances("PG_ProviderModule")
        self.assertEqual({(module["Name"], module["Location"]) for module in modules}, {
            ('"hddtest"', '"hddtest.cmpi"'), ('"kavroinventory"', '"kavroinventory.cmpi"')})
        for module in modules:
            self.assertEqual((module["InterfaceType"], module["InterfaceVersion"],
                              module["ModuleGroupName"]), ('"CMPI"', '"2.0.0"', '"hddtest"'))
            self.assertRegex(module["Version"], r'^"\d+\.\d+\.\d+"$')

    def test_each_provider_stands_once_in_its_module(self):
        found = [(one["ProviderModuleName"], one["Name"]) for one in instances("PG_Provider")]
        self.assertEqual(sorted(found), sorted(
            (f'"{section.values["location"].removesuffix(".cmpi")}"',
             f'"{section.values["provider"]}"') for section in SECTIONS))

    def test_each_section_is_a_capability_of_the_same_types(self):
        kinds = {"2": "instance", "3": "association", "5": "method"}
        found = {(one["ClassName"].strip('"'), one["ProviderName"].strip('"'),
                  frozenset(kinds[number] for number in re.findall(r"\d+", one["ProviderType"])))
                 for one in instances("PG_ProviderCapabilities")}
        self.assertEqual(found, {(section.class_name, section.values["provider"],
                                  frozenset(section.types)) for section in SECTIONS})

    def test_capabilities_have_identifiers_of_their_own_and_our_name_space(self):
        capabilities = instances("PG_ProviderCapabilities")
        self.assertEqual(len({one["CapabilityID"] for one in capabilities}), len(SECTIONS))
        self.assertEqual({one["Namespaces"] for one in capabilities}, {'{"root/cimv2"}'})

    def test_text_that_cannot_be_quoted_is_refused(self):
        with self.assertRaises(ValueError):
            pegasus_registration.quoted('a"b')


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
