"""Writes the object manager's repository: the declarations as constant tables."""

from . import cpp
from .values import flavors_of, literal_values, mof_text, qualifier_values

# Those that an object manager tells of, with their names in repository.h.
SCOPES = {"class": "ClassScope", **{name: name.capitalize() for name in (
    "association", "reference", "property", "method", "parameter", "indication")}}
CMPI_NAMES = {"datetime": "dateTime", "reference": "ref"}


def cmpi_type(type_name, array):
    return f"CMPI_{CMPI_NAMES.get(type_name, type_name)}" + (" | CMPI_ARRAY" if array else "")


class Tables:
    """Constant arrays; equal ones are written once."""

    def __init__(self):
        self.text = ""
        self.names = {}

    def array(self, element_type, elements):
        """The name of an array with these elements, or {} for none."""
        if not elements:
            return "{}"
        key = (element_type, tuple(elements))
        if key not in self.names:
            self.names[key] = f"{element_type.split('::')[-1].lower()}_{len(self.names)}"
            self.text += cpp.array(f"constexpr {element_type} {self.names[key]}", elements)
        return self.names[key]

    def qualifiers(self, qualifiers):
        elements = []
        for qualifier in qualifiers:
            texts = [cpp.text(value) for value in qualifier_values(qualifier)]
            values = self.array("std::string_view", texts)
            declared = qualifier.declared
            elements.append(f"{{{cpp.text(declared.name)}, "
                            f"{cmpi_type(declared.type, declared.array)}, {values}, "
                            f"{cpp.boolean(qualifier.overridable)}, "
                            f"{cpp.boolean(qualifier.to_subclass)}}}")
        return self.array("Qualifier", elements)

    def qualifier_declaration(self, declared):
        has_default = bool(declared.default and declared.default.kind != "null")
        texts = [cpp.text(value) for value in literal_values(declared.default)] \
            if has_default else []
        scopes = SCOPES if "any" in declared.scopes else \
            [scope for scope in SCOPES if scope in declared.scopes]
        flavors = [*flavors_of(declared), "translatable" in declared.flavors]
        return (f"{{{cpp.text(declared.name)}, {cmpi_type(declared.type, declared.array)}, "
                f"{cpp.boolean(has_default)}, {self.array('std::string_view', texts)}, "
                f"{' | '.join(f'QualifierDeclaration::{SCOPES[scope]}' for scope in scopes)}, "
                f"{', '.join(map(cpp.boolean, flavors))}}}")

    def features(self, features, are_parameters):
        elements = []
        for feature in features:
            default = cpp.text(mof_text(feature.default)) \
                if feature.default and feature.default.kind != "null" else "nullptr"
            flags = ", ".join(map(cpp.boolean, (feature.key, are_parameters and feature.is_in,
                                                are_parameters and feature.is_out)))
            elements.append(f"{{{cpp.text(feature.name)}, "
                            f"{cmpi_type(feature.type, feature.array)}, "
                            f"{cpp.text(feature.reference_class or '')}, {default}, {flags}, "
                            f"{self.qualifiers(feature.qualifiers)}}}")
        return self.array("Feature", elements)

    def methods(self, methods):
        return self.array("Method", [
            f"{{{cpp.text(method.name)}, {cmpi_type(method.type, method.array)}, "
            f"{self.features(method.parameters, True)}, {self.qualifiers(method.qualifiers)}}}"
            for method in methods])

    def class_element(self, cls):
        superclass = f"&classes[{cls.superclass.index}]" if cls.superclass else "nullptr"
        return (f"{{{cpp.text(cls.name)}, {superclass}, {self.features(cls.properties, False)}, "
                f"{self.methods(cls.methods)}, {self.qualifiers(cls.qualifiers)}, "
                f"{cpp.boolean(cls.association)}, {cpp.boolean(cls.abstract)}}}")


def source(model):
    tables = Tables()
    elements = [tables.class_element(cls) for cls in model.classes]
    qualifiers = tables.array("QualifierDeclaration",
                              [tables.qualifier_declaration(declared)
                               for declared in model.qualifier_types.values()])
    count = len(elements)
    classes = "".join(f"    {element},\n" for element in elements)
    return f"""{cpp.HEADER}#include "broker/repository.h"

namespace broker {{
namespace {{

{tables.text}
extern const Class classes[{count}];
constinit const Class classes[{count}] = {{
{classes}}};

}}  // namespace

std::span<const Class> all_classes() {{ return classes; }}
std::span<const QualifierDeclaration> all_qualifiers() {{ return {qualifiers}; }}

}}  // namespace broker
"""
