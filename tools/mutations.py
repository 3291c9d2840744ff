"""The mutants of tools/mutants: one line of the product broken in one place, chosen by a seed."""

import collections
import hashlib
import pathlib
import re

TOP = pathlib.Path(__file__).resolve().parent.parent

# The files that are broken; of the server only those that read requests.
PLACES = {
    "module": "*", "providers": "*", "engine": "*", "results": "*", "discovery": "*",
    "inventory": "*", "platform/cmpi": "*", "platform/xml": "*",
    "broker/cimxml": "budget decode document head message xml_text",
    "broker/http": "address connection_request exchange head own_names password_hash "
                   "request_reader users users_file",
}
# Test code beside the units, and the header that other object managers have too.
NO_UNIT = re.compile(r"_test\.|/test_|/captured_log|/recorded_machine|/scratch_file_lock|/cmpi_")

# Text in which there is no code, and strings.
SPANS = re.compile(r"""//[^\n]* | /\*.*?\*/ | R"(\w*)\(.*?\)\1" | (?P<string>"(?:\\.|[^"\\\n])*")
                       | (?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+' | ^[ \t]*\#(?:\\.|[^\n\\])*""",
                   re.VERBOSE | re.DOTALL | re.MULTILINE)
CHARACTERS = re.compile(r"\\x[0-9a-fA-F]+|\\[0-7]{1,3}|\\.|.")
# Lines that do nothing at run time: only the compiler could notice a change.
SKIPPED = re.compile(r"\s*(static_assert|using|namespace|template|friend|extern|typedef)\b|.*= 0;$")
STATEMENT = re.compile(r"\s*(?!return\b|delete\b|throw\b|if\b|for\b|while\b|switch\b|co_)"
                       r"(\*?[\w.:>\[\]()-]+ [-+|&]?= .*|(?:\+\+|--)[\w.>-]+|[\w.:>\[\]-]+\(.*\));$")


# Blanks around an operator tell it from brackets, pointers and the like.
OPERATORS = ("== != != == < <= <= < > >= >= > && || || && + - - + += -= -= += * + / * & | | & "
             "<< >> >> <<").split()
SWAPS = [(re.compile(pattern), after) for pattern, after in [
    *((rf"(?<= ){re.escape(before)}(?= |$)", after)
      for before, after in zip(OPERATORS[::2], OPERATORS[1::2])),
    (r"\+\+", "--"), (r"--", "++"), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"\bbreak;", "continue;"), (r"\bcontinue;", "break;"), (r"\bstd::min\b", "std::max"),
    (r"\bstd::max\b", "std::min"), (r"!(?=[\w(:*])", ""),
    (r"\breturn (?!(0|false|nullptr|std::nullopt|\{\}|\x01*);)[^;{]+;", "return {};")]]
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F]+|\d[\d']*)(?=[uUlL]*(?![\w.']))")
INNER = "[^();]*"
for _ in range(4):
    INNER = rf"(?:[^();]|\({INNER}\))*"
CONDITION = re.compile(rf"\b(?:if|while) \(({INNER})\)")


def digest(text):
    return hashlib.sha256(text.encode()).hexdigest()


class Mutant(collections.namedtuple("Mutant", "id file number before after")):
    def __str__(self):
        before, after = self.before.strip(), self.after.strip()
        return f"{self.id} {self.file}:{self.number}\n  - {before}\n  + {after}"


def masked(text):
    """The text with all that is no code blanked; strings keep their quotes."""
    def blank(match):
        if match["string"]:
            return '"' + "\x01" * (len(match[0]) - 2) + '"'
        return re.sub(r"[^\n]", " ", match[0])
    return SPANS.sub(blank, text)


def changes(line, code, begins):
    """Every changed form of a line; begins says whether a statement begins with it."""
    for pattern, after in SWAPS:
        for found in pattern.finditer(code):
            yield line[:found.start()] + after + line[found.end():]
    for found in NUMBER.finditer(code):
        value = int(found[1].replace("'", ""), 16 if "x" in found[1].lower() else 10)
        for other in [value + 1] + ([value - 1] if value else []):
            yield line[:found.start()] + str(other) + line[found.end():]
    for begin, end in (found.span(1) for found in CONDITION.finditer(code)):
        yield f"{line[:begin]}!({line[begin:end]}){line[end:]}"
    for begin, end in (found.span() for found in re.finditer("\x01+", code)):
        yield line[:begin] + "".join(CHARACTERS.findall(line[begin:end])[:-1]) + line[end:]
    if begins and STATEMENT.match(code):
        yield code[:len(code) - len(code.lstrip())] + ";"


def all_mutants(seed):
    """Every line that can be broken, in the seed's order, each by a change that the seed chooses. An
    id is that of the change itself, so that it outlives changes elsewhere."""
    found = {}
    for folder, units in PLACES.items():
        for path in sorted((TOP / folder).glob("*.*")):
            name = str(path.relative_to(TOP))
            if (path.suffix not in (".cpp", ".h") or NO_UNIT.search(name)
                    or units != "*" and path.stem not in units.split()):
                continue
            text = path.read_text(encoding="utf-8")
            mask = masked(text)
            if path.suffix == ".h" and "return " not in mask:
                continue  # declarations alone
            seen, last = collections.Counter(), ";"
            for number, (line, code) in enumerate(zip(text.split("\n"), mask.split("\n")), 1):
                code = code.rstrip()
                begins = last[-1] in ";{}:)" and not last.lstrip().startswith("for (")
                last = code or last
                seen[line] += 1
                place = f"{name}\n{line}\n{seen[line]}\n"
                forms = [] if SKIPPED.match(code) else set(changes(line, code, begins))
                if forms:
                    after = min(forms, key=lambda form: digest(f"{seed}\n{place}{form}"))
                    found[digest(f"{seed}\n{place}")] = Mutant(digest(place + after)[:8], name,
                                                               number, line, after)
    return [mutant for _, mutant in sorted(found.items())]
