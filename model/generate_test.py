"""Tests of the generator: python3 generate_test.py"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from generate import generate
from mof.lexer import MofError
from mof.model import Model
from mof.parser import parse
from mof.values import qualifier_values

HERE = pathlib.Path(__file__).parent

QUALIFIERS = """
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride);
Qualifier MaxLen : uint32, Scope(property), Flavor(EnableOverride, ToSubclass);
Qualifier Propagated : string, Scope(property), Flavor(DisableOverride);
Qualifier Override : string, Scope(property, method, reference), Flavor(Restricted);
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride);
Qualifier Abstract : boolean = false, Scope(class, association), Flavor(Restricted);
Qualifier In : boolean = true, Scope(parameter), Flavor(DisableOverride);
Qualifier Out : boolean = false, Scope(parameter), Flavor(DisableOverride);
Qualifier Values : string[], Scope(property), Flavor(Translatable);
"""


def model_of(text):
    return Model(parse(QUALIFIERS, "qualifiers.mof") + parse(text, "good.mof"))


# What is wrong, the MOF, the line, the reason.
FAULTS = [
    # Text.
    ("comment without end", "class A {\n/* };", 2, "comment does not end"),
    ("string without end", 'class A {\n string s = "x;\n};', 2, "string does not end on its line"),
    ("stray character", "class A {\n ?\n};", 2, "unexpected character '?'"),
    ("unknown escape", 'class A { string s = "\\q"; };', 1, "bad escape '\\q'"),
    ("empty hexadecimal escape", 'class A { string s = "\\xg"; };', 1, "bad escape '\\x'"),
    ("half of a surrogate pair", "class A { char16 c = '\\xD800'; };", 1, "bad escape '\\xD800'"),
    ("half of a surrogate pair in a text", 'class A {\n string s = "\\xDfFf"; };', 2,
     "bad escape '\\xDfFf'"),
    ("number of thousands of digits", f"class A {{ uint8 n = {'1' * 5000}; }};", 1,
     f"bad number '{'1' * 20}...', longer than 100 characters"),
    ("hexadecimal number of thousands of digits", f"class A {{ uint8 n = 0x{'1' * 5000}; }};", 1,
     f"bad number '0x{'1' * 18}...', longer than 100 characters"),
    ("text right after a number", "class A { uint8 n = 12x; };", 1, "bad number '12x'"),
    ("octal digit 9", "class A { uint8 n = 09; };", 1, "bad number '09'"),
    ("include", '#pragma include ("b.mof")', 1,
     "include is not supported: name the file to the generator"),
    ("unknown pragma", '#pragma colour ("red")', 1, "unknown pragma 'colour'"),
    # Syntax.
    ("no semicolon after a property", "class A {\n string s\n\n string t;\n};", 2,
     "missing ';' after 's'"),
    ("no semicolon after a class", "class A {\n}\nclass B { };", 2, "missing ';' after '}'"),
    ("class without end", "class A {\n string s;", 2, "expected '}', found 'end of file'"),
    ("no class name", "class { };", 1, "expected a class name, found '{'"),
    ("instance", "instance of A { };", 1, "expected 'class' or 'qualifier', found 'instance'"),
    ("qualifiers of nothing", "[Abstract]\nQualifier Q : string, Scope(any);", 2,
     "expected 'class' or 'qualifier', found 'Qualifier'"),
    ("unknown type", "class A {\n text s;\n};", 2, "unknown type 'text'"),
    ("array of fixed size", "class A { uint8 n[4]; };", 1,
     "arrays of fixed size are not supported"),
    ("unclosed parameters", "class A { uint32 M(uint8 n; };", 1, "expected ')', found ';'"),
    ("unclosed qualifiers", "class A { [Key string s; };", 1, "expected ']', found 'string'"),
    ("default that is no value", "class A { uint8 n = m; };", 1, "expected a value, found 'm'"),
    ("unknown scope", "Qualifier Q : string, Scope(house);", 1, "unknown scope 'house'"),
    ("unknown flavor", "Qualifier Q : string, Scope(any), Flavor(Sweet);", 1,
     "unknown flavor 'Sweet'"),
    # Qualifiers.
    ("unknown qualifier", "class A {\n [Colour] string s;\n};", 2, "unknown qualifier Colour"),
    ("duplicate qualifier", "class A { [Key, KEY] string s; };", 1,
     "duplicate qualifier KEY of A.s"),
    ("duplicate qualifier declaration", "Qualifier key : boolean, Scope(any);", 1,
     "duplicate qualifier declaration key"),
    ("contradicting flavors",
     "Qualifier Q : string, Scope(any), Flavor(ToSubclass, Restricted);", 1,
     "qualifier Q has contradicting flavors"),
    ("qualifier default of another type", 'Qualifier Q : uint8 = "1", Scope(any);', 1,
     "default of qualifier Q: string value for type uint8"),
    ("qualifier at the wrong place", "[Key] class A { };", 1,
     "qualifier Key of A: it does not apply to a class"),
    ("qualifier at the wrong parameter", "class A { uint32 M([MaxLen (3)] string s); };", 1,
     "qualifier MaxLen of A.M.s: it does not apply to a parameter"),
    ("qualifier value of another type", 'class A {\n [MaxLen ("9")]\n string s;\n};', 2,
     "qualifier MaxLen of A.s: string value for type uint32"),
    ("qualifier value out of range", "class A { [MaxLen (-1)] string s; };", 1,
     "qualifier MaxLen of A.s: -1 is out of range for uint32"),
    ("single value for an array qualifier", 'class A { [Values ("a")] string s; };', 1,
     "qualifier Values of A.s: string value for type string[]"),
    ("array for a single qualifier", "class A { [MaxLen {9}] string s; };", 1,
     "qualifier MaxLen of A.s: an array for a single uint32"),
    ("qualifier without its value", "class A { [MaxLen] string s; };", 1,
     "qualifier MaxLen of A.s needs a value"),
    ("qualifier that must stay",
     'class A { [Key] string s; };\nclass B : A {\n [Override ("s"), Key (false)] string s;\n};',
     3, "qualifier Key of B.s must stay as it is inherited"),
    # Classes.
    ("duplicate class", "class A { };\nclass a { };", 2, "duplicate class a"),
    ("unknown superclass", "class A : Nowhere { };", 1, "unknown superclass Nowhere"),
    ("superclass later", "class B : A { };\nclass A { };", 1,
     "superclass A of B is declared after it"),
    ("class under itself", "class A : A { };", 1, "class A derives from itself: A : A"),
    ("ring of classes", "class A : C { };\nclass B : A { };\nclass C : B { };", 1,
     "class A derives from itself: A : C : B : A"),
    ("class under a ring", "class D : A { };\nclass A : B { };\nclass B : A { };", 2,
     "class A derives from itself"),
    ("association under a class", "class A { };\n[Association] class B : A { };", 2,
     "association B derives from A, which is none"),
    ("association of one end", "class A { };\n[Association]\nclass B {\n [Key] A REF a;\n};", 3,
     "association B has fewer than two references"),
    ("name that C++ has", "class A { string default; };", 1,
     "'default' cannot be a name in the class library"),
    ("name that the class library has", "class A { uint32 M(uint8 return_value); };", 1,
     "'return_value' cannot be a name in the class library"),
    ("property named like its class", "class A { string A; };", 1,
     "'A' cannot be a name in the class library"),
    # Features.
    ("duplicate property", "class A {\n string s;\n uint8 S;\n};", 3, "duplicate property S in A"),
    ("duplicate method", "class A { uint32 M();\n uint32 m(); };", 2, "duplicate method m in A"),
    ("duplicate parameter", "class A { uint32 M(uint8 n,\n uint8 N); };", 2,
     "duplicate parameter N of A.M"),
    ("inherited property again", "class A { string s; };\nclass B : A { string S; };", 2,
     "property B.S is inherited from A: Override is missing"),
    ("inherited method again", "class A { uint32 M(); };\nclass B : A { uint32 M(); };", 2,
     "method B.M is inherited from A: Override is missing"),
    ("override of nothing", 'class A {\n [Override ("s")] string s;\n};', 2,
     "A.s overrides what no superclass has"),
    ("override of another name",
     'class A { string s; };\nclass B : A { [Override ("s")] string t; };', 2,
     "Override of B.t names another property, 's'"),
    ("override of another type",
     'class A { string s; };\nclass B : A {\n [Override ("s")] uint8 s; };', 3,
     "B.s is of type uint8, but overrides string"),
    ("override of an array",
     'class A { string s; };\nclass B : A { [Override ("s")] string s[]; };', 2,
     "B.s is of type string[], but overrides string"),
    ("override of a method's parameter type",
     "class A { uint32 M(uint8 n); };\n"
     'class B : A { [Override ("M")] uint32 M(uint16 n); };', 2,
     "B.M.n is of type uint16, but overrides uint8"),
    ("override with more parameters",
     'class A { uint32 M(); };\nclass B : A { [Override ("M")] uint32 M(uint16 n); };', 2,
     "B.M has 1 parameters, but overrides 0"),
    ("override with a wider reference",
     "class A { };\nclass B : A { };\n[Association] class C { B REF x; B REF y; };\n"
     '[Association] class D : C { [Override ("x")] A REF x; };', 4,
     "D.x refers to A, which is no B"),
    ("reference to an unknown class",
     "[Association] class A { Nowhere REF x;\n Nowhere REF y; };", 1,
     "unknown class Nowhere of reference A.x"),
    ("parameter of an unknown class", "class A { uint32 M(Nowhere REF x); };", 1,
     "unknown class Nowhere of reference A.M.x"),
    ("reference in a class", "class A { };\nclass B { A REF x; };", 2,
     "reference B.x in a class that is no association"),
    ("method that returns a reference", "class A { A REF M(); };", 1,
     "method A.M returns a reference"),
    ("further key", "class A { [Key] string s; };\nclass B : A { [Key] string t; };", 2,
     "B adds key t, but A has keys already"),
    ("inherited property made a key",
     'class A { [Key] string s; string t; };\nclass B : A { [Key, Override ("t")] string t; };', 2,
     "B adds key t, but A has keys already"),
    ("key that is an array", "class A { [Key] string s[]; };", 1, "key A.s is an array"),
    # Defaults.
    ("text for a number", 'class A {\n uint8 n =\n  "1";\n};', 3,
     "default of A.n: string value for type uint8"),
    ("number for a text", "class A { string s = 1; };", 1,
     "default of A.s: integer value for type string"),
    ("number for a boolean", "class A { boolean b = 1; };", 1,
     "default of A.b: integer value for type boolean"),
    ("fraction for a number", "class A { uint8 n = 1.5; };", 1,
     "default of A.n: real value for type uint8"),
    ("number too large", "class A { uint8 n = 256; };", 1,
     "default of A.n: 256 is out of range for uint8"),
    ("number too small", "class A { sint8 n = -129; };", 1,
     "default of A.n: -129 is out of range for sint8"),
    ("number too large for real32", "class A { real32 n = 1.0e39; };", 1,
     "default of A.n: 1e+39 is out of range for real32"),
    ("date-time out of range", 'class A { datetime d = "00000000250000.000000:000"; };', 1,
     "default of A.d: '00000000250000.000000:000' is no date-time"),
    ("default of an array", "class A { uint8 n[] = {1}; };", 1,
     "default of A.n: not supported for a reference or an array"),
]


class Refusals(unittest.TestCase):
    def test_every_fault_is_told_by_file_line_and_reason(self):
        for what, text, line, reason in FAULTS:
            with self.subTest(what):
                with self.assertRaises(MofError) as raised:
                    generate([(QUALIFIERS, "qualifiers.mof"), (text, "bad.mof")], 1)
                self.assertEqual(str(raised.exception), f"bad.mof:{line}: {reason}")

    def run_generator(self, directory, text):
        mof = directory / "a.mof"
        mof.write_bytes(text)
        return subprocess.run(
            [sys.executable, "-B", HERE / "generate.py", "--output", directory / "out", mof],
            capture_output=True, text=True, check=False)

    def test_the_program_writes_all_or_nothing(self):
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            for text, reason in ((b"class A {\n string s\n};", "a.mof:2: missing ';' after 's'"),
                                 (b"class A { }; // \xff", "can't decode")):
                refused = self.run_generator(directory, text)
                self.assertEqual(refused.returncode, 1)
                self.assertIn(reason, refused.stderr)
                self.assertEqual(refused.stdout, "")
                self.assertFalse((directory / "out").exists())
            self.assertEqual(self.run_generator(directory, b"class A { };").returncode, 0)
            self.assertEqual(sorted(path.name for path in (directory / "out").iterdir()),
                             ["A.h", "classes.cpp", "classes.h", "classes_1.cpp", "repository.cpp"])

    def test_the_program_writes_only_what_changes(self):
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            self.run_generator(directory, b"class A { uint8 n; }; class B : A { }; class C { };")
            for path in (directory / "out").iterdir():
                os.utime(path, (1, 1))
            self.run_generator(directory, b"class A { uint8 n; }; class B : A { uint8 m; };")
            self.assertEqual({path.name: path.stat().st_mtime > 1
                              for path in (directory / "out").iterdir()},
                             {"A.h": False, "B.h": True, "classes.cpp": True, "classes.h": True,
                              "classes_1.cpp": True, "repository.cpp": True})

    def test_a_class_includes_its_superclass_alone(self):
        outputs = generate([(QUALIFIERS, "qualifiers.mof"),
                            ("class A { }; class B : A { }; class C { };", "good.mof")], 3)
        included = {name: re.findall('"model/(.*)"', text) for name, text in outputs.items()}
        self.assertEqual(included["B.h"], ["A.h"])
        self.assertEqual(included["A.h"] + included["C.h"], [])
        self.assertEqual(included["classes.h"], ["A.h", "B.h", "C.h"])
        self.assertEqual(included["classes_2.cpp"], ["B.h"])


class Reading(unittest.TestCase):
    def default(self, declaration):
        return model_of(f"class A {{ {declaration}; }};").classes[0].properties[0].default.value

    def test_literals(self):
        self.assertEqual(self.default('string s = "a" /* and */ "b\\n\\x41\\"\\\\"'), 'ab\nA"\\')
        self.assertEqual(self.default("uint16 n = 0xFf"), 255)
        self.assertEqual(self.default("uint16 n = 017"), 15)
        self.assertEqual(self.default("uint16 n = 101b"), 5)
        self.assertEqual(self.default("sint8 n = -128"), -128)
        self.assertEqual(self.default("uint64 n = 18446744073709551615"), 2**64 - 1)
        self.assertEqual(self.default("real32 n = -1.5e2"), -150.0)
        self.assertEqual(self.default("boolean b = TRUE"), True)
        self.assertEqual(self.default("char16 c = 'x'"), "x")
        self.assertEqual(self.default('datetime d = "20240131120000.000000+060"'),
                         "20240131120000.000000+060")

    def test_keywords_and_types_in_any_case_comments_and_pragmas(self):
        model = model_of('#pragma locale ("en_US")\n// class X { };\nCLASS A { STRING s; };')
        self.assertEqual([cls.name for cls in model.classes], ["A"])
        self.assertEqual(model.classes[0].properties[0].type, "string")

    def test_flavors_at_the_place_of_use_come_before_the_declared_ones(self):
        qualifier = model_of("class A { [MaxLen (9) : DisableOverride Restricted] string s; };"
                             ).classes[0].properties[0].qualifiers[0]
        self.assertEqual((qualifier.overridable, qualifier.to_subclass), (False, False))


class Inheritance(unittest.TestCase):
    def test_an_overriding_property_keeps_its_place_its_key_and_its_default(self):
        base, derived = model_of("""
            class A { string first; [Key] string second; uint8 third = 3; uint8 fourth = 4; };
            class B : A {
                string last;
                [Override ("fourth")] uint8 fourth = NULL;
                [Override ("third")] uint8 third;
                [Override ("second"), MaxLen (9)] string second;
            };""").classes
        self.assertEqual([p.name for p in derived.all_properties],
                         ["first", "second", "third", "fourth", "last"])
        self.assertEqual([p.owner.name for p in derived.all_properties], ["A", "B", "B", "B", "B"])
        self.assertEqual([p.introducer.name for p in derived.all_properties],
                         ["A", "A", "A", "A", "B"])
        self.assertEqual([p.key for p in derived.all_properties],
                         [False, True, False, False, False])
        self.assertEqual(derived.all_properties[2].effective_default.value, 3)
        self.assertIsNone(derived.all_properties[3].effective_default)
        self.assertEqual(base.all_properties[3].effective_default.value, 4)

    def test_methods_follow_the_same_rule(self):
        derived = model_of("""
            class A { uint32 M(uint8 one); uint32 N(); };
            class B : A { uint32 O(); [Override ("M")] uint32 M(uint8 other); };""").classes[1]
        self.assertEqual([m.name for m in derived.all_methods], ["M", "N", "O"])
        self.assertEqual(derived.all_methods[0].parameters[0].name, "other")

    def test_association_is_inherited_and_abstract_is_not(self):
        derived = model_of("""
            class A { };
            [Association, Abstract] class B { [Key] A REF x; [Key] A REF y; };
            class C : B { };""").classes[2]
        self.assertTrue(derived.association)
        self.assertFalse(derived.abstract)

    def test_directions_of_parameters(self):
        parameters = model_of("""
            class A { uint32 M(uint8 a, [In (false), Out] uint8 b, [In, Out] uint8 c); };
            """).classes[0].methods[0].parameters
        self.assertEqual([(p.is_in, p.is_out) for p in parameters],
                         [(True, False), (False, True), (True, True)])


class Writing(unittest.TestCase):
    def header(self, text):
        outputs = generate([(QUALIFIERS, "qualifiers.mof"), (text, "good.mof")], 1)
        return "".join(outputs[name] for name in ("A.h", "B.h", "C.h") if name in outputs)

    def test_defaults_of_every_kind(self):
        header = self.header(r"""
            class A {
                string s = "a\"b\\"; boolean b = true; char16 c = 'x'; real64 r = 0.5;
                sint64 low = -9223372036854775808; uint64 high = 18446744073709551615;
                datetime d = "00000000000500.000000:000"; uint8 none; uint8 n = 1;
            };""")
        self.assertIn(r"""  void set_defaults() {
    s = "a\"b\\";
    b = true;
    c = char16(0x78);
    r = 0.5;
    low = INT64_MIN;
    high = 18446744073709551615u;
    d = *Datetime::parse("00000000000500.000000:000");
    n = 1;
  }
