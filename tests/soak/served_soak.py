#!/usr/bin/env python3
"""Floods a host with notifications while its metrics are scraped and its device publishes. Its memory must not grow.

    served_soak.py QORSTAT DEVICE.toml SECONDS

Begins with 100,000 scrapes alone, and compares the memory after them with that after ten. Then it prints a line after
every tenth of the time.
"""

import contextlib
import http.client
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time

FAULT = b"com.ondre.ondreqorhidstatistics.fault"
BATCH = """
[[analytics]]
device = "qor"
every = 0.02
entry = [
    { operation = "add_to_scalar", key = "com.ondre.zel.test", value = 1 },
    { operation = "push", times = 9, key = "com.ondre.zel.button.click.duration", value = 81.5 },
]
"""

# After the first tenth of the time, for what the C library's allocator and the server's threads touch late.
GROWTH_ALLOWED_KIB = 2048
READINGS = 10

FEW_SCRAPES = 10
MANY_SCRAPES = 100_000
# Between these two each of the server's 64 threads, of which a scrape takes any, touches its stack and the allocator.
GROWTH_ALLOWED_BY_SCRAPES_KIB = 64 * 128


class Flood(threading.Thread):
    """Calls `work` again and again, and counts how often it did."""

    def __init__(self, work):
        super().__init__(daemon=True)
        self.work = work
        self.done = 0
        self.is_over = False
        self.start()

    def run(self):
        while not self.is_over:
            self.done += self.work()

    def stop(self):
        self.is_over = True
        self.join()


def scrape(port):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
    connection.request("GET", "/metrics")
    body = connection.getresponse().read()
    connection.close()
    return 1 if b"qor_store_readable 1\n" in body else 0


def notify(sender):
    """Waits while the receiver's buffer is full."""
    sender.send(FAULT)
    return 1


def anonymous_memory(process):
    """In KiB."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(r"^RssAnon:\s+(\d+) kB$", status, re.M)[1])


def port_of(process, log):
    while process.poll() is None:
        text = log.read_text()
        if "\nhosting " in text:
            return int(re.search(r"metrics at http://127\.0\.0\.1:(\d+)/metrics\n", text)[1])
        time.sleep(0.1)
    sys.exit(f"the host ended: {log.read_text()}")


def scrape_many_times(process, port, log):
    """Whether every scrape had an answer and the memory stayed flat."""
    good = sum(scrape(port) for _ in range(FEW_SCRAPES))
    after_few = anonymous_memory(process)
    for _ in range(FEW_SCRAPES, MANY_SCRAPES):
        good += scrape(port)
        os.truncate(log, 0)
    growth = anonymous_memory(process) - after_few
    is_flat = growth <= GROWTH_ALLOWED_BY_SCRAPES_KIB
    print(f"memory grew by {growth} KiB from {FEW_SCRAPES} scrapes to {MANY_SCRAPES}, {good} of them answered; "
          f"{GROWTH_ALLOWED_BY_SCRAPES_KIB} are allowed: " + ("flat" if is_flat else "NOT FLAT"), flush=True)
    return is_flat and good == MANY_SCRAPES


def soak(qorstat, device, seconds, folder):
    description = folder / "device.toml"
    description.write_text(pathlib.Path(device).read_text() + BATCH)
    arguments = [qorstat, "run", description, "--store", folder / "store.db", "--listen", "0"]
    log = folder / "log"
    environment = {**os.environ, "XDG_RUNTIME_DIR": str(folder)}
    with open(log, "ab") as messages, subprocess.Popen(arguments, env=environment, stderr=messages) as process:
        try:
            port = port_of(process, log)
            sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            sender.connect(str(folder / "qor-notifications" / f"{process.pid}.socket"))
            scrapes_are_flat = scrape_many_times(process, port, log)
            floods = [Flood(lambda: scrape(port)), Flood(lambda: notify(sender))]
            readings = []
            print(f"{'seconds':>8} {'scrapes':>10} {'notifications':>14} {'KiB':>10}")
            begin = time.monotonic()
            for reading in range(1, READINGS + 1):
                time.sleep(max(0.0, begin + seconds * reading / READINGS - time.monotonic()))
                os.truncate(log, 0)
                readings.append(anonymous_memory(process))
                scrapes, notifications = (flood.done for flood in floods)
                print(f"{time.monotonic() - begin:8.0f} {scrapes:10} {notifications:14} {readings[-1]:10}", flush=True)
            for flood in floods:
                flood.stop()
        finally:
            process.terminate()
    growth = max(readings) - readings[0]
    is_flat = growth <= GROWTH_ALLOWED_KIB
    print(f"memory grew by {growth} KiB after the first reading; {GROWTH_ALLOWED_KIB} are allowed: " +
          ("flat" if is_flat else "NOT FLAT"))
    if process.returncode != 0:
        print(f"the host ENDED with {process.returncode}")
    did_everything = all(flood.done > 0 for flood in floods)
    if not did_everything:
        print("SOMETHING was never done")
    return scrapes_are_flat and is_flat and did_everything and process.returncode == 0


def main(qorstat, device, seconds):
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        return 0 if soak(qorstat, device, int(seconds), folder) else 1


sys.exit(main(*sys.argv[1:]))
