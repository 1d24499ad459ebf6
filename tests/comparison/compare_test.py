#!/usr/bin/env python3
"""Holds `qorstat compare` against the same comparison by hand, and against differences that were planted.

    compare_test.py QORSTAT GENERATE_FLEET TEST [SPLITS]
"""

import contextlib
import gzip
import json
import math
import os
import pathlib
import random
import shutil
import sqlite3
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True

import comparison_by_hand  # noqa: E402
from recordings_by_hand import Side  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Failure(Exception):
    pass


def expect(condition, *text):
    if not condition:
        raise Failure(" ".join(map(str, text)))


class Programs:
    def __init__(self, qorstat, generate_fleet, folder):
        self.qorstat, self.generate_fleet, self.folder = qorstat, generate_fleet, pathlib.Path(folder)

    def run(self, *arguments, status=0):
        """Returns standard output and standard error. With a status of None, any that is documented will do."""
        kept = {name: value for name, value in os.environ.items() if not name.startswith("QORSTAT_")}
        run = subprocess.run([self.qorstat, *map(str, arguments)], capture_output=True, check=False, cwd=self.folder, env=kept)
        errors = run.stderr.decode()
        expect(run.returncode in ((0, 1) if status is None else (status,)), arguments, "ended with", run.returncode, errors)
        return run.stdout.decode(), errors

    def compare(self, a, b, *options):
        out, errors = self.run("compare", "--json", *options, *a, "--", *b)
        expect(errors == "", "unexpected:", errors)
        return json.loads(out)

    def fleet(self, name, *options):
        folder = self.folder / name
        subprocess.run([self.generate_fleet, "--folder", folder, *map(str, options)], check=True)
        return folder


def text_of(about, name):
    return bytes.fromhex(about[f"{name}_hex"]) if f"{name}_hex" in about else about[name].encode()


def measure_of(finding):
    """The measure of a finding, as `recordings_by_hand` names it."""
    what, about = finding["what"], finding["about"]
    path = tuple(about.get(f"{part}_id") for part in ("category", "component", "event", "type"))
    if what in ("event share", "event rate", "interval"):
        return what, path
    if what == "payload field":
        return what, path, about["layout"], about["field"]
    if what in ("function duration", "function nesting"):
        return what, about["function_id"] if "function_id" in about else text_of(about, "function")
    if what == "wake reason":
        return what, about["wake_reason"]
    if what in ("scalar", "distribution"):
        return what, about["key"]
    if what == "latency":
        return what, about["latency"]
    return (what,)


def is_near(one, other):
    if one is None or other is None:
        return one is other
    one, other = float(one), float(other)
    if math.isinf(one):
        return one == other
    return math.isclose(one, other, rel_tol=1e-9, abs_tol=1e-9)


def differences_of(found, expected):
    """What is different in a finding."""
    for side in ("a", "b"):
        for name in ("count", "median", "p99"):
            if not is_near(found[side][name], expected[side][name]):
                yield f"{side}.{name}", found[side][name], expected[side][name]
    for name in ("distance", "p", "q", "devices", "devices_moved"):
        if not is_near(found[name], expected[name]):
            yield name, found[name], expected[name]
    shift = found["shift"] and [found["shift"][name] for name in ("estimate", "low", "high")]
    if (shift is None) != (expected["shift"] is None) or not all(map(is_near, shift or (), expected["shift"] or ())):
        yield "shift", shift, expected["shift"]
    if expected["kind"] == "one device" and (found["device"], found["side"]) != (expected["device"], expected["side"]):
        yield "device", found["device"], expected["device"]


def check_numbers(programs, a, b, seed=1, level=0.05):
    """Every number of every measure that is compared. Returns the result."""
    result = programs.compare(a, b, "--all", "--seed", seed, "--level", level)
    sides = [Side([programs.folder / name for name in names]) for names in (a, b)]
    expected = comparison_by_hand.compare(*sides, seed, level)
    for name, side in zip(("a", "b"), sides):
        numbers = {"devices": len(side.devices), "recordings": sum(one.recordings for one in side.devices.values()),
                   "reports": sum(one.reports for one in side.devices.values())}
        expect(result[name] == numbers, name, result[name], numbers)
    for name in ("compared", "tested"):
        expect(result[name] == expected[name], name, result[name], "instead of", expected[name])
    kinds = {}
    for finding in result["findings"]:
        key = measure_of(finding), finding["kind"]
        expect(key not in kinds, key, "is there twice")
        kinds[key] = finding
    wanted = expected["findings"]
    expect(kinds.keys() == wanted.keys(), "only there:", sorted(map(str, kinds.keys() - wanted.keys())),
           "only by hand:", sorted(map(str, wanted.keys() - kinds.keys())))
    for key, finding in wanted.items():
        wrong = list(differences_of(kinds[key], finding))
        expect(not wrong, key, wrong)
    check_ranking(result["findings"])
    settings = {row["setting"]: tuple((row[side]["text"], row[side]["devices_with_it"], row[side]["devices"])
                                      for side in ("a", "b")) for row in result["settings"]}
    expect(settings == expected["settings"], "settings:", settings, "instead of", expected["settings"])
    return result


