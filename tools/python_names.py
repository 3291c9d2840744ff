"""Says which names in Python files break the rule of CONTRIBUTING.md: classes LikeThis, constants
LIKE_THIS, everything else like_this. Names that a library calls keep theirs.

    python_names.py FILE...    files that are not Python are passed over

Exit status 1: some do.
"""

import ast
import pathlib
import re
import sys

OTHERS = {"setUp", "setUpClass", "tearDown", "tearDownClass", "runTest", "maxDiff", "do_GET", "do_POST"}
CLASS = re.compile(r"_?[A-Z][A-Za-z0-9]*")
CONSTANT = re.compile(r"_?[A-Z][A-Z0-9_]*")
OTHER = re.compile(r"_*[a-z0-9][a-z0-9_]*|_+")


def is_python(file):
    with file.open("rb") as text:
        first = text.readline()
    return file.suffix == ".py" or (first.startswith(b"#!") and b"python3" in first)


def names(tree):
    """Each name that the file gives, with its line and what it may look like."""
    for node in ast.walk(tree):
        if isinstance(node, ast.ClassDef):
            yield node.lineno, node.name, [CLASS]
        elif isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            yield node.lineno, node.name, [OTHER]
        elif isinstance(node, ast.arg):
            yield node.lineno, node.arg, [OTHER]
        elif isinstance(node, ast.Name) and isinstance(node.ctx, ast.Store):
            yield node.lineno, node.id, [OTHER, CONSTANT]


def faults(file):
    for line, name, forms in names(ast.parse(file.read_text(encoding="utf-8"))):
        if name not in OTHERS and not any(form.fullmatch(name) for form in forms):
            yield f"{file}:{line}: {name}"


def main():
    found = [fault for file in map(pathlib.Path, sys.argv[1:]) if is_python(file)
             for fault in faults(file)]
    print("".join(fault + "\n" for fault in found), end="")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
