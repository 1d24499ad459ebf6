#!/usr/bin/env python3
"""Tests `qorstat load` with ClickHouse itself: two servers on loopback, the shards of a cluster.

    load_fleet_test.py QORSTAT GENERATE_FLEET SOURCE (schema | shard | kills ROUNDS [SEED] | questions | retention)

schema     what `schema` prints for a cluster makes it, and a user with a password loads into that
shard      a shard is killed in mid-load; the next load finishes, and every count is that of decode and metrics
kills      loads that are killed at random moments, with servers that are, until every count is exact
questions  every question for fleets and every query of the dashboard runs
retention  the statements of docs/fleet.md remove what is old, and nothing else

SOURCE is the folder of the sources. Ends with 77 where ClickHouse cannot be had.
"""

import collections
import contextlib
import json
import os
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


def run(*command, code=0, environment=None):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                          env={**os.environ, **(environment or {})}, timeout=PATIENCE_SECONDS)
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
        self.qorstat, self.folder, self.prefix = qorstat, folder, "device"
        run(generate, "--folder", folder, "--devices", devices, "--reports", reports, "--seed", "7")
        self.dumps, self.stores = sorted(folder.glob("*.bin")), sorted(folder.glob("*.db"))
        assert len(self.dumps) == len(self.stores) == int(devices)
        self.statistics = {dump.stem: json.loads(run(qorstat, "decode", "--stats", "--json", dump))
                           for dump in self.dumps}
        merged = folder.parent / "merged.db"
        run(qorstat, "metrics", "--merge", *self.stores, "-o", merged)
        self.merged = json.loads(run(qorstat, "metrics", "--json", merged))

    def copied(self, prefix):
        """The same dumps and stores of other devices: a fleet that shares this one's files and figures."""
        copy = object.__new__(Fleet)
        copy.qorstat, copy.folder, copy.merged, copy.prefix = self.qorstat, self.folder.parent / prefix, self.merged, prefix
        copy.folder.mkdir()
        for file in (*self.dumps, *self.stores):
            os.link(file, copy.folder / (prefix + file.name))
        copy.statistics = {prefix + device: told for device, told in self.statistics.items()}
        return copy

    def command(self, servers, *options):
        to = [word for url in servers.urls for word in ("--to", url)]
        return [str(self.qorstat), "load", *to, "--cluster", "fleet", "--insert-rows", "20000", *options, str(self.folder)]

    def expect_exact(self, servers):
        """Every count of the engine is that of decode and metrics."""
        own = f"WHERE device LIKE '{self.prefix}%'"
        columns = "count(), min(timestamp), max(timestamp), sum(timestamp), uniqExact(sequence_num), sum(w0), sum(w7)"
        rows = {row[0]: list(map(int, row[1:])) for row in
                servers.ask(f"SELECT device, {columns} FROM reports {own} GROUP BY device")}
        marks = {row[0]: list(map(int, row[1:])) for row in
                 servers.ask(f"SELECT device, reports, gaps, missing, trailing_bytes FROM dumps {own}")}
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
        assert {row[0]: int(row[1]) for row in servers.ask(f"SELECT category, count() FROM reports {own} GROUP BY category")} == \
            dict(categories)
        assert {row[0]: int(row[1]) for row in servers.ask(f"SELECT key, sum(value) FROM scalar {own} GROUP BY key")} == \
            {entry["key"]: entry["value"] for entry in self.merged["scalars"]}
        values = collections.defaultdict(dict)
        for key, value, count in servers.ask(f"SELECT key, value, sum(count) FROM distribution {own} GROUP BY key, value"):
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


def check_schema(qorstat, generate, source):
    with surroundings(qorstat, generate, source, 6, 1000) as (fleet, servers):
        text = run(qorstat, "schema", "--engine", "clickhouse", "--cluster", "fleet")
        statements = text.split(";\n\n")
        assert statements.pop() == "" and len(statements) > 10
        tables = "SELECT name, engine FROM system.tables WHERE database = 'qor' ORDER BY name"
        for _ in range(2):  # the second time, all of it is there
            for server in (0, 1):
                for statement in statements:
                    assert servers.ask(statement, "default", server) == []
        made = [servers.ask(tables, "default", server) for server in (0, 1)]
        assert made[0] == made[1] and len(made[0]) == len(statements) - 1, made
        user = {"QORSTAT_CLICKHOUSE_USER": "loader", "QORSTAT_CLICKHOUSE_PASSWORD": "a loader's password"}
        run(*fleet.command(servers), code=1, environment={**user, "QORSTAT_CLICKHOUSE_PASSWORD": "another"})
        out = run(*fleet.command(servers, "--label", "firmware=7"), environment=user)
        assert out == "loaded 6 dumps and 6 stores with 6000 reports; 6 devices labelled\n", out
        assert [row[1:] for row in servers.ask("SELECT * FROM labels ORDER BY device")] == [["firmware", "7"]] * 6
        assert all(servers.ask("SELECT count() FROM labels_local", server=server) != [["0"]] for server in (0, 1))
        fleet.expect_exact(servers)
        assert [servers.ask(tables, "default", server) for server in (0, 1)] == made, "the load made tables of its own"
        shares = [int(servers.ask("SELECT count() FROM reports_local", server=server)[0][0]) for server in (0, 1)]
        assert sum(shares) == 6000 and all(shares), shares
        print(f"{len(made[0])} tables and views on each server, reports {shares}")


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
    """Each round: loads of new devices, killed or deprived of a server, then one that is left to finish."""
    generator = random.Random(int(seed))
    with surroundings(qorstat, generate, source, 6, 20_000) as (original, servers):
        run(*original.command(servers))
        original.expect_exact(servers)
        started = time.monotonic()
        run(*original.copied("timed-").command(servers))
        whole = time.monotonic() - started
        totals = collections.Counter()
        for number in range(int(rounds)):
            fleet = original.copied(f"r{number:03d}-")
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


