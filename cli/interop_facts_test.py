"""What the instances of the name space interop say, and that they say it where a provider fails.

    interop_facts_test.py PROGRAM
"""

from command_case import main
from interop_case import HELD, INTEROP, InteropTest
from wbem_client import read_path

# By the labels of the classes: OperationalStatus OK, EnabledState Enabled, RequestedState Not
# Applicable, ClassType CIM, CommunicationMechanism CIM-XML, AdvertiseTypes Not Advertised,
# RegisteredOrganization Other, SpecificationType Profile.
RUNS = {"OperationalStatus": ["2"], "EnabledState": "2", "RequestedState": "12"}
SAID = {
    "CIM_ObjectManager": {
        **RUNS, "CreationClassName": "CIM_ObjectManager", "ElementName": "hddtest object manager",
        "Caption": "hddtest object manager", "Started": "TRUE", "GatherStatisticalData": "FALSE"},
    "CIM_Namespace": {
        "CreationClassName": "CIM_Namespace", "ObjectManagerCreationClassName": "CIM_ObjectManager",
        "ClassInfo": "0", "ClassType": "2", "ClassTypeVersion": "2.13.1"},
    "CIM_CIMXMLCommunicationMechanism": {
        **RUNS, "CreationClassName": "CIM_CIMXMLCommunicationMechanism",
        "CommunicationMechanism": "2", "Version": "1.0", "CIMXMLProtocolVersion": "1",
        "CIMValidated": "FALSE", "MultipleOperationsSupported": "TRUE",
        "FunctionalProfilesSupported": ["2", "6", "10"], "AdvertiseTypes": ["2"],
        "PulledEnumerationClosureOnExceedingServerLimitsSupported": "FALSE",
        "PulledEnumerationContinuationOnErrorSupported": "FALSE",
        "PulledEnumerationMinimumOperationTimeout": "1",
        "PulledEnumerationMaximumOperationTimeout": "90",
        "PulledEnumerationNoOperationTimeoutSupported": "FALSE"},
    "CIM_RegisteredProfile": {
        "InstanceID": "KAVRO:Hard Drive Self Test/1.0.0", "SpecificationType": "2",
        "RegisteredOrganization": "1", "OtherRegisteredOrganization": "KAVRO",
        "RegisteredName": "Hard Drive Self Test", "RegisteredVersion": "1.0.0",
        "ElementName": "Hard Drive Self Test", "AdvertiseTypes": ["2"],
        "ImplementedFeatures": None},
}


class Facts(InteropTest):
    def test_instances_say_what_is_served(self):
        client = self.client()
        for class_name, said in SAID.items():
            for _, properties in client.instances("interop", class_name):
                self.assertEqual({name: properties[name] for name in said}, said, class_name)

    def test_name_spaces_and_mechanism_have_the_keys_of_the_manager(self):
        client = self.client()
        manager, _ = self.one(client, "CIM_ObjectManager")
        for path in client.paths("interop", "CIM_Namespace"):
            self.assertEqual((path.keys["ObjectManagerName"], path.keys["SystemName"],
                              path.keys["SystemCreationClassName"]),
                             (manager.keys["Name"], manager.keys["SystemName"],
                              manager.keys["SystemCreationClassName"]))
        mechanism, _ = self.one(client, "CIM_CIMXMLCommunicationMechanism")
        self.assertEqual(mechanism.keys, {**manager.keys, "Name": manager.keys["Name"] + ":CIM-XML",
                                          "CreationClassName": mechanism.class_name})

    def test_case_of_the_name_space_does_not_count(self):
        client = self.client()
        for class_name in HELD:
            for space in ["INTEROP", "Root/InterOp"]:
                self.assertEqual(client.instances(space, class_name),
                                 client.instances("interop", class_name))


    def test_pulled_associations_lead_across_name_spaces(self):
        client = self.client()
        profile, _ = self.one(client, "CIM_RegisteredProfile")
        (service,) = client.associator_names("interop", profile)
        link, _ = self.one(client, "CIM_ElementConformsToProfile")
        profile.space = link.space = "interop"
        for space, path, far in [*((name, profile, service) for name in INTEROP),
                                 (service.space, service, profile)]:
            for opened, wanted, chosen in [("Associator", far, "AssocClass"),
                                           ("Reference", link, "ResultClass")]:
                for kind in ["Instances", "InstancePaths"]:
                    (found,) = client.pull(space, f"Open{opened}{kind}", InstanceName=path,
                                           **{chosen: "CIM_ElementConformsToProfile"})
                    found = read_path(found)
                    self.assertEqual((found.space, found), (wanted.space, wanted))


class WithoutProvider(InteropTest):
    """Of a server that cannot load the library with the service's provider."""

    def setUp(self):
        super().setUp()
        data = self.data_folder(["passed", "failed", "aborted"])
        registration = data / "hddtest/hddtest.reg"
        registration.write_text(registration.read_text().replace("location: hddtest.cmpi",
                                                                 "location: none.cmpi"))
        self.arguments = ["--no-auth", "--data", str(data)]

    def test_clients_learn_what_the_server_is_all_the_same(self):
        client = self.client(*self.arguments)
        for space in INTEROP:
            for class_name in set(HELD) - {"CIM_ElementConformsToProfile"}:
                for path, properties in client.instances(space, class_name):
                    self.assertEqual(client.instance(space, path), properties)
                self.assertTrue(client.paths(space, class_name))
            manager, _ = self.one(client, "CIM_ObjectManager")
            self.assertEqual(len(client.associators(space, manager)), 4)
            self.assertEqual(len(client.associator_names(space, manager)), 4)
            self.assertEqual(len(client.references(space, manager)), 4)
            self.assertEqual(len(client.reference_names(space, manager)), 4)

    def test_what_conforms_to_a_profile_is_an_error_and_not_nothing(self):
        client = self.client(*self.arguments)
        profile, _ = self.one(client, "CIM_RegisteredProfile")
        for space in INTEROP:
            self.fails(1, client.instances, space, "CIM_ElementConformsToProfile")
            self.fails(1, client.paths, space, "CIM_ElementConformsToProfile")
            for ask in [client.associators, client.associator_names, client.references,
                        client.reference_names]:
                self.fails(1, ask, space, profile)


if __name__ == "__main__":
    main()
