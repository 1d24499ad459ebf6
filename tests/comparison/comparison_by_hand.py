"""What a comparison of two sides is to find, formulated plainly from the definitions of docs/compare.md."""

import math

import statistics_by_hand as statistics
from recordings_by_hand import complete

ONE_VALUE = ("missing numbers", "restarts", "gaps", "event share", "event rate", "wake reason", "scalar", "latency")
ORDER = ("missing numbers", "restarts", "gaps", "function duration", "event share", "event rate", "wake reason",
         "distribution", "scalar", "latency", "payload field", "interval", "function nesting")
# So many reports, gaps and so on are no chance where the other devices have none at all.
LEAST_COUNT = 10
LEAST_RESTARTS = 3
LEAST_DEVICES = 8


class Measured:
    """A measure of both sides, with the devices that have it."""

    def __init__(self, measure, sides, divisors):
        self.measure = measure
        self.names = [[name for name in side if measure in side[name]] for side in sides]
        self.a, self.b = ([side[name][measure] for name in names] for side, names in zip(sides, self.names))
        self.divisors = [of_side[name].get(measure[0]) for of_side, names in zip(divisors, self.names) for name in names]

    def is_on_both_sides(self):
        return bool(self.a) and bool(self.b)

    def sick_device(self, shares, compared, level):
        """The place of the one device that is far from all others, or None."""
        devices = self.a + self.b
        if len(devices) < LEAST_DEVICES:
            return None
        if self.measure[0] in ONE_VALUE:
            deviations = statistics.deviations_from_others([next(iter(device)) for device in devices])
            second, greatest = sorted(deviations)[-2:]
            place = deviations.index(greatest)
            least = LEAST_RESTARTS if self.measure[0] == "restarts" else LEAST_COUNT
            is_enough = (second > 0 if self.divisors[place] is None
                         else greatest * self.divisors[place] >= least * (1 - 1e-12))
            return place if greatest > 0 and greatest >= 3 * second * (1 - 1e-12) and is_enough else None
        distances = statistics.distances_from_others(shares)
        second, greatest = sorted(distances)[-2:]
        place = distances.index(greatest)
        values = sum(devices[place].values())
        bound = math.sqrt(math.log(2 * compared * len(devices) / level) / (2 * values))
        is_far = greatest >= max(0.3, 3 * second, bound) - statistics.EQUAL
        return place if is_far else None


def compare(side_a, side_b, seed=1, level=0.05):
    """Returns `compared`, `tested` and the findings: by measure and kind, also kind "none"."""
    sides = [side_a.measures(), side_b.measures()]
    complete(sides)
    divisors = [{name: device.divisors() for name, device in side.devices.items()} for side in (side_a, side_b)]
    is_paired = sorted(sides[0]) == sorted(sides[1])
    measures = sorted({measure for side in sides for device in side.values() for measure in device}, key=str)
    both = [one for one in (Measured(measure, sides, divisors) for measure in measures) if one.is_on_both_sides()]
    draws = max(19_999, math.ceil(2 * len(both) / level) - 1)

    outcomes = []  # measure, finding, what is special of a sick device
    tests = []  # findings that have a p
    lacks_devices = False
    for one in both:
        devices = one.a + one.b
        shares = statistics.table(devices, statistics.cut_points(devices))
        finding = {"a": statistics.side_statistics(one.a), "b": statistics.side_statistics(one.b), "p": None, "q": None,
                   "distance": statistics.distance(one.a, one.b), "devices": len(one.b), "kind": "none",
                   "shift": statistics.shift(one.a, one.b), "devices_moved": None}
        if len(one.a) >= 3:
            finding["devices_moved"] = (
                statistics.moved_by_value([next(iter(device)) for device in devices], len(one.a))
                if one.measure[0] in ONE_VALUE else statistics.moved_by_distance(shares, len(one.a)))
        count_a, names = len(one.a), one.names
        alone = None
        sick = one.sick_device(shares, len(both), level)
        if sick is not None:
            is_of_b = sick >= count_a
            name = (names[0] + names[1])[sick]
            alone = {"kind": "one device", "device": name, "side": "b" if is_of_b else "a",
                     "distance": statistics.distances_from_others(shares)[sick]}
            shares = statistics.numpy.delete(shares, sick, axis=0)
            names = [[other for other in names[0] if is_of_b or other != name],
                     [other for other in names[1] if not is_of_b or other != name]]
            count_a -= 0 if is_of_b else 1
        outcomes.append((one.measure, finding, alone))
        paired = is_paired and names[0] == names[1]
        count_b = len(shares) - count_a
        if (count_a == 0 or count_b == 0) or statistics.numpy.abs(shares - shares[0]).max() <= 1e-12:
            continue
        if statistics.least_significance(count_a, count_b, paired) > level:
            lacks_devices = True
            continue
        finding["p"] = statistics.significance(shares, count_a, paired, seed, draws)
        tests.append(finding)

    for finding, rate in zip(tests, statistics.false_discovery_rates([finding["p"] for finding in tests])):
        finding["q"] = rate
        if rate <= level:
            finding["kind"] = "group"
    has_too_few = lacks_devices and not tests
    findings = {}
    for measure, finding, alone in outcomes:
        if has_too_few and finding["distance"] > statistics.EQUAL:
            finding["kind"] = "difference"
        if alone:
            findings[measure, "one device"] = {**finding, **alone}
        if not alone or finding["kind"] == "group":
            findings[measure, finding["kind"]] = finding
    return {"compared": len(both), "tested": len(tests), "findings": findings,
            "settings": changed_settings(side_a, side_b)}


def most_common(side, setting):
    """The text that most devices of a side have, how many have it, and how many have the setting."""
    texts = [device.settings[setting][1] for device in side.devices.values() if setting in device.settings]
    if not texts:
        return None, 0, 0
    text = min(sorted(set(texts)), key=lambda one: -texts.count(one))
    return text, texts.count(text), len(texts)


def changed_settings(*sides):
    changed = {}
    for setting in {setting for side in sides for device in side.devices.values() for setting in device.settings}:
        a, b = (most_common(side, setting) for side in sides)
        if a[0] != b[0] and all(2 * count > devices for _, count, devices in (a, b)):
            changed[setting] = a, b
    return changed