def statements_of_page(source, moment):
    """Those about retention, as two lists: of marks and of rows; and the query that says how many are not done."""
    page = (source / "docs" / "fleet.md").read_text()
    lines = re.findall("^    (.*)", page[page.index("## Retention"):page.index("## Dashboard")], re.M)
    marks = [re.sub(r"'\d{4}-\S+ \S+'", f"'{moment}'", line) for line in lines if "TABLE qor.dumps_data" in line]
    rows = [line for line in lines if line.startswith("ALTER") and "TABLE qor.dumps_data" not in line]
    (unfinished,) = (line for line in lines if line.startswith("SELECT"))
    assert len(marks) == 2 and moment in marks[0] and len(rows) == 5, lines
    return marks, rows, unfinished


def count_rows(servers, table):
    return sum(int(servers.ask(f"SELECT count() FROM {table}", server=server)[0][0]) for server in (0, 1))


def check_retention(qorstat, generate, source):
    """Old dumps, one of them with a late clock; old and new stores of them; new dumps; records; rows without a mark."""
    with surroundings(qorstat, generate, source, 6, 5000) as (old, servers):
        new = old.copied("new-")
        records = pathlib.Path(new.folder.parent, "recorded")
        run(qorstat, "capture", source / "tests" / "data" / "small.toml", "--kind", "fault", "-o", records)
        run(*old.command(servers, "--taken", "2026-01-01T00:00:00Z", "--label", "age=old"), records)
        assert count_rows(servers, "records_data") > 0, "there are records to forget"
        time.sleep(2)
        ((moment,),) = servers.ask("SELECT now()")
        late = old.dumps[0]
        run(*old.command(servers, "--time-sync", "qor=7200s,calendar=2026-11-21T10:24:08Z")[:-1], late)
        # The only store of a device counts, however old it is.
        run(*old.command(servers, "--taken", "2026-02-01T00:00:00Z")[:-1], *old.stores[1:])
        run(*new.command(servers, "--label", "age=new"))
        assert servers.ask("SELECT value, count() FROM labels GROUP BY value ORDER BY value") == [["new", "6"], ["old", "7"]]
        for server in (0, 1):
            columns = ", ".join(row[0] for row in servers.ask("DESCRIBE TABLE reports_data", server=server)[:-1])
            servers.ask(f"INSERT INTO reports_data ({columns}, load) SELECT {columns}, 1 FROM reports_data LIMIT 100",
                        server=server)
        old.expect_exact(servers)
        values = int(servers.ask("SELECT count() FROM distribution")[0][0])
        counted = int(servers.ask("SELECT count() FROM reports")[0][0])
        assert count_rows(servers, "reports_data") == counted + 200
        marks, rows, unfinished = statements_of_page(source, moment)
        for statements in (marks, rows):
            for server in (0, 1):
                for statement in statements:
                    servers.ask(statement, "default", server)
                while servers.ask(unfinished, "default", server) != [["0"]]:
                    time.sleep(0.1)
        new.expect_exact(servers)
        left = servers.ask("SELECT device, reports, sync_qor FROM dumps WHERE device LIKE 'device%'")
        assert left == [[late.stem, str(old.statistics[late.stem]["reports"]), "7200000000000"]], left
        # What is stored is what counts.
        counted = int(servers.ask("SELECT count() FROM reports")[0][0])
        assert counted == sum(told["reports"] for told in new.statistics.values()) + int(left[0][1])
        assert count_rows(servers, "reports_data") == counted and count_rows(servers, "records_data") == 0
        assert count_rows(servers, "distribution_data") == values == int(servers.ask("SELECT count() FROM distribution")[0][0])
        # Of the old devices all have their newest store, and that of the records has nothing.
        assert servers.ask("SELECT value, count() FROM labels GROUP BY value ORDER BY value") == [["new", "6"], ["old", "6"]]
        print(f"{counted} reports and {values} values are left")
        out = run(*old.command(servers)[:-1], *old.dumps)
        assert out.startswith("loaded 5 dumps with ") and out.endswith("; 1 there already\n"), out
        for fleet in (old, new):
            fleet.expect_exact(servers)


CHECKS = {
    "schema": check_schema,
    "shard": check_shard,
    "kills": check_kills,
    "questions": check_questions,
    "retention": check_retention,
}


def main(qorstat, generate, source, check, *arguments):
    CHECKS[check](qorstat, generate, pathlib.Path(source), *arguments)


main(*sys.argv[1:])
