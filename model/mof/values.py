"""Whether literals and qualifiers fit what they are given to."""

import re
import sys

from .lexer import MofError

INTEGER_RANGES = {f"{sign}int{bits}": ((0, 2**bits - 1) if sign == "u" else
                                       (-2**(bits - 1), 2**(bits - 1) - 1))
                  for sign in "us" for bits in (8, 16, 32, 64)}

LARGEST_REAL = {"real32": 3.4028234e38, "real64": sys.float_info.max}

INTERVAL = re.compile(r"\d{8}([01]\d|2[0-3])[0-5]\d[0-5]\d\.\d{6}:000")
TIME_STAMP = re.compile(r"\d{4}(0[1-9]|1[0-2])(0[1-9]|[12]\d|3[01])([01]\d|2[0-3])[0-5]\d[0-5]\d"
                        r"\.\d{6}[+-]\d{3}")


def type_text(type_name, array):
    return type_name + ("[]" if array else "")


def check_single(literal, type_name, what):
    def refuse(reason):
        raise MofError(literal.place, f"{what}: {reason}")

    if literal.kind == "array":
        refuse(f"an array for a single {type_name}")
    if type_name in INTEGER_RANGES:
        low, high = INTEGER_RANGES[type_name]
        if literal.kind != "integer":
            refuse(f"{literal.kind} value for type {type_name}")
        if not low <= literal.value <= high:
            refuse(f"{literal.value} is out of range for {type_name}")
        return
    fitting = {"boolean": ("boolean",), "string": ("string",), "datetime": ("string",),
               "char16": ("char",), "real32": ("real", "integer"), "real64": ("real", "integer")}
    if literal.kind not in fitting[type_name]:
        refuse(f"{literal.kind} value for type {type_name}")
    if type_name in LARGEST_REAL and abs(literal.value) > LARGEST_REAL[type_name]:
        refuse(f"{literal.value} is out of range for {type_name}")
    if type_name == "char16" and ord(literal.value) > 0xFFFF:
        refuse("the character does not fit char16")
    if type_name == "datetime" and not (INTERVAL.fullmatch(literal.value) or
                                        TIME_STAMP.fullmatch(literal.value)):
        refuse(f"'{literal.value}' is no date-time")


def check_value(literal, type_name, array, what):
    """Raises MofError if the literal is no value of the type. Null fits every type."""
    if literal.kind == "null":
        return
    if not array:
        check_single(literal, type_name, what)
        return
    if literal.kind != "array":
        raise MofError(literal.place, f"{what}: {literal.kind} value for type {type_name}[]")
    for element in literal.value:
        check_single(element, type_name, what)


def mof_text(literal):
    """A single literal as text, without quotes."""
    return str(literal.value).lower() if literal.kind == "boolean" else str(literal.value)


def check_qualifier_type(declared):
    if declared.default:
        check_value(declared.default, declared.type, declared.array,
                    f"default of qualifier {declared.name}")
    if {"enableoverride", "disableoverride"} <= set(declared.flavors) or \
            {"tosubclass", "restricted"} <= set(declared.flavors):
        raise MofError(declared.place, f"qualifier {declared.name} has contradicting flavors")


def flavors_of(declared, flavors=()):
    """Whether a qualifier that is declared so may be overridden, and whether it passes to
    subclasses; flavors: what is written where it stands."""
    inherited = set(declared.flavors)
    return ("disableoverride" not in flavors and
            ("enableoverride" in flavors or "disableoverride" not in inherited),
            "restricted" not in flavors and
            ("tosubclass" in flavors or "restricted" not in inherited))


def check_qualifiers(qualifiers, types, scope, owner):
    """Checks the qualifiers written at one element and completes them: type, value, flavors."""
    seen = set()
    for qualifier in qualifiers:
        declared = types.get(qualifier.name.lower())
        what = f"qualifier {qualifier.name} of {owner}"
        if not declared:
            raise MofError(qualifier.place, f"unknown qualifier {qualifier.name}")
        if declared.name.lower() in seen:
            raise MofError(qualifier.place, f"duplicate {what}")
        seen.add(declared.name.lower())
        if scope not in declared.scopes and "any" not in declared.scopes:
            raise MofError(qualifier.place,
                           f"{what}: it does not apply to "
                           f"{'an' if scope[0] in 'aeiou' else 'a'} {scope}")
        if qualifier.value:
            check_value(qualifier.value, declared.type, declared.array, what)
        elif declared.type != "boolean":
            raise MofError(qualifier.place, f"{what} needs a value")
        qualifier.declared = declared
        qualifier.overridable, qualifier.to_subclass = flavors_of(declared, set(qualifier.flavors))


def qualifier_values(qualifier):
    """The value as a list of texts in MOF spelling without quotes."""
    return ["true"] if qualifier.value is None else literal_values(qualifier.value)


def literal_values(literal):
    """The same of a literal."""
    if literal.kind == "null":
        return []
    if literal.kind == "array":
        return [mof_text(element) for element in literal.value]
    return [mof_text(literal)]