def check_ranking(findings):
    """Findings first; each part by distance, equal ones by the kind of measure."""
    ranks = [(finding["kind"] == "none", -round(finding["distance"], 9),
              comparison_by_hand.ORDER.index(finding["what"])) for finding in findings]
    expect(ranks == sorted(ranks), "not ranked")


# ---- the tests

def sides(programs, devices_a, devices_b, reports, *options):
    """Two sides with devices of different names, without differences but for what `options` plant in b."""
    a = programs.fleet("a", "--devices", devices_a, "--reports", reports)
    b = programs.fleet("b", "--devices", devices_b, "--reports", reports, "--first-device", 101, *options)
    return [a], [b]


def numbers_of_few(programs):
    """Few devices: every assignment is seen. Where nothing can be tested, everything is a difference of recordings."""
    a, b = sides(programs, 4, 5, 400, "--plant", "new-event:50")
    check_numbers(programs, a, b)
    check_numbers(programs, b, a, level=0.2)
    result = check_numbers(programs, [a[0] / "device-0001.bin"], [b[0] / "device-0101.bin"])
    expect(result["tested"] == 0 and result["findings"][0]["kind"] == "difference", result["findings"][0])
    expect(result["devices_needed"] == 4, result["devices_needed"])


def numbers_of_many(programs):
    """More devices: assignments are drawn, the same ones as by hand."""
    a, b = sides(programs, 13, 11, 500, "--plant", "slower-function:200")
    check_numbers(programs, a, b)
    check_numbers(programs, a, b, seed=2**64 - 1, level=0.01)


def numbers_of_pairs(programs):
    """The same devices on both sides: before and after."""
    for devices, reports in ((7, 300), (16, 100)):
        a = programs.fleet(f"before {devices}", "--devices", devices, "--reports", reports)
        b = programs.fleet(f"after {devices}", "--devices", devices, "--reports", reports, "--seed", 2,
                           "--plant", "lost-reports:200")
        expect(check_numbers(programs, [a], [b])["paired"], "the sides are paired")


def numbers_of_one_sick_device(programs):
    a, b = sides(programs, 9, 8, 800, "--plant", "lost-reports:300", "--planted-devices", 1)
    result = check_numbers(programs, a, b)
    expect(any(finding["kind"] == "one device" for finding in result["findings"]), "no sick device")
    a, b = sides(Programs(programs.qorstat, programs.generate_fleet, programs.folder / "slow"), 8, 8, 800, "--plant",
                 "slower-function:500", "--planted-devices", 1)
    result = check_numbers(programs, b, a)
    expect(result["findings"][0]["kind"] == "one device" and result["findings"][0]["side"] == "a", result["findings"][0])


def capture(programs, folder, *changes):
    """A capture of the described phone, after changes of the description."""
    description = programs.folder / "examples" / "changed.toml"
    text = (ROOT / "examples" / "phone.toml").read_text()
    for old, new in changes:
        expect(text.count(old) == 1, old, "is not there once")
        text = text.replace(old, new)
    description.write_text(text)
    folder.parent.mkdir(exist_ok=True)
    programs.run("capture", description, "--kind", "request", "-o", folder)


