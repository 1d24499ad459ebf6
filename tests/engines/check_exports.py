#!/usr/bin/env python3
"""Compares what engines read from the files of `qorstat export` with the dumps, stores and records that they are of.

    check_exports.py --programs DIR --clickhouse SCRIPT --folder DIR [--devices N] [--reports N]

Parquet is read by the current ClickHouse and by DuckDB, blocks by the current ClickHouse and by Debian's. The expected
rows are made of the bytes of the dumps, of the stores' own tables and of what `qorstat show` prints. Prints the
differences and ends with status 1 when there are any.
"""

import json
import pathlib
import sqlite3
import struct

from checking import PATH, count, run_check
from engines import Asker, DebianClickHouse, run

SMALL_DEVICE = pathlib.Path(__file__).resolve().parents[1] / "data" / "small.toml"

# The types that Debian's version is told of. The others read them from the files.
COLUMNS = {
    "reports": {"device": "String", "dump": "String", "category_id": "UInt8", "component_id": "UInt8", "event_id": "UInt8",
                "type_id": "UInt8", "sequence_num": "UInt32", "timestamp": "UInt64", **{f"w{i}": "UInt32" for i in range(8)}},
    "dumps": {"device": "String", "dump": "String", "file": "String", "reports": "UInt64",
              "first_timestamp": "Nullable(UInt64)", "last_timestamp": "Nullable(UInt64)", "gaps": "UInt64",
              "missing": "UInt64", "trailing_bytes": "UInt8", "sync_qor": "Nullable(UInt64)",
              "sync_calendar": "Nullable(UInt64)", "boot_timestamp": "Nullable(UInt64)"},
    "scalar": {"device": "String", "store": "String", "taken": "Int64", "key": "String", "value": "Int64"},
    "distribution": {"device": "String", "store": "String", "taken": "Int64", "key": "String", "value": "Float64",
                     "count": "UInt64"},
    "records": {"device": "String", "file": "String", "number": "UInt32", "title": "Nullable(String)",
                "reports": "UInt64", "content": "String"},
}


def prepared(programs, folder, devices, reports):
    """Dumps, one of them empty and one with trailing bytes, stores, one with unusual values, and records."""
    fleet = folder / "fleet"
    run([programs / "generate_fleet", "--folder", fleet, "--devices", devices, "--reports", reports, "--seed", 5])
    (fleet / "device-empty.bin").write_bytes(b"")
    with open(fleet / "device-0001.bin", "ab") as torn:
        torn.write(b"torn")
    with sqlite3.connect(fleet / "device-0001.db") as store:
        (key,) = store.execute("SELECT min(key) FROM distribution").fetchone()
        store.executemany("INSERT OR REPLACE INTO distribution (key, value, count) VALUES (?, ?, ?)",
                          [(key, value, (1 << 63) - 1) for value in (float("inf"), float("-inf"), 0.1 + 0.2, 5e-324, 1e300)])
        store.execute("UPDATE scalar SET value = -9223372036854775808 WHERE key = (SELECT min(key) FROM scalar)")
    store.close()
    run([programs / "qorstat", "capture", SMALL_DEVICE, "--kind", "fault", "-o", folder / "captures"])
    return sorted(fleet.glob("*.bin")), sorted(fleet.glob("*.db")), folder / "captures"


def missing_between(before, number):
    step = (number - before) % (1 << 32)
    return step - 1 if 0 < step < 1 << 31 else 0


