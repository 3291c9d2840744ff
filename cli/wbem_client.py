"""A client of CIM operations that knows nothing of this server: it asks what is there.

It stands on the standard library alone and reads what DSP0201 describes.
"""

import base64
import re
import urllib.parse
import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import escape, quoteattr


class CimError(Exception):
    def __init__(self, code, description):
        super().__init__(f"{code} {description}")
        self.code = code


class Path:
    """An instance's: name space (empty where the answer has none), class name and keys."""

    def __init__(self, class_name, keys, space=""):
        self.class_name, self.keys, self.space = class_name, keys, space

    def __eq__(self, other):
        return self.text() == other.text()

    def __hash__(self):
        return hash(self.text())

    def __repr__(self):
        return f"{self.space}:{self.text()}"

    def text(self):
        def value(key):
            if isinstance(key, Path):
                key = f"{key.space}:{key.text()}"
            return '"' + key.replace("\\", "\\\\").replace('"', '\\"') + '"'
        return self.class_name + "." + ",".join(f"{name}={value(self.keys[name])}"
                                                for name in sorted(self.keys))

    def xml(self):
        bindings = "".join(
            f"<KEYBINDING NAME={quoteattr(name)}>" +
            (f"<VALUE.REFERENCE>{key.local_xml()}</VALUE.REFERENCE>" if isinstance(key, Path) else
             f'<KEYVALUE VALUETYPE="string">{escape(key)}</KEYVALUE>') + "</KEYBINDING>"
            for name, key in self.keys.items())
        return f"<INSTANCENAME CLASSNAME={quoteattr(self.class_name)}>{bindings}</INSTANCENAME>"

    def local_xml(self):
        return f"<LOCALINSTANCEPATH>{space_xml(self.space)}{self.xml()}</LOCALINSTANCEPATH>"


def message(call):
    return ('<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0">'
            f'<MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ>{call}</SIMPLEREQ></MESSAGE></CIM>')


def space_xml(space):
    parts = "".join(f"<NAMESPACE NAME={quoteattr(part)}/>" for part in space.split("/"))
    return f"<LOCALNAMESPACEPATH>{parts}</LOCALNAMESPACEPATH>"


PATHS = ("INSTANCENAME", "INSTANCEPATH", "LOCALINSTANCEPATH")


def read_path(element):
    """Of an element that is the path of an instance, or holds one."""
    while element.tag not in PATHS:
        element = next(child for child in element if child.tag in (*PATHS, "OBJECTPATH"))
    space = "/".join(part.get("NAME") for holder in element
                     for part in holder.findall("NAMESPACE") + holder.findall(
                         "LOCALNAMESPACEPATH/NAMESPACE"))
    name = element if element.tag == "INSTANCENAME" else element.find("INSTANCENAME")
    keys = {}
    for binding in name.findall("KEYBINDING"):
        (value,) = binding
        keys[binding.get("NAME")] = (read_path(value[0]) if value.tag == "VALUE.REFERENCE"
                                     else value.text or "")
    return Path(name.get("CLASSNAME"), keys, space)


def read_properties(instance):
    """Values by name: a text, a list of texts, a path, or None for null."""
    values = {}
    for one in instance:
        if one.tag == "PROPERTY":
            values[one.get("NAME")] = one.findtext("VALUE")
        elif one.tag == "PROPERTY.ARRAY":
            held = one.find("VALUE.ARRAY")
            values[one.get("NAME")] = None if held is None else [item.text or "" for item in held]
        elif one.tag == "PROPERTY.REFERENCE":
            held = one.find("VALUE.REFERENCE")
            values[one.get("NAME")] = None if held is None else read_path(held[0])
    return values


# Parameters that are elements of XML already, and those whose text is the name of a class.
ELEMENTS = {"NewInstance", "ModifiedInstance", "NewValue", "NewClass", "ModifiedClass",
            "QualifierDeclaration"}
CLASSES = {"ClassName", "AssocClass", "ResultClass", "ObjectName"}


def parameter_xml(name, value):
    if name in ELEMENTS:
        return value
    if name in CLASSES and isinstance(value, str):
        return f"<CLASSNAME NAME={quoteattr(value)}/>"
    if isinstance(value, Path):
        return value.xml()
    if isinstance(value, list):
        return "<VALUE.ARRAY>" + "".join(f"<VALUE>{escape(one)}</VALUE>" for one in value) + \
            "</VALUE.ARRAY>"
    return f"<VALUE>{escape(str(value))}</VALUE>"


