#!/usr/bin/env python3
"""Loads dumps and stores into the current ClickHouse with `qorstat load`, and compares its counts with other verbs.

    check_load.py --programs DIR --folder DIR [--devices N] [--stores N] [--reports N]

The engine is that of build/engines, behind HTTP. What it counts must be what `qorstat decode --stats` counts in the dumps
and `qorstat metrics` in the stores, merged, after a load, after the same load again, and after one with clocks. Prints the
differences and ends with status 1 when there are any.
"""

import collections
import json

from checking import count, run_check
from engines import run
from served import Server


class Check:
    def __init__(self, qorstat, folder, dumps, stores):
        self.differences = 0
        told = [json.loads(run([qorstat, "decode", "--stats", "--json", dump])) for dump in dumps]
        self.dumps = {dump.stem: one for dump, one in zip(dumps, told)}
        self.categories = collections.Counter()
        for one in told:
            self.categories.update({entry["category"]: entry["count"] for entry in one["categories"]})
        run([qorstat, "metrics", "--merge", *stores, "-o", folder / "merged.db"])
        self.merged = json.loads(run([qorstat, "metrics", "--json", folder / "merged.db"]))

    def compare(self, what, expected, found):
        if not expected or found != expected:
            self.differences += 1
            print(f"{what}: {str(found)[:300]} instead of {str(expected)[:300]}")

    def compare_all(self, when, server):
        reports = server.ask("SELECT device, count(), min(timestamp), max(timestamp) FROM qor.reports GROUP BY device")
        self.compare(f"reports {when}", {device: [one["reports"], one["earliest"], one["latest"]]
                                         for device, one in self.dumps.items()},
                     {row[0]: list(map(int, row[1:])) for row in reports})
        marks = server.ask("SELECT device, reports, gaps, missing FROM qor.dumps")
        self.compare(f"dumps {when}", sorted([device, one["reports"], one["gaps"], one["missing"]]
                                             for device, one in self.dumps.items()),
                     sorted([row[0], *map(int, row[1:])] for row in marks))
        categories = server.ask("SELECT category, count() FROM qor.reports GROUP BY category")
        self.compare(f"categories {when}", dict(self.categories), {row[0]: int(row[1]) for row in categories})
        scalars = server.ask("SELECT key, sum(value) FROM qor.scalar GROUP BY key")
        self.compare(f"scalars {when}", {entry["key"]: entry["value"] for entry in self.merged["scalars"]},
                     {row[0]: int(row[1]) for row in scalars})
        values = server.ask("SELECT key, value, sum(count) FROM qor.distribution GROUP BY key, value")
        self.compare(f"distributions {when}", {(entry["key"], float(pair["value"])): pair["count"]
                                               for entry in self.merged["distributions"] for pair in entry["values"]},
                     {(row[0], float(row[1])): int(row[2]) for row in values})


def check(arguments):
    folder = arguments.folder
    qorstat = arguments.programs / "qorstat"
    run([arguments.programs / "generate_fleet", "--folder", folder / "fleet", "--devices", arguments.devices, "--reports",
         arguments.reports])
    dumps = sorted((folder / "fleet").glob("*.bin"))
    stores = sorted((folder / "fleet").glob("*.db"))[:arguments.stores]
    checked = Check(qorstat, folder, dumps, stores)
    server = Server(folder / "server")
    try:
        print(f"ClickHouse {server.ask('SELECT version()')[0][0]} behind HTTP", flush=True)
        # Several inserts, and dumps that are in two of them.
        load = [qorstat, "load", "--to", server.url, "--insert-rows", str(arguments.devices * arguments.reports // 3), *dumps, *stores]
        there = len(dumps) + len(stores)
        for when, options, said in (("after a load", [], f"loaded {len(dumps)} dumps and {len(stores)} stores with "),
                                    ("after another", ["--label", "firmware=6", "--label", "site=it's\\"], f"; {there} there already; {len(dumps)} devices labelled"),
                                    ("after a clock", ["--boot-time", "1795000000000000", "--label", "firmware=7"], f"; {len(dumps)} mended; ")):
            told = run([*load, *options]).decode()
            if said not in told:
                checked.differences += 1
                print(f"what the load says {when}: {told}")
            checked.compare_all(when, server)
        labels = server.ask("SELECT device, groupArray(value) FROM (SELECT * FROM qor.labels ORDER BY device, key) GROUP BY device")
        checked.compare("the labels", {dump.stem: r"['7','it\'s\\']" for dump in dumps}, dict(labels))
        times = server.ask("SELECT DISTINCT boot_timestamp FROM qor.reports")
        checked.compare("the clock", [["1795000000000000"]], times)
    finally:
        server.stop()
    return checked.differences


run_check(__doc__, check, {"devices": count(20), "stores": count(5), "reports": count(2000)})