def numbers_of_captures(programs):
    """Latencies, settings and reports of captures. Of two captures of a device the newest counts."""
    shutil.copytree(ROOT / "examples", programs.folder / "examples")
    heavier = ("DeepDown = { enable = true, gain = 1.25, min = 0, max = 160, slot = 4 }",
               "DeepDown = { enable = true, gain = 1.5, min = 0, max = 160, slot = 7 }")
    for side in ("a", "b"):
        for device in range(4):
            latency = 73_350 + 10 * device + (900 if side == "b" else 0)
            faults = [("max_latency_Total = 73_350", f"max_latency_Total = {latency}"),
                      ("latency = { down = 820, up = 780 }", f"latency = {{ down = 82{device}, up = 780 }}")]
            if side == "b" and device != 2:
                faults.append(heavier)
            if device < 2:  # half of a side has it: that is not most
                faults.append(('model = "NV100"', 'model = "NV099"') if side == "a" else ('model = "TP-5"', 'model = "TP-4"'))
            capture(programs, programs.folder / side / f"{side}{device}", *faults)
    capture(programs, programs.folder / "newer" / "b3", heavier, ("max_latency_Total = 73_350", "max_latency_Total = 1"))
    capture(programs, programs.folder / "older" / "b1", ("max_latency_Total = 73_350", "max_latency_Total = 2"))
    for file in (programs.folder / "older").rglob("*.qorstate"):
        os.utime(file, (1_000_000_000, 1_000_000_000))
    result = check_numbers(programs, ["a"], ["b", "newer", "older"])
    expect([row["setting"] for row in result["settings"]] == ["SSHB assets: Slow-DeepDown"], result["settings"])
    maximum = next(one for one in result["findings"] if one["about"].get("latency") == "max_latency_Total")
    expect(maximum["a"]["median"] == 73_360 and maximum["b"]["median"] == 74_250, maximum)


def settings_of_sensors(programs):
    """Two sensors of one type in a capture are compared each with itself, and so is where they are."""
    shutil.copytree(ROOT / "examples", programs.folder / "examples")
    start = '[driver.%s.sensor]\nreport_interval = 10_000\nmanufacturer = "Kalvis"\nmodel = "%s"\nlocation = { name = "%s"'
    def sensor(name, model, location, new_model, new_location):
        return start % (name, model, location), start % (name, new_model, new_location)
    two_of_a_type = ('name = "gyro"', 'name = "accel"')
    capture(programs, programs.folder / "a" / "phone", two_of_a_type, sensor("gyro", "KG-07", "L", "KG-07", "R"))
    capture(programs, programs.folder / "b" / "phone", two_of_a_type, sensor("gyro", "KG-07", "L", "KG-07", "R"),
            sensor("accel", "KA-31", "L", "KA-32", "L"))
    result = check_numbers(programs, ["a"], ["b"])
    expect([(row["setting"], row["a"]["text"], row["b"]["text"]) for row in result["settings"]] ==
           [("SensorInfo accel L alternate=1: model", "KA-31", "KA-32")], result["settings"])
    capture(programs, programs.folder / "moved" / "phone", two_of_a_type, sensor("gyro", "KG-07", "L", "KG-07", "T"))
    result = check_numbers(programs, ["a"], ["moved"])
    expect([(row["setting"], row["a"]["text"], row["b"]["text"]) for row in result["settings"]] ==
           [("SensorInfo accel: location", "L alternate=1, R alternate=1", "L alternate=1, T alternate=1")],
           result["settings"])


def check_merged(programs, result, folders):
    """Each distribution's count, median and 99th percentile are those of the side's stores added up."""
    distributions = [finding for finding in result["findings"] if finding["what"] == "distribution"]
    expect(len(distributions) > 20, len(distributions))
    for side, of_side in zip(("a", "b"), folders):
        sum_of_side = programs.folder / f"sum-{side}.db"
        sum_of_side.unlink(missing_ok=True)
        programs.run("metrics", "--merge", *of_side, "-o", sum_of_side)
        out, _ = programs.run("metrics", "--json", sum_of_side)
        rows = {row["key"]: (row["count"], row["p50"], row["p99"]) for row in json.loads(out)["distributions"]}
        for finding in distributions:
            numbers = tuple(finding[side][name] for name in ("count", "median", "p99"))
            key = finding["about"]["key"]
            expect(numbers == rows[key], key, numbers, "instead of", rows[key])


def stores_as_merged(programs):
    """Stores are what `metrics --merge` makes of them."""
    a, b = sides(programs, 5, 4, 0)
    for folder in (*a, *b):
        for dump in folder.glob("*.bin"):
            dump.unlink()
    # The first device of a has a second store, with other contents.
    programs.fleet("more/1", "--devices", 1, "--reports", 0, "--seed", 9)
    a.append(programs.folder / "more" / "1")
    (a[1] / "device-0001.bin").unlink()
    check_merged(programs, check_numbers(programs, a, b), (a, b))
    # Infinite values, and counts and scalars at their limits.
    for number, folder in enumerate((a[0], b[0])):
        for device in range(1, 4):
            file = folder / f"edge{number}{device}.db"
            shutil.copy(folder / f"device-0{number}0{device + 1 - number}.db", file)
            with contextlib.closing(sqlite3.connect(file)) as store, store:
                store.execute("INSERT INTO key VALUES (1000, 'edge')")
                store.execute("INSERT INTO scalar VALUES (1000, ?)", [(2**63 - 1, -2**63, 7)[device - 1] >> number])
                store.executemany("INSERT INTO distribution VALUES (1000, ?, ?)",
                                  [(-math.inf, 3), (device + number, 2**62), (math.inf, 2**60 * (device % 2) + 1)])
    check_merged(programs, check_numbers(programs, a, b), (a, b))


