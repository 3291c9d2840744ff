"""A client that was not written for this server finds out what it is and what it has, step by step,
as the libraries of such clients do.

    generic_client_test.py PROGRAM
"""

from command_case import main
from interop_case import INTEROP, SPACES, InteropTest
from server_case import SERVICE, SERVICE_KEYS
from wbem_client import version_in


class GenericClient(InteropTest):
    def test_1_finds_the_interop_name_space(self):
        client = self.client()
        for name in INTEROP:
            paths = client.paths(name, "CIM_Namespace")
            self.assertIn("interop", [path.keys["Name"] for path in paths])
        for name in ["root/PG_InterOp", "root", "interop/root", "root/cimv2/interop"]:
            self.fails(3, client.paths, name, "CIM_Namespace")

    def test_2_learns_the_name_spaces_and_uses_each(self):
        client = self.client()
        names = {properties["Name"]: properties
                 for _, properties in client.instances("interop", "CIM_Namespace")}
        self.assertEqual(set(names), set(SPACES))
        for name, properties in names.items():
            self.assertEqual((properties["ClassInfo"], properties["ClassType"]), ("0", "2"))
            self.assertTrue(client.ask(name, "EnumerateClassNames"))

    def test_3_learns_who_answers(self):
        client = self.client()
        path, manager = self.one(client, "CIM_ObjectManager")
        self.run_command("--version")
        self.assertEqual("hddtest " + version_in(manager["Description"]), self.output.strip())
        self.assertEqual((manager["ElementName"], manager["Started"], manager["OperationalStatus"]),
                         ("hddtest object manager", "TRUE", ["2"]))
        self.assertEqual(path.keys["Name"], manager["Name"])
        self.end()
        again = self.client()
        self.assertEqual(self.one(again, "CIM_ObjectManager")[0], path)

    def test_4_reads_the_profiles_with_the_words_of_the_class(self):
        client = self.client()
        _, profile = self.one(client, "CIM_RegisteredProfile")
        declaration = client.class_declaration("interop", "CIM_RegisteredProfile")
        (organization,) = [one for one in declaration.iter("PROPERTY")
                           if one.get("NAME") == "RegisteredOrganization"]
        words = {}
        for name in ["ValueMap", "Values"]:
            (qualifier,) = [one for one in organization.findall("QUALIFIER")
                            if one.get("NAME") == name]
            words[name] = [value.text for value in qualifier.iter("VALUE")]
        label = dict(zip(words["ValueMap"], words["Values"]))[profile["RegisteredOrganization"]]
        self.assertEqual((label, profile["OtherRegisteredOrganization"], profile["RegisteredName"],
                          profile["RegisteredVersion"]),
                         ("Other", "KAVRO", "Hard Drive Self Test", "1.0.0"))

    def test_5_goes_from_the_profile_to_what_conforms_and_back(self):
        client = self.client()
        for name in INTEROP:
            (profile,) = client.paths(name, "CIM_RegisteredProfile")
            (service,) = client.associator_names(
                name, profile, AssocClass="CIM_ElementConformsToProfile",
                ResultRole="ManagedElement")
            self.assertEqual((service.space, service.class_name, service.keys),
                             ("root/cimv2", SERVICE, SERVICE_KEYS))
        (back,) = client.associator_names("root/cimv2", service,
                                          AssocClass="CIM_ElementConformsToProfile",
                                          ResultRole="ConformantStandard")
        self.assertEqual((back.space, back), ("interop", profile))
        # The same with what stands at the ends.
        ((path, properties),) = client.associators("interop", profile)
        self.assertEqual((path, properties["Name"]), (service, "Hard Drive: Self Test"))
        ((_, properties),) = client.associators("root/cimv2", service,
                                                ResultClass="CIM_RegisteredProfile")
        self.assertEqual(properties, client.instance("interop", profile))
        for space, path in [("interop", profile), ("root/cimv2", service)]:
            ((_, link),) = client.references(space, path,
                                             ResultClass="CIM_ElementConformsToProfile")
            self.assertEqual((link["ConformantStandard"], link["ManagedElement"]),
                             (profile, service))
            self.assertEqual((link["ConformantStandard"].space, link["ManagedElement"].space),
                             ("interop", "root/cimv2"))

    def test_6_goes_on_from_there_to_the_drives(self):
        client = self.client()
        (profile,) = client.paths("interop", "CIM_RegisteredProfile")
        (service,) = client.associator_names("interop", profile)
        drives = client.associators(service.space, service,
                                    AssocClass="CIM_AvailableDiagnosticService")
        self.assertEqual([properties["DeviceID"] for _, properties in drives], ["/dev/sda"])

    def test_7_knows_every_qualifier_that_classes_carry(self):
        client = self.client()
        for space in ["interop", "root/cimv2"]:
            declared = client.qualifiers(space)
            carried = {one.get("NAME") for found in client.ask(space, "EnumerateClasses",
                                                               DeepInheritance="true")
                       for one in found.iter("QUALIFIER")}
            self.assertLessEqual({"Key", "ValueMap", "Values", "MaxLen", "Association"}, carried)
            self.assertLessEqual(carried, set(declared))
            for name in carried:
                (found,) = client.ask(space, "GetQualifier", QualifierName=name)
                self.assertEqual(found.attrib, declared[name].attrib)


if __name__ == "__main__":
    main()
