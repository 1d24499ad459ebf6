"""Recordings that the tests of pages make byte by byte: dumps and stores."""

import sqlite3
import struct

# Category, component, event, type.
FUNCTION = (0, 1, 0, 5)
EXT_FUNCTION = (0, 4, 0, 9)
WAKE_REQUEST = (10, 0, 1, 13)
WAKE_EVENT = (10, 0, 2, 3)
TICK = (5, 0, 0, 3)

HOSTILE = "</script><img src=x onerror=alert(1)><b>&amp;"


def report(ids, number, time, payload=b""):
    """The 48 bytes of a report. @param time  in microseconds of firmware time."""
    category, component, event, kind = ids
    return struct.pack("<BBBBIQ32s", kind, event, component, category, number, time, payload)


def function(number, time, duration, name, thread=1):
    """A report of a function that ended. @param name  an id, or at most 16 bytes of text."""
    if isinstance(name, int):
        return report(FUNCTION, number, time, struct.pack("<6I", name, 0, thread, duration, 0, duration))
    return report(EXT_FUNCTION, number, time, struct.pack("<4I16s", 1, thread, duration, 0, name))


def wake(number, time, reason, is_event=False):
    return report(WAKE_EVENT if is_event else WAKE_REQUEST, number, time, struct.pack("<I", reason))


def write_store(path, scalars, distributions):
    """@param scalars  by key. @param distributions  by key, each a count by value."""
    with sqlite3.connect(path) as store:
        store.execute("PRAGMA application_id = 0x514F5241")
        store.execute("PRAGMA user_version = 1")
        store.execute("CREATE TABLE key (id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE) STRICT")
        store.execute(
            "CREATE TABLE scalar (key INTEGER PRIMARY KEY REFERENCES key (id), value INTEGER NOT NULL) STRICT"
        )
        store.execute(
            "CREATE TABLE distribution (key INTEGER NOT NULL REFERENCES key (id), value REAL NOT NULL, count INTEGER NOT NULL "
            "CHECK (count > 0), PRIMARY KEY (key, value)) STRICT, WITHOUT ROWID"
        )
        keys = {key: number for number, key in enumerate(sorted({*scalars, *distributions}), 1)}
        store.executemany("INSERT INTO key VALUES (?, ?)", [(number, key) for key, number in keys.items()])
        store.executemany("INSERT INTO scalar VALUES (?, ?)", [(keys[key], value) for key, value in scalars.items()])
        rows = [(keys[key], value, count) for key, counts in distributions.items() for value, count in counts.items()]
        store.executemany("INSERT INTO distribution VALUES (?, ?, ?)", rows)
    store.close()


def nearest_rank(counts, percent):
    """The percentile of a count by value, by sorting all values."""
    values = sorted(value for value, count in counts.items() for _ in range(count))
    return values[-(-percent * len(values) // 100) - 1]
