#!/usr/bin/env python3
"""Compares the views of every engine with what `qorstat decode --format jsonl` prints for the same reports.

    check_views.py --programs DIR --clickhouse SCRIPT --folder DIR [--reports N] [--stores N] [--engine WORD]...

The expected rows are made of the lines of JSON alone: a column is the key with '_' for each '-', a layout that is shown
second has "_2" at the end of a key that the first one has, too. Which lines a view has is written down here once more.
Prints the differences and ends with status 1 when there are any.
"""

import json
import pathlib
import sqlite3
import struct
import sys
import time

from checking import PATH, count, run_check
from engines import CurrentClickHouse, DebianClickHouse, Dump, DuckDb, Failure, Sqlite, run

HEADER = ("category", "category_id", "component", "component_id", "event", "event_id", "type", "type_id",
          "sequence_num", "timestamp", "wall_time", "boot_timestamp")


def is_event(row, category, component, event):
    return (row["category_id"], row["component_id"], row["event_id"], row["type_id"]) == (category, component, event, 3)


def is_button(row, event):
    return (row["category_id"], row["event_id"], row["type_id"]) == (7, event, 2)


def is_context(row, version):
    return (row["category_id"], row["type_id"], row["payload"].get("context-version")) == (7, 10, version)


SMALL_DEVICE = pathlib.Path(__file__).resolve().parents[1] / "data" / "small.toml"

# Which reports a view has.
VIEWS = {
    "long_data": lambda row: row["type_id"] == 1,
    "short_data": lambda row: row["type_id"] == 2,
    "event": lambda row: row["type_id"] == 3 and not is_event(row, 4, 0, 1) and not is_event(row, 10, 0, 2),
    "trigger": lambda row: row["type_id"] == 4,
    "function": lambda row: row["type_id"] == 5,
    "sensorinfo": lambda row: row["type_id"] == 8,
    "extfunction": lambda row: row["type_id"] == 9,
    "annotation": lambda row: row["type_id"] == 11,
    "decimationinfo": lambda row: row["type_id"] == 12,
    "sshb_trace": lambda row: (row["category_id"], row["type_id"]) == (7, 3),
    "sshb_button": lambda row: is_button(row, 2),
    "sshb_click_status": lambda row: is_button(row, 3),
    "sshb_context_3": lambda row: is_context(row, 3),
    "sshb_context_4": lambda row: is_context(row, 4),
    "sshb_context_5": lambda row: is_context(row, 5),
    "sshb_context_7": lambda row: is_context(row, 7),
    "vastrel_data_in": lambda row: is_event(row, 4, 0, 0),
    "vastrel_data_out": lambda row: is_event(row, 4, 0, 1),
    "wake_request": lambda row: (row["category_id"], row["component_id"], row["event_id"], row["type_id"]) == (10, 0, 1, 13),
    "wake_event": lambda row: is_event(row, 10, 0, 2),
}

# Layouts that stand behind another one in some payloads.
SECOND = ("event", "short_data")


class Reference:
    """The lines of JSON and the bytes of all reports, by device and number."""

    def __init__(self, qorstat, dumps, hashes):
        self.reports = []
        for dump in dumps:
            lines = run([qorstat, "decode", dump.file, "--format", "jsonl", "--time-zone", "UTC", *dump.clock]).splitlines()
            content = dump.file.read_bytes()
            if len(lines) != len(content) // 48:
                raise Failure(f"{dump.file}: {len(lines)} lines")
            for number, line in enumerate(lines):
                report = content[48 * number:48 * number + 48]
                self.reports.append((dump.device, struct.unpack_from("<I", report, 4)[0], line, report,
                                     hashes[dump.device]))
        self.reports.sort(key=lambda report: report[:2])
        self.reports_of = {view: [] for view in VIEWS}
        for report in self.reports:
            row = json.loads(report[2])
            for view, has in VIEWS.items():
                if has(row):
                    self.reports_of[view].append(report)
        self.reports_of["reports"] = self.reports

    def rows(self, view, columns):
        """The expected rows of a view, in order."""
        payload_columns = columns[2 + len(HEADER):]
        for device, _, line, report, dump in self.reports_of[view]:
            row = json.loads(line)
            if view == "reports":
                values = dict(zip(payload_columns, struct.unpack_from("<8I", report, 16)))
            else:
                values = {column: None for column in payload_columns}
                payload = {key.replace("-", "_"): value for key, value in row["payload"].items()}
                for column in payload_columns:
                    second = column + "_2"
                    values[column] = payload[second] if view in SECOND and second in payload else payload.get(column)
                    if values[column] is None and column + "_hex" not in payload and not column.endswith("_hex"):
                        raise Failure(f"{view}.{column}: no such key in {line.decode()}")
            yield {"device": device, "dump": dump, **{key: row.get(key) for key in HEADER}, **values}


