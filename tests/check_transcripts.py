#!/usr/bin/env python3
"""Runs the commands that a document shows, and compares what they print with what the document says.

    check_transcripts.py SOURCE_FOLDER PROGRAM_FOLDER DOCUMENT...

A transcript is a block between ``` lines that begins with "$ " and a command; a backslash at its end continues it on the next
line. The lines up to the next command are its output, standard error included. In them, "[…]" stands for any text, and for any
number of lines where it is a line of its own. The commands of a document run one after the other in one new folder, which has
the examples/ of the source folder, with the programs of PROGRAM_FOLDER on the path. A block ```python whose first line is "# " and
the name of a file is in that folder under this name. Exit 1 when a command prints something else, or when a document has no
command.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

GAP = "[…]"


def transcripts(text):
    """The commands of a document: line number, command, expected output."""
    for block in re.finditer(r"^```\w*\n(\$ .*?)^```$", text, re.M | re.S):
        line = text.count("\n", 0, block.start(1)) + 1
        for part in re.split(r"^(?=\$ )", block.group(1), flags=re.M)[1:]:
            command = re.match(r"\$ (?:.*\\\n)*.*\n", part).group()
            yield line, command[2:].rstrip("\n"), part[len(command) :]
            line += part.count("\n")


def files(text):
    """The files that a document brings: name, content."""
    return re.findall(r"^```python\n(?=# (\w+\.py)\n)(.*?)^```$", text, re.M | re.S)


def pattern_of(expected):
    lines = []
    for line in expected.splitlines():
        inner = ".*".join(re.escape(piece) for piece in line.split(GAP))
        lines.append(r"(?:.*\n)*" if line == GAP else inner + r"\n")
    return re.compile("".join(lines))


def run(command, folder, programs):
    environment = {
        **{name: value for name, value in os.environ.items() if name != "COLUMNS"},
        "PATH": f"{programs}:{os.environ['PATH']}",
        "LC_ALL": "C.UTF-8",
        "TZ": "UTC",
        "XDG_STATE_HOME": str(folder / ".state"),
        "XDG_RUNTIME_DIR": str(folder),
    }
    ended = subprocess.run(
        ["bash", "-c", command], cwd=folder, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False
    )
    return ended.stdout.decode()


def check(document, source, programs, links=()):
    """Prints what differs. `links`: more names in the folder, each with its file. @return whether every command printed what
    the document says."""
    failed = 0
    count = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for link, file in [("examples", source / "examples"), *links]:
            (folder / link).symlink_to(file)
        text = document.read_text(encoding="utf-8")
        for file, content in files(text):
            (folder / file).write_text(content, encoding="utf-8")
        for line, command, expected in transcripts(text):
            count += 1
            printed = run(command, folder, programs)
            if not pattern_of(expected).fullmatch(printed):
                print(f"{document}:{line}: $ {command}\n--- the document says\n{expected}--- it prints\n{printed}---")
                failed += 1
    if count == 0:
        print(f"{document}: no transcripts")
    return failed == 0 and count > 0


def main(arguments):
    source, programs, *documents = (pathlib.Path(argument).resolve() for argument in arguments)
    results = [check(document, source, programs) for document in documents]
    return 0 if results and all(results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
