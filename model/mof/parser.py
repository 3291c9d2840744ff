"""Turns tokens into declarations as they stand; what they mean together is checked later."""

from dataclasses import dataclass, field

from .lexer import MofError, tokens

TYPES = ("boolean", "uint8", "sint8", "uint16", "sint16", "uint32", "sint32", "uint64", "sint64",
         "real32", "real64", "char16", "string", "datetime")
SCOPES = ("class", "association", "indication", "qualifier", "property", "reference", "method",
          "parameter", "schema", "any")
FLAVORS = ("enableoverride", "disableoverride", "tosubclass", "restricted", "translatable",
           "toinstance")
# Pragmas that say nothing about the classes.
HARMLESS_PRAGMAS = ("locale", "instancelocale", "namespace", "source", "nonlocal")


@dataclass
class Literal:
    kind: str  # integer, real, string, char, boolean, null or array
    value: object  # of an array: the list of its Literals
    place: str


@dataclass
class Qualifier:
    name: str
    value: Literal  # None when none is written
    flavors: list
    place: str


@dataclass
class QualifierType:
    name: str
    type: str
    array: bool
    default: Literal
    scopes: list
    flavors: list
    place: str


@dataclass
class Feature:
    """A property, a parameter or (with parameters) a method."""
    name: str
    type: str  # one of TYPES or "reference"
    array: bool
    reference_class: str  # None unless a reference
    default: Literal
    qualifiers: list
    place: str
    parameters: list = None


@dataclass
class Class:
    name: str
    superclass_name: str  # None for a root class
    qualifiers: list
    place: str
    properties: list = field(default_factory=list)
    methods: list = field(default_factory=list)


