"""Writes the class library: a header for each class with its struct, sources with their meta-classes."""

from . import cpp

PROPERTY_TYPES = {"string": "String", "datetime": "Datetime", "reference": "Ref<Instance>"}


def property_type(feature):
    element = PROPERTY_TYPES.get(feature.type, feature.type)
    return f"Property<Array<{element}>>" if feature.array else f"Property<{element}>"


def field_name(feature):
    """The struct's member: as the class that introduced the feature spells it."""
    while feature.overrides:
        feature = feature.overrides
    return feature.name


def record_name(method):
    return f"{method.owner.name}_{method.name}_method"


# The header.

def struct_head(name, base):
    return (f"struct OVK_CIMPLE_EXPORT {name} : {base} {{\n"
            "  static const MetaClass static_meta_class;\n"
            f"  explicit {name}(const MetaClass& meta = static_meta_class) : {base}(meta) {{}}\n")


def record_struct(method):
    members = [f"  {property_type(p)} {p.name};\n" for p in method.parameters]
    return (struct_head(record_name(method), "Instance") + "".join(members) +
            f"  {property_type(method)} return_value;\n}};\n\n")


def default_text(feature):
    value = feature.effective_default.value
    if feature.type == "datetime":
        return f"*Datetime::parse({cpp.text(value)})"
    if feature.type == "string":
        return cpp.text(value)
    if feature.type == "char16":
        return f"char16(0x{ord(value):x})"
    if feature.type == "boolean":
        return cpp.boolean(value)
    if feature.type.startswith("real"):
        return repr(float(value))
    # The lowest sint64 has no literal of its own.
    return "INT64_MIN" if value == -2**63 else f"{value}{'u' if value > 2**63 - 1 else ''}"


def set_defaults(cls):
    lines = []
    for feature in cls.properties:
        inherited = feature.overrides and feature.overrides.effective_default
        if feature.effective_default:
            lines.append(f"    {field_name(feature)} = {default_text(feature)};\n")
        elif inherited:
            lines.append(f"    {field_name(feature)}.set_null();\n")
    cls.has_defaults = bool(lines) or bool(cls.superclass and cls.superclass.has_defaults)
    if not lines:
        return ""
    if cls.superclass and cls.superclass.has_defaults:
        lines.insert(0, f"    {cls.superclass.name}::set_defaults();\n")
    return "  void set_defaults() {\n" + "".join(lines) + "  }\n"


def invoke(cls):
    if not cls.all_methods:
        return ("  template <class Provider>\n"
                f"  static sint32 invoke(Provider&, const {cls.name}*, Instance*) {{\n"
                "    return UnknownOperation;\n  }\n")
    result = ("  template <class Provider>\n"
              f"  static sint32 invoke(Provider& provider, const {cls.name}* self, "
              "Instance* record) {\n"
              "    const char* method = record->meta_class->name;\n")
    for method in cls.all_methods:
        arguments = ", ".join(["self"] + [f"call.{p.name}" for p in method.parameters] +
                              ["call.return_value"])
        result += (f"    if (same_name(method, {cpp.text(method.name)})) {{\n"
                   f"      auto& call = *static_cast<{record_name(method)}*>(record);\n"
                   f"      return provider.{method.name}({arguments});\n    }}\n")
    return result + "    return UnknownOperation;\n  }\n"


def class_struct(cls):
    members = [f"  {property_type(p)} {p.name};\n" for p in cls.properties if not p.overrides]
    return ("".join(record_struct(method) for method in cls.methods) +
            struct_head(cls.name, cls.superclass.name if cls.superclass else "Instance") +
            "".join(members) + set_defaults(cls) + invoke(cls) + "};\n\n")


REPOSITORY = """
namespace ovk_cimple {
// Every class, superclasses before their subclasses.
extern OVK_CIMPLE_EXPORT const MetaRepository kavro_repository;
}  // namespace ovk_cimple
"""


def includes(classes):
    return "".join(f'#include "model/{cls.name}.h"\n' for cls in classes)


def header(cls):
    """The struct of one class. A unit that needs one class does not depend on the others."""
    included = includes([cls.superclass]) if cls.superclass else (
        '#include "platform/framework/datetime.h"\n'
        '#include "platform/framework/instance.h"\n'
        '#include "platform/framework/meta.h"\n'
        '#include "platform/framework/provider_status.h"\n')
    return (cpp.HEADER + "#pragma once\n\n" + included + "\nnamespace ovk_cimple {\n\n" +
            class_struct(cls) + "}  // namespace ovk_cimple\n")


