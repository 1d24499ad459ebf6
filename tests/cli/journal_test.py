#!/usr/bin/env python3
"""Tests the log of `qorstat run --journal` with a systemd journal of this test's own.

    journal_test.py QORSTAT DEVICE.toml

The journal runs in a mount namespace, with a /run of its own, so that the machine's journal is neither needed nor written to.
Ends with status 77 where there is no systemd-journald or no such namespace.
"""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import time

JOURNALD = pathlib.Path("/lib/systemd/systemd-journald")
INSIDE = "QOR_JOURNAL_TEST"
PATIENCE_SECONDS = 120

BATCH = """
[[analytics]]
device = "qor"
entry = [{ operation = "set_scalar", key = "com.ondre.zel.button.click.count", value = 4711 }]
"""


def enter_namespace():
    """Runs this script again where it may mount, or ends."""
    spaces = ["unshare", "--mount", "--user", "--map-root-user"]
    if not JOURNALD.exists() or subprocess.run([*spaces, "true"], check=False, stderr=subprocess.DEVNULL).returncode != 0:
        print("there is no systemd-journald, or a user may have no namespaces")
        sys.exit(77)
    os.environ[INSIDE] = "1"
    os.execvp(spaces[0], [*spaces, sys.executable, *sys.argv])


def wait_until(what, condition):
    end = time.monotonic() + PATIENCE_SECONDS
    while time.monotonic() < end:
        if found := condition():
            return found
        time.sleep(0.05)
    raise AssertionError(f"not within {PATIENCE_SECONDS} seconds: {what}")


@contextlib.contextmanager
def running(command):
    process = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    try:
        yield process
    finally:
        process.terminate()
        process.wait()


def entries(*matches):
    """The journal's entries that have all these fields."""
    lines = subprocess.run(["journalctl", "--directory=/run/log/journal", "--output=json", *matches], check=True,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.splitlines()
    return [json.loads(line) for line in lines]


def fields(entry):
    """What the host has sent of an entry. The rest is the journal's own."""
    return {name: value for name, value in entry.items() if not name.startswith("_") and name != "SYSLOG_TIMESTAMP"}


def check(qorstat, device):
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
    for folder in ("/run/systemd/journal", "/run/log/journal"):
        os.makedirs(folder)
    description = pathlib.Path("/run/device.toml")
    description.write_text(pathlib.Path(device).read_text() + BATCH)
    with contextlib.ExitStack() as processes:
        processes.enter_context(running([JOURNALD]))
        wait_until("the journal's socket", pathlib.Path("/run/systemd/journal/socket").exists)
        os.environ["XDG_RUNTIME_DIR"] = "/run"
        host = processes.enter_context(running([qorstat, "run", description, "--store", ":memory:", "--journal"]))
        found = wait_until("the message of the analytics entry", lambda: entries("QOR_LEVEL=error", "QOR_DEVICE=small"))
        expected = {
            "MESSAGE": "publishTBData op=0x2 'com.ondre.zel.button.click.count' (0)",
            "PRIORITY": "3",
            "SYSLOG_IDENTIFIER": "ZEL:OndreQORHIDStatistics",
            "QOR_SUBSYSTEM": "ZEL",
            "QOR_CATEGORY": "OndreQORHIDStatistics",
            "QOR_LEVEL": "error",
            "QOR_DEVICE": "small",
        }
        assert [fields(entry) for entry in found] == [expected], found
        host.send_signal(signal.SIGTERM)
        assert host.wait() == 0, host.returncode


if os.environ.pop(INSIDE, None) is None:
    enter_namespace()
check(*sys.argv[1:])
