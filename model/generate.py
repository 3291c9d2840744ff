#!/usr/bin/env python3
"""Writes the class library and the object manager's repository from MOF files.

    generate.py --output DIRECTORY --parts N FILE.mof...

The files are read as one text, in the order given. Written: CLASS.h for each class, classes.h with
all, classes_1.cpp to classes_N.cpp, classes.cpp with the list of all, and repository.cpp. A file that
would not change stays as it is, so that nothing is compiled again for it; what is left of an earlier
time is removed. Faulty MOF is refused as "file:line: reason" on standard error with exit status 1, and
nothing is written.
"""

import argparse
import pathlib
import sys

from mof import class_library, cpp, repository_tables
from mof.lexer import MofError
from mof.model import Model
from mof.parser import parse


def generate(files, parts):
    """The outputs by file name, from pairs of MOF text and the name to report it by."""
    declarations = [declaration for text, name in files for declaration in parse(text, name)]
    model = Model(declarations)
    cpp.check_names(model)
    result = {f"{cls.name}.h": class_library.header(cls) for cls in model.classes}
    result["classes.h"] = class_library.whole_header(model)
    result["classes.cpp"] = class_library.whole_source(model)
    result["repository.cpp"] = repository_tables.source(model)
    for number, text in enumerate(class_library.sources(model, parts), 1):
        result[f"classes_{number}.cpp"] = text
    return result


def write(folder, outputs):
    folder.mkdir(parents=True, exist_ok=True)
    for path in folder.iterdir():
        if path.name not in outputs:
            path.unlink()
    for name, text in outputs.items():
        path = folder / name
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")


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
    write(arguments.output, outputs)
    return 0


if __name__ == "__main__":
    sys.exit(main())
