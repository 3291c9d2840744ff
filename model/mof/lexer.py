"""Splits MOF text into tokens that know their place."""

import re
from dataclasses import dataclass


class MofError(Exception):
    """A fault of the MOF: the place and the reason, as the user sees them."""

    def __init__(self, place, reason):
        super().__init__(f"{place}: {reason}")


@dataclass(frozen=True)
class Token:
    kind: str  # name, integer, real, string, char, punctuation, pragma or end
    text: str  # as written
    value: object  # of a literal
    place: str  # "file:line"


SIMPLE_ESCAPES = {"b": "\b", "t": "\t", "n": "\n", "f": "\f", "r": "\r",
                  '"': '"', "'": "'", "\\": "\\"}

PATTERN = re.compile(r"""
    (?P<space>[ \t\r\f\n\ufeff]+)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<open_comment>/\*)
  | (?P<pragma>\#[^\n]*)
  | (?P<string>"(?:[^"\\\n]|\\[^\n])*")
  | (?P<char>'(?:[^'\\\n]|\\x[0-9A-Fa-f]{1,4}|\\[^\n])')
  | (?P<real>[+-]?[0-9]*\.[0-9]+(?:[eE][+-]?[0-9]+)?)
  | (?P<integer>[+-]?(?:0[xX][0-9A-Fa-f]+|[01]+[bB]|[0-9]+))
  | (?P<name>[A-Za-z_][A-Za-z0-9_]*)
  | (?P<punctuation>[\[\](){},;:=])
""", re.VERBOSE | re.DOTALL)


# Far more digits than any type has: of what is longer not even the value can be told.
LONGEST_NUMBER = 100


def unescape(body, place):
    def replace(match):
        code = match.group(1)
        if code[0] in "xX":
            character = int(code[1:], 16) if len(code) > 1 else 0
            # Half of a surrogate pair is no character that text can hold.
            if character == 0 or 0xD800 <= character <= 0xDFFF:
                raise MofError(place, f"bad escape '\\{code}'")
            return chr(character)
        if code not in SIMPLE_ESCAPES:
            raise MofError(place, f"bad escape '\\{code}'")
        return SIMPLE_ESCAPES[code]
    return re.sub(r"\\([xX][0-9A-Fa-f]{0,4}|.)", replace, body)


def integer_value(text, place):
    sign = -1 if text.startswith("-") else 1
    digits = text.lstrip("+-")
    if digits[-1] in "bB" and not digits.lower().startswith("0x"):
        return sign * int(digits[:-1], 2)
    if digits[:2] in ("0x", "0X"):
        return sign * int(digits, 16)
    if len(digits) > 1 and digits[0] == "0":
        if not re.fullmatch("[0-7]+", digits):
            raise MofError(place, f"bad number '{text}'")
        return sign * int(digits, 8)
    return sign * int(digits)


def tokens(text, file_name):
    """The tokens of one file, the last of kind "end". Raises MofError."""
    result, position, line = [], 0, 1
    while position < len(text):
        place = f"{file_name}:{line}"
        match = PATTERN.match(text, position)
        kind = match.lastgroup if match else None
        if not match:
            at = text[position]
            raise MofError(place, "string does not end on its line" if at == '"'
                           else f"unexpected character '{at}'")
        if kind == "open_comment":
            raise MofError(place, "comment does not end")
        written = match.group()
        position = match.end()
        line += written.count("\n")
        if kind in ("space", "comment"):
            continue
        if kind in ("integer", "real") and len(written) > LONGEST_NUMBER:
            raise MofError(place, f"bad number '{written[:20]}...', longer than {LONGEST_NUMBER} "
                                  "characters")
        if kind in ("integer", "real") and re.match("[A-Za-z0-9_.]", text[position:position + 1]):
            raise MofError(place, f"bad number '{written}{text[position]}'")
        value = None
        if kind in ("string", "char"):
            value = unescape(written[1:-1], place)
        elif kind == "integer":
            value = integer_value(written, place)
        elif kind == "real":
            value = float(written)
        result.append(Token(kind, written, value, place))
    result.append(Token("end", "end of file", None, f"{file_name}:{line}"))
    return result
