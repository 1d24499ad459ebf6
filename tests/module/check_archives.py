#!/usr/bin/env python3
"""Fails when archives need each other: then no order on a linker's command line is right.

    check_archives.py NM ARCHIVE...

Names every circle of archives with a symbol for each step, and exits with 1 when there is one.
"""

import itertools
import subprocess
import sys


def symbols(nm, archive):
    """The names that an archive defines for others, and those that it needs of others."""
    listing = subprocess.run([nm, "--format=posix", archive], stdout=subprocess.PIPE, text=True, check=True).stdout
    defined, needed = set(), set()
    for name, kind in (line.split()[:2] for line in listing.splitlines() if not line.endswith(":")):
        if kind == "U":
            needed.add(name)
        elif kind in "TDBR":
            defined.add(name)
    return defined, needed - defined


def main(nm, *archives):
    found = {archive: symbols(nm, archive) for archive in archives}
    needs = {
        (a, b): found[a][1] & found[b][0] for a, b in itertools.permutations(archives, 2) if found[a][1] & found[b][0]
    }
    circles = 0
    for length in range(2, len(archives) + 1):
        for circle in itertools.permutations(archives, length):
            steps = list(zip(circle, circle[1:] + circle[:1]))
            if circle[0] == min(circle) and all(step in needs for step in steps):
                circles += 1
                for step in steps:
                    print(f"{step[0]} needs {min(needs[step])} of {step[1]}")
    return 1 if circles else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
