"""What both emitters need to write C++."""

from .lexer import MofError

HEADER = "// Generated from the MOF at build time.\n"

# Names that the generated structs or the language use themselves.
RESERVED = set("""
    invoke set_defaults static_meta_class meta_class name_space return_value self record call
    provider meta Instance Property Array String Datetime Ref MetaClass Provider Type boolean uint8
    sint8 uint16 sint16 uint32 sint32 uint64 sint64 real32 real64 char16
    alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t
    char32_t class compl concept const consteval constexpr constinit const_cast continue co_await
    co_return co_yield decltype default delete do double dynamic_cast else enum explicit export
    extern false float for friend goto if inline int long mutable namespace new noexcept not not_eq
    nullptr operator or or_eq private protected public register reinterpret_cast requires return
    short signed sizeof static static_assert static_cast struct switch template this thread_local
    throw true try typedef typeid typename union unsigned using virtual void volatile wchar_t while
    xor xor_eq
""".split())


def check_name(name, place, owner=None):
    if name in RESERVED or name == owner or "__" in name:
        raise MofError(place, f"'{name}' cannot be a name in the class library")


def check_names(model):
    """Raises MofError where a name of the MOF is none that C++ can use."""
    for cls in model.classes:
        check_name(cls.name, cls.place)
        for feature in cls.properties + cls.methods:
            check_name(feature.name, feature.place, cls.name)
        for method in cls.methods:
            for parameter in method.parameters:
                check_name(parameter.name, parameter.place)


def text(value):
    """A C++ string literal."""
    result = ""
    for byte in value.encode():
        character = chr(byte)
        if character in '"\\':
            result += "\\" + character
        elif 0x20 <= byte < 0x7F and character != "?":
            result += character
        else:
            result += f"\\{byte:03o}"
    return f'"{result}"'


def boolean(value):
    return "true" if value else "false"


def array(declaration, elements):
    """An array definition, one element per line."""
    return f"{declaration}[] = {{\n" + "".join(f"    {e},\n" for e in elements) + "};\n"