class Parser:
    def __init__(self, text, file_name):
        self.tokens = tokens(text, file_name)
        self.position = 0

    # Tokens.

    @property
    def token(self):
        return self.tokens[self.position]

    def fail(self, expected):
        raise MofError(self.token.place, f"expected {expected}, found '{self.token.text}'")

    def advance(self):
        token = self.token
        self.position += 1
        return token

    def take(self, text):
        """Whether the token was that word or sign; if so it is consumed."""
        if self.token.kind not in ("name", "punctuation") or self.token.text.lower() != text:
            return False
        self.position += 1
        return True

    def expect(self, text):
        if not self.take(text):
            self.fail(f"'{text}'")

    def end_declaration(self):
        if not self.take(";"):
            # Said of where it should stand, not of the next token, which may be lines below.
            last = self.tokens[self.position - 1]
            raise MofError(last.place, f"missing ';' after '{last.text}'")

    def name(self, what):
        if self.token.kind != "name":
            self.fail(what)
        return self.advance()

    # Values.

    def single_literal(self):
        token = self.token
        if token.kind == "string":
            value = ""
            while self.token.kind == "string":
                value += self.advance().value
            return Literal("string", value, token.place)
        if token.kind in ("integer", "real", "char"):
            return Literal(token.kind, self.advance().value, token.place)
        for word, kind, value in (("true", "boolean", True), ("false", "boolean", False),
                                  ("null", "null", None)):
            if self.take(word):
                return Literal(kind, value, token.place)
        self.fail("a value")

    def array_literal(self):
        place = self.tokens[self.position - 1].place
        values = []
        if not self.take("}"):
            values.append(self.single_literal())
            while self.take(","):
                values.append(self.single_literal())
            self.expect("}")
        return Literal("array", values, place)

    def literal(self):
        return self.array_literal() if self.take("{") else self.single_literal()

    # Qualifiers.

    def word_of(self, words, what):
        token = self.name(what)
        if token.text.lower() not in words:
            raise MofError(token.place, f"unknown {what} '{token.text}'")
        return token.text.lower()

    def word_list(self, words, what):
        self.expect("(")
        result = [self.word_of(words, what)]
        while self.take(","):
            result.append(self.word_of(words, what))
        self.expect(")")
        return result

    def qualifier(self):
        name = self.name("a qualifier")
        value = None
        if self.take("("):
            value = self.single_literal()
            self.expect(")")
        elif self.take("{"):
            value = self.array_literal()
        flavors = []
        if self.take(":"):
            while self.token.kind == "name":
                flavors.append(self.word_of(FLAVORS, "flavor"))
            if not flavors:
                self.fail("a flavor")
        return Qualifier(name.text, value, flavors, name.place)

    def qualifier_list(self):
        if not self.take("["):
            return []
        result = [self.qualifier()]
        while self.take(","):
            result.append(self.qualifier())
        self.expect("]")
        return result

    def qualifier_type(self):
        name = self.name("a qualifier's name")
        self.expect(":")
        type_name = self.word_of(TYPES, "type")
        array = self.array_brackets()
        default = self.literal() if self.take("=") else None
        self.expect(",")
        self.expect("scope")
        scopes = self.word_list(SCOPES, "scope")
        flavors = []
        if self.take(","):
            self.expect("flavor")
            flavors = self.word_list(FLAVORS, "flavor")
        self.end_declaration()
        return QualifierType(name.text, type_name, array, default, scopes, flavors, name.place)

    # Classes.

    def array_brackets(self):
        if not self.take("["):
            return False
        if self.token.kind == "integer":
            raise MofError(self.token.place, "arrays of fixed size are not supported")
        self.expect("]")
        return True

    def type_and_name(self, what):
        """A Feature up to its name."""
        qualifiers = self.qualifier_list()
        type_token = self.name("a type")
        if self.take("ref"):
            type_name, reference_class = "reference", type_token.text
        elif type_token.text.lower() in TYPES:
            type_name, reference_class = type_token.text.lower(), None
        else:
            raise MofError(type_token.place, f"unknown type '{type_token.text}'")
        name = self.name(what)
        return Feature(name.text, type_name, False, reference_class, None, qualifiers, name.place)

    def parameter(self):
        result = self.type_and_name("a parameter's name")
        result.array = self.array_brackets()
        return result

    def class_member(self, owner):
        feature = self.type_and_name("a name")
        if self.take("("):
            feature.parameters = []
            if not self.take(")"):
                feature.parameters.append(self.parameter())
                while self.take(","):
                    feature.parameters.append(self.parameter())
                self.expect(")")
            owner.methods.append(feature)
        else:
            feature.array = self.array_brackets()
            feature.default = self.literal() if self.take("=") else None
            owner.properties.append(feature)
        self.end_declaration()

    def class_declaration(self, qualifiers):
        name = self.name("a class name")
        superclass = self.name("a superclass").text if self.take(":") else None
        result = Class(name.text, superclass, qualifiers, name.place)
        self.expect("{")
        while not self.take("}"):
            if self.token.kind == "end":
                self.fail("'}'")
            self.class_member(result)
        self.end_declaration()
        return result

    def pragma(self):
        token = self.advance()
        words = token.text[1:].replace("(", " ").split()
        if len(words) < 2 or words[0].lower() != "pragma":
            raise MofError(token.place, f"unexpected '{token.text}'")
        if words[1].lower() == "include":
            raise MofError(token.place, "include is not supported: name the file to the generator")
        if words[1].lower() not in HARMLESS_PRAGMAS:
            raise MofError(token.place, f"unknown pragma '{words[1]}'")

    def declarations(self):
        """Qualifier types and classes, in the order of the file."""
        result = []
        while self.token.kind != "end":
            if self.token.kind == "pragma":
                self.pragma()
                continue
            qualifiers = self.qualifier_list()
            if not qualifiers and self.take("qualifier"):
                result.append(self.qualifier_type())
            elif self.take("class"):
                result.append(self.class_declaration(qualifiers))
            else:
                self.fail("'class' or 'qualifier'")
        return result


def parse(text, file_name):
    """Raises MofError."""
    return Parser(text, file_name).declarations()
