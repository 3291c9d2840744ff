#!/usr/bin/env python3
"""Writes the class library and the object manager's repository from MOF files.

    generate.py --output DIRECTORY --parts N FILE.mof...

The files are read as one text, in the order given. Written: classes.h, classes_1.cpp to
classes_N.cpp and repository.cpp. Faulty MOF is refused as "file:line: reason" on standard error
with exit status 1, and nothing is written.
"""

import argparse
import pathlib
import sys

from mof import class_library, cpp, repository
from mof.lexer import MofError
from mof.model import Model
from mof.parser import parse


def generate(files, parts):
    """The outputs by file name, from pairs of MOF text and the name to report it by."""
    declarations = [declaration for text, name in files for declaration in parse(text, name)]
    model = Model(declarations)
    cpp.check_names(model)
    result = {"classes.h": class_library.header(model), "repository.cpp": repository.source(model)}
    for number, text in enumerate(class_library.sources(model, parts), 1):
        result[f"classes_{number}.cpp"] = text
    return result


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    options.add_argument("--output", type=pathlib.Path, required=True)
    options.add_argument("--parts", type=int, default=1)
    options.add_argument("files", nargs="+", type=pathlib.Path)
    arguments = options.parse_args()
    try:
        outputs = generate([(path.read_text(encoding="utf-8"), str(path))
                            for path in arguments.files], arguments.parts)
    except (MofError, OSError, UnicodeDecodeError) as error:
        print(error, file=sys.stderr)
        return 1
    arguments.output.mkdir(parents=True, exist_ok=True)
    for name, text in outputs.items():
        (arguments.output / name).write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
