#!/usr/bin/env python3
"""Checks killed hosts and hosts that share a store against a model of the effect of their batches.

    shared_store_test.py HOST MODULE kills KILLS [SEED]
    shared_store_test.py HOST MODULE torn KILLS [SEED]
    shared_store_test.py HOST MODULE together HOSTS [SEED]
    shared_store_test.py HOST MODULE closing ROUNDS [SEED]

kills     kills hosts at random moments, at least KILLS times and until one was in the middle of a batch; the store must
          hold exactly the first batches, including all that were reported done
torn      the same with a host that writes every operation by itself: the test must detect this before it has killed
          KILLS hosts in the middle of a batch
together  HOSTS hosts deliver to one store at once; a reader must see whole batches only, and all of them at the end
closing   hosts close at random moments while others open and readers read, ROUNDS times; when all have ended there is no
          other file beside the store, and the file alone holds all batches

The model is independent: it reads the entries' bytes and the store's tables, and shares no code with the host.
"""

import collections
import contextlib
import os
import pathlib
import random
import re
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time

VERSION = 58
FALLBACK = "com.ondre.zel.unknown"
FIRST_COUNTER, LAST_COUNTER, FIRST_MARK, LAST_MARK = 0, 1, 2, 3  # keys that every batch begins and ends with
OTHER_KEYS = range(4, 58)
LEFT_BEHIND = re.compile(r"batches|\d+\.db(-wal|-shm|\.partial-\d+-\d+)?")
NONE, CLEAR_SCALAR, SET_SCALAR, ADD, CLEAR, SET = range(6)


def key_names(source):
    """The key strings in the order of their table."""
    names = re.findall(r'KEY\(kQORTbkKey_\w+,[\s\\]*"([^"]+)"\)', source.read_text())
    assert len(names) == 58, f"{len(names)} keys in {source}"
    return names


def entry(operation, key, value, version=VERSION):
    return struct.pack("<BBBi", version, operation, key, value)


class Model:
    """Scalars, and distributions as counted values, by name."""

    def __init__(self, names):
        self.names = names
        self.scalars = {}
        self.distributions = collections.defaultdict(collections.Counter)

    def apply(self, batch):
        for version, operation, key, value in struct.iter_unpack("<BBBi", batch):
            if version != VERSION:
                continue
            name = self.names[key] if key < 58 else FALLBACK
            fixed_point = struct.unpack("<f", struct.pack("<f", value))[0] / 65536
            if operation == CLEAR_SCALAR:
                self.scalars.pop(name, None)
            elif operation == SET_SCALAR:
                self.scalars[name] = value
            elif operation == ADD:
                self.scalars[name] = (self.scalars.get(name, 0) + value + 2**63) % 2**64 - 2**63
            elif operation == CLEAR:
                self.distributions.pop(name, None)
            elif operation == SET:
                self.distributions[name] = collections.Counter([fixed_point])
            elif operation > SET:
                self.distributions[name][fixed_point] += operation - SET

    def contents(self):
        return self.scalars, {name: dict(values) for name, values in self.distributions.items() if values}


class Batches:
    """An endless sequence of batches, made on demand."""

    def __init__(self, generator, only_sums=False):
        self.generator = generator
        values = [generator.randint(-(2**31), 2**31 - 1) for _ in range(60)] + [0, 1, -1, 65536]
        operations = [ADD, ADD, 6, 6, 7, 255] if only_sums else [*range(10), ADD, ADD, 6, 6, 6, 6, 255]
        self.pool = [
            entry(
                generator.choice(operations),
                generator.choice([*OTHER_KEYS, *OTHER_KEYS, 58, 255]),
                generator.choice(values),
                generator.choice([VERSION] * 20 + [VERSION - 1]),
            )
            for _ in range(4000)
        ]
        self.made = 0
        self.unused = collections.deque()

    def _make(self):
        self.made += 1
        size = self.generator.choice([0, 1, 5, 50, 500, 3000])
        first = [entry(ADD, FIRST_COUNTER, 1), entry(SET_SCALAR, FIRST_MARK, self.generator.getrandbits(31))]
        last = [entry(SET_SCALAR, LAST_MARK, struct.unpack("<BBBi", first[1])[3]), entry(ADD, LAST_COUNTER, 1)]
        return b"".join(first + self.generator.choices(self.pool, k=size) + last)

    def peek(self, count):
        while len(self.unused) < count:
            self.unused.append(self._make())
        return [self.unused[i] for i in range(count)]

    def use(self):
        return self.unused.popleft()


