#!/usr/bin/env python3
"""Tests the server of `qorstat run --listen` over real connections.

    endpoint_test.py QORSTAT DEVICE.toml PROGRAMS (answers | idle | malformed ROUNDS | end | moved | memory |
                                               promtool | prometheus | queries)

answers     the answer to each method and path
idle        scrapes beside idle connections
malformed   sends ROUNDS broken requests of every kind, and scrapes again
end         scrapes while the host waits for a locked store at its end, until the server has stopped
moved       moves the store away from under the host
memory      compares the host's memory after a few scrapes and after many
promtool    checks a scrape with promtool
prometheus  starts a Prometheus server on the host and queries the values that the firmware published
queries     asks it every query of the dashboard and of the alerts in examples/

PROGRAMS is the folder with promtool and prometheus. The device gets a batch of analytics of its own.
"""

import contextlib
import ctypes
import dataclasses
import http.client
import json
import os
import pathlib
import random
import re
import select
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import urllib.parse

BATCH = """
[[analytics]]
device = "qor"
entry = [
    { operation = "set_scalar", key = "com.ondre.zel.button.click.count", value = 4711 },
    { operation = "set_scalar", key = "com.ondre.zel.kiru.reset_count", value = -3 },
    { operation = "push", times = 200, key = "com.ondre.zel.button.click.duration", value = 81.5 },
    { operation = "push", key = "com.ondre.zel.button.click.duration", value = 100 },
]
"""

REPEATED = """
[[analytics]]
device = "qor"
every = 0.02
entry = [{ operation = "add_to_scalar", key = "com.ondre.zel.test", value = 1 }]
"""

# What the queries of examples/ name.
COUNTS = (
    "button.single_click.count", "button.double_click.count", "button.triple_click.count",
    "button.long_press.count", "button.touch_with_click.count", "button.touch_no_click.count",
    "button.critical_error.count", "button.timeout.count", "button.pellox.cl_timeout.count", "button.pellox.cl_fault.count",
    "button.kiru_probe_failure_kiru_count", "button.force_sensor_probe_failure_count", "button.riv_probe_failure_count",
    "button.btmspk_probe_failure_count", "prox.event.ext_bl_capture.count", "prox.event.smudge_timeout.bh.count",
    "prox.event.smudge_timeout.nonbh.count", "prox.event.high_amb.count", "kiru.reset_count", "kiru.ibfd_timeout_count",
    "tovrane.reset_timeout_count",
)
DURATIONS = ("button.click.duration", "button.touch_to_first_click.time", "audio.riv.on.duration", "audio.btmspk.on.duration")
EVERYTHING = "".join(
    f'\n[[analytics]]\ndevice = "qor"\nentry = [{{ operation = "{operation}", key = "com.ondre.zel.{key}", value = 1 }}]\n'
    for operation, keys in (("add_to_scalar", COUNTS), ("push", DURATIONS))
    for key in keys
)

# The limit of every wait, for slow machines. No test requires anything to be fast.
PATIENCE_SECONDS = 300


@dataclasses.dataclass
class Surroundings:
    folder: pathlib.Path  # of this test alone
    programs: pathlib.Path


def wait_until(what, condition):
    end = time.monotonic() + PATIENCE_SECONDS
    while time.monotonic() < end:
        if (found := condition()) is not None:
            return found
        time.sleep(0.1)
    raise AssertionError(f"not within {PATIENCE_SECONDS} seconds: {what}")


def die_with_parent():
    """Ends the child when this script is killed."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


@contextlib.contextmanager
def running(arguments, **options):
    process = subprocess.Popen(arguments, text=True, preexec_fn=die_with_parent, **options)
    try:
        yield process
    finally:
        process.kill()
        process.wait()


class Host:
    def __init__(self, process):
        self.process = process
        line = ""
        while "metrics at" not in line:
            line = process.stderr.readline()
            assert line, "the host ended"
        self.port = int(re.fullmatch(r"metrics at http://127\.0\.0\.1:(\d+)/metrics\n", line)[1])
        while "hosting" not in line:
            line = process.stderr.readline()
            assert line, "the host ended"

    def request(self, method, place, name=None):
        """An answer. `name` is what the request calls the host."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE_SECONDS)
        connection.putrequest(method, place, skip_host=name is not None, skip_accept_encoding=True)
        if name is not None:
            connection.putheader("Host", name)
        connection.endheaders()
        answer = connection.getresponse()
        body = answer.read()
        connection.close()
        return answer, body.decode()

    def scrape(self):
        answer, body = self.request("GET", "/metrics")
        assert answer.status == 200, answer.status
        return body

    def wait_for_batch(self):
        wanted = 'qor_scalar_button_click_counted{key="com.ondre.zel.button.click.count"} 4711\n'
        return wait_until("the batch", lambda: body if wanted in (body := self.scrape()) else None)

    def wait_for_message(self, text):
        line = ""
        while text not in line:
            line = self.process.stderr.readline()
            assert line, "the host ended"

    def ask_for_the_end(self):
        self.process.send_signal(signal.SIGTERM)

    def wait_for_the_end(self, exit_code):
        """Its last messages. The exit code shows whether it crashed, and the messages what a sanitizer found."""
        _, messages = self.process.communicate(timeout=PATIENCE_SECONDS)
        assert self.process.returncode == exit_code, f"exit code {self.process.returncode}: {messages}"
        return messages


