"""What the name space interop holds, every way to ask for it, and what is refused.

    interop_test.py PROGRAM
"""

import http.client
import re

from command_case import main
from interop_case import ASSOCIATIONS, HELD, INTEROP, SPACES, InteropTest
from server_case import RECORD, SERVICE, SERVICE_KEYS, run_of
from wbem_client import Path, read_path, read_properties

SERVICE_PATH = Path(SERVICE, SERVICE_KEYS, "root/cimv2")
NO_CLASS = '<CLASS NAME="CIM_New"></CLASS>'


def instance_xml(path):
    """A named instance without properties."""
    return f'<VALUE.NAMEDINSTANCE>{path.xml()}<INSTANCE CLASSNAME="{path.class_name}"/>' \
           "</VALUE.NAMEDINSTANCE>"


class Answers(InteropTest):
    def test_an_instance_is_what_the_enumeration_has(self):
        client = self.client()
        for class_name in HELD:
            found = client.instances("interop", class_name)
            self.assertTrue(found, class_name)
            self.assertEqual(client.paths("interop", class_name), [path for path, _ in found])
            for path, properties in found:
                for space in INTEROP:
                    self.assertEqual(client.instance(space, path), properties)
                self.assertEqual(client.ask("interop", "GetInstance", InstanceName=path,
                                            PropertyList=["ElementName"])[0]
                                 .findtext("PROPERTY/VALUE"), properties.get("ElementName"))
                for key, value in path.keys.items():
                    self.assertEqual(properties[key], value)

    def test_both_names_of_the_name_space_are_one_in_references_too(self):
        client = self.client()
        for class_name in ASSOCIATIONS:
            path, properties = client.instances("interop", class_name)[0]
            for role, far in path.keys.items():
                for space in INTEROP if far.space == "interop" else []:
                    other = Path(far.class_name, far.keys, space)
                    link = Path(path.class_name, dict(path.keys, **{role: other}))
                    self.assertEqual(client.instance("interop", link), properties)
                as_text = f"{far.space}:{far.text()}".replace("interop:", "root/interop:")
                link = Path(path.class_name, dict(path.keys, **{role: as_text}))
                self.assertEqual(client.instance("interop", link), properties)
                other = Path(far.class_name, far.keys,
                             "root/cimv2" if far.space == "interop" else "interop")
                link = Path(path.class_name, dict(path.keys, **{role: other}))
                self.fails(6, client.instance, "interop", link)

    def test_an_instance_has_the_properties_of_the_list_or_of_the_class(self):
        client = self.client()
        names = {"Name", "Started"}
        for space in INTEROP:
            for asked, found in [
                    (dict(class_name="CIM_WBEMService", PropertyList=["name", "STARTED", "None"]),
                     names),
                    (dict(class_name="CIM_WBEMService", PropertyList=[]), set()),
                    (dict(class_name="CIM_ManagedElement", DeepInheritance="false"),
                     {"Caption", "Description", "ElementName"})]:
                instances = client.instances(space, **asked)
                self.assertTrue(instances)
                for _, properties in instances:
                    self.assertLessEqual(set(properties), found)
            for _, properties in client.instances(space, "CIM_WBEMService"):
                self.assertLess(names | {"GatherStatisticalData"}, set(properties))

    def test_an_instance_has_every_property_of_its_class(self):
        client = self.client()
        for class_name in HELD:
            declared = {one.get("NAME"): one
                        for one in client.class_declaration("interop", class_name)
                        if one.tag.startswith("PROPERTY")}
            for found in client.ask("interop", "EnumerateInstances", ClassName=class_name):
                for one in found.find("INSTANCE"):
                    declaration = declared[one.get("NAME")]
                    self.assertEqual((one.tag, one.get("TYPE")),
                                     (declaration.tag, declaration.get("TYPE")))
                self.assertEqual([one.get("NAME") for one in found.find("INSTANCE")],
                                 list(declared))
                for name, one in declared.items():
                    if {"Key", "Required"} & {had.get("NAME") for had in one.iter("QUALIFIER")}:
                        held = read_properties(found.find("INSTANCE"))
                        self.assertIsNotNone(held[name], (class_name, name))

    def test_name_spaces_and_mechanism_belong_to_the_manager(self):
        client = self.client()
        path, _ = self.one(client, "CIM_ObjectManager")
        spaces = client.associator_names("interop", path, AssocClass="CIM_NamespaceInManager")
        self.assertEqual([one.keys["Name"] for one in spaces], SPACES)
        for one in spaces:
            self.assertEqual(one.space, "interop")
            self.assertEqual(client.associator_names("root/interop", one), [path])
        (mechanism,) = client.associator_names("interop", path,
                                               AssocClass="CIM_CommMechanismForManager")
        self.assertEqual(client.associator_names("interop", mechanism), [path])

    def test_the_manager_runs_on_the_system_of_the_drives(self):
        client = self.client()
        manager, _ = self.one(client, "CIM_ObjectManager")
        ((_, system),) = client.instances("root/cimv2", "CIM_ComputerSystem")
        self.assertEqual((manager.keys["SystemCreationClassName"], manager.keys["SystemName"]),
                         (system["CreationClassName"], system["Name"]))

    def test_associations_are_followed_through_every_filter(self):
        client = self.client()
        manager, _ = self.one(client, "CIM_ObjectManager")
        (profile,) = client.paths("interop", "CIM_RegisteredProfile")
        ends = [  # object, association, role, role and class of the other end, how many there are
            ("interop", manager, "CIM_NamespaceInManager", "Antecedent", "Dependent",
             "CIM_Namespace", 3),
            ("root/interop", manager, "CIM_CommMechanismForManager", "Antecedent", "Dependent",
             "CIM_ServiceAccessPoint", 1),
            ("interop", profile, "CIM_ElementConformsToProfile", "ConformantStandard",
             "ManagedElement", "CIM_Service", 1),
            ("root/cimv2", SERVICE_PATH, "CIM_ElementConformsToProfile", "managedelement",
             "conformantstandard", "CIM_RegisteredSpecification", 1)]
        for space, path, association, role, far_role, far_class, count in ends:
            fits = dict(AssocClass=association, ResultClass=far_class, Role=role,
                        ResultRole=far_role)
            found = client.associators(space, path, **fits)
            self.assertEqual(len(found), count)
            self.assertEqual(client.associator_names(space, path, **fits),
                             [far for far, _ in found])
            for one in client.ask(space, "AssociatorNames", ObjectName=path, **fits):
                self.assertTrue(one.findtext("INSTANCEPATH/NAMESPACEPATH/HOST"))
            for far, properties in found:
                self.assertNotEqual(far.space, "")
                again = client.instance(far.space, far)
                self.assertEqual(set(properties), set(again))
                self.assertEqual(properties["Name" if "Name" in again else "InstanceID"],
                                 again["Name" if "Name" in again else "InstanceID"])
            for name, other in [("AssocClass", "KAVRO_HDDTest_UseOfLog"), ("ResultClass", "CIM_DiskDrive"),
                                ("Role", far_role), ("ResultRole", role)]:
                unfit = dict(fits, **{name: other})
                self.assertEqual(client.associators(space, path, **unfit), [], unfit)
                self.assertEqual(client.associator_names(space, path, **unfit), [], unfit)
            fits = dict(ResultClass=association, Role=role)
            links = client.references(space, path, **fits)
            self.assertEqual(len(links), count)
            self.assertEqual(client.reference_names(space, path, **fits),
                             [link for link, _ in links])
            for link, properties in links:
                self.assertEqual(link.space, "interop")
                self.assertEqual(client.instance("interop", link), properties)
                self.assertEqual(set(properties), set(link.keys))
            for name, other in [("ResultClass", "KAVRO_HDDTest_UseOfLog"), ("Role", far_role)]:
                unfit = dict(fits, **{name: other})
                self.assertEqual(client.references(space, path, **unfit), [], unfit)
                self.assertEqual(client.reference_names(space, path, **unfit), [], unfit)

    def test_pulled_operations_give_the_same(self):
        client = self.client()
        manager, _ = self.one(client, "CIM_ObjectManager")
        for space in INTEROP:
            for opened, plain, asked in [
                    ("OpenEnumerateInstances", "EnumerateInstances",
                     dict(ClassName="CIM_ManagedElement")),
                    ("OpenEnumerateInstancePaths", "EnumerateInstanceNames",
                     dict(ClassName="CIM_ManagedElement")),
                    ("OpenAssociatorInstances", "Associators", dict(InstanceName=manager)),
                    ("OpenAssociatorInstancePaths", "AssociatorNames", dict(InstanceName=manager)),
                    ("OpenReferenceInstances", "References", dict(InstanceName=manager)),
                    ("OpenReferenceInstancePaths", "ReferenceNames", dict(InstanceName=manager))]:
                names = {"InstanceName": "ObjectName"}
                whole = client.ask(space, plain, **{names.get(name, name): value
                                                    for name, value in asked.items()})
                pulled = client.pull(space, opened, at_a_time=2, **asked)
                self.assertGreater(len(whole), 2)
                self.assertEqual([read_path(one) for one in pulled],
                                 [read_path(one) for one in whole])
                for one, other in zip(pulled, whole):
                    self.assertEqual(read_path(one).space, "interop")
                    if one.find("INSTANCE") is not None:
                        self.assertEqual(read_properties(one.find("INSTANCE")),
                                         read_properties(other.find("INSTANCE")))

    def test_classes_are_those_that_are_used_with_those_that_they_name(self):
        client = self.client()
        names = {space: client.class_names(space, DeepInheritance="true") for space in SPACES}
        self.assertEqual(names["interop"], names["root/interop"])
        self.assertLess(set(names["interop"]), set(names["root/cimv2"]))
        self.assertLessEqual(set(HELD), set(names["interop"]))
        self.assertEqual([name for name in names["interop"] if name.startswith("KAVRO")], [])
        declared = client.ask("interop", "EnumerateClasses", DeepInheritance="true")
        self.assertEqual([one.get("NAME") for one in declared], names["interop"])
        for one in declared:
            if one.get("SUPERCLASS"):
                self.assertIn(one.get("SUPERCLASS"), names["interop"])
            for end in one.iter():
                if end.get("REFERENCECLASS"):
                    self.assertIn(end.get("REFERENCECLASS"), names["interop"])
        self.assertEqual(client.class_names("interop", ClassName="CIM_Service"), ["CIM_WBEMService"])
        # The same from class to class.
        (far,) = client.ask("interop", "AssociatorNames", ObjectName="CIM_Namespace",
                            AssocClass="CIM_NamespaceInManager")
        self.assertEqual(far.find("CLASSPATH/CLASSNAME").get("NAME"), "CIM_ObjectManager")
        self.assertEqual([one.get("NAME") for one in far.iter("NAMESPACE")], ["interop"])

    def test_names_with_blanks_and_quotes(self):
        client = self.client()
        for space in INTEROP:
            for name in ['no "such" profile', "it's <none> & \\", " KAVRO:x "]:
                self.fails(6, client.instance, space,
                           Path("CIM_RegisteredProfile", {"InstanceID": name}))
            name = "KAVRO:Hard Drive Self Test/1.0.0"
            client.instance(space, Path("CIM_RegisteredProfile", {"InstanceID": name}))
            self.fails(6, client.instance, space,
                       Path("CIM_RegisteredProfile", {"InstanceID": f" {name} "}))
        for name in ['Hard "Drive": Self \\ Test', " Hard Drive: Self Test "]:
            self.fails(6, client.instance, "root/cimv2",
                       Path(SERVICE, dict(SERVICE_KEYS, Name=name)))
        self.assertEqual(client.instance("root/cimv2", SERVICE_PATH)["Name"],
                         "Hard Drive: Self Test")

    def test_the_keys_of_a_manager_must_be_its_own(self):
        client = self.client()
        path, _ = self.one(client, "CIM_ObjectManager")
        self.assertTrue(re.match("KAVRO:hddtest[:@].+", path.keys["Name"]))
        for key in path.keys:
            self.fails(6, client.instance, "interop",
                       Path(path.class_name, dict(path.keys, **{key: "another"})))
        self.fails(4, client.instance, "interop", Path(path.class_name, {}))
        self.assertEqual(client.associators("interop", Path(path.class_name, dict(
            path.keys, Name="another"))), [])


