"""Writes analytics stores from their documented schema, without the program."""

import os
import sqlite3

APPLICATION_NUMBER = 0x514F5241

SCHEMA = """
CREATE TABLE distribution (key TEXT NOT NULL, value REAL NOT NULL, count INTEGER NOT NULL CHECK (count > 0), PRIMARY KEY (key, value)) STRICT, WITHOUT ROWID;
CREATE TABLE scalar (key TEXT NOT NULL PRIMARY KEY, value INTEGER NOT NULL) STRICT, WITHOUT ROWID;
"""


def write_store(path, scalars, distributions):
    """@param distributions: by key, counts by value"""
    assert not os.path.exists(path)
    connection = sqlite3.connect(path)
    connection.executescript(SCHEMA)
    connection.execute(f"PRAGMA application_id = {APPLICATION_NUMBER}")
    connection.execute("PRAGMA user_version = 1")
    connection.executemany("INSERT INTO scalar VALUES (?, ?)", scalars.items())
    connection.executemany(
        "INSERT INTO distribution VALUES (?, ?, ?)",
        ((key, float(value), count) for key, counts in distributions.items() for value, count in counts.items()),
    )
    connection.commit()
    connection.close()