class Client:
    def __init__(self, connection, user=None):
        self.connection = connection  # of http.client
        self.user = user  # and password, with a colon between; None: no log-in
        self.out = {}  # output parameters of the last operation

    def send(self, body, method, target):
        headers = {"Content-Type": 'application/xml; charset="utf-8"', "CIMOperation": "MethodCall",
                   "CIMMethod": method, "CIMObject": urllib.parse.quote(target)}
        if self.user:
            headers["Authorization"] = "Basic " + base64.b64encode(self.user.encode()).decode()
        self.connection.request("POST", "/cimom", body.encode(), headers)
        reply = self.connection.getresponse()
        text = reply.read()
        if reply.status != 200:
            raise ConnectionError(f"{reply.status} {text.decode()}")
        tree = ElementTree.fromstring(text)
        for error in tree.iter("ERROR"):
            raise CimError(int(error.get("CODE")), error.get("DESCRIPTION"))
        return tree

    def ask(self, space, operation, **parameters):
        """The children of the result. Output parameters by name are in out."""
        given = "".join(f'<IPARAMVALUE NAME="{name}">{parameter_xml(name, value)}</IPARAMVALUE>'
                        for name, value in parameters.items())
        tree = self.send(message(f'<IMETHODCALL NAME="{operation}">{space_xml(space)}{given}'
                                 "</IMETHODCALL>"), operation, space)
        (response,) = tree.iter("IMETHODRESPONSE")
        result = response.find("IRETURNVALUE")
        self.out = {one.get("NAME"): one.findtext("VALUE") for one in response.iter("PARAMVALUE")}
        return [] if result is None else list(result)

    def invoke(self, path, method):
        """A method without arguments; its return value."""
        tree = self.send(message(f'<METHODCALL NAME="{method}">{path.local_xml()}</METHODCALL>'),
                         method, f"{path.space}:{path.text()}")
        return tree.findtext(".//RETURNVALUE/VALUE")

    def pull(self, space, operation, at_a_time=1, **parameters):
        """All objects of an operation that opens an enumeration."""
        found = self.ask(space, operation, **parameters)
        pull = "PullInstancePaths" if operation.endswith("Paths") else "PullInstancesWithPath"
        while self.out["EndOfSequence"] == "FALSE":
            found += self.ask(space, pull, EnumerationContext=self.out["EnumerationContext"],
                              MaxObjectCount=at_a_time)
        return found

    def instances(self, space, class_name, **parameters):
        """Pairs of path and properties."""
        found = self.ask(space, "EnumerateInstances", ClassName=class_name, **parameters)
        return [(read_path(one.find("INSTANCENAME")), read_properties(one.find("INSTANCE")))
                for one in found]

    def class_names(self, space, **parameters):
        return [one.get("NAME") for one in self.ask(space, "EnumerateClassNames", **parameters)]

    def paths(self, space, class_name):
        return [read_path(one) for one in
                self.ask(space, "EnumerateInstanceNames", ClassName=class_name)]

    def instance(self, space, path):
        (found,) = self.ask(space, "GetInstance", InstanceName=path)
        return read_properties(found)

    def associators(self, space, path, **filters):
        return [(read_path(one), read_properties(one.find("INSTANCE"))) for one in
                self.ask(space, "Associators", ObjectName=path, **filters)]

    def associator_names(self, space, path, **filters):
        return [read_path(one) for one in
                self.ask(space, "AssociatorNames", ObjectName=path, **filters)]

    def references(self, space, path, **filters):
        return [(read_path(one), read_properties(one.find("INSTANCE"))) for one in
                self.ask(space, "References", ObjectName=path, **filters)]

    def reference_names(self, space, path, **filters):
        return [read_path(one) for one in
                self.ask(space, "ReferenceNames", ObjectName=path, **filters)]

    def class_declaration(self, space, class_name):
        (found,) = self.ask(space, "GetClass", ClassName=class_name, LocalOnly="false")
        return found

    def qualifiers(self, space):
        return {one.get("NAME"): one for one in self.ask(space, "EnumerateQualifiers")}


def version_in(description):
    """As clients read it out of the description of an object manager."""
    return re.search(r" (?:version|release) (.+)\Z", description, re.IGNORECASE)[1]
