#!/usr/bin/env python3
"""Compares what a parser that is made of `qorstat schema --engine kaitai` reads with `qorstat decode --format jsonl`.

    check_layout.py --programs DIR --folder DIR [--reports N]

The parser is the compiler's own in Python, from packages in the folder that KAITAI_FOLDER names. Everything a line of JSON has
must be read by the parser, and the parser must read nothing else: ids, names, both layouts and each field. Prints the
differences and ends with status 1 when there are any.
"""

import importlib
import json
import os
import pathlib
import sys

from checking import count, run_check
from engines import HERE, Failure, run

TRAILING = b"seven b"
MOST_PRINTED = 5


def field_of(parsed, item, key):
    """A field's value as JSON shows it, with its key."""
    value = getattr(parsed, item)
    if isinstance(value, bytes):
        return key, value.hex()
    return key, value


def fields_of(parsed, instances):
    """The fields of a layout by their names in the tables."""
    fields = {}
    for item, row in instances.items():
        if "-orig-id" not in row:
            continue
        key = row["-orig-id"]
        try:
            key, value = field_of(parsed, item, key)
        except UnicodeDecodeError:
            key, value = field_of(parsed, item + "_bytes", key + "_hex")
        fields[key] = value
    return fields


class Reader:
    """What the parser reads of a report, as a line of JSON has it."""

    def __init__(self, module, layout):
        self.module = module
        self.types = layout["types"]
        self.enums = layout["enums"]
        self.header = [row["id"] for row in self.types["report"]["seq"]]

    def name(self, owner, wanted, number):
        """The name that one of the instances with names has, and how many of them are there."""
        names = []
        for item, row in self.types[owner[1]]["instances"].items():
            if row.get("value") == wanted and "enum" in row:
                value = getattr(owner[0], item)
                if value is not None:
                    known = self.enums[row["enum"]].get(str(number))
                    if (value.name, value.value) != (known["id"], number) if known else value != number:
                        raise Failure(f"{item}: {value} instead of {known or number}")
                    names.append(known["-orig-id"] if known else str(number))
        if len(names) > 1:
            raise Failure(f"{wanted}: several names: {names}")
        return names[0] if names else str(number)

    def payload(self, parsed):
        fields = {}
        for place in ("payload", "second_payload"):
            shown = getattr(parsed, place)
            if shown is None:
                continue
            kind = next(name for name in self.types if class_name(name) == type(shown).__name__)
            for key, value in fields_of(shown, self.types[kind]["instances"]).items():
                if key == "trace":
                    value = self.name((shown, kind), "trace", value)
                if key in fields:
                    key += "_2"
                fields[key] = value
        return fields or {"raw": parsed.raw_payload.hex()}

    def row(self, parsed):
        row = {item: getattr(parsed, item) for item in self.header}
        for kind in ("category", "component", "event", "type"):
            row[kind] = self.name((parsed, "report"), kind + "_id", row[kind + "_id"])
        row["payload"] = self.payload(parsed)
        return row


def class_name(type_name):
    return "".join(word.capitalize() for word in type_name.split("_"))


def make_parser(arguments):
    """The module of the parser, and the layout it is made of."""
    layout = arguments.folder / "qor_dump.ksy"
    run([arguments.programs / "qorstat", "schema", "--engine", "kaitai", "-o", layout])
    run(["node", HERE / "kaitai" / "compile.cjs", layout, arguments.folder], env=os.environ)
    sys.path.insert(0, str(arguments.folder))
    return importlib.import_module("qor_dump"), json.loads((arguments.folder / "layout.json").read_text())


def check(arguments):
    module, layout = make_parser(arguments)
    dump = arguments.folder / "dump.bin"
    dump.write_bytes(run([arguments.programs / "generate_reports", 1, arguments.reports]) + TRAILING)
    lines = run([arguments.programs / "qorstat", "decode", dump, "--format", "jsonl"]).splitlines()
    parsed = module.QorDump.from_file(str(dump))
    if len(parsed.reports) != len(lines) or parsed.trailing_bytes != TRAILING:
        raise Failure(f"{len(parsed.reports)} reports and {parsed.trailing_bytes} instead of {len(lines)} and {TRAILING}")
    reader = Reader(module, layout)
    fields = differences = 0
    seen = set()
    for number, (report, line) in enumerate(zip(parsed.reports, lines)):
        want, have = json.loads(line), reader.row(report)
        fields += len(want["payload"])
        seen.update(type(shown).__name__ for shown in (report.payload, report.second_payload) if shown is not None)
        if want != have:
            differences += 1
            if differences <= MOST_PRINTED:
                print(f"report {number}:\n  {json.dumps(want)}\n  {json.dumps(have)}", file=sys.stderr)
    missing = {class_name(name) for name in layout["types"]} - seen - {"Report"}
    if missing:
        raise Failure(f"no report of the generated ones has {sorted(missing)}")
    print(f"kaitai: {len(lines)} reports, {fields} fields of {len(seen)} layouts compared, {differences} differences")
    return differences


run_check(__doc__, check, {"reports": count(20_000)})
