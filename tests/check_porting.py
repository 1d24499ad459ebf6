#!/usr/bin/env python3
"""Holds the guide to porting against the headers of the platform, the contract tests and the skeleton, both ways.

    check_porting.py SOURCE_FOLDER [PROGRAM_FOLDER]

Every operation that a header of platform/ declares has one row in that header's section, and the skeleton defines it; every
row is about such an operation. Every contract test is named once or more; every test that is named is one, and a row's tests
are in a file that uses the row's operation. With PROGRAM_FOLDER, the commands of the guide are run as well. Exit 1, with a line
for each difference.
"""

import pathlib
import re
import sys

import check_transcripts

DECLARATION = re.compile(r"^[A-Za-z_][\w *]*[ *]((?:Rv|Tv|Tallybook)\w+)\(", re.MULTILINE)
TEST = re.compile(r"^TEST\w*\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
ROW = re.compile(r"^\| `(\w+)`(?:, for tests)? \| (.*) \|$", re.MULTILINE)
NAMED_TEST = re.compile(r"`(\w+Contract\.\w+)`")
MODULE = "OndreQORHIDStatistics.so"


def read(path):
    return path.read_text(encoding="utf-8")


def declarations(source):
    """The header of each operation."""
    found = {}
    for header in sorted((source / "platform").glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", read(header), flags=re.DOTALL)
        for operation in DECLARATION.findall(re.sub(r"^typedef .*?;", "", text, flags=re.MULTILINE | re.DOTALL)):
            found[operation] = header.name
    return found


def contract_tests(source):
    """The text of the file that has each test."""
    files = [read(file) for file in (source / "tests/contract").glob("*_contract_test.cpp")]
    return {f"{suite}.{test}": text for text in files for suite, test in TEST.findall(text)}


def compare(source):
    page = read(source / "docs/porting.md")
    skeleton = read(source / "examples/port/port.c")
    imported = read(source / "tests/module/platform_imports.txt").split()
    operations = declarations(source)
    tests = contract_tests(source)
    rows = {}
    for section in re.split(r"^### ", page, flags=re.MULTILINE)[1:]:
        header = section.split("\n", 1)[0]
        for operation, proofs in ROW.findall(section):
            if operation in rows:
                yield f"{operation} has two rows"
            rows[operation] = proofs
            if operations.get(operation) != header:
                yield f"{header} declares no {operation}"
            named = NAMED_TEST.findall(proofs)
            if not named:
                yield f"{operation}: no test"
            for test in named:
                if test in tests and not re.search(rf"\b{operation}\b", tests[test]):
                    yield f"{operation}: the file of {test} does not use it"
            if (operation not in imported) != (f"| `{operation}`, for tests |" in section):
                yield f"{operation}: whether the module calls it is another matter"
    for operation in sorted(operations.keys() - rows.keys()):
        yield f"{operation} has no row"
    for operation in sorted(operations):
        if not re.search(rf"\b{operation}\(", skeleton):
            yield f"the skeleton does not define {operation}"
    named = set(NAMED_TEST.findall(page))
    yield from (f"there is no test {test}" for test in sorted(named - tests.keys()))
    yield from (f"{test} is not named" for test in sorted(tests.keys() - named))


def main():
    source = pathlib.Path(sys.argv[1])
    differences = list(compare(source))
    for difference in differences:
        print(f"docs/porting.md: {difference}")
    if len(sys.argv) == 2:
        return 1 if differences else 0
    programs = pathlib.Path(sys.argv[2])
    links = [("platform", source / "platform"), ("tests", source / "tests"), (MODULE, programs / MODULE)]
    is_true = check_transcripts.check(source / "docs/porting.md", source, programs, links)
    return 0 if is_true and not differences else 1


if __name__ == "__main__":
    sys.exit(main())