def write_batches(path, batches):
    path.write_bytes(b"".join(struct.pack("<I", len(batch) // 7) + batch for batch in batches))


def read_store(path):
    """Reads the tables of a store; empty ones when the host was killed before it created the store."""
    if not path.exists():
        return {}, {}
    connection = sqlite3.connect(path)
    scalars = dict(connection.execute("SELECT name, value FROM scalar JOIN key ON id = key"))
    distributions = collections.defaultdict(dict)
    for key, value, count in connection.execute("SELECT name, value, count FROM distribution JOIN key ON id = key"):
        distributions[key][value] = count
    assert connection.execute("PRAGMA integrity_check").fetchone() == ("ok",)
    connection.close()
    return scalars, dict(distributions)


class Failure(Exception):
    pass


class WrongStore(Failure):
    """A store that is not the result of any number of whole batches."""


class Host:
    """A host that delivers one batch for each request."""

    def __init__(self, *command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def request(self, batches):
        with contextlib.suppress(BrokenPipeError):  # wait() reports how the host ended
            os.write(self.process.stdin.fileno(), b"." * batches)

    def wait_for_a_batch(self):
        """Waits until a batch is done. Returns the output so far."""
        output = b""
        while b"d" not in output:
            piece = self.process.stdout.read1()
            if not piece:
                raise Failure(f"a host ended before its first batch was done: {self.process.wait()}")
            output += piece
        return output

    def end(self):
        self.process.stdin.close()
        if self.process.wait() != 0:
            raise Failure(f"a host ended by itself: {self.process.returncode}")

    def kill(self):
        """Kills the host. Returns the rest of its output."""
        self.process.kill()
        self.process.stdin.close()
        with self.process.stdout:
            output = self.process.stdout.read()
        if self.process.wait() != -9:
            raise Failure(f"a host ended before it was killed: {self.process.returncode}")
        return output


def run_and_kill(command, batches, generator):
    """Starts a host, requests batches and kills it at a random moment. Returns its output."""
    host = Host(*command)
    host.request(batches)
    output = b""
    if generator.random() < 0.2:
        time.sleep(generator.uniform(0, 0.04))  # before or during the first batches
    else:
        output += host.wait_for_a_batch()
        time.sleep(generator.uniform(0, 0.03))
    return output + host.kill()


def require_known_files(folder):
    """Fails if hosts left undocumented files beside their stores."""
    unknown = [path.name for path in folder.iterdir() if not LEFT_BEHIND.fullmatch(path.name)]
    if unknown:
        raise Failure(f"hosts left {', '.join(unknown)}")


def kill_hosts(host, module, names, is_enough, generator, folder, options=()):
    counts = collections.Counter()
    while not is_enough(counts):
        if counts["kills"] % 20 == 0:
            store, model, batches = folder / f"{counts['kills']}.db", Model(names), Batches(generator)
        write_batches(folder / "batches", batches.peek(200))
        output = run_and_kill([host, module, store, folder / "batches", *options], 200, generator)
        require_known_files(folder)
        reported = output.count(b"d")
        in_mid_batch = output.endswith(b"b")
        counts["kills"] += 1
        counts["kills in mid-batch"] += in_mid_batch

        for _ in range(reported):
            model.apply(batches.use())
        found = read_store(store)
        unreported = 0
        if in_mid_batch and found != model.contents():
            model.apply(batches.use())
            unreported = 1
        if found != model.contents():
            raise WrongStore(f"kill {counts['kills']}: the store holds neither {reported} nor {reported + 1} batches")
        counts["batches"] += reported + unreported
        counts["batches done but not reported"] += unreported
    return counts


def kills(host, module, names, count, generator, folder):
    def is_enough(counts):
        return counts["kills"] >= count and counts["kills in mid-batch"] > 0

    counts = kill_hosts(host, module, names, is_enough, generator, folder)
    print(", ".join(f"{count} {what}" for what, count in counts.items()))


def torn(host, module, names, count, generator, folder):
    def is_enough(counts):
        return counts["kills in mid-batch"] >= count

    try:
        kill_hosts(host, module, names, is_enough, generator, folder, ["--torn"])
    except WrongStore as found:
        print(f"found out: {found}")
        return
    raise Failure("batches in pieces were not found out")


def read_moment(store, names):
    """Reads the counters and the marks in one transaction while hosts write."""
    if not store.exists():
        return [0, 0, 0, 0]
    connection = sqlite3.connect(f"file:{store}?mode=ro", uri=True, timeout=60)
    scalars = dict(connection.execute("SELECT name, value FROM scalar JOIN key ON id = key"))
    connection.close()
    return [scalars.get(names[key], 0) for key in (FIRST_COUNTER, LAST_COUNTER, FIRST_MARK, LAST_MARK)]


def watch(store, names, hosts, batches, at_once):
    """Requests batches from each host, a few at a time. Returns how many different states a reader saw."""
    seen = set()
    for delivered in range(0, batches, at_once):
        for host in hosts:
            host.request(at_once)
        while max(seen, default=0) < (delivered + at_once) * len(hosts):
            first_counter, last_counter, first_mark, last_mark = read_moment(store, names)
            if first_counter != last_counter or first_mark != last_mark:
                raise Failure(f"a reader saw part of batch {first_counter}")
            seen.add(first_counter)
            if any(host.process.poll() is not None for host in hosts):
                raise Failure("a host ended by itself")
    return len(seen)


def together(host, module, names, count, generator, folder):
    model, store, hosts, each = Model(names), folder / "shared.db", [], 100
    for number in range(count):
        batches = Batches(generator, only_sums=True).peek(each)
        write_batches(folder / f"batches-{number}", batches)
        for batch in batches:
            model.apply(batch)
    try:
        for number in range(count):
            hosts.append(Host(host, module, store, folder / f"batches-{number}"))
        seen = watch(store, names, hosts, each, at_once=10)
        for running in hosts:
            running.end()
    finally:
        for running in hosts:
            running.process.kill()
            running.process.wait()

    # The marks are those of the host that finished last.
    scalars, distributions = read_store(store)
    wanted_scalars, wanted_distributions = model.contents()
    for mark in (names[FIRST_MARK], names[LAST_MARK]):
        scalars.pop(mark)
        wanted_scalars.pop(mark)
    if (scalars, distributions) != (wanted_scalars, wanted_distributions):
        raise Failure("the store does not hold the sum of all batches")
    print(f"{count} hosts, {count * each} batches, seen whole at {seen} different moments")


def close_hosts(host, module, names, store, generator, folder):
    """Runs two readers and three hosts, which open and close when they like. Checks what is left."""
    model = Model(names)
    readers = [Host(host, "--read", store) for _ in range(2)]
    hosts = []
    try:
        for number in range(3):
            batches = Batches(generator, only_sums=True).peek(2)
            write_batches(folder / f"batches-{number}", batches)
            for batch in batches:
                model.apply(batch)
            hosts.append(Host(host, module, store, folder / f"batches-{number}"))
            hosts[-1].request(len(batches))
            hosts[-1].process.stdin.close()  # the host ends when it has delivered them
            time.sleep(generator.choice([0, 0, generator.uniform(0, 0.03)]))
        for running in hosts:
            running.end()
        time.sleep(generator.choice([0, generator.uniform(0, 0.01)]))
        for reader in readers:
            reader.end()
    finally:
        for running in [*hosts, *readers]:
            running.process.kill()
            running.process.wait()
    left = [path.name for path in folder.iterdir() if path.name.startswith(store.name) and path != store]
    if left:
        raise Failure(f"the last host left {', '.join(left)}")
    alone = folder / "alone"
    alone.mkdir(exist_ok=True)
    shutil.copyfile(store, alone / "copy.db")
    scalars, distributions = read_store(alone / "copy.db")
    wanted_scalars, wanted_distributions = model.contents()
    for mark in (names[FIRST_MARK], names[LAST_MARK]):  # those of the host that finished last
        scalars.pop(mark)
        wanted_scalars.pop(mark)
    if (scalars, distributions) != (wanted_scalars, wanted_distributions):
        raise Failure("the file alone does not hold the sum of all batches")


def closing(host, module, names, count, generator, folder):
    for number in range(count):
        round_folder = folder / str(number)
        round_folder.mkdir()
        store = round_folder / "shared.db"
        write_batches(round_folder / "nothing", [])
        Host(host, module, store, round_folder / "nothing").end()  # makes the store
        close_hosts(host, module, names, store, generator, round_folder)
    print(f"{count} rounds")


def main():
    host, module, what, number = sys.argv[1:5]
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else random.SystemRandom().getrandbits(32)
    print(f"seed {seed}")
    names = key_names(pathlib.Path(__file__).parents[2] / "qor/analytics.h")
    job = {"kills": kills, "torn": torn, "together": together, "closing": closing}[what]
    with tempfile.TemporaryDirectory() as folder:
        try:
            job(host, module, names, int(number), random.Random(seed), pathlib.Path(folder))
        except Failure as failure:
            sys.exit(f"failed: {failure}")


if __name__ == "__main__":
    main()