def whole_header(model):
    return cpp.HEADER + """//
// One struct per CIM class, with the properties that the class introduces; an overriding property
// is the inherited member. One struct per method: its parameters, then its return value. invoke()
// calls the provider's member named like the record's method (compared without regard to case, in
// the class's order) with the target instance, the parameters and the return value, and returns
// its status, or UnknownOperation when the class has no such method.
#pragma once

""" + includes(model.classes) + REPOSITORY


# The sources.

def meta_property(struct, feature, is_parameter=False):
    target = f"&{feature.reference_class}::static_meta_class" if feature.reference_class \
        else "nullptr"
    is_in = is_parameter and feature.is_in
    is_out = is_parameter and feature.is_out
    flags = ", ".join(map(cpp.boolean, (feature.array, feature.key, is_in, is_out)))
    return (f"{{{cpp.text(feature.name)}, Type::{feature.type}, {flags}, "
            f"offsetof({struct}, {field_name(feature)}), {target}}}")


def meta_class(struct, name, superclass, properties, methods, association, abstract):
    """The tables and the record of one struct."""
    result = "namespace {\n"
    if properties:
        result += cpp.array(f"constexpr MetaProperty {struct}_properties", properties)
    if methods:
        result += cpp.array(f"constexpr const MetaClass* {struct}_methods",
                            [f"&{record_name(m)}::static_meta_class" for m in methods])
    pointer = f"&{superclass.name}::static_meta_class" if superclass else "nullptr"
    return result + f"""}}  // namespace
constinit const MetaClass {struct}::static_meta_class = {{
    .name = {cpp.text(name)},
    .superclass = {pointer},
    .properties = {struct + "_properties" if properties else "{}"},
    .methods = {struct + "_methods" if methods else "{}"},
    .repository = &kavro_repository,
    .association = {cpp.boolean(association)},
    .abstract = {cpp.boolean(abstract)},
    .construct = construct_instance<{struct}>,
    .copy = copy_instance<{struct}>,
    .destruct = destruct_instance<{struct}>,
}};

"""


def method_records(cls):
    result = ""
    for method in cls.methods:
        struct = record_name(method)
        parameters = [meta_property(struct, p, True) for p in method.parameters]
        parameters.append(f'{{"return_value", Type::{method.type}, '
                          f"{cpp.boolean(method.array)}, false, false, true, "
                          f"offsetof({struct}, return_value), nullptr}}")
        result += meta_class(struct, method.name, None, parameters, [], False, False)
    return result


def class_record(cls):
    return method_records(cls) + meta_class(
        cls.name, cls.name, cls.superclass,
        [meta_property(cls.name, p) for p in cls.all_properties], cls.all_methods,
        cls.association, cls.abstract)


def referenced(cls):
    """Names of the classes that references of a class, or of its methods' parameters, point to."""
    features = cls.all_properties + [p for method in cls.methods for p in method.parameters]
    return {feature.reference_class for feature in features if feature.reference_class}


def source(included, body):
    return (cpp.HEADER + included + "\n"
            "// Members of classes of single inheritance: their offsets are known.\n"
            '#pragma GCC diagnostic ignored "-Winvalid-offsetof"\n\n'
            "namespace ovk_cimple {\n\n" + body + "}  // namespace ovk_cimple\n")


def sources(model, count):
    """The classes shared out to so many files, so that they compile side by side and a change of one
    class compiles few."""
    for part in range(count):
        classes = model.classes[part::count]
        names = {cls.name for cls in classes}.union(*map(referenced, classes))
        included = includes(cls for cls in model.classes if cls.name in names)
        yield source(included + REPOSITORY, "".join(map(class_record, classes)))


def whole_source(model):
    """The list of all classes."""
    return source('#include "model/classes.h"\n',
                  "namespace {\n" +
                  cpp.array("constexpr const MetaClass* all_classes",
                            [f"&{cls.name}::static_meta_class" for cls in model.classes]) +
                  "}  // namespace\n"
                  "constinit const MetaRepository kavro_repository = {all_classes};\n\n")