def finding_of_plant(programs, plant, devices, reports, *options):
    """The first finding of a comparison with a plant on all of b, and all findings."""
    own = Programs(programs.qorstat, programs.generate_fleet, programs.folder / plant.replace(":", "-"))
    own.folder.mkdir()
    a, b = sides(own, devices, devices, reports, "--plant", plant, *options)
    result = own.compare(a, b)
    expect(result["findings"], plant, "is not found")
    return result["findings"][0], result["findings"]


# From these sizes on a plant comes first: devices a side, their reports, and the measure. docs/testing.md has them, too.
PLANTS = {
    "slower-function:25": (12, 1000, ("function duration", 0x2144)),
    "new-event:20": (12, 1000, ("event share", (2, 6, 7, 3))),
    "lost-reports:50": (12, 1000, ("missing numbers",)),
    "shifted-store:900": (24, 0, ("distribution", "com.ondre.zel.button.click.duration")),
}


def planted_differences(programs):
    """What was planted comes first, from its documented size on and for greater ones."""
    for plant, (devices, reports, measure) in PLANTS.items():
        what, size = plant.split(":")
        for factor in (1, 2):
            first, _ = finding_of_plant(programs, f"{what}:{int(size) * factor}", devices, reports)
            expect(first["kind"] == "group" and measure_of(first) == measure, what, factor, first)


def one_sick_device(programs):
    """One sick device among 24 is called that, by its name, and is no difference of the sides."""
    for plant, reports, measure in (("slower-function:400", 1000, ("function duration", 0x2144)),
                                    ("new-event:100", 1000, ("event share", (2, 6, 7, 3))),
                                    ("lost-reports:100", 1000, ("missing numbers",))):
        first, findings = finding_of_plant(programs, plant, 12, reports, "--planted-devices", 1)
        sick = [one for one in findings if measure_of(one) == measure]
        expect([one["kind"] for one in sick] == ["one device"], plant, sick)
        expect(sick[0]["device"] == "device-0101" and sick[0]["side"] == "b", plant, sick)
        expect(first["kind"] == "one device" and first["device"] == "device-0101", plant, first)
        others = [one for one in findings if one.get("device") != "device-0101"]
        expect(not others, plant, others)


LEVEL = 0.05


def most_alarms(count):
    """The least number that is exceeded with a probability below 0.001, were each split an alarm with that of the level."""
    most, exceeded = -1, 1.0
    while exceeded >= 0.001:
        most += 1
        exceeded -= math.comb(count, most) * LEVEL**most * (1 - LEVEL)**(count - most)
    return most


def splits(programs, count):
    """Of a population without differences, random halves differ in at most the stated share of splits."""
    population = sorted(programs.fleet("population", "--devices", 20, "--reports", 100, "--seed", 3).glob("*.bin"))
    source = random.Random(1)
    alarms = 0
    for _ in range(int(count)):
        source.shuffle(population)
        result = programs.compare(population[:10], population[10:], "--level", LEVEL)
        expect(result["tested"] > 100, result["tested"])
        alarms += any(finding["kind"] == "group" for finding in result["findings"])
    print(f"{alarms} of {count} splits; at most {most_alarms(int(count))}")
    expect(alarms <= most_alarms(int(count)), "false alarms in", alarms, "of", count, "splits")


