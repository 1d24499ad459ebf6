#!/usr/bin/env python3
"""Tests `qorstat load` with ClickHouse itself: two servers on loopback, the shards of a cluster.

    load_fleet_test.py QORSTAT GENERATE_FLEET SOURCE (shard | kills ROUNDS [SEED] | questions)

shard      a shard is killed in mid-load; the next load finishes, and every count is that of decode and metrics
kills      loads that are killed at random moments, with servers that are, until every count is exact
questions  every question for fleets and every query of the dashboard runs

SOURCE is the folder of the sources. Ends with 77 where ClickHouse cannot be had.
"""

import collections
import contextlib
import json
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.parse
import urllib.request

# The limit of every wait, for slow machines. No test requires anything to be fast.
PATIENCE_SECONDS = 600
SKIPPED = 77


def run(*command, code=0):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                          timeout=PATIENCE_SECONDS)
    assert code is None or done.returncode == code, (command, done.returncode, done.stdout, done.stderr)
    return done.stdout


class Servers:
    """Two servers whose data are in a folder."""

    def __init__(self, source, folder):
        self.script, self.folder = source / "scripts" / "clickhouse", folder
        self.urls = run(self.script, "start", "--folder", folder, "--nodes", "2", "--memory", "1024").split()

    def stop(self, *options):
        run(self.script, "stop", "--folder", self.folder, *options)

    def start(self):
        run(self.script, "start", "--folder", self.folder)

    def ask(self, question, database="qor", server=0):
        address = self.urls[server] + "/?" + urllib.parse.urlencode({"database": database})
        try:
            with urllib.request.urlopen(urllib.request.Request(address, question.encode()),
                                        timeout=PATIENCE_SECONDS) as answer:
                return [line.split("\t") for line in answer.read().decode().splitlines()]
        except urllib.error.HTTPError as error:
            raise AssertionError(f"{question}\n{error.read().decode()}") from None


class Fleet:
    """The dumps and stores of devices, and what the other verbs say of them."""

    def __init__(self, qorstat, generate, folder, devices, reports):
        self.qorstat, self.folder = qorstat, folder
        run(generate, "--folder", folder, "--devices", devices, "--reports", reports, "--seed", "7")
        self.dumps, self.stores = sorted(folder.glob("*.bin")), sorted(folder.glob("*.db"))
        assert len(self.dumps) == len(self.stores) == int(devices)
        self.statistics = {dump.stem: json.loads(run(qorstat, "decode", "--stats", "--json", dump))
                           for dump in self.dumps}
        merged = folder.parent / "merged.db"
        run(qorstat, "metrics", "--merge", *self.stores, "-o", merged)
        self.merged = json.loads(run(qorstat, "metrics", "--json", merged))

    def command(self, servers, *options):
        to = [word for url in servers.urls for word in ("--to", url)]
        return [str(self.qorstat), "load", *to, "--cluster", "fleet", "--insert-rows", "100000", *options, str(self.folder)]

    def expect_exact(self, servers):
        """Every count of the engine is that of decode and metrics."""
        columns = "count(), min(timestamp), max(timestamp), sum(timestamp), uniqExact(sequence_num), sum(w0), sum(w7)"
        rows = {row[0]: list(map(int, row[1:])) for row in
                servers.ask(f"SELECT device, {columns} FROM reports GROUP BY device")}
        marks = {row[0]: list(map(int, row[1:])) for row in
                 servers.ask("SELECT device, reports, gaps, missing, trailing_bytes FROM dumps")}
        assert set(rows) == set(marks) == set(self.statistics), "devices are missing"
        for device, told in self.statistics.items():
            counted = [told["reports"], told["earliest"], told["latest"]]
            assert rows[device][:3] == counted, (device, rows[device], counted)
            assert marks[device] == [told["reports"], told["gaps"], told["missing"], 0], (device, marks[device])
            assert rows[device] == self.sums(device), (device, rows[device], self.sums(device))
        categories = collections.Counter()
        for told in self.statistics.values():
            for category in told["categories"]:
                categories[category["category"]] += category["count"]
        assert {row[0]: int(row[1]) for row in servers.ask("SELECT category, count() FROM reports GROUP BY category")} == \
            dict(categories)
        assert {row[0]: int(row[1]) for row in servers.ask("SELECT key, sum(value) FROM scalar GROUP BY key")} == \
            {entry["key"]: entry["value"] for entry in self.merged["scalars"]}
        values = collections.defaultdict(dict)
        for key, value, count in servers.ask("SELECT key, value, sum(count) FROM distribution GROUP BY key, value"):
            values[key][float(value)] = int(count)
        assert values == {entry["key"]: {pair["value"]: pair["count"] for pair in entry["values"]}
                          for entry in self.merged["distributions"]}

    def sums(self, device):
        """The same from the dump's bytes."""
        data = memoryview((self.folder / f"{device}.bin").read_bytes())
        words, times = data.cast("I"), data.cast("Q")
        stamps = times[1::6]
        return [len(stamps), min(stamps), max(stamps), sum(stamps), len(set(words[1::12])), sum(words[4::12]),
                sum(words[11::12])]


