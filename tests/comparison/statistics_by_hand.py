"""The statistics of a comparison, formulated plainly: every distribution is a dictionary of values and counts.

Nothing here is fast, and nothing is shared with the program. A side is a list of distributions, one for each device.
"""

import bisect
import itertools
import math
import statistics

import numpy

CUT_POINTS = 64
EXACT_ASSIGNMENTS = 20_000
ENOUGH = 20
EXACT_DEVICES_OF_SHIFT = 50
NORMAL_975 = 1.959963984540054
# Rounding must not decide whether two sums of the same numbers are equal.
EQUAL = 1e-9


def summed(side):
    total = {}
    for distribution in side:
        for value, count in distribution.items():
            total[value] = total.get(value, 0) + count
    return total


def percentile(distribution, percent):
    """By nearest rank: the least value that at least `percent` of all do not exceed."""
    wanted = sum(distribution.values()) * percent
    seen = 0
    for value in sorted(distribution):
        seen += distribution[value]
        if seen * 100 >= wanted:
            return value
    raise ValueError("no values")


def side_statistics(side):
    total = summed(side)
    if not total:
        return {"count": 0, "median": None, "p99": None}
    return {"count": sum(total.values()), "median": percentile(total, 50), "p99": percentile(total, 99)}


def cumulative(distribution, points):
    """The share of values up to each of `points`, which ascend."""
    values = sorted(distribution)
    sums = list(itertools.accumulate(distribution[value] for value in values))
    shares = []
    for point in points:
        index = bisect.bisect_right(values, point)
        shares.append(sums[index - 1] / sums[-1] if index else 0.0)
    return shares


def table(side, points):
    return numpy.array([cumulative(distribution, points) for distribution in side])


def distance(a, b):
    points = sorted(summed(a + b))
    return float(numpy.abs(table(a, points).mean(axis=0) - table(b, points).mean(axis=0)).max())


def cut_points(devices):
    values = sorted(summed(devices))
    if len(values) <= CUT_POINTS:
        return values
    mean = table(devices, values).mean(axis=0)
    points = []
    for k in range(1, CUT_POINTS):
        point = next(value for value, share in zip(values, mean) if share >= k / CUT_POINTS - 1e-12)
        if not points or points[-1] != point:
            points.append(point)
    return points


def assignment_count(count_a, count_b, paired):
    return 2**count_a if paired else math.comb(count_a + count_b, count_a)


def least_significance(count_a, count_b, paired):
    mirrored = paired or count_a == count_b
    return min(1.0, (2 if mirrored else 1) / assignment_count(count_a, count_b, paired))


def assignments(count_a, count_b, paired):
    """For each assignment, which of all devices are on side a: rows of zeros and ones. The devices of a come first."""
    if paired:
        rows = itertools.product((1.0, 0.0), repeat=count_a)
        return numpy.array([row + tuple(1 - member for member in row) for row in rows])
    devices = count_a + count_b
    rows = numpy.zeros((math.comb(devices, count_a), devices))
    for row, members in zip(rows, itertools.combinations(range(devices), count_a)):
        row[list(members)] = 1
    return rows


class SplitMix64:
    def __init__(self, seed):
        self.state = seed

    def next(self):
        self.state = (self.state + 0x9E3779B97F4A7C15) % 2**64
        bits = self.state
        bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9 % 2**64
        bits = (bits ^ bits >> 27) * 0x94D049BB133111EB % 2**64
        return bits ^ bits >> 31


