"""What the name space interop says where a provider fails.

    interop_facts_test.py PROGRAM
"""

from command_case import main
from interop_case import HELD, INTEROP, InteropTest


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