class Mechanism(InteropTest):
    def spoken(self, client):
        return self.one(client, "CIM_CIMXMLCommunicationMechanism")[1]

    def test_it_has_the_groups_that_options_tells(self):
        client = self.client()
        declared = client.class_declaration("interop", "CIM_CIMXMLCommunicationMechanism")
        (groups,) = [one for one in declared if one.get("NAME") == "FunctionalProfilesSupported"]
        numbers, labels = [[value.text for value in one.iter("VALUE")]
                           for name in ("ValueMap", "Values")
                           for one in groups.findall("QUALIFIER") if one.get("NAME") == name]
        words = dict(zip(numbers, labels))
        told = [words[number] for number in self.spoken(client)["FunctionalProfilesSupported"]]
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        self.addCleanup(connection.close)
        connection.request("OPTIONS", "*")
        fields = connection.getresponse().headers
        # OPTIONS has no word for pulled operations.
        self.assertEqual([*fields["73-CIMSupportedFunctionalGroups"].split(", "), "Pulled Read"],
                         told)
        self.assertEqual(self.spoken(client)["Version"], fields["73-CIMProtocolVersion"])
        self.assertEqual(self.spoken(client)["MultipleOperationsSupported"],
                         fields["73-CIMSupportsMultipleOperations"].upper())

    def test_it_has_the_limits_of_pulled_operations(self):
        client = self.client()
        spoken = self.spoken(client)
        opened = dict(operation="OpenEnumerateInstances", ClassName="CIM_Namespace")
        longest = int(spoken["PulledEnumerationMaximumOperationTimeout"])
        shortest = int(spoken["PulledEnumerationMinimumOperationTimeout"])
        for space in SPACES:
            for seconds in [shortest, longest]:
                client.ask(space, OperationTimeout=seconds, **opened)
            for seconds in [shortest - 1, longest + 1]:
                self.fails(22, client.ask, space, OperationTimeout=seconds, **opened)
            self.fails(26, client.ask, space, ContinueOnError="true", **opened)
            self.fails(25, client.ask, space, FilterQuery="x", **opened)
        for word in ["ContinuationOnError", "NoOperationTimeout"]:
            self.assertEqual(spoken[f"PulledEnumeration{word}Supported"], "FALSE")

    def test_what_nobody_pulls_is_forgotten_without_another_request(self):
        client = self.client()
        client.ask("interop", "OpenEnumerateInstances", ClassName="CIM_Namespace",
                   OperationTimeout=1)
        self.wait_for_log("dropped 1 open enumeration that nobody pulled in time")

    def test_it_tells_how_the_server_was_started(self):
        self.make_user()
        certificate = self.make_certificate()
        for arguments, user, told in [
                (["--no-auth"], None, ("CIM-XML over HTTP", ["2"])),
                (["--users", "users"], "operator:secret", ("CIM-XML over HTTP", ["3"])),
                (["--users", "users", *certificate], "operator:secret",
                 ("CIM-XML over HTTPS", ["3"]))]:
            client = self.client(*arguments, user=user)
            spoken = self.spoken(client)
            self.assertEqual((spoken["ElementName"], spoken["AuthenticationMechanismsSupported"]),
                             told)
            if user:
                client.user = "operator:wrong"
                with self.assertRaisesRegex(ConnectionError, "401"):
                    self.spoken(client)
            self.end()


