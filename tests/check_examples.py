#!/usr/bin/env python3
"""Compiles the examples of a document.

    check_examples.py DOCUMENT INCLUDE_FOLDER C_COMPILER CXX_COMPILER

Each block of the document that begins with ```c or ```cpp is a source of its own and must compile without a warning.
Exit 1 when one does not, or when there are none.
"""

import re
import subprocess
import sys

document, include_folder, c_compiler, cxx_compiler = sys.argv[1:]
COMMANDS = {"c": [c_compiler, "-std=c11", "-x", "c"], "cpp": [cxx_compiler, "-std=c++20", "-x", "c++"]}
FLAGS = ["-Wall", "-Wextra", "-Wconversion", "-Wshadow", "-Werror", "-fsyntax-only", f"-I{include_folder}", "-"]

with open(document, encoding="utf-8") as file:
    text = file.read()
found = re.finditer(r"^```(c|cpp)\n(.*?)^```$", text, re.M | re.S)
blocks = [(text.count("\n", 0, block.start()) + 2, *block.groups()) for block in found]
failed = not blocks
if failed:
    print(f"{document}: no examples")
for line, language, source in blocks:
    # Messages of the compiler name the document and its line.
    placed = f'#line {line} "{document}"\n{source}'
    if subprocess.run([*COMMANDS[language], *FLAGS], input=placed, text=True).returncode != 0:
        print(f"{document}:{line}: the example does not compile")
        failed = True
sys.exit(failed)