@contextlib.contextmanager
def hosting(qorstat, device, more=""):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        description = folder / "device.toml"
        description.write_text(pathlib.Path(device).read_text() + BATCH + more)
        arguments = [qorstat, "run", description, "--store", folder / "store.db", "--listen", "127.0.0.1:0"]
        arguments += ["--host-name", "phone.lab"]
        environment = {**os.environ, "XDG_RUNTIME_DIR": name}
        with running(arguments, env=environment, stderr=subprocess.PIPE) as process:
            host = Host(process)
            yield host, folder
            if process.returncode is None:
                host.ask_for_the_end()
                host.wait_for_the_end(exit_code=0)


# ---- answers


def check_answers(host, _):
    body = host.wait_for_batch()
    for line in (
        "# TYPE qor_scalar_button_click_counted gauge",
        "# HELP qor_scalar_button_click_counted Button: clicks",
        'qor_scalar_kiru_reset_counted{key="com.ondre.zel.kiru.reset_count"} -3',
        "# TYPE qor_distribution_button_click_duration summary",
        'qor_distribution_button_click_duration_count{key="com.ondre.zel.button.click.duration"} 201',
        'qor_distribution_button_click_duration_sum{key="com.ondre.zel.button.click.duration"} 16400',
        'qor_distribution_button_click_duration{key="com.ondre.zel.button.click.duration",quantile="0.9"} 81.5',
        'qor_distribution_maximum{key="com.ondre.zel.button.click.duration"} 100',
        "qor_store_readable 1",
    ):
        assert line + "\n" in body, f"{line!r} is missing in\n{body}"

    answer, body = host.request("HEAD", "/metrics")
    assert (answer.status, body) == (200, ""), (answer.status, body)
    assert answer.getheader("Content-Type").startswith("text/plain")
    for place in ("/", "/metrics/", "/metrics/x", "/metricsx", "/Metrics", "/../etc/passwd", "/metrics/../x", "/%2e%2e/x"):
        answer, body = host.request("GET", place)
        assert (answer.status, body) == (404, ""), f"{place}: {answer.status} {body}"
    for method in ("POST", "PUT", "DELETE", "OPTIONS", "PATCH", "PROPFIND", "MKCOL", "TRACE"):
        answer, body = host.request(method, "/metrics")
        assert (answer.status, body) == (405, ""), f"{method}: {answer.status} {body}"
        assert answer.getheader("Allow") == "GET, HEAD"
    for name in ("localhost", f"127.0.0.1:{host.port}", "[::1]", "phone.lab:9100"):
        answer, body = host.request("GET", "/metrics", name)
        assert answer.status == 200 and "qor_store_readable 1\n" in body, f"{name}: {answer.status} {body}"
    for name in ("example.org", f"example.org:{host.port}", "localhost.example.org", "192.0.2.1", ""):
        for place in ("/metrics", "/"):
            answer, body = host.request("GET", place, name)
            assert (answer.status, body) == (421, ""), f"{name}: {answer.status} {body}"
    two = send_and_listen(host.port, b"GET /metrics HTTP/1.1\r\nHost: localhost\r\nHost: example.org\r\n\r\n")
    assert two.startswith(b"HTTP/1.1 421 "), two


# ---- idle connections


def check_idle(host, _):
    """The server closes idle connections after a time. A scrape must not have to wait for that."""
    host.wait_for_batch()

    def answered_first():
        with contextlib.ExitStack() as connections:
            idle = [connections.enter_context(socket.create_connection(("127.0.0.1", host.port))) for _ in range(50)]
            host.scrape()
            closed = select.select(idle, [], [], 0)[0]
        # If the machine stalled, all of them may have timed out. Then try again.
        return True if len(closed) < len(idle) / 2 else None

    wait_until("a scrape that is answered before idle connections are closed", answered_first)


