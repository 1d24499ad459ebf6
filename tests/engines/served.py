"""ClickHouse over HTTP: the current one, and that of Debian."""

import contextlib
import subprocess
import urllib.error
import urllib.request

from engines import HERE, Failure, run


class Server:
    """The current engine, that of build/engines, behind a URL."""

    def __init__(self, folder):
        folder.mkdir()
        self.process = subprocess.Popen(["node", HERE / "serve.cjs", folder], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        encoding="utf-8")
        self.url = self.process.stdout.readline().strip()
        if not self.url:
            raise Failure("the server ended")

    def ask(self, question):
        """The rows, each a list of texts."""
        try:
            with urllib.request.urlopen(urllib.request.Request(self.url, question.encode())) as answer:
                return [line.split("\t") for line in answer.read().decode().splitlines()]
        except urllib.error.HTTPError as error:
            raise Failure(f"{error.read().decode()} in {question}") from error

    def stop(self):
        self.process.stdin.close()
        self.process.wait()


@contextlib.contextmanager
def served(folder):
    """The URL of the current engine."""
    server = Server(folder)
    try:
        yield server.url
    finally:
        server.stop()


@contextlib.contextmanager
def debian_served(script, folder):
    """The URL of a server of scripts/clickhouse."""
    url = run([script, "start", "--folder", folder]).decode().strip()
    try:
        yield url
    finally:
        run([script, "stop", "--folder", folder, "--kill"])
