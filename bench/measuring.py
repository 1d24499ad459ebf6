"""Runs programs on chosen cores and measures their time and memory."""

import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

ALL_CORES = os.sched_getaffinity(0)


def start(command, cores, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL):
    """Starts a program on these cores: it inherits them from this script."""
    os.sched_setaffinity(0, cores)
    try:
        return subprocess.Popen(command, stdin=stdin, stdout=stdout)
    finally:
        os.sched_setaffinity(0, ALL_CORES)


def finish(process):
    """Waits for a program. Returns the seconds of processor time that it took, user and system."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{pathlib.Path(sys.argv[0]).name}: {' '.join(process.args)} failed")
    return usage.ru_utime + usage.ru_stime


def measure(command, cores, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL):
    """Seconds by the clock and of processor time."""
    begin = time.monotonic()
    taken = finish(start(command, cores, stdin, stdout))
    return time.monotonic() - begin, taken


def peak_memory(command, cores, stdin=subprocess.DEVNULL):
    """In MiB, as last read while the process runs: the figure that wait reports includes this script, which it was forked from."""
    process = start(command, cores, stdin)
    peak = 0
    while process.poll() is None:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        peak = int(found[1]) / 1024 if (found := re.search(r"VmHWM:\s*(\d+) kB", status)) else peak
        time.sleep(0.001)
    return peak


def spread(values, form):
    return f"{statistics.median(values):{form}} ({min(values):{form}} to {max(values):{form}})"