# ---- malformed requests

GOOD = b"GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n"


def malformed_request(chance, kind):
    """Bytes that are not a valid request for the metrics, of one of KINDS kinds."""
    noise = chance.randbytes(chance.randrange(1, 300))
    return (
        lambda: noise,
        lambda: noise + b"\r\n\r\n",
        lambda: GOOD[: chance.randrange(1, len(GOOD) - 2)],
        lambda: b"GET /metrics HTTP/1.1\r\nX: " + b"a" * 70_000 + b"\r\n\r\n",
        lambda: b"GET /metrics HTTP/1.1\r\n" + b"X: a\r\n" * 3000 + b"\r\n",
        lambda: b"GET /" + b"a" * 20_000 + b" HTTP/1.1\r\n\r\n",
        lambda: b"\r\n" * chance.randrange(1, 100),
        lambda: b"BREW /metrics HTTP/1.1\r\n\r\n",
        lambda: b"GET /metrics HTTP/9.9\r\n\r\n",
        lambda: b"GET /metrics\r\n\r\n",
        lambda: b"POST /metrics HTTP/1.1\r\nContent-Length: -1\r\n\r\n" + noise,
        lambda: b"POST /metrics HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n" + noise,
        lambda: b"POST /metrics HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFF\r\n" + noise,
        lambda: b"GET /%00%ff/..\\..//metrics HTTP/1.1\r\n\r\n",
        lambda: b"GET /\x00metrics HTTP/1.1\r\nX\x00: \x00\r\n\r\n",
        lambda: b"GET http://[::1/metrics HTTP/1.1\r\n\r\n",
        lambda: b"PUT /metrics HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 5\r\n\r\n",
        lambda: b"GET /x HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
        b"Sec-WebSocket-Key: x\r\n\r\n",
        lambda: b"DELETE /metrics HTTP/1.1\r\n\r\n" * 20,
        lambda: b"GET /x HTTP/1.1\r\nConnection: keep-alive\r\n\r\n" + GOOD * 20,
    )[kind]()


KINDS = 20


def send_and_listen(port, request):
    """The whole answer; possibly cut or empty when the server closed the connection first."""
    answer = b""
    with socket.create_connection(("127.0.0.1", port), timeout=PATIENCE_SECONDS) as connection:
        try:
            connection.sendall(request)
            connection.shutdown(socket.SHUT_WR)
            while piece := connection.recv(65536):
                answer += piece
        except (ConnectionResetError, BrokenPipeError):
            pass
        except OSError as error:
            assert not isinstance(error, TimeoutError), f"no end of the answer to {request[:80]!r}"
    return answer


def check_malformed(host, _, rounds):
    chance = random.Random(20261121)
    before = host.wait_for_batch()
    idle = [socket.create_connection(("127.0.0.1", host.port)) for _ in range(4)]
    for connection in idle:
        connection.sendall(b"GET /metr")
    answered = 0
    for i in range(int(rounds)):
        answer = send_and_listen(host.port, request := malformed_request(chance, i % KINDS))
        # After blank lines the HTTP library may find a good request that an earlier connection left in its buffer. Its
        # answer is harmless: everyone may have it.
        if request.strip():
            assert not re.search(rb"^HTTP/1\.[01] 2", answer, re.M), f"{request[:80]!r} got {answer[:200]!r}"
            assert b"qor_" not in answer, f"{request[:80]!r} got metrics"
        answered += answer.startswith(b"HTTP/1.1 4") or answer.startswith(b"HTTP/1.1 5")
        # Drain the messages, so that the host never blocks on this script.
        while select.select([host.process.stderr], [], [], 0)[0]:
            assert os.read(host.process.stderr.fileno(), 65536), "the host ended"
    for connection in idle:
        connection.close()

    def store_lines(body):
        return [line for line in body.splitlines() if "qor_" in line]

    assert answered > int(rounds) / 4, f"only {answered} of {rounds} were rejected"
    assert store_lines(host.scrape()) == store_lines(before)
    print(f"{rounds} malformed requests, {answered} rejected; a scrape is answered as before")


# ---- the end of a run


def check_end(host, surroundings):
    """Until the end the server serves the contents of the store, never a closed store."""
    host.wait_for_batch()
    with contextlib.closing(sqlite3.connect(surroundings.folder / "store.db", isolation_level=None)) as other:
        other.execute("BEGIN IMMEDIATE")
        host.wait_for_message("is locked by another program")
        host.ask_for_the_end()
        with contextlib.suppress(ConnectionError, http.client.HTTPException):
            while True:
                answer, body = host.request("GET", "/metrics")
                # While it stops, the server may have removed its page already.
                assert answer.status == 404 or "qor_scalar_button_click_counted{" in body, (answer.status, body)
        messages = host.wait_for_the_end(exit_code=1)
        assert re.search(r"; (1 operation is|\d+ operations are) lost\n$", messages), messages


