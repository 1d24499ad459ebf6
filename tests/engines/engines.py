"""The engines in which the tables of qorstat are asked, each with the same interface.

An engine is made of dumps and stores: `fill` brings them in, `rows_of` gives the rows of a query as texts of JSON in
files, `columns_of` the columns of a view with the engine's own types.
"""

import json
import os
import pathlib
import subprocess
import urllib.error
import urllib.parse
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent


class Failure(Exception):
    """What a run reports as its reason."""


def run(command, **options):
    """The standard output of a success."""
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False,
                          **options)
    if done.returncode != 0:
        raise Failure(f"{' '.join(map(str, command))[:300]}: exit status {done.returncode}: "
                      f"{done.stderr.decode(errors='replace')[-800:]}")
    return done.stdout


def statements_of(schema):
    """The statements of what `schema` prints."""
    return [statement for statement in schema.split(";\n") if statement.strip()]


class Asker:
    """An engine in a process of node."""

    def __init__(self, *words):
        self.words = words
        self.process = subprocess.Popen(["node", HERE / "ask.cjs", *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        encoding="utf-8")

    def ask(self, statement):
        """The rows as text."""
        self.process.stdin.write(json.dumps(statement) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        answer = json.loads(line) if line else {"error": "the process ended"}
        if "error" in answer:
            raise Failure(f"{self.words[0]}: {answer['error'][:800]} in {statement[:300]}")
        return answer["rows"]

    def stop(self):
        self.process.stdin.close()
        self.process.wait()


class Dump:
    """A dump with the options that give it a clock."""

    def __init__(self, file, clock):
        self.file = file
        self.clock = clock
        self.device = file.stem


class Sqlite:
    """The engine of the program itself: dumps and stores are asked in place."""

    name = "SQLite"

    def __init__(self, qorstat, folder):
        self.qorstat = qorstat
        self.folder = folder
        self.dumps = []
        self.stores = []

    def fill(self, dumps, stores, records):
        self.dumps = dumps
        self.stores = stores

    def rows_of(self, select):
        """The dumps have different clocks, so each is asked alone; what is asked of stores, of all at once."""
        asked = [[dump.file, *dump.clock] for dump in self.dumps]
        for number, inputs in enumerate(asked):
            file = self.folder / f"rows-{number}.jsonl"
            run([self.qorstat, "query", *inputs, select, "--format", "jsonl", "-o", file],
                env={**os.environ, "TZ": "UTC"})
            yield file

    def rows_of_stores(self, select):
        file = self.folder / "rows.jsonl"
        run([self.qorstat, "query", *self.stores, select, "--format", "jsonl", "-o", file])
        yield file

    def columns_of(self, view):
        """Those of an empty answer's heading, without types."""
        heading = run([self.qorstat, "query", self.dumps[0].file, f"SELECT * FROM {view} LIMIT 0", "--format", "csv"])
        return [(name, None) for name in heading.decode().strip().split(",")]

    def stop(self):
        pass


def exported(qorstat, folder, form, table, dumps, inputs):
    """Files of a table: of the dumps, each with its clock, or of the inputs."""
    ending = "native" if form == "clickhouse" else "parquet"
    files = []
    if table in ("reports", "dumps"):
        for dump in dumps:
            file = folder / f"{table}-{dump.device}.{ending}"
            clock = dump.clock if table == "dumps" else []
            run([qorstat, "export", dump.file, *clock, "--table", table, "--format", form, "-o", file])
            files.append(file)
    elif inputs:
        file = folder / f"{table}.{ending}"
        run([qorstat, "export", *inputs, "--table", table, "--format", form, "-o", file])
        files.append(file)
    return files


class ClickHouse:
    """What two versions of ClickHouse have in common. Their tables are filled from exported blocks.

    Beside the rows that count there are others: of an insert that no mark names, and of stores that are not the newest.
    """

    DATABASE = "qor"
    TEXT_HASH = "reinterpretAsUInt64(reverse(unhex(dump)))"

    def __init__(self, qorstat, folder):
        self.qorstat = qorstat
        self.folder = folder
        self.schema = run([qorstat, "schema", "--engine", "clickhouse"]).decode()

    def query(self, sql):
        """The answer as text."""
        raise NotImplementedError

    def insert(self, table, columns, file):
        """Inserts blocks."""
        raise NotImplementedError

    def columns(self, table):
        return [(row["name"], row["type"]) for row in map(json.loads, self.query(
            f"DESCRIBE TABLE {self.DATABASE}.{table} FORMAT JSONEachRow").splitlines())]

    columns_of = columns

    def stage(self, table, dumps, stores):
        """A table as it is exported, with the dump's hash as text."""
        types = [(name, "String" if name == "dump" else kind) for name, kind in self.columns(f"{table}_data")
                 if name not in ("load", "loads", "kind", "version") and not (table == "dumps" and name == "taken")]
        self.query(f"CREATE TABLE {self.DATABASE}.staged_{table} "
                   f"({', '.join(f'{name} {kind}' for name, kind in types)}) ENGINE = Memory")
        names = ", ".join(name for name, _ in types)
        for file in exported(self.qorstat, self.folder, "clickhouse", table, dumps, stores):
            self.insert(f"{self.DATABASE}.staged_{table}", types, file)
        return names

    def fill(self, dumps, stores, records):
        for statement in statements_of(self.schema):
            self.query(statement)
        for table in ("reports", "dumps", "scalar", "distribution"):
            names = self.stage(table, dumps, stores)
            values = names.replace("dump", self.TEXT_HASH) if table in ("reports", "dumps") else names
            into = f"INSERT INTO {self.DATABASE}.{table}_data ({names}, "
            source = f"FROM {self.DATABASE}.staged_{table}"
            if table == "dumps":
                # A mark without a clock is replaced by a newer one with it.
                unknown = "NULL, NULL, NULL"
                early = values.replace("sync_qor, sync_calendar, boot_timestamp", unknown)
                self.query(f"{into}kind, taken, loads, version) SELECT {values}, 0, 0, [1], 2 {source}")
                self.query(f"{into}kind, taken, loads, version) SELECT {early}, 0, 0, [1], 1 {source}")
            else:
                self.query(f"{into}load) SELECT {values}, 1 {source}")
                self.query(f"{into}load) SELECT {values}, 2 {source} LIMIT 1000")
            if table == "scalar":
                # Every device has an older store of the same content, and an unmarked newer one.
                self.query(f"{into}load) SELECT device, store, taken - 1, key, value, 3 {source}")
                columns = (f"{self.DATABASE}.dumps_data (device, dump, file, reports, gaps, missing, trailing_bytes, kind, "
                           "taken, loads, version)")
                stores_of = f"FROM (SELECT DISTINCT device, store, taken {source}) AS stores"
                self.query(f"INSERT INTO {columns} SELECT device, 1, store, 0, 0, 0, 0, 2, taken, [1], 7 {stores_of}")
                self.query(f"INSERT INTO {columns} SELECT device, 2, store, 0, 0, 0, 0, 2, taken - 1, [3], 8 {stores_of}")


class DebianClickHouse(ClickHouse):
    """Debian's version, on loopback."""

    def __init__(self, qorstat, folder, script):
        super().__init__(qorstat, folder)
        self.script = script
        self.data = folder / "servers"
        self.url = run([script, "start", "--folder", self.data]).decode().split()[0]
        self.name = "ClickHouse " + self.query("SELECT version()").strip()

    def request(self, body, **parameters):
        parameters = {"output_format_json_quote_64bit_integers": 0, **parameters}
        try:
            with urllib.request.urlopen(f"{self.url}/?{urllib.parse.urlencode(parameters)}", body) as answer:
                yield from iter(lambda: answer.read(1 << 20), b"")
        except urllib.error.HTTPError as error:
            raise Failure(f"{self.name}: {error.read().decode(errors='replace')[:800]}") from error

    def query(self, sql):
        return b"".join(self.request(sql.encode())).decode()

    def insert(self, table, columns, file):
        statement = f"INSERT INTO {table} ({', '.join(name for name, _ in columns)}) FORMAT Native"
        list(self.request(file.read_bytes(), query=statement))

    def rows_of(self, select):
        file = self.folder / "rows.jsonl"
        with open(file, "wb") as rows:
            for piece in self.request(f"{select} FORMAT JSONEachRow".encode(), database=self.DATABASE):
                rows.write(piece)
        yield file

    rows_of_stores = rows_of

    def stop(self):
        run([self.script, "stop", "--folder", self.data])


class CurrentClickHouse(ClickHouse):
    """The current version, in a process of its own."""

    def __init__(self, qorstat, folder):
        super().__init__(qorstat, folder)
        self.asker = Asker("chdb", folder / "data")
        self.query = self.asker.ask
        self.stop = self.asker.stop
        self.query("SET output_format_json_quote_64bit_integers = 0")
        self.name = "ClickHouse " + json.loads(self.query("SELECT version() AS version"))["version"]

    def insert(self, table, columns, file):
        structure = ", ".join(f"{name} {kind}" for name, kind in columns)
        self.query(f"INSERT INTO {table} SELECT * FROM file('{file}', 'Native', '{structure}')")

    def rows_of(self, select):
        file = self.folder / "rows.jsonl"
        file.unlink(missing_ok=True)
        self.query(f"USE {self.DATABASE}")
        self.query(f"INSERT INTO FUNCTION file('{file}', 'JSONEachRow') {select}")
        yield file

    rows_of_stores = rows_of


class DuckDb:
    """DuckDB over exported Parquet files."""

    def __init__(self, qorstat, folder):
        self.qorstat = qorstat
        self.folder = folder
        self.asker = Asker("duckdb")
        self.stop = self.asker.stop
        self.name = "DuckDB " + json.loads(self.asker.ask("SELECT version() AS version"))["version"]

    def fill(self, dumps, stores, records):
        for table in ("reports", "dumps", "scalar", "distribution", "records"):
            exported(self.qorstat, self.folder, "parquet", table, dumps, [records] if table == "records" else stores)
        files = self.folder / "{table}*.parquet"
        for statement in statements_of(run([self.qorstat, "schema", "--engine", "duckdb", "--files", files]).decode()):
            self.asker.ask(statement)

    def rows_of(self, select):
        file = self.folder / "rows.jsonl"
        self.asker.ask(f"COPY ({select}) TO '{file}' (FORMAT json)")
        yield file

    rows_of_stores = rows_of

    def columns_of(self, view):
        return [(row["column_name"], row["column_type"])
                for row in map(json.loads, self.asker.ask(f"DESCRIBE {view}").splitlines())]
