"""What recordings say of their devices, read plainly: dumps with struct, stores with SQLite, captures byte by byte.

Layouts and the rules that choose them are those of docs/report-format.md. A device's measures are a dictionary: the
measure, a tuple that begins with its `what`, to a distribution, a dictionary of values and counts.
"""

import collections
import contextlib
import pathlib
import re
import sqlite3
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "state"))

from check_records import Reader  # noqa: E402, pylint: disable=wrong-import-position

REPORT = 48
RECORD_HEADER = 200
NUMERIC = ("unsigned", "unsigned, in hexadecimal")
FORMATS = {1: "<B", 2: "<H", 4: "<I", 8: "<Q"}

Field = collections.namedtuple("Field", "name offset size fraction_bits")


class Formats:
    """The tables of docs/report-format.md."""

    def __init__(self):
        self.layouts = {}
        self.categories = {}
        self.components = {}
        self.types = {}
        self.rules = []  # category, condition, names of layouts
        section = layout = None
        for line in (ROOT / "docs" / "report-format.md").read_text().splitlines():
            if line.startswith("## "):
                section, layout = line[3:], None
            elif line.startswith("### ") and section == "Layouts":
                layout = line[4:]
                self.layouts[layout] = []
            elif line.startswith("| ") and not line.startswith("| id") and not line.startswith("| offset"):
                cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
                if layout:
                    self.add_field(layout, *cells)
                elif section == "Categories":
                    self.categories[cells[1].strip("`")] = int(cells[0])
                elif section == "Types" and cells[2] != "not shown":
                    self.types[int(cells[0])] = [cells[2]]
                elif section == "Payloads of some categories" and cells[0] != "category":
                    self.rules.append((self.categories[cells[0].strip("`")], cells[1], cells[2].split(", then ")))

    def add_field(self, layout, offset, size, name, how):
        fraction = re.fullmatch(r"signed, with (\d+) fraction bits", how)
        if how in NUMERIC or fraction:
            self.layouts[layout].append(Field(name.strip("`"), int(offset), int(size), int(fraction[1]) if fraction else None))

    def payload(self, report):
        """The names of the layouts that a report shows."""
        ids = {"type": report[0], "event": report[1], "component": report[2],
               "version": struct.unpack_from("<H", report, 16)[0]}
        for category, condition, layouts in self.rules:
            if category == report[3] and all(
                    ids[word.split()[0]] == int(word.split()[1]) for word in condition.split(", ")):
                return layouts
        return self.types.get(report[0], [])


FORMAT = Formats()


def number_in(report, field):
    if field.fraction_bits is not None:
        return struct.unpack_from("<i", report, field.offset)[0] / 2**field.fraction_bits
    return float(struct.unpack_from(FORMATS[field.size], report, field.offset)[0])


def text_in(report, offset, size):
    return bytes(report[offset:offset + size]).split(b"\0")[0]


def word(report, offset):
    return struct.unpack_from("<I", report, offset)[0]


class Slice:
    def __init__(self, begin, end, function, inside):
        self.begin, self.end, self.function, self.inside = begin, end, function, inside

    def holds(self, begin, end):
        return self.begin <= begin and end <= self.end


def put_slice(beside, begin, end, function):
    """Puts a slice among those of its thread, which lie side by side in the order of time, or into one of them."""
    for slice_before in beside:
        if slice_before.begin < begin < slice_before.end < end:
            begin = slice_before.end  # it ends within the new one
    for outer in beside:
        if begin < outer.end and outer.holds(begin, end):
            put_slice(outer.inside, begin, end, function)
            return
    for later in beside:
        if begin <= later.begin < end < later.end:
            end = later.begin  # it ends after the new one
    if begin < end:
        inside = [held for held in beside if begin <= held.begin and held.end <= end]
        beside[:] = sorted([held for held in beside if held not in inside] + [Slice(begin, end, function, inside)],
                           key=lambda one: one.begin)