@contextlib.contextmanager
def surroundings(qorstat, generate, source, devices, reports):
    if subprocess.run([source / "scripts" / "clickhouse", "unpack"], check=False).returncode != 0:
        print("skipped: ClickHouse cannot be had on this machine")
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        fleet = Fleet(pathlib.Path(qorstat).resolve(), generate, folder / "dumps", devices, reports)
        servers = Servers(source, folder / "servers")
        try:
            yield fleet, servers
        finally:
            servers.stop("--kill")


def check_shard(qorstat, generate, source):
    with surroundings(qorstat, generate, source, 20, 50_000) as (fleet, servers):
        running = subprocess.Popen(fleet.command(servers, "--retry-for", "1"), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        end = time.monotonic() + PATIENCE_SECONDS
        while running.poll() is None and time.monotonic() < end:
            # Once rows have come to the second shard, which needs several inserts.
            made = servers.ask("EXISTS TABLE qor.reports_data", "default", 1)
            if made == [["1"]] and servers.ask("SELECT count() FROM qor.reports_data", "default", 1) != [["0"]]:
                break
        servers.stop("--node", "2", "--kill")
        out, err = running.communicate(timeout=PATIENCE_SECONDS)
        assert running.returncode == 1 and " not loaded (" in err and servers.urls[1] in err, (running.returncode, out, err)
        print(err.splitlines()[-1][:120])
        left = servers.ask("SELECT count(), sum(reports) FROM dumps_local")
        servers.start()
        out = run(*fleet.command(servers))
        print(out, end="")
        assert int(left[0][0]) > 0 and "there already" in out, "the first shard was not loaded"
        fleet.expect_exact(servers)
        stored = sum(int(servers.ask("SELECT count() FROM reports_data", server=server)[0][0]) for server in (0, 1))
        counted = int(servers.ask("SELECT count() FROM reports")[0][0])
        print(f"{counted} reports count, {stored} are stored")
        assert "loaded 0 dumps" in run(*fleet.command(servers))
        fleet.expect_exact(servers)


def check_kills(qorstat, generate, source, rounds, seed="1"):
    """Each round: loads into an empty database, killed or deprived of a server, then one that is left to finish."""
    generator = random.Random(int(seed))
    with surroundings(qorstat, generate, source, 12, 60_000) as (fleet, servers):
        started = time.monotonic()
        run(*fleet.command(servers))
        whole = time.monotonic() - started
        fleet.expect_exact(servers)
        totals = collections.Counter()
        for number in range(int(rounds)):
            for server in (0, 1):
                servers.ask("TRUNCATE TABLE qor.reports_data", "default", server)
                for table in ("dumps_data", "scalar_data", "distribution_data"):
                    servers.ask(f"TRUNCATE TABLE qor.{table}", "default", server)
            for _ in range(generator.randrange(1, 4)):
                running = subprocess.Popen(fleet.command(servers, "--retry-for", "0.2"), stdout=subprocess.DEVNULL,
                                           stderr=subprocess.DEVNULL)
                time.sleep(generator.uniform(0.0, 1.1 * whole))
                if generator.random() < 0.3:
                    servers.stop("--node", str(generator.randrange(1, 3)), "--kill")
                    totals["servers killed"] += 1
                    running.wait(PATIENCE_SECONDS)
                    servers.start()
                else:
                    running.send_signal(signal.SIGKILL)
                    totals["loads killed" if running.wait() == -signal.SIGKILL else "loads that had ended"] += 1
            if generator.random() < 0.3:  # two at once
                both = [subprocess.Popen(fleet.command(servers), stdout=subprocess.DEVNULL) for _ in range(2)]
                assert [one.wait(PATIENCE_SECONDS) for one in both] == [0, 0]
                totals["pairs at once"] += 1
            run(*fleet.command(servers))
            fleet.expect_exact(servers)
            totals["reports stored"] += sum(int(servers.ask("SELECT count() FROM reports_data", server=server)[0][0])
                                            for server in (0, 1))
            totals["reports counted"] += int(servers.ask("SELECT count() FROM reports")[0][0])
        print(f"{rounds} rounds exact: " + ", ".join(f"{count} {what}" for what, count in sorted(totals.items())))


def check_questions(qorstat, generate, source):
    with surroundings(qorstat, generate, source, 4, 5000) as (fleet, servers):
        run(*fleet.command(servers, "--time-sync", "qor=7200s,calendar=2026-11-21T10:24:08Z"))
        folder = source / "examples" / "questions"
        questions = sorted((folder / "clickhouse").glob("*.sql"))
        assert [file.name for file in questions] == sorted(file.name for file in folder.glob("*.sql")), \
            "each question is there for one dump and for a fleet"
        for file in questions:
            rows = servers.ask(file.read_text())
            print(f"{file.stem}: {len(rows)} rows")
            assert rows or file.stem == "records", file
        dashboard = json.loads((source / "examples" / "fleet-dashboard.json").read_text())
        queries = [target["rawSql"] for panel in dashboard["panels"] for target in panel.get("targets", [])]
        assert len(queries) >= 8 and len(set(queries)) == len(queries)
        for query in queries:
            assert not re.search(r"\$", query), "the query runs as it is"
            rows = servers.ask(query, "default")
            assert rows, query
        print(f"{len(queries)} queries of the dashboard")


CHECKS = {"shard": check_shard, "kills": check_kills, "questions": check_questions}


def main(qorstat, generate, source, check, *arguments):
    CHECKS[check](qorstat, generate, pathlib.Path(source), *arguments)


main(*sys.argv[1:])
