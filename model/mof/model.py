"""Checks declarations against each other and gives every class what it inherits."""

from .lexer import MofError
from .parser import Class, QualifierType
from .values import (check_qualifier_type, check_qualifiers, check_value, qualifier_values,
                     type_text)


class Model:
    """The classes in the order of the MOF, superclasses first. Each parsed Class gains:
    superclass, association, abstract, all_properties and all_methods (inherited ones first, an
    overriding one in the place of the one that it overrides). Each Feature gains: owner (the
    class that declares it), overrides (the Feature that it overrides or None), introducer (the
    class that introduced it), effective_default (the Literal that the schema gives, inherited or
    not, or None), key, and of a parameter: is_in, is_out."""

    def __init__(self, declarations):
        self.qualifier_types = {}
        self.classes = []
        self.by_name = {}
        for declaration in declarations:
            if isinstance(declaration, QualifierType):
                self.add_qualifier_type(declaration)
            else:
                self.add_class(declaration)
        for cls in self.classes:
            self.check_superclass(cls)
        for cls in self.classes:
            self.complete_class(cls)

    def add_qualifier_type(self, declared):
        if declared.name.lower() in self.qualifier_types:
            raise MofError(declared.place, f"duplicate qualifier declaration {declared.name}")
        check_qualifier_type(declared)
        self.qualifier_types[declared.name.lower()] = declared

    def add_class(self, cls: Class):
        if cls.name.lower() in self.by_name:
            raise MofError(cls.place, f"duplicate class {cls.name}")
        cls.index = len(self.classes)
        self.classes.append(cls)
        self.by_name[cls.name.lower()] = cls

    # Inheritance.

    def check_superclass(self, cls):
        cls.superclass = None
        if cls.superclass_name is None:
            return
        chain, ancestor = [cls.name], cls
        while ancestor.superclass_name:
            following = self.by_name.get(ancestor.superclass_name.lower())
            if not following:
                raise MofError(ancestor.place, f"unknown superclass {ancestor.superclass_name}")
            chain.append(following.name)
            if following is cls:
                raise MofError(cls.place, f"class {cls.name} derives from itself: "
                                          f"{' : '.join(chain)}")
            if len(chain) > len(self.classes):  # a ring above this class
                raise MofError(following.place, f"class {following.name} derives from itself")
            ancestor = following
        cls.superclass = self.by_name[cls.superclass_name.lower()]
        if cls.superclass.index > cls.index:
            raise MofError(cls.place, f"superclass {cls.superclass.name} of {cls.name} is declared "
                                      "after it")

    @staticmethod
    def is_subclass(cls, ancestor):
        while cls and cls is not ancestor:
            cls = cls.superclass
        return cls is not None

    # Qualifiers of an element, inherited ones included.

    def truth(self, element, name, original=lambda element: element.overrides):
        """The value of a boolean qualifier."""
        origin = element
        while origin is not None:
            for qualifier in origin.qualifiers:
                if qualifier.name.lower() == name and (origin is element or
                                                       qualifier.to_subclass):
                    return qualifier_values(qualifier) == ["true"]
            origin = original(origin)
        declared = self.qualifier_types.get(name)
        return bool(declared and declared.default and declared.default.value)

    @staticmethod
    def check_overridable(element, name, original=lambda element: element.overrides):
        """Raises MofError where a qualifier contradicts an inherited one that must stay."""
        for qualifier in element.qualifiers:
            ancestor = original(element)
            while ancestor is not None:
                for other in ancestor.qualifiers:
                    if other.name.lower() == qualifier.name.lower() and other.to_subclass and \
                            not other.overridable and \
                            qualifier_values(other) != qualifier_values(qualifier):
                        raise MofError(qualifier.place, f"qualifier {qualifier.name} of {name} "
                                                        "must stay as it is inherited")
                ancestor = original(ancestor)

    # Classes.

    def complete_class(self, cls):
        superclass_of = lambda element: element.superclass
        association_here = any(qualifier.name.lower() == "association"
                               for qualifier in cls.qualifiers)
        inherits_association = bool(cls.superclass and cls.superclass.association)
        scope = "association" if association_here or inherits_association else "class"
        check_qualifiers(cls.qualifiers, self.qualifier_types, scope, cls.name)
        self.check_overridable(cls, cls.name, superclass_of)
        cls.association = self.truth(cls, "association", superclass_of)
        cls.abstract = self.truth(cls, "abstract", superclass_of)
        if cls.association and cls.superclass and not inherits_association:
            raise MofError(cls.place, f"association {cls.name} derives from {cls.superclass.name}, "
                                      "which is none")

        cls.all_properties = list(cls.superclass.all_properties) if cls.superclass else []
        cls.all_methods = list(cls.superclass.all_methods) if cls.superclass else []
        inherited_keys = any(feature.key for feature in cls.all_properties)
        for kind, own, everything in (("property", cls.properties, cls.all_properties),
                                      ("method", cls.methods, cls.all_methods)):
            seen = set()
            for feature in own:
                if feature.name.lower() in seen:
                    raise MofError(feature.place,
                                   f"duplicate {kind} {feature.name} in {cls.name}")
                seen.add(feature.name.lower())
                self.complete_feature(feature, cls, kind, everything)
        for feature in cls.properties:
            was_key = feature.overrides and feature.overrides.key
            if feature.key and not was_key and inherited_keys:
                raise MofError(feature.place, f"{cls.name} adds key {feature.name}, but "
                                              f"{cls.superclass.name} has keys already")
        if cls.association and sum(p.type == "reference" for p in cls.all_properties) < 2:
            raise MofError(cls.place, f"association {cls.name} has fewer than two references")

    def complete_feature(self, feature, cls, kind, everything):
        name = f"{cls.name}.{feature.name}"
        scope = "reference" if feature.type == "reference" and kind == "property" else kind
        check_qualifiers(feature.qualifiers, self.qualifier_types, scope, name)
        feature.owner = feature.introducer = cls
        feature.overrides = self.overridden(feature, name, kind, everything)
        self.check_overridable(feature, name)
        self.check_type(feature, name)
        if kind == "method":
            self.complete_parameters(feature, name)
        elif scope == "reference" and not cls.association:
            raise MofError(feature.place, f"reference {name} in a class that is no association")
        feature.key = self.truth(feature, "key")
        if feature.key and feature.array:
            raise MofError(feature.place, f"key {name} is an array")

        if not feature.overrides:
            everything.append(feature)
            return
        self.check_same_type(feature, feature.overrides, name)
        feature.introducer = feature.overrides.introducer
        if feature.default is None:
            feature.effective_default = feature.overrides.effective_default
        everything[everything.index(feature.overrides)] = feature

    @staticmethod
    def overridden(feature, name, kind, everything):
        """The inherited feature that this one overrides, or None."""
        original = next((other for other in everything
                         if other.name.lower() == feature.name.lower()), None)
        override = next((q for q in feature.qualifiers if q.name.lower() == "override"), None)
        if not override:
            if original:
                raise MofError(feature.place, f"{kind} {name} is inherited from "
                                              f"{original.owner.name}: Override is missing")
            return None
        target = "".join(qualifier_values(override))
        if target.lower() != feature.name.lower():
            raise MofError(override.place, f"Override of {name} names another {kind}, '{target}'")
        if not original:
            raise MofError(override.place, f"{name} overrides what no superclass has")
        return original

    def check_type(self, feature, name):
        """Reference classes exist, defaults fit."""
        if feature.type == "reference":
            target = self.by_name.get(feature.reference_class.lower())
            if not target:
                raise MofError(feature.place,
                               f"unknown class {feature.reference_class} of reference {name}")
            feature.reference_class = target.name
        feature.effective_default = feature.default
        if feature.default is None:
            return
        if feature.type == "reference" or feature.array:
            raise MofError(feature.default.place,
                           f"default of {name}: not supported for a reference or an array")
        check_value(feature.default, feature.type, False, f"default of {name}")
        if feature.default.kind == "null":
            feature.effective_default = None

    def check_same_type(self, feature, original, name):
        if (feature.type, feature.array) != (original.type, original.array):
            raise MofError(feature.place,
                           f"{name} is of type {type_text(feature.type, feature.array)}, but "
                           f"overrides {type_text(original.type, original.array)}")
        if feature.type == "reference" and not self.is_subclass(
                self.by_name[feature.reference_class.lower()],
                self.by_name[original.reference_class.lower()]):
            raise MofError(feature.place, f"{name} refers to {feature.reference_class}, which is "
                                          f"no {original.reference_class}")
        if feature.parameters is None:
            return
        if len(feature.parameters) != len(original.parameters):
            raise MofError(feature.place, f"{name} has {len(feature.parameters)} parameters, but "
                                          f"overrides {len(original.parameters)}")
        for parameter, other in zip(feature.parameters, original.parameters):
            self.check_same_type(parameter, other, f"{name}.{parameter.name}")

    def complete_parameters(self, method, name):
        if method.type == "reference":
            raise MofError(method.place, f"method {name} returns a reference")
        seen = set()
        for parameter in method.parameters:
            if parameter.name.lower() in seen:
                raise MofError(parameter.place, f"duplicate parameter {parameter.name} of {name}")
            seen.add(parameter.name.lower())
            full_name = f"{name}.{parameter.name}"
            check_qualifiers(parameter.qualifiers, self.qualifier_types, "parameter", full_name)
            self.check_type(parameter, full_name)
            parameter.overrides, parameter.key = None, False
            parameter.is_in = self.truth(parameter, "in")
            parameter.is_out = self.truth(parameter, "out")