def random_assignments(count_a, count_b, paired, seed):
    """The same rows as above, drawn one after the other without an end."""
    source = SplitMix64(seed)
    devices = count_a + count_b
    if paired:
        while True:
            words = [source.next() for _ in range(math.ceil(count_a / 64))]
            row = [1.0 - (words[i // 64] >> i % 64 & 1) for i in range(count_a)]
            yield row + [1 - member for member in row]
    smaller = min(count_a, count_b)
    order = list(range(devices))
    while True:
        for i in range(smaller):
            j = i + (source.next() * (devices - i) >> 64)
            order[i], order[j] = order[j], order[i]
        of_smaller = 1.0 if count_a <= count_b else 0.0
        row = [1.0 - of_smaller] * devices
        for device in order[:smaller]:
            row[device] = of_smaller
        yield row


def greatest_differences(shares, members, count_a, count_b):
    """Of each assignment, the greatest difference of the sides' mean shares over all cut points."""
    sums = members @ shares
    return numpy.abs(sums / count_a - (shares.sum(axis=0) - sums) / count_b).max(axis=1)


def significance(shares, count_a, paired, seed, draws):
    """p of the greatest difference: exact, or of random assignments until 20 are not below it.

    @param shares  at the cut points, a row for each device; those of a come first.
    """
    count_b = len(shares) - count_a
    observed = numpy.abs(shares[:count_a].mean(axis=0) - shares[count_a:].mean(axis=0)).max() - EQUAL
    if assignment_count(count_a, count_b, paired) <= EXACT_ASSIGNMENTS:
        found = greatest_differences(shares, assignments(count_a, count_b, paired), count_a, count_b)
        return float((found >= observed).mean())
    source = random_assignments(count_a, count_b, paired, seed)
    drawn = exceeded = 0
    while drawn < draws:
        rows = numpy.array(list(itertools.islice(source, min(max(drawn, 50), draws - drawn))))
        for is_exceeded in greatest_differences(shares, rows, count_a, count_b) >= observed:
            drawn += 1
            exceeded += bool(is_exceeded)
            if exceeded == ENOUGH:
                return ENOUGH / drawn
    return (1 + exceeded) / (1 + drawn)


def false_discovery_rates(significances):
    """Benjamini and Hochberg's adjusted values, in the order of `significances`."""
    count = len(significances)
    order = sorted(range(count), key=lambda index: significances[index])
    rates = [0.0] * count
    least = 1.0
    for rank in range(count, 0, -1):
        index = order[rank - 1]
        least = min(least, significances[index] * count / rank)
        rates[index] = least
    return rates


def rank_sum_counts(count_a, count_b):
    """How many of all arrangements have U = 0, 1, ...: by adding up, one device at a time."""
    counts = [[1] for _ in range(count_b + 1)]  # with no device of a, for each number of devices of b
    for _ in range(count_a):
        row = [[1]]
        for number_b in range(1, count_b + 1):
            # The greatest is of a, above all `number_b` of b; or it is of b.
            of_a = [0] * number_b + counts[number_b]
            of_b = row[number_b - 1]
            length = max(len(of_a), len(of_b))
            row.append([(of_a[i] if i < len(of_a) else 0) + (of_b[i] if i < len(of_b) else 0) for i in range(length)])
        counts = row
    return counts[count_b]


def shift(a, b):
    """Hodges and Lehmann's shift of the devices' medians, with the ends of its interval; None where there is none."""
    medians_a = [percentile(distribution, 50) for distribution in a]
    medians_b = [percentile(distribution, 50) for distribution in b]
    differences = sorted(later - earlier for earlier in medians_a for later in medians_b)
    if len(a) + len(b) <= EXACT_DEVICES_OF_SHIFT:
        counts = rank_sum_counts(len(a), len(b))
        below = 0
        rank = 0  # the greatest k with P(U <= k - 1) <= 0.025
        while rank < len(counts) and (below + counts[rank]) * 1000 <= math.comb(len(a) + len(b), len(a)) * 25:
            below += counts[rank]
            rank += 1
    else:
        pairs = len(a) * len(b)
        rank = math.floor(pairs / 2 - NORMAL_975 * math.sqrt(pairs * (len(a) + len(b) + 1) / 12))
    return (statistics.median(differences), differences[rank - 1], differences[-rank]) if rank >= 1 else None


def moved_by_distance(shares, count_a):
    """How many devices of b are farther from a than any device of a is from the others of a."""
    of_a, of_b = shares[:count_a], shares[count_a:]
    greatest = max(numpy.abs(row - (of_a.sum(axis=0) - row) / (count_a - 1)).max() for row in of_a)
    return sum(1 for row in of_b if numpy.abs(row - of_a.mean(axis=0)).max() > greatest + EQUAL)


def nearest_rank_median(values):
    return sorted(values)[(len(values) - 1) // 2]


def deviations_from_others(values):
    return [abs(value - nearest_rank_median(values[:i] + values[i + 1:])) for i, value in enumerate(values)]


def moved_by_value(values, count_a):
    """The same for devices with one value each."""
    of_a, of_b = values[:count_a], values[count_a:]
    greatest = max(deviations_from_others(of_a))
    return sum(1 for value in of_b if abs(value - nearest_rank_median(of_a)) > greatest * (1 + 1e-12))


def distances_from_others(shares):
    total = shares.sum(axis=0)
    return [float(numpy.abs(row - (total - row) / (len(shares) - 1)).max()) for row in shares]