class Refusals(InteropTest):
    def test_nothing_is_written(self):
        client = self.client()
        manager, properties = self.one(client, "CIM_ObjectManager")
        self.ask(run_of("/dev/sda"))  # now there are a job and a record
        # Of each class that has instances.
        paths = {path.class_name: path for path in client.paths("root/cimv2", "CIM_ManagedElement")}
        self.assertLess({SERVICE, RECORD, "KAVRO_DiskDrive", "KAVRO_HDDTest_ConcreteJob"},
                        set(paths))
        for space, path in [*((name, manager) for name in INTEROP),
                            *(("root/cimv2", path) for path in paths.values())]:
            self.fails(7, client.ask, space, "CreateInstance",
                       NewInstance=f'<INSTANCE CLASSNAME="{path.class_name}"/>')
            self.fails(7, client.ask, space, "ModifyInstance", ModifiedInstance=instance_xml(path))
            self.fails(7, client.ask, space, "DeleteInstance", InstanceName=path)
            self.fails(7, client.ask, space, "SetProperty", InstanceName=path,
                       PropertyName="ElementName", NewValue="<VALUE>x</VALUE>")
        self.assertEqual(client.instance("interop", manager), properties)
        for name in client.class_names("root/cimv2", DeepInheritance="true"):
            self.fails(7, client.ask, "root/cimv2", "CreateInstance",
                       NewInstance=f'<INSTANCE CLASSNAME="{name}"/>')

    def test_classes_and_qualifiers_are_not_changed(self):
        client = self.client()
        qualifier = '<QUALIFIER.DECLARATION NAME="New" TYPE="string"/>'
        for space in SPACES:
            for operation, parameters in [
                    ("CreateClass", dict(NewClass=NO_CLASS)),
                    ("ModifyClass", dict(ModifiedClass=NO_CLASS)),
                    ("DeleteClass", dict(ClassName="CIM_Namespace")),
                    ("SetQualifier", dict(QualifierDeclaration=qualifier)),
                    ("DeleteQualifier", dict(QualifierName="Key"))]:
                self.fails(7, client.ask, space, operation)
                self.fails(7, client.ask, space, operation, **parameters)

    def test_there_are_no_queries(self):
        client = self.client()
        query = "SELECT * FROM CIM_Namespace"
        for space in SPACES:
            self.fails(7, client.ask, space, "ExecQuery", QueryLanguage="WQL", Query=query)
            self.fails(7, client.ask, space, "OpenQueryInstances",
                       FilterQueryLanguage="DMTF:CQL", FilterQuery=query)

    def test_there_are_no_methods(self):
        client = self.client()
        for class_name, method, code in [("CIM_ObjectManager", "StopService", 7),
                                         ("CIM_RegisteredProfile", "GetCentralInstances", 17)]:
            path, _ = self.one(client, class_name)
            for path.space in INTEROP:
                self.fails(code, client.invoke, path, method)

    def test_names_that_are_not_there(self):
        client = self.client()
        for class_name in ["KAVRO_DiskDrive", SERVICE, "CIM_None"]:
            for operation in ["EnumerateInstances", "EnumerateInstanceNames", "EnumerateClasses",
                              "EnumerateClassNames", "OpenEnumerateInstances",
                              "OpenEnumerateInstancePaths"]:
                self.fails(5, client.ask, "interop", operation, ClassName=class_name)
            self.fails(5, client.instance, "interop", Path(class_name, {"Name": "x"}))
            self.fails(6, client.class_declaration, "interop", class_name)
        manager, _ = self.one(client, "CIM_ObjectManager")
        for ask in [client.associators, client.associator_names, client.references,
                    client.reference_names]:
            self.fails(4, ask, "interop", SERVICE_PATH)
            self.fails(4, ask, "interop", manager, ResultClass="CIM_None")
        self.fails(4, client.associators, "interop", manager, AssocClass="CIM_None")
        self.fails(6, client.ask, "interop", "GetQualifier", QualifierName="None")

    def test_name_spaces_that_are_not_there(self):
        client = self.client()
        manager, _ = self.one(client, "CIM_ObjectManager")
        for space in ["root", "cimv2", "interop2", "interop/interop", "root/interop/x"]:
            for class_name in ASSOCIATIONS:
                self.fails(3, client.instances, space, class_name)
            self.fails(3, client.ask, space, "EnumerateQualifiers")
            self.fails(3, client.class_names, space)
            self.fails(3, client.instance, space, manager)
            self.fails(3, client.associators, space, manager)
            self.fails(3, client.pull, space, "OpenEnumerateInstances", ClassName="CIM_Namespace")
            self.fails(3, client.invoke, Path(SERVICE, SERVICE_KEYS, space), "RunDiagnostic")


if __name__ == "__main__":
    main()