def baselines(programs):
    """A baseline is as good as the recordings that it was made of; what is not one is refused, wherever it is damaged."""
    a, b = sides(programs, 4, 4, 300)
    shutil.copytree(ROOT / "examples", programs.folder / "examples")
    capture(programs, a[0] / "capture")
    capture(programs, b[0] / "capture2", ("max_latency_Total = 73_350", "max_latency_Total = 1"))
    out, _ = programs.run("compare", "--save-baseline", "good", *a)
    direct = programs.run("compare", "--json", "--all", *a, "--", *b)
    expect(programs.run("compare", "--json", "--all", "--baseline", "good", *b) == direct, "a baseline compares otherwise")
    good = (programs.folder / "good").read_bytes()
    programs.run("compare", "--save-baseline", "again", *a)
    expect((programs.folder / "again").read_bytes() == good, "two baselines of the same recordings differ")

    bad = programs.folder / "bad"
    one = b[0] / "device-0101.bin"
    def refused(content, reason=None):
        bad.write_bytes(content)
        out, errors = programs.run("compare", "--json", "--baseline", bad, one, status=1)
        expect(out == "" and errors.count("\n") == 1 and errors.startswith(f"qorstat: {bad}: "), repr(out[:50]), errors)
        expect(reason is None or reason in errors, reason, "is not in", errors)

    source = random.Random(2)
    for size in (0, 1, 7, 8, 9, 16, 17, 18, len(good) - 1, *(source.randrange(len(good)) for _ in range(20))):
        refused(good[:size])
    for _ in range(60):
        place = source.randrange(len(good))
        refused(good[:place] + bytes([good[place] ^ 1 << source.randrange(8)]) + good[place + 1:])
    refused(good + b"\0")
    refused(b"SQLite format 3\0" + good)
    programs.run("compare", "--json", "--baseline", "missing", one, status=1)
    programs.run("compare", "--json", "--baseline", "a", one, status=1)
    before = {file.name for file in programs.folder.iterdir()}
    programs.run("compare", "--save-baseline", "partial", "missing", status=1)
    expect({file.name for file in programs.folder.iterdir()} == before, "something was left behind")


def bad_inputs(programs):
    """What cannot be read is named with its place; the rest is compared."""
    a, b = sides(programs, 4, 4, 300)
    whole = programs.compare(a, b, "--all")
    cut = b[0] / "device-0109.bin.gz"
    cut.write_bytes(gzip.compress((b[0] / "device-0101.bin").read_bytes())[:-9])
    (b[0] / "damaged.db").write_bytes((b[0] / "device-0101.db").read_bytes()[:5000])
    out, errors = programs.run("compare", "--json", "--all", *a, "--", *b, status=1)
    lines = errors.splitlines()
    expect(len(lines) == 2 and str(cut) in errors and "damaged.db" in errors, errors)
    result = json.loads(out)
    expect(result["a"] == whole["a"] and result["b"]["devices"] == whole["b"]["devices"] + 1, result["b"])
    (a[0] / "device-0001.bin").write_bytes(b"\x7fELF" + bytes(44))
    for inputs in (["missing", "--", *b], [*a, "--", "missing"], [a[0] / "device-0001.bin", "--", *b]):
        out, errors = programs.run("compare", "--json", *inputs, status=1)
        expect(out == "" and errors.count("\n") >= 1 and errors.startswith("qorstat: "), out[:50], errors)
    for inputs in ([], ["--"], [*a], [*a, "--"], ["--", *b], [*a, "--level", "0", "--", *b], [*a, "--level", "x", "--", *b],
                   [*a, "--seed", "-1", "--", *b], ["--baseline", "x", "--save-baseline", "y", *a]):
        out, errors = programs.run("compare", *inputs, status=2)
        expect(out == "" and errors, inputs, "says nothing")


def the_same_again(programs):
    """The same inputs and seed give the same bytes, in whatever order they are named; a change is an exit code."""
    a, b = sides(programs, 9, 9, 300, "--plant", "new-event:300")
    files = [sorted(side[0].iterdir()) for side in (a, b)]
    first, _ = programs.run("compare", "--json", "--all", *files[0], "--", *files[1])
    turned, _ = programs.run("compare", "--json", "--all", *files[0][::-1], "--", *files[1][::-1])
    expect(first == turned, "the order of inputs matters")
    other, _ = programs.run("compare", "--json", "--all", "--seed", 2, *a, "--", *b)
    expect(first != other, "the seed does not matter")
    programs.run("compare", "--fail-on-change", *a, "--", *b, status=1)
    programs.run("compare", "--fail-on-change", *a, "--", *a, status=0)


TESTS = {"few": numbers_of_few, "many": numbers_of_many, "pairs": numbers_of_pairs, "sick": numbers_of_one_sick_device,
         "captures": numbers_of_captures, "sensors": settings_of_sensors, "stores": stores_as_merged, "planted": planted_differences,
         "one": one_sick_device, "splits": splits, "baselines": baselines, "bad": bad_inputs, "again": the_same_again}


def main(arguments):
    qorstat, generate_fleet, test, *options = arguments
    with tempfile.TemporaryDirectory() as folder:
        try:
            TESTS[test](Programs(qorstat, generate_fleet, folder), *options)
        except Failure as failure:
            sys.exit(f"{test}: {failure}")


if __name__ == "__main__":
    main(sys.argv[1:])
