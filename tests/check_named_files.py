#!/usr/bin/env python3
"""Checks that the files that a document names exist.

    check_named_files.py SOURCE_FOLDER DOCUMENT...

A file is named between backquotes, as a path that begins with a folder of the project (`cli/verbs.h`, `docs/*.md`), or by
a relative link, whose heading must exist as well. VERB in a path is a placeholder. Exit 1 when something does not exist.
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
folders = {path.name for path in root.iterdir() if path.is_dir() and not path.name.startswith(("build", "."))}


def headings(document):
    """The anchors of the headings of a document."""
    titles = re.findall(r"^#+ (.*)$", document.read_text(), re.M)
    return {re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-") for title in titles}


found = 0
failures = []
for document in map(pathlib.Path, sys.argv[2:]):
    text = document.read_text()
    for name in re.findall(r"`([\w.-]+/[\w./*-]*)`", text):
        if name.split("/")[0] in folders and "VERB" not in name:
            found += 1
            if not any(root.glob(name.rstrip("/"))):
                failures.append(f"{document}: `{name}` does not exist")
    for name, heading in re.findall(r"\]\(([\w./-]*)(?:#([\w-]+))?\)", text):
        found += 1
        target = document.parent / name if name else document
        if not target.is_file() or (heading and heading not in headings(target)):
            failures.append(f"{document}: the link {name}{'#' + heading if heading else ''} leads nowhere")

for failure in failures:
    print(failure)
sys.exit(bool(failures) or found == 0)