def as_numbers(row):
    """Numbers that SQLite's integers have no room for are texts there."""
    for key in ("timestamp", "boot_timestamp", "global_id", "entry_id", "next_dispatch", "endpoint_ref"):
        if isinstance(row.get(key), str):
            row[key] = int(row[key])
    return row


def read_rows(files):
    for file in files:
        with open(file, encoding="utf-8") as lines:
            for line in lines:
                yield json.loads(line)


def compare(name, expected, found):
    """The number of rows, and of differences; the first ones are printed."""
    rows = differences = 0
    missing = object()
    expected, found = iter(expected), iter(found)
    while True:
        want, have = next(expected, missing), next(found, missing)
        if want is missing and have is missing:
            return rows, differences
        rows += 1
        if want is missing or have is missing:
            differences += 1
            print(f"{name}: {'a row too many' if want is missing else 'a row is missing'}: "
                  f"{have if want is missing else want}", file=sys.stderr)
            return rows, differences
        if want != as_numbers(have):
            differences += 1
            if differences <= 3:
                keys = {key for key in want.keys() | have.keys() if want.get(key, missing) != have.get(key, missing)}
                print(f"{name}: {({key: (want.get(key), have.get(key)) for key in keys})} in {want}", file=sys.stderr)


def tables_of(schema):
    """Table or view: its columns, from what `schema --engine sqlite` prints."""
    connection = sqlite3.connect(":memory:")
    connection.executescript(schema)
    names = [row[0] for row in connection.execute("SELECT name FROM sqlite_schema ORDER BY rowid")]
    return {name: [row[1] for row in connection.execute(f"PRAGMA table_info({name})")] for name in names}


def check_views(engine, reference, tables):
    """The rows that were compared, and the differences."""
    total = differences = 0
    for view in ("reports", *VIEWS):
        columns = tables[view]
        rows, different = compare(
            f"{engine.name}: {view}", reference.rows(view, columns),
            read_rows(engine.rows_of(f"SELECT * FROM {view} ORDER BY device, sequence_num")))
        if rows == 0:
            raise Failure(f"{view}: no report of the generated ones")
        total += rows
        differences += different
    return total, differences


def check_columns(engine, tables):
    """The number of tables whose columns are others, with other names or in another order."""
    differences = 0
    for table, columns in tables.items():
        found = [name for name, _ in engine.columns_of(table)]
        if found != columns:
            differences += 1
            print(f"{engine.name}: {table}: {found} instead of {columns}", file=sys.stderr)
    return differences


def check_stores(engine, merged):
    """The sums of all newest stores beside the store that `metrics --merge` has made."""
    connection = sqlite3.connect(merged)
    questions = {
        "scalar": ("SELECT key, sum(value) AS value FROM scalar GROUP BY key ORDER BY key",
                   "SELECT name, value FROM scalar JOIN key ON key.id = scalar.key"),
        "distribution": ("SELECT key, value, sum(count) AS count FROM distribution GROUP BY key, value ORDER BY key, value",
                         "SELECT name, value, count FROM distribution JOIN key ON key.id = distribution.key"),
    }
    total = differences = 0
    for table, (question, reference) in questions.items():
        expected = {row[:-1]: row[-1] for row in connection.execute(reference)}
        found = {}
        for row in read_rows(engine.rows_of_stores(question)):
            values = [float(value) if name == "value" and table == "distribution" else int(value) if name != "key" else value
                      for name, value in row.items()]
            found[tuple(values[:-1])] = values[-1]
        if not expected:
            raise Failure(f"{table}: nothing in the merged store")
        for key in expected.keys() | found.keys():
            total += 1
            if expected.get(key) != found.get(key):
                differences += 1
                if differences <= 3:
                    print(f"{engine.name}: {table} {key}: {found.get(key)} instead of {expected.get(key)}", file=sys.stderr)
    return total, differences