# ---- a store that is moved


def check_moved(host, surroundings):
    """A host goes on writing nowhere; whoever watches it must learn that."""
    assert "qor_store_waiting_operations 0\n" in host.wait_for_batch()
    store = surroundings.folder / "store.db"
    store.rename(surroundings.folder / "moved.db")

    def shows_it():
        body = host.scrape()
        waits = re.search(r"^qor_store_waiting_operations [1-9]", body, re.M)
        return body if "qor_store_readable 0\n" in body and waits else None

    body = wait_until("a scrape that shows that the store is gone", shows_it)
    assert "qor_scalar" not in body and "qor_distribution" not in body, body
    assert "qor_store_lost_operations_total 0\n" in body, body
    (surroundings.folder / "moved.db").rename(store)
    wait_until("the store's return", lambda: True if "qor_store_readable 1\n" in host.scrape() else None)


# ---- memory

SCRAPES = 1000
GROWTH_ALLOWED_KIB = 1024


def check_memory(host, _):
    """The first scrapes touch the stacks of the server's threads; from then on nothing may be kept."""

    def memory():
        status = pathlib.Path(f"/proc/{host.process.pid}/status").read_text()
        return int(re.search(r"^RssAnon:\s+(\d+) kB$", status, re.M)[1])

    host.wait_for_batch()
    for _ in range(SCRAPES // 4):
        host.scrape()
    few = memory()
    for _ in range(SCRAPES):
        host.scrape()
    many = memory()
    assert many - few < GROWTH_ALLOWED_KIB, f"{few} KiB, and {SCRAPES} scrapes later {many} KiB"


# ---- programs of Prometheus


def program(surroundings, name):
    path = surroundings.programs / name
    assert os.access(path, os.X_OK), f"{path} is not there: scripts/setup test puts it there"
    return path


def check_with_promtool(host, surroundings):
    promtool = program(surroundings, "promtool")
    outcome = subprocess.run([promtool, "check", "metrics"], input=host.wait_for_batch(), capture_output=True, text=True)
    assert outcome.returncode == 0 and outcome.stdout + outcome.stderr == "", outcome


def answer_of(port, place, **words):
    """What the server answers as JSON, or None when it does not answer yet."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE_SECONDS)
    try:
        connection.request("GET", f"/api/v1/{place}?" + urllib.parse.urlencode(words))
        answer = connection.getresponse()
        body = answer.read()
    except (ConnectionError, http.client.HTTPException, TimeoutError):
        return None
    finally:
        connection.close()
    assert answer.status != 400, f"{words}: {body}"
    return json.loads(body)["data"] if answer.status == 200 else None


@contextlib.contextmanager
def prometheus_server(host, surroundings, seconds, more=""):
    """A server that scrapes the host every so many seconds. Gives a function that asks it, see `answer_of`."""
    folder = surroundings.folder
    configuration = folder / "prometheus.yml"
    configuration.write_text(
        f"global: {{ scrape_interval: {seconds}s, evaluation_interval: {seconds}s }}\n"
        f"{more}"
        "scrape_configs:\n"
        "  - job_name: qorstat\n"
        f"    static_configs: [{{ targets: ['127.0.0.1:{host.port}'] }}]\n"
    )
    host.wait_for_batch()
    arguments = [
        program(surroundings, "prometheus"),
        f"--config.file={configuration}",
        f"--storage.tsdb.path={folder / 'data'}",
        "--web.listen-address=127.0.0.1:0",
    ]
    log_file = folder / "prometheus.log"
    with open(log_file, "w") as log, running(arguments, cwd=folder, stdout=log, stderr=log) as prometheus:

        def log_while_alive():
            ended = prometheus.poll() is not None
            text = log_file.read_text()
            assert not ended, f"Prometheus ended: {text}"
            return text

        def ask(place, **words):
            log_while_alive()
            return answer_of(port, place, **words)

        listening = re.compile(r'msg="Listening on" address=127\.0\.0\.1:(\d+)\n')
        port = int(wait_until("the port of Prometheus", lambda: listening.search(log_while_alive()))[1])
        yield ask


def series_of(ask, query):
    """The series of an answer, or None while there are none."""
    answer = ask("query", query=query)
    return answer["result"] or None if answer else None


def check_with_prometheus(host, surroundings):
    with prometheus_server(host, surroundings, 5) as ask:
        for query, expected in (
            ('qor_scalar_button_click_counted{key="com.ondre.zel.button.click.count"}', "4711"),
            ("qor_scalar_kiru_reset_counted", "-3"),
            ("qor_distribution_button_click_duration_count", "201"),
            ("qor_distribution_button_click_duration_sum", "16400"),
            ('qor_distribution_button_click_duration{quantile="0.5"}', "81.5"),
            ("qor_distribution_button_click_duration_sum / qor_distribution_button_click_duration_count > 81.59", None),
            ("qor_distribution_maximum", "100"),
            ('max_over_time(up{job="qorstat"}[1h])', "1"),
        ):
            if expected is None:
                expected = str(16400 / 201)
            series = wait_until(query, lambda query=query: series_of(ask, query))
            assert len(series) == 1, series
            answered = series[0]["value"][1]
            assert answered == expected, f"{query}: {answered}, not {expected}"
            print(f"{query} = {answered}")


# ---- queries of the examples

EXAMPLES = pathlib.Path(__file__).resolve().parents[3] / "examples"
ALERTS = EXAMPLES / "host-alerts.yml"

# What Grafana puts in the place of its variables.
VARIABLES = {"$instance": ".*", "$__rate_interval": "1m"}

# Of PromQL, without functions: these stand before a parenthesis, as these words may, too.
WORDS = {"and", "bool", "by", "group_left", "group_right", "ignoring", "offset", "on", "or", "unless", "without"}


def names_in(query):
    """The names of metrics in a query."""
    rest = re.sub(r'"[^"]*"', "", query)
    rest = re.sub(r"\{[^}]*\}|\[[^]]*\]|\b(?:by|ignoring|on|without)\s*\([^)]*\)|\b\d\w*", " ", rest)
    return set(re.findall(r"\b[A-Za-z_:][\w:]*\b(?!\s*\()", rest)) - WORDS


def dashboard_queries():
    """The queries of the panels, and those that fill the variables."""
    dashboard = json.loads((EXAMPLES / "host-dashboard.json").read_text())
    variables = dashboard["templating"]["list"]
    assert {"$" + variable["name"] for variable in variables} <= VARIABLES.keys(), variables
    labels = [re.fullmatch(r"label_values\((\w+), (\w+)\)", variable["query"]).groups() for variable in variables]
    queries = [f"count by ({label}) ({metric})" for metric, label in labels]
    for panel in dashboard["panels"]:
        for target in panel["targets"]:
            query = target["expr"]
            for variable, value in VARIABLES.items():
                query = query.replace(variable, value)
            assert "$" not in query, query
            queries.append(query)
    return queries


def check_queries(host, surroundings):
    """Every query is one, names metrics that are there, and those of the dashboard have an answer."""
    with prometheus_server(host, surroundings, 2, f"rule_files: ['{ALERTS}']\n") as ask:
        queries = dashboard_queries()
        for query in queries:
            assert names_in(query), query
            wait_until(query, lambda query=query: series_of(ask, query))

        def evaluated_rules():
            groups = (ask("rules") or {"groups": []})["groups"]
            rules = [rule for group in groups for rule in group["rules"]]
            return rules if rules and all(rule["health"] != "unknown" for rule in rules) else None

        rules = wait_until("the rules", evaluated_rules)
        for rule in rules:
            assert rule["health"] == "ok", rule
            names = names_in(rule["query"])
            assert names, rule
            wait_until(f"every metric of {names}", lambda names=names: names <= set(ask("label/__name__/values")) or None)
        assert len(rules) == ALERTS.read_text().count(" expr: "), rules
        # What is missed above shows here: nothing is the name of no metric.
        assert names_in("sum by (a) (rate(no_such{b=\"c\"}[5m])) / on (d) up offset 1h > 0.5") == {"no_such", "up"}
        print(f"{len(queries)} queries and {len(rules)} rules")


CHECKS = {
    "answers": check_answers,
    "idle": check_idle,
    "malformed": check_malformed,
    "end": check_end,
    "moved": check_moved,
    "memory": check_memory,
    "promtool": check_with_promtool,
    "prometheus": check_with_prometheus,
    "queries": check_queries,
}

# What the device publishes besides.
MORE = {"end": REPEATED, "moved": REPEATED, "queries": EVERYTHING}


def main(qorstat, device, programs, check, *arguments):
    with hosting(qorstat, device, MORE.get(check, "")) as (host, folder):
        CHECKS[check](host, Surroundings(folder, pathlib.Path(programs).resolve()), *arguments)


main(*sys.argv[1:])
