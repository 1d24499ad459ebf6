#!/usr/bin/env python3
"""Holds the table of README.md that says which folder includes which against the sources, both ways.

    check_includes.py SOURCE_FOLDER

A row lists folders, and single headers of folders that are closed otherwise.
Exit 1, naming the places, for an include that the table does not have, an arrow of the table that no source uses, a folder
with sources that the table does not have, and an include that names no file.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
PRODUCT = ("analytics", "cli", "decoder", "host", "platform", "plugin", "qor", "state")
MARK = "<!-- folders that each folder includes -->"


def read_table(page):
    """Folder to the folders that it includes. A row goes on in the next line when that has no arrow."""
    parts = page.read_text().split(MARK)
    if len(parts) != 3:
        sys.exit(f"{page}: expected the table between two lines {MARK}")
    table = {}
    folder = None
    for line in parts[1].splitlines():
        head, arrow, tail = line.partition("→")
        if arrow:
            folder = head.strip()
            table[folder] = set()
        if folder:
            table[folder].update((tail if arrow else line).split())
            table[folder].discard("nothing")
    return table


def read_arrows(root, faults):
    """(folder, included header) to one source that has it; each folder with sources has an arrow to itself."""
    arrows = {}
    for path in sorted(path for top in PRODUCT for path in (root / top).rglob("*")):
        if path.suffix not in (".h", ".cpp", ".c"):
            continue
        folder = path.parent.relative_to(root).as_posix()
        arrows.setdefault((folder, folder), path)
        for included in INCLUDE.findall(path.read_text()):
            if (root / included).is_file():
                arrows.setdefault((folder, included), path)
            else:
                faults.append(f'{path.relative_to(root)}: includes "{included}", which is not a file of the tree')
    return arrows


def main():
    root = pathlib.Path(sys.argv[1])
    table = read_table(root / "README.md")
    faults = []
    arrows = read_arrows(root, faults)
    used = set()
    for (folder, included), path in sorted(arrows.items()):
        target = pathlib.PurePosixPath(included).parent.as_posix()
        allowed = {included, target} & table.get(folder, set())
        used.update((folder, entry) for entry in allowed)
        if folder not in table:
            faults.append(f"{path.relative_to(root)}: the table has no row for {folder}")
        elif folder not in (included, target) and not allowed:
            faults.append(f"{path.relative_to(root)}: {folder} may not include {included}")
    for folder, allowed in sorted(table.items()):
        faults += [f"README.md: {folder} → {entry}: no source has this include" for entry in sorted(allowed)
                   if (folder, entry) not in used]
        if (folder, folder) not in arrows:
            faults.append(f"README.md: there is no folder {folder}")
    print("\n".join(sorted(set(faults))) or f"{len(table)} folders, {sum(map(len, table.values()))} arrows")
    sys.exit(bool(faults))


if __name__ == "__main__":
    main()
