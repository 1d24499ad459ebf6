#!/usr/bin/env python3
"""Opens what `qorstat decode --format jsonl` prints in lnav, with the formats of `qorstat schema --engine lnav`.

    lnav_test.py QORSTAT DUMP RESTARTED

In the second dump the clock begins anew. Ends with status 77 where lnav is not installed.
"""

import csv
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

CLOCK = ["--time-sync", "qor=7200000000000,calendar=1795256648209505000", "--time-zone", "Asia/Tokyo"]


def run(*command):
    """The standard output of a success that says nothing on standard error."""
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    assert done.returncode == 0 and not done.stderr, done
    return done.stdout


def ask(file, question):
    """The rows of an answer of lnav's."""
    return list(csv.DictReader(io.StringIO(run("lnav", "-n", "-c", ";" + question, "-c", ":write-csv-to -", file))))


def are_same(cell, value):
    if isinstance(value, float):
        return float(cell) == value
    return cell == ("<NULL>" if value is None else str(value))


def check(qorstat, dump, folder, name, table, clock):
    file = folder / name
    file.write_text(run(qorstat, "decode", dump, "--format", "jsonl", *clock))
    lines = [json.loads(line) for line in file.read_text().splitlines()]
    keys = sorted({key for line in lines for key in line["payload"]})
    columns = ", ".join(f'"payload/{key}"' for key in keys)
    rows = ask(file, f"SELECT log_time, category, component, event, type, sequence_num, payload, {columns} FROM {table}")
    assert len(rows) == len(lines), (len(rows), len(lines))
    # lnav has them in the order of their times, and some have the same.
    rows.sort(key=lambda row: (row["log_time"], int(row["sequence_num"])))
    lines.sort(key=lambda line: (time_of(line), line["sequence_num"]))
    for row, line in zip(rows, lines):
        assert json.loads(row["payload"]) == line["payload"], (row, line)
        for key in ("category", "component", "event", "type", "sequence_num"):
            assert row[key] == str(line[key]), (key, row, line)
        for key in keys:
            assert are_same(row[f"payload/{key}"], line["payload"].get(key)), (key, row, line)
        assert row["log_time"] == time_of(line), (row, line)
    shown = run("lnav", "-n", file).splitlines()
    heads = [line for line in shown if not line.startswith(" ")]
    assert len(heads) == len(lines), shown[:5]
    names = [[line[key] for key in ("category", "component", "event", "type")] for line in lines]
    assert sorted(head.split()[2:] for head in heads) == sorted(names), heads[:5]
    print(f"{table}: {len(rows)} reports, {len(keys)} keys of payloads")


def time_of(line):
    """What lnav shows as the time: of the day as it is written, otherwise from 1970 on."""
    if "wall_time" in line:
        return line["wall_time"].replace("T", " ")[:23]
    seconds, microseconds = divmod(line["timestamp"], 1_000_000)
    hours, minutes = divmod(seconds // 60, 60)
    assert hours < 24
    return f"1970-01-01 {hours:02}:{minutes:02}:{seconds % 60:02}.{microseconds // 1000:03}"


def main(qorstat, dump, restarted):
    if shutil.which("lnav") is None:
        print("lnav is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        os.environ.update(HOME=name, XDG_CONFIG_HOME=name, TERM="xterm")
        (folder / "formats.json").write_text(run(qorstat, "schema", "--engine", "lnav"))
        installed = subprocess.run(["lnav", "-i", folder / "formats.json"], capture_output=True, text=True, check=False)
        assert installed.returncode == 0 and "error" not in installed.stdout + installed.stderr, installed
        check(qorstat, dump, folder, "day.jsonl", "qor_reports", CLOCK)
        check(qorstat, dump, folder, "clock.jsonl", "qor_reports_uptime", [])
        check(qorstat, restarted, folder, "restart.jsonl", "qor_reports", CLOCK)


main(*sys.argv[1:])