def make_dumps(arguments):
    """Dumps with and without clocks; the last one's arithmetic wraps."""
    clocks = (["--time-sync", "qor=7200000000000,calendar=1795256648209505000", "--boot-time", "1759992798520000"],
              [],
              ["--time-sync", "qor=9223372036854775807,calendar=5"])
    dumps = []
    for number, clock in enumerate(clocks, 1):
        file = arguments.folder / f"device-{number}.bin"
        file.write_bytes(run([arguments.programs / "generate_reports", number, -(-arguments.reports // len(clocks))]))
        dumps.append(Dump(file, clock))
    return dumps


def make_stores(arguments):
    folder = arguments.folder / "fleet"
    run([arguments.programs / "generate_fleet", "--folder", folder, "--devices", arguments.stores, "--reports", 0])
    stores = sorted(folder.glob("*.db"))
    merged = arguments.folder / "merged.db"
    words = [word for store in stores for word in ("--merge", store)]
    run([arguments.programs / "qorstat", "metrics", *words, "-o", merged])
    return stores, merged


ENGINES = ("sqlite", "18.16", "current", "duckdb")


def make_engine(word, arguments):
    folder = arguments.folder / word
    folder.mkdir()
    if word == "sqlite":
        return Sqlite(arguments.programs / "qorstat", folder)
    if word == "18.16":
        return DebianClickHouse(arguments.programs / "qorstat", folder, arguments.clickhouse)
    if word == "current":
        return CurrentClickHouse(arguments.programs / "qorstat", folder)
    return DuckDb(arguments.programs / "qorstat", folder)


def hashes_of(qorstat, dumps):
    """The dumps' hashes as an export has them; that engines show the same is compared with the rest."""
    hashes = {}
    for dump in dumps:
        block = run([qorstat, "export", dump.file, "--table", "dumps", "--format", "clickhouse"])
        at = block.index(b"\x04dump\x06String") + len(b"\x04dump\x06String") + 1
        hashes[dump.device] = block[at:at + 16].decode()
    return hashes


def check(arguments):
    dumps = make_dumps(arguments)
    stores, merged = make_stores(arguments)
    records = arguments.folder / "records"
    run([arguments.programs / "qorstat", "capture", SMALL_DEVICE, "-o", records])
    reference = Reference(arguments.programs / "qorstat", dumps, hashes_of(arguments.programs / "qorstat", dumps))
    tables = tables_of(run([arguments.programs / "qorstat", "schema", "--engine", "sqlite"]).decode())
    if set(VIEWS) | {"reports", "dumps", "scalar", "distribution", "records"} != set(tables):
        raise Failure(f"other views than expected: {sorted(tables)}")
    differences = 0
    for word in arguments.engine or ENGINES:
        start = time.monotonic()
        engine = make_engine(word, arguments)
        try:
            engine.fill(dumps, stores, records)
            others = check_columns(engine, tables)
            rows, different = check_views(engine, reference, tables)
            sums, wrong = check_stores(engine, merged)
        finally:
            engine.stop()
        differences += others + different + wrong
        print(f"{engine.name}: {len(tables)} tables and views, {rows} rows of {len(reference.reports)} reports and {sums} sums "
              f"of {len(stores)} stores compared, {others + different + wrong} differences, "
              f"{time.monotonic() - start:.0f} s", flush=True)
    return differences


run_check(__doc__, check, {"clickhouse": PATH, "reports": count(100_000), "stores": count(1_000),
                           "engine": {"action": "append", "choices": ENGINES}})