""", header)

    def test_defaults_build_upon_the_superclass(self):
        header = self.header("""
            class A { uint8 n = 1; uint8 m = 2; }; class B : A { };
            class C : B { [Override ("m")] uint8 m = NULL; uint8 o = 3; };""")
        self.assertIn("""  void set_defaults() {
    B::set_defaults();
    m.set_null();
    o = 3;
  }
""", header)

    def test_an_overriding_property_is_the_inherited_member(self):
        header = self.header("""class A { string name; };
                                class B : A { [Override ("Name")] string Name; };""")
        self.assertEqual(header.lower().count("property<string> name;"), 1)


class TheModel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.model = Model([declaration for name in ("cim.mof", "kavro.mof", "interop.mof")
                           for declaration in parse((HERE / name).read_text(), name)])

    def test_it_has_the_classes(self):
        contract = (HERE / "contract.def").read_text()
        rows = re.findall(r"^(?:INSTANCE|ASSOCIATION)\((\w+), (\w+),", contract, re.MULTILINE)
        names = {cls.name for cls in self.model.classes}
        self.assertEqual({name for row in rows for name in row} - names, set())

    def test_numbers_and_labels_of_values_go_in_pairs(self):
        pairs = 0
        for cls in self.model.classes:
            features = cls.properties + cls.methods + [p for m in cls.methods for p in m.parameters]
            for feature in features:
                found = {q.name: qualifier_values(q) for q in feature.qualifiers}
                if "Values" in found:
                    pairs += 1
                    self.assertEqual(len(found["Values"]), len(found["ValueMap"]), feature.name)
        self.assertGreater(pairs, 0)

    def test_only_what_is_used_is_declared(self):
        used = {q.name for cls in self.model.classes
                for element in [cls] + cls.properties + cls.methods +
                [p for m in cls.methods for p in m.parameters] for q in element.qualifiers}
        self.assertEqual(used, {q.name for q in self.model.qualifier_types.values()})


if __name__ == "__main__":
    unittest.main()
