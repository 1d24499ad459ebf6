#!/usr/bin/env python3
"""Loads dumps and stores into the current ClickHouse with `qorstat load`, and compares its counts with other verbs.

    check_load.py --programs DIR --folder DIR [--devices N] [--stores N] [--reports N]

The engine is that of build/engines, behind HTTP. What it counts must be what `qorstat decode --stats` counts in the dumps
and `qorstat metrics` in the stores, merged, after a load, after the same load again, and after one with clocks. Prints the
differences and ends with status 1 when there are any.
"""

import argparse
import collections
import json
import pathlib
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

from engines import HERE, Failure, run


class Server:
    """The engine behind a URL."""

    def __init__(self, folder):
        folder.mkdir()
        self.process = subprocess.Popen(["node", HERE / "serve.cjs", folder], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        encoding="utf-8")
        self.url = self.process.stdout.readline().strip()
        if not self.url:
            raise Failure("the server ended")

    def ask(self, question):
        """The rows, each a list of texts."""
        try:
            with urllib.request.urlopen(urllib.request.Request(self.url, question.encode())) as answer:
                return [line.split("\t") for line in answer.read().decode().splitlines()]
        except urllib.error.HTTPError as error:
            raise Failure(f"{error.read().decode()} in {question}") from error

    def stop(self):
        self.process.stdin.close()
        self.process.wait()


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


def check(parsed, folder):
    qorstat = parsed.programs / "qorstat"
    run([parsed.programs / "generate_fleet", "--folder", folder / "fleet", "--devices", parsed.devices, "--reports",
         parsed.reports])
    dumps = sorted((folder / "fleet").glob("*.bin"))
    stores = sorted((folder / "fleet").glob("*.db"))[:parsed.stores]
    checked = Check(qorstat, folder, dumps, stores)
    server = Server(folder / "server")
    try:
        print(f"ClickHouse {server.ask('SELECT version()')[0][0]} behind HTTP", flush=True)
        # Several inserts, and dumps that are in two of them.
        load = [qorstat, "load", "--to", server.url, "--insert-rows", str(parsed.devices * parsed.reports // 3), *dumps, *stores]
        there = len(dumps) + len(stores)
        for when, options, said in (("after a load", [], f"loaded {len(dumps)} dumps and {len(stores)} stores with "),
                                    ("after another", [], f"loaded 0 dumps with 0 reports; {there} there already"),
                                    ("after a clock", ["--boot-time", "1795000000000000"], f"; {len(dumps)} mended; ")):
            told = run([*load, *options]).decode()
            if said not in told:
                checked.differences += 1
                print(f"what the load says {when}: {told}")
            checked.compare_all(when, server)
        times = server.ask("SELECT DISTINCT boot_timestamp FROM qor.reports")
        checked.compare("the clock", [["1795000000000000"]], times)
    finally:
        server.stop()
    return checked.differences


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--programs", type=pathlib.Path, required=True)
    arguments.add_argument("--folder", type=pathlib.Path, required=True)
    arguments.add_argument("--devices", type=int, default=20)
    arguments.add_argument("--stores", type=int, default=5)
    arguments.add_argument("--reports", type=int, default=2000)
    parsed = arguments.parse_args()
    shutil.rmtree(parsed.folder, ignore_errors=True)
    parsed.folder.mkdir(parents=True)
    try:
        differences = check(parsed, parsed.folder.resolve())
    except Failure as failure:
        sys.exit(f"check_load.py: {failure}")
    print(f"{differences} differences")
    sys.exit(1 if differences else 0)


main()