def expected_reports(dumps):
    """Without the dump's hash."""
    for dump in dumps:
        data = dump.read_bytes()
        for kind, event, component, category, number, time, *words in struct.iter_unpack("<4BIQ8I", data[: len(data) // 48 * 48]):
            yield (dump.stem, category, component, event, kind, number, time, *words)


def expected_dumps(dumps):
    """Without the dump's hash."""
    for dump in dumps:
        data = dump.read_bytes()
        rows = list(struct.iter_unpack("<4xIQ32x", data[: len(data) // 48 * 48]))
        numbers, times = [row[0] for row in rows], [row[1] for row in rows]
        steps = [(a, b) for a, b in zip(numbers, numbers[1:]) if b != (a + 1) % (1 << 32)]
        yield (dump.stem, str(dump), len(rows), min(times, default=None), max(times, default=None), len(steps),
               sum(missing_between(*step) for step in steps), len(data) % 48, 11, 22, 33)


def expected_of_stores(stores, table):
    columns = "value" if table == "scalar" else "value, count"
    for file in stores:
        store = sqlite3.connect(file)
        taken = file.stat().st_mtime_ns // 1000
        for row in store.execute(f"SELECT name, {columns} FROM {table} JOIN key ON key.id = {table}.key"):
            yield (file.stem, str(file), taken, *row)
        store.close()


def expected_records(qorstat, folder):
    files = sorted(folder.iterdir())
    shown = json.loads(run([qorstat, "show", "--json", *files]))
    for record in shown:
        # Lines of reports end in their bytes.
        payload = record.get("payload", [])
        reports = sum(isinstance(line, str) and "'timestamp':" in line for line in payload) if isinstance(payload, list) else 0
        yield (folder.name, record["file"], 1, record["title"], reports, json.dumps(record, sort_keys=True))


def typed(table, row):
    """A row of texts as the expected ones are."""
    values = []
    for name, kind in COLUMNS[table].items():
        value = row[name]
        if value is None or kind in ("String", "Nullable(String)"):
            values.append(json.dumps(json.loads(value), sort_keys=True) if name == "content" else value)
        elif kind == "Float64":
            values.append(float(value))
        else:
            values.append(int(value))
    return tuple(values)


def sort_key(row):
    return tuple((value is not None, str(type(value)), value if value is not None else 0) for value in row)


class Check:
    def __init__(self):
        self.differences = 0

    def say(self, what, text):
        self.differences += 1
        print(f"{what}: {text}")

    def compare(self, what, table, expected, rows, hashes):
        """@param hashes  of the dumps by their device; filled by the first engine."""
        read = [typed(table, row) for row in rows]
        if table in ("reports", "dumps"):
            for row in read:
                if hashes.setdefault(row[0], row[1]) != row[1]:
                    self.say(what, f"another hash of {row[0]}")
            read = [row[:1] + row[2:] for row in read]
        read.sort(key=sort_key)
        if len(read) != len(expected):
            self.say(what, f"{len(read)} rows instead of {len(expected)}")
        different = [(a, b) for a, b in zip(expected, read) if repr(a) != repr(b)]
        if different:
            self.say(what, f"{len(different)} rows differ, first {different[0][0]} and {different[0][1]}")
        print(f"{what}: {len(read)} rows of {table}")


def texts_of(table, function):
    return ", ".join(f"{function(name)} AS {name}_text" for name in COLUMNS[table])


def with_names(rows):
    for line in rows.splitlines():
        yield {name.removesuffix("_text"): value for name, value in json.loads(line).items()}


def clickhouse_text(name):
    return f"toString({name})"


def duckdb_text(name):
    return f"CAST({name} AS VARCHAR)"


def check(arguments):
    folder = arguments.folder
    qorstat = arguments.programs / "qorstat"
    dumps, stores, captures = prepared(arguments.programs, folder, arguments.devices, arguments.reports)
    expected = {
        "reports": list(expected_reports(dumps)),
        "dumps": list(expected_dumps(dumps)),
        "scalar": list(expected_of_stores(stores, "scalar")),
        "distribution": list(expected_of_stores(stores, "distribution")),
        "records": list(expected_records(qorstat, captures)),
    }
    inputs = {"reports": dumps, "dumps": dumps, "scalar": stores, "distribution": stores, "records": [captures]}
    clock = ["--time-sync", "qor=11,calendar=22", "--boot-time", "33"]
    checked = Check()
    hashes = {}
    chdb, duckdb = Asker("chdb", folder / "data"), Asker("duckdb")
    debian = DebianClickHouse(qorstat, folder, arguments.clickhouse)
    try:
        for table, rows in expected.items():
            rows.sort(key=sort_key)
            for form in ("parquet", "clickhouse"):
                run([qorstat, "export", *inputs[table], *(clock if table == "dumps" else []), "--table", table, "--format",
                     form, "-o", folder / f"{table}.{form}"])
            parquet, blocks = folder / f"{table}.parquet", folder / f"{table}.clickhouse"
            texts = texts_of(table, clickhouse_text)
            for form, file in (("Parquet", parquet), ("Native", blocks)):
                answer = chdb.ask(f"SELECT {texts} FROM file('{file}', '{form}')")
                checked.compare(f"current ClickHouse, {form}", table, rows, with_names(answer), hashes)
            answer = duckdb.ask(f"SELECT {texts_of(table, duckdb_text)} FROM '{parquet}'")
            checked.compare("DuckDB, Parquet", table, rows, with_names(answer), hashes)
            types = list(COLUMNS[table].items())
            debian.query(f"CREATE TABLE exported_{table} ({', '.join(f'{name} {kind}' for name, kind in types)}) ENGINE = Log")
            debian.insert(f"exported_{table}", types, blocks)
            answer = debian.query(f"SELECT {texts} FROM exported_{table} FORMAT JSONEachRow")
            checked.compare(f"{debian.name}, Native", table, rows, with_names(answer), hashes)
        # Limits let readers pass over row groups: what is asked for must not be in one of those.
        places = {"category_id": 1, "sequence_num": 5, "timestamp": 6, "w0": 7, "w7": 14}
        reports = expected["reports"]
        for name, place in places.items():
            for value in {row[place] for row in reports[:: max(1, len(reports) // 20)]}:
                count = sum(row[place] == value for row in reports)
                for engine, source in ((chdb, f"file('{folder}/reports.parquet', 'Parquet')"),
                                       (duckdb, f"'{folder}/reports.parquet'")):
                    (row,) = engine.ask(f"SELECT count(*) AS found FROM {source} WHERE {name} = {value}").splitlines()
                    if int(json.loads(row)["found"]) != count:
                        checked.say(engine.words[0], f"{row} rows with {name} = {value} instead of {count}")
    finally:
        for engine in (chdb, duckdb, debian):
            engine.stop()
    return checked.differences


run_check(__doc__, check, {"clickhouse": PATH, "devices": count(4), "reports": count(20_000)})
