#!/usr/bin/env python3
"""Checks the includes of the source folders against the table of README.md's section "Where things are".

    check_includes.py SOURCE_FOLDER

The table's last column lists what a folder may include besides itself: folders, single headers, or "all". Exit 1 when a
source includes anything else of this project, or when a folder with sources has no row.
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
rows = re.findall(r"^\| `(\w+/)` \|.*\| ([^|]*)\|$", (root / "README.md").read_text(), re.M)
allowed = {folder: [folder, *re.findall(r"`([^`]+)`", column)] for folder, column in rows}
unrestricted = {folder for folder, column in rows if column.strip() == "all"}

failures = []
includes = 0
for source in sorted(path for pattern in ("*.h", "*.cpp", "*.c") for path in root.glob(f"[!.]*/**/{pattern}")):
    name = source.relative_to(root).as_posix()
    folder = name.split("/")[0] + "/"
    if folder.startswith("build") or folder in unrestricted:
        continue
    if folder not in allowed:
        failures.append(f"{name}: README.md has no row for {folder}")
        continue
    for number, line in enumerate(source.read_text().splitlines(), 1):
        found = re.match(r'#include "([^"]+)"', line)
        includes += found is not None
        if found and not any(found[1].startswith(prefix) for prefix in allowed[folder]):
            failures.append(f"{name}:{number}: {folder} may not include {found[1]}")

for failure in failures:
    print(failure)
sys.exit(bool(failures) or includes == 0)