class Device:
    """Everything of one device of one side."""

    def __init__(self):
        self.values = collections.defaultdict(collections.Counter)
        self.reports = self.gaps = self.missing = self.restarts = self.recordings = 0
        self.time = 0  # microseconds
        self.paths = collections.Counter()
        self.wakes = collections.Counter()
        self.settings = {}  # the time of the capture and the text, by name
        self.newest = (-1, None)  # of captures with latencies
        self.stores = []

    def add_dump(self, content):
        before = None  # the number and the time of the report before
        last_of_path = {}
        stretch = None  # the least and the greatest time since the last restart
        slices = collections.defaultdict(list)  # by thread: begin, end, function
        for start in range(0, len(content) - REPORT + 1, REPORT):
            report = content[start:start + REPORT]
            number, time = struct.unpack_from("<IQ", report, 4)
            if before is not None:
                is_gap = number != (before[0] + 1) % 2**32
                step = (number - before[0]) % 2**32
                self.gaps += is_gap
                self.missing += step - 1 if 0 < step < 2**31 else 0
                if is_gap and time < before[1] and number < 1000 and number < before[0] // 2:
                    self.restarts += 1
                    self.time += stretch[1] - stretch[0]
                    stretch = None
                    last_of_path.clear()
            before = (number, time)
            stretch = (min(stretch[0], time), max(stretch[1], time)) if stretch else (time, time)
            self.reports += 1
            path = (report[3], report[2], report[1], report[0])
            self.paths[path] += 1
            if path in last_of_path and time >= last_of_path[path]:
                self.values["interval", path][float(time - last_of_path[path])] += 1
            last_of_path[path] = time
            self.add_payload(path, report, time, slices)
        if stretch:
            self.time += stretch[1] - stretch[0]
        for calls in slices.values():
            self.add_nesting(calls)

    def add_payload(self, path, report, time, slices):
        layouts = FORMAT.payload(report)
        shown = set()  # a number that is shown twice, also in hexadecimal, counts once
        for layout in layouts:
            for field in FORMAT.layouts[layout]:
                place = (field.offset, field.size, field.fraction_bits is not None)
                if place not in shown:
                    shown.add(place)
                    self.values["payload field", path, layout, field.name][number_in(report, field)] += 1
        if layouts[:1] == ["function"]:
            self.add_call(word(report, 16), word(report, 24), word(report, 28), time, slices)
        elif layouts[:1] == ["extfunction"]:
            self.add_call(text_in(report, 32, 16), word(report, 20), word(report, 24), time, slices)
        elif layouts[:1] == ["wake-request"]:
            self.wakes[word(report, 16)] += 1

    def add_call(self, function, thread, duration, time, slices):
        self.values["function duration", function][float(duration)] += 1
        slices[thread].append((time - min(duration, time), time, function))

    def add_nesting(self, calls):
        """How many slices of the thread hold a slice, when each was cut where earlier ones overlap it in part."""
        outermost = []
        for begin, end, function in calls:
            put_slice(outermost, begin, end, function)
        waiting = [(outermost, 0.0)]
        while waiting:
            slices, depth = waiting.pop()
            for held in slices:
                self.values["function nesting", held.function][depth] += 1
                waiting.append((held.inside, depth + 1))

    def add_settings(self, title, payload, taken):
        """Sensors of one type are told apart by their locations; of these the device has all."""
        name = f"{title} {payload['sensorType']}" if "sensorType" in payload else title
        location = payload.pop("location", None)
        if location:
            locations = self.settings.get(f"{name}: location", (0, ""))[1].split(", ")
            self.settings[f"{name}: location"] = 0, ", ".join(sorted({*locations, location} - {""}))
            name += "" if location == "N/A" else f" {location}"
        for key, value in payload.items():
            if taken >= self.settings.get(f"{name}: {key}", (taken, None))[0]:
                self.settings[f"{name}: {key}"] = taken, str(value)

    def divisors(self):
        """What the counts of measures with one value a device are divided by."""
        return {"missing numbers": self.reports + self.missing, "restarts": self.reports, "gaps": self.reports,
                "event share": self.reports, "event rate": self.time / 1e6, "wake reason": sum(self.wakes.values())}

    def finish(self):
        """What is one value of a device. Returns all its measures."""
        if self.reports:
            for what, count, of in (("gaps", self.gaps, self.reports), ("restarts", self.restarts, self.reports),
                                    ("missing numbers", self.missing, self.reports + self.missing)):
                self.values[what,][count / of] += 1
            for path, count in self.paths.items():
                self.values["event share", path][count / self.reports] += 1
                if self.time:
                    self.values["event rate", path][count / (self.time / 1e6)] += 1
            for reason, count in self.wakes.items():
                self.values["wake reason", reason][count / sum(self.wakes.values())] += 1
        scalars = {}
        for contents in self.stores:
            for key, value in contents["scalars"].items():
                scalars[key] = (scalars.get(key, 0) + value + 2**63) % 2**64 - 2**63
            for key, values in contents["distributions"].items():
                for value, count in values.items():
                    self.values["distribution", key][value] = min(self.values["distribution", key][value] + count, 2**63 - 1)
        for key, value in scalars.items():
            self.values["scalar", key][float(value)] += 1
        for name, value in (self.newest[1] or {}).items():
            self.values["latency", name][float(value)] += 1
        return {measure: dict(values) for measure, values in self.values.items()}


