"""What the tests of the name space interop share."""

from server_case import ServerTest
from wbem_client import CimError, Client

# Two names of one name space.
INTEROP = ["interop", "root/interop"]
SPACES = ["root/cimv2", *INTEROP]
ASSOCIATIONS = ["CIM_NamespaceInManager", "CIM_CommMechanismForManager",
                "CIM_ElementConformsToProfile"]
HELD = ["CIM_ObjectManager", "CIM_Namespace", "CIM_CIMXMLCommunicationMechanism",
        "CIM_RegisteredProfile", *ASSOCIATIONS]


class InteropTest(ServerTest):
    def setUp(self):
        super().setUp()
        self.machine("sda")

    def client(self, *arguments, user=None):
        """One of a server that is started with these arguments."""
        self.serve(*(arguments or ["--no-auth"]))
        return Client(self.connect(), user)

    def fails(self, code, ask, *arguments, **parameters):
        with self.assertRaises(CimError) as caught:
            ask(*arguments, **parameters)
        self.assertEqual(caught.exception.code, code,
                         (str(caught.exception), arguments, parameters))

    def one(self, client, class_name):
        (found,) = client.instances("interop", class_name)
        return found
