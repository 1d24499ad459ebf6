#!/usr/bin/env python3
"""Holds captured records to the rules of docs/records.md, and the check itself to finding what is broken.

    record_rules_test.py QORSTAT DEVICE.toml CHECKER RULES.md (--keep | --break)

--keep    captures the device's answers to a request and expects the checker to pass all of them
--break   damages captured records one way after the other and expects the checker to refuse each
"""

import pathlib
import struct
import subprocess
import sys
import tempfile

HEADER = 200


def capture(qorstat, device, folder):
    subprocess.run([qorstat, "capture", device, "--kind", "request", "-o", folder], check=True, capture_output=True)
    records = sorted(folder.iterdir())
    assert len(records) >= 104, f"only {len(records)} records"
    return records


def check(checker, rules, files):
    return subprocess.run([sys.executable, checker, rules, *files], capture_output=True, text=True)


def with_payload(record, payload):
    """The record with another payload, and the size that belongs to it."""
    return record[:4] + struct.pack("<I", len(payload)) + record[8:HEADER] + payload


def replaced(record, old, new):
    assert record.count(old) > 0, f"{old!r} is not there to be damaged"
    return with_payload(record, record[HEADER:].replace(old, new, 1))


def with_small_number_as_true(record, key):
    """The one byte that encodes the number under the key becomes that of true."""
    at = record.index(key, HEADER) + len(key)
    assert record[at] < 0x18 or 0x20 <= record[at] < 0x38, f"the number under {key!r} takes more than a byte"
    return record[:at] + b"\xf5" + record[at + 1 :]


def damages(statistics, assets, sensor, profile):
    """What is done to a record, the record after it, and what the checker must say."""
    yield "a key with another letter", replaced(statistics, b"click count", b"clicK count"), "0 keys for 'click count'"
    yield "a value too many", replaced(statistics, b"\x6cturtle scans", b"\x6cturtle scans\x00"), "out of order"
    yield "a map cut short", with_payload(assets, assets[HEADER:-10]), "cut short"
    yield "a map that promises an entry more", replaced(assets, b"\xb8\x33", b"\xb8\x34"), "cut short"
    yield "a key out of order", replaced(assets, b"Slow-DeepUp", b"Aast-DeepUp"), "out of order"
    yield "a key twice", replaced(assets, b"Slow-DeepUp", b"Slow-(null)"), "stands twice"
    yield "an event of another name", replaced(assets, b"Slow-DeepUp", b"Slow-DeepUq"), "50 keys for 'asset-key'"
    yield "a gain with five digits", replaced(assets, b"0000 min", b"000  min"), "does not match"
    yield "an unknown key", replaced(sensor, b"rawMode", b"rawModf"), "0 keys for 'rawMode'"
    yield "a boolean where a number belongs", with_small_number_as_true(sensor, b"rawMode"), "is no integer"
    yield "bytes behind the payload", with_payload(profile, profile[HEADER:] + b"\x00"), "bytes behind the payload"
    yield "another tag", replaced(profile, b"\xd9\xd9\xf7", b"\xd9\xd9\xf6"), "not behind tag 55799"
    yield "a line without its category", replaced(profile, b"'category'", b"'cAtegory'"), "does not match"
    yield "text that is not UTF-8", replaced(profile, b"'category'", b"'categor\xff'"), "can't decode byte 0xff"
    yield "an indefinite length", replaced(profile, b"\xd9\xd9\xf7\x98\x20", b"\xd9\xd9\xf7\x9f\x20"), "not a definite"
    yield "a size beyond the end", profile[:4] + struct.pack("<I", len(profile)) + profile[8:], "is not there"
    yield "a header cut short", profile[:150], "a header cut short"
    yield "a title without a rule", profile[:136] + b"Z" * 5 + profile[141:], "no rule for the title"
    yield "another type code", struct.pack("<I", 2) + profile[4:], "type code 2"


def expect_kept(records, checker, rules):
    outcome = check(checker, rules, records)
    print(outcome.stdout, end="")
    assert outcome.returncode == 0, outcome.stderr


def expect_broken(records, checker, rules, folder):
    def first(title):
        return next(record.read_bytes() for record in records if title in record.name)

    damaged = folder / "damaged"
    good = [first(title) for title in ("SSHB Statistics", "SSHB assets", "SensorInfo", "ZEL Profile")]
    for record in good:
        damaged.write_bytes(record)
        assert check(checker, rules, [damaged]).returncode == 0, "refused before it was damaged"
    for what, record, reason in damages(*good):
        damaged.write_bytes(record)
        outcome = check(checker, rules, [damaged])
        assert outcome.returncode == 1, f"{what} passes"
        assert outcome.stderr.startswith(f"{damaged}: ") and reason in outcome.stderr, f"{what}: {outcome.stderr}"
        print(f"{what}: refused")


def main(qorstat, device, checker, rules, what):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "records").mkdir()
        records = capture(qorstat, device, folder / "records")
        if what == "--keep":
            expect_kept(records, checker, rules)
        else:
            expect_broken(records, checker, rules, folder)


main(*sys.argv[1:])
