#!/usr/bin/env python3
"""Compares devices out of ClickHouse's tables with `qorstat compare --from`, and out of their files.

    check_compare.py --programs DIR --clickhouse SCRIPT --folder DIR [--devices N] [--reports N]

Loads two groups of N devices with labels, of which one has a slower function, into the servers of scripts/clickhouse and into
the current engine. What compare prints as JSON must be the same of both and of the files, byte for byte, and the slower function
must be its first finding. Prints the differences and ends with status 1 when there are any.
"""

import json

from checking import PATH, count, run_check
from engines import run
from served import debian_served, served


def check(arguments):
    qorstat = arguments.programs / "qorstat"
    groups = {"old": [], "new": ["--plant", "slower-function", "--first-device", str(arguments.devices + 1)]}
    for group, options in groups.items():
        run([arguments.programs / "generate_fleet", "--folder", arguments.folder / group, "--devices", str(arguments.devices),
             "--reports", str(arguments.reports), *options])
    folders = [arguments.folder / group for group in groups]
    expected = run([qorstat, "compare", "--json", folders[0], "--", folders[1]]).decode()
    first = json.loads(expected)["findings"][0]
    differences = 0
    if first["what"] != "function duration":
        differences += 1
        print(f"the first finding is no slower function: {first}")
    for name, server in (("Debian's ClickHouse", debian_served(arguments.clickhouse, arguments.folder / "debian")),
                         ("the current ClickHouse", served(arguments.folder / "current"))):
        with server as url:
            for group in groups:
                # Several inserts, and dumps that are in two of them.
                run([qorstat, "load", "--to", url, "--label", f"firmware={group}", "--insert-rows",
                     str(arguments.devices * arguments.reports // 3), arguments.folder / group])
            found = run([qorstat, "compare", "--json", "--from", url, "--a", "firmware = old", "--b",
                         "firmware != old"]).decode()
        print(f"{name}: {len(found)} bytes, {len(json.loads(found)['findings'])} findings", flush=True)
        if found != expected:
            differences += 1
            (arguments.folder / f"{name}.json").write_text(found)
            print(f"{name} and the files differ")
    return differences


run_check(__doc__, check, {"clickhouse": PATH, "devices": count(20), "reports": count(1000)})