def store_contents(file):
    with contextlib.closing(sqlite3.connect(f"file:{file}?immutable=1", uri=True)) as store:
        scalars = dict(store.execute("SELECT name, value FROM scalar JOIN key ON id = key"))
        distributions = collections.defaultdict(dict)
        for name, value, count in store.execute("SELECT name, value, count FROM distribution JOIN key ON id = key"):
            distributions[name][value] = count
    return {"scalars": scalars, "distributions": distributions}


def records_in(content):
    """Title and payload of each record of a file."""
    at = 0
    while at < len(content):
        size = word(content, at + 4)
        title = content[at + 136:at + 200].split(b"\0")[0].decode()
        yield title, Reader(content[at + RECORD_HEADER:at + RECORD_HEADER + size]).item().value
        at += RECORD_HEADER + size


def latencies_of(statistics):
    """Ticks by name. A negative number is one of 2^63 or more."""
    press = statistics.get("last button press", {})
    ticks = dict(statistics.get("latency", {}))
    ticks.update({name: value for name, value in press.items() if name == "finger detect to button down"})
    for click, fields in press.items():
        if isinstance(fields, dict):
            ticks.update({f"{click} {name}": value for name, value in fields.items() if name.endswith(" to play asset")})
    return {name: value % 2**64 for name, value in ticks.items()}


def reports_in_lines(lines):
    numbers = [re.search(r"'binary-data':\[([0-9,]+)\]", line)[1].split(",") for line in lines]
    return b"".join(bytes(map(int, number)) for number in numbers)


class Side:
    def __init__(self, inputs):
        self.devices = collections.defaultdict(Device)
        for argument in map(pathlib.Path, inputs):
            files = sorted(path for path in argument.rglob("*") if path.is_file()) if argument.is_dir() else [argument]
            for file in files:
                self.add(file)

    def add(self, file):
        content = file.read_bytes()
        if content.startswith(b"SQLite format 3\0"):
            device = self.devices[file.stem]
            device.stores.append(store_contents(file))
        elif file.suffix == ".qorstate":
            device = self.devices[file.parent.name]
            self.add_records(device, file, content)
        else:
            device = self.devices[file.stem]
            device.add_dump(content)
        device.recordings += 1

    @staticmethod
    def add_records(device, file, content):
        reports = b""
        taken = file.stat().st_mtime_ns // 1000
        for title, payload in records_in(content):
            if title.startswith("ZEL Profile"):
                reports += reports_in_lines(payload)
            elif title == "SSHB Statistics":
                device.newest = max((taken, latencies_of(payload)), device.newest, key=lambda capture: capture[0])
            else:
                device.add_settings(title, payload, taken)
        if reports:
            device.add_dump(reports)

    def measures(self):
        """Each device's measures, by its name. An event that a device of either side does not have is 0 of its reports."""
        return {name: device.finish() for name, device in sorted(self.devices.items())}


def complete(sides):
    """Adds what is 0 because a device does not have it, although another device of either side does."""
    names = ("event share", "event rate", "wake reason")
    measures = {measure for side in sides for device in side.values() for measure in device if measure[0] in names}
    for side in sides:
        for device in side.values():
            kinds = {measure[0] for measure in device}
            for measure in measures:
                if measure[0] in kinds and measure not in device:
                    device[measure] = {0.0: 1}
