"""Random imports into real servers against a loader that knows nothing but the bare driver.

The loader sends one INSERT a record through the driver manager and keeps what the driver says. The
program must leave the same rows, refuse the same lines with the same texts, count the same and end
with the status that this means.

Run by ctest once for each server as: servers_compare_test.py KELVORIN SOURCE_FOLDER SERVER
KELVORIN_RANDOM_RUNS sets how many (40), KELVORIN_FIRST_RUN which is the first (1).
Answers 77 when the server or a driver is missing.
"""

import contextlib
import csv
import ctypes
import ctypes.util
import json
import os
import random
import re
import sqlite3
import subprocess
import sys
import threading

from server_place import KELVORIN, SERVER, SKIPPED, Place

FIELDS = ["id", "name", "amount", "born", "note", "parent"]
NUMBERS = ("id", "amount", "parent")
NOTES = ["", "O'Neil", 'a\\b"c{d},\'e', "ä€ 😀", "? ; -- /* # $1 :x", "NULL", "x" * 3000]
TAIL = "Error while executing the query"


class Driver:
    """The few calls of the driver manager that a statement takes."""

    def __init__(self, connect):
        self.odbc = ctypes.CDLL(ctypes.util.find_library("odbc"))
        self.environment, self.connection = ctypes.c_void_p(), ctypes.c_void_p()
        self.odbc.SQLAllocHandle(1, None, ctypes.byref(self.environment))
        self.odbc.SQLSetEnvAttr(self.environment, 200, ctypes.c_void_p(3), 0)
        self.odbc.SQLAllocHandle(2, self.environment, ctypes.byref(self.connection))
        text = connect.encode()
        done = self.odbc.SQLDriverConnect(self.connection, None, text, ctypes.c_short(len(text)), None, 0, None, 0)
        if done not in (0, 1):
            raise AssertionError(self.said(2, self.connection))

    def said(self, kind, handle):
        text, length, number = ctypes.create_string_buffer(8192), ctypes.c_short(), ctypes.c_int()
        state = ctypes.create_string_buffer(6)
        self.odbc.SQLGetDiagRec(kind, handle, 1, state, ctypes.byref(number), text, 8192, ctypes.byref(length))
        return plain(text.value.decode(errors="replace"))

    def run(self, sql):
        """Nothing when it went well, else what the driver said."""
        statement = ctypes.c_void_p()
        self.odbc.SQLAllocHandle(3, self.connection, ctypes.byref(statement))
        text = sql.encode()
        done = self.odbc.SQLExecDirect(statement, text, len(text))
        why = None if done in (0, 1, 100) else self.said(3, statement)
        self.odbc.SQLFreeHandle(3, statement)
        return why

    def close(self):
        self.odbc.SQLDisconnect(self.connection)
        self.odbc.SQLFreeHandle(2, self.connection)
        self.odbc.SQLFreeHandle(1, self.environment)


def plain(text):
    words = " ".join(text.split())
    if SERVER == "sqlite":  # its driver says the number twice
        words = re.sub(r" \(\d+\)$", "", words)
    return words.removesuffix(TAIL).rstrip(" ;") if words.endswith(TAIL) else words


def literal(field, value):
    if value is None:
        return "NULL"
    return value if field in NUMBERS else "'" + value.replace("'", "''") + "'"


# --- What tables are like: the end of the list of columns, what follows it, and statements behind

CHECKS = "CHECK (amount < 1000), CHECK (note <> 'NULL')"
KEYS = ["", ", PRIMARY KEY (id)", ", UNIQUE (id)", ", UNIQUE (id, name)"]


def trigger(rng):
    when, what = rng.choice(["BEFORE", "AFTER"]), rng.choice(["raise", "log", "change"])
    if SERVER == "sqlite":
        kind = rng.choice(["ABORT, 'no'", "ROLLBACK, 'no'", "FAIL, 'no'", "IGNORE"])
        body = {"raise": f"SELECT RAISE({kind}) WHERE new.parent = 2",
                "log": "INSERT INTO log SELECT count(*) FROM target",
                "change": "DELETE FROM target WHERE id = new.id - 40"}[what]
        return [f"CREATE TRIGGER watch {when} INSERT ON target BEGIN {body}; END"]
    if SERVER == "postgres":
        body = {"raise": "IF new.parent = 2 THEN RAISE EXCEPTION 'no % here', new.id USING ERRCODE = "
                         + rng.choice(["'disk_full'", "'check_violation'", "'P0001'"]) + "; END IF;",
                "log": "INSERT INTO log SELECT count(*) FROM target;",
                "change": rng.choice(["IF (SELECT count(*) FROM target) % 7 = 3 THEN RETURN NULL; END IF;",
                                      "DELETE FROM target WHERE id = new.id - 20;"])}[what]
        return ["CREATE OR REPLACE FUNCTION watch() RETURNS trigger LANGUAGE plpgsql "
                f"{rng.choice(['', 'STABLE']) if what == 'raise' else ''} AS $$BEGIN {body} RETURN new; END$$",
                f"CREATE TRIGGER watch {when} INSERT ON target FOR EACH ROW EXECUTE FUNCTION watch()"]
    body = {"raise": "IF new.parent = 2 THEN SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT = 'no'; END IF",
            "log": "INSERT INTO log SELECT count(*) FROM parent",
            "change": "SET @last = new.id" if when == "AFTER" else "SET new.note = concat(new.note, '!')"}[what]
    return [f"CREATE TRIGGER watch {when} INSERT ON target FOR EACH ROW BEGIN {body}; END"]


def shape(rng):
    """The statements that make the table, and whether foreign keys of SQLite are on."""
    key = rng.choice(KEYS)
    kind = rng.choice(["plain", "trigger", "conflict", "deferred", "parts", "itself"])
    tail, extra, after = "", CHECKS, []
    reference = f", FOREIGN KEY (parent) REFERENCES {'target' if kind == 'itself' else 'parent'} (id)"
    if kind == "itself":
        key = KEYS[1]
    if kind == "trigger":
        after = trigger(rng)
    if kind == "conflict":
        if SERVER == "sqlite":
            key = f", UNIQUE (id) ON CONFLICT {rng.choice(['REPLACE', 'IGNORE', 'ROLLBACK', 'FAIL'])}"
        elif SERVER == "postgres":
            after = [rng.choice(["CREATE RULE r AS ON INSERT TO target WHERE new.parent = 2 DO INSTEAD NOTHING",
                                 "CREATE UNIQUE INDEX i ON target (lower(name)) WHERE parent = 1"])]
        else:
            tail = f" ENGINE={rng.choice(['Aria', 'MyISAM', 'InnoDB'])}"
            reference = ""
    if kind == "deferred" and SERVER != "mariadb":
        reference += " DEFERRABLE INITIALLY DEFERRED"
        if SERVER == "postgres":
            key += rng.choice(["", " DEFERRABLE INITIALLY DEFERRED"]) if key else ""
    if kind == "parts":
        if SERVER == "postgres":
            tail = " PARTITION BY RANGE (id)"
            after = ["CREATE TABLE low PARTITION OF target FOR VALUES FROM (0) TO (60)",
                     "CREATE TABLE high PARTITION OF target FOR VALUES FROM (60) TO (150)"]
        elif SERVER == "mariadb":
            reference = ""
            key = KEYS[1]
            tail = " PARTITION BY RANGE (id) (PARTITION low VALUES LESS THAN (60), PARTITION high VALUES LESS THAN (150))"
    columns = "id INTEGER, name VARCHAR(20) NOT NULL, amount DECIMAL(10,2), born DATE, note TEXT, parent INTEGER"
    if SERVER == "mariadb" and "ENGINE" not in tail:
        tail = " ENGINE=InnoDB" + rng.choice(["", " COLLATE utf8mb4_bin"]) + tail
    return kind, [f"CREATE TABLE target ({columns}, {extra}{key}{reference}){tail}", *after], rng.random() < 0.6


def records(rng):
    rate = rng.choice([0, 0.01, 0.05, 0.2, 0.9])
    made = []
    for i in range(1, 1 + (rng.randrange(1500) if rng.random() < 0.15 else rng.randrange(220))):
        row = {"id": str(i), "name": f"name {rng.randrange(1000)}", "amount": f"{rng.randrange(999)}.25",
               "born": f"2024-02-{10 + rng.randrange(19)}", "note": rng.choice(NOTES), "parent": str(rng.randrange(1, 4))}
        for field in ("amount", "born", "parent"):
            if rng.random() < 0.2:
                row[field] = None
        if row["note"] == "NULL":
            row["note"] = "null"
        if rng.random() < rate:
            row.update(rng.choice([{"id": str(rng.randrange(1, i + 2))}, {"amount": "1000.50"}, {"note": "NULL"},
                                   {"parent": "77"}, {"name": None}, {"id": None}]))
        made.append(row)
    return made


# --- Both ways

class Compared:
    def __init__(self, place):
        self.place = place
        self.file = place.folder / "records.csv"
        self.rejects = place.folder / "rejects.csv"

    def connect(self, keys_on):
        return self.place.connect + (f";SyncPragma=OFF;FKSupport={int(keys_on)}" if SERVER == "sqlite" else "")

    def make(self, statements):
        drops = "DROP TABLE IF EXISTS target; DROP TABLE IF EXISTS log; DROP TABLE IF EXISTS parent;"
        tail = " ENGINE=InnoDB" if SERVER == "mariadb" else ""
        start = (f"{drops} CREATE TABLE parent (id INTEGER PRIMARY KEY){tail}; INSERT INTO parent VALUES (1),(2),(3);"
                 "CREATE TABLE log (n INTEGER);")
        if SERVER == "mariadb":  # its shell would end a trigger's body at the first semicolon
            self.place.sql(start)
            for statement in statements:
                self.place.sql(f"DELIMITER //\n{statement} //\n")
        else:
            self.place.sql(start + ";".join(statements) + ";")

    def rows(self):
        cells = {"sqlite": "quote({})", "postgres": "coalesce({}::text, '~')", "mariadb": "ifnull(hex({}),'~')"}[SERVER]
        cast = ",".join(cells.format(field) for field in FIELDS)
        return sorted(self.place.sql(f"SELECT {cast} FROM target").splitlines()), self.place.sql("SELECT n FROM log")

    def naively(self, made, keys_on, setup, stop_at):
        driver = Driver(self.connect(keys_on) + (";BoolsAsChar=1;Protocol=7.4-2" if SERVER == "postgres" else "")
                        + (";CHARSET=utf8mb4" if SERVER == "mariadb" else ""))
        for sql in setup:
            driver.run(sql)
        refused, stored = {}, 0
        for number, row in enumerate(made, 2):
            why = driver.run(f"INSERT INTO target ({','.join(FIELDS)}) VALUES ("
                             + ",".join(literal(f, row[f]) for f in FIELDS) + ")")
            stored += why is None
            if why is not None:
                refused[number] = why
                if len(refused) == stop_at:
                    break
        driver.close()
        return refused, stored

    def by_program(self, keys_on, stop_at):
        words = [KELVORIN, "import", self.file, "--into", f"ODBC:{self.connect(keys_on)}", "--table", "target",
                 "--separators", "comma", "--delimiter", "double", "--start-line", "2", "--null", "~", "--reject", self.rejects, "--json"]
        words += ["--limit-errors", str(stop_at)] if stop_at else []
        done = subprocess.run([str(w) for w in words], capture_output=True, text=True, timeout=120, check=False,
                              env=self.place.environment)
        if not done.stdout.startswith("{"):
            raise AssertionError(done.stdout + done.stderr)
        with open(f"{self.rejects}.reasons", newline="", encoding="utf-8") as file:
            refused = {int(line): plain(why) for line, _, _, why in list(csv.reader(file))[1:]}
        return refused, json.loads(done.stdout), done.returncode

    def run(self, seed):
        rng = random.Random(f"{SERVER} {seed}")
        kind, statements, keys_on = shape(rng)
        made = records(rng)
        stop_at = rng.choice([0, 0, 0, 1, 3])
        locked = rng.random() < 0.1
        with open(self.file, "w", newline="", encoding="utf-8") as file:
            out = csv.writer(file, lineterminator="\n")
            out.writerow(FIELDS)
            out.writerows(["~" if row[f] is None else row[f] for f in FIELDS] for row in made)
        setup = ["SET time_zone='+00:00'",
                 "SET sql_mode='STRICT_ALL_TABLES,NO_AUTO_VALUE_ON_ZERO,NO_BACKSLASH_ESCAPES'"] if SERVER == "mariadb" else []
        self.make(statements)
        expected, stored = self.naively(made, keys_on, setup, stop_at)
        rows = self.rows()
        self.make(statements)
        with self.lock() if locked else contextlib.nullcontext():
            refused, outcome, status = self.by_program(keys_on, stop_at)
        what = f"seed {seed}, {kind}, {statements}"
        assert self.rows() == rows, f"{what}: rows {len(self.rows()[0])} for {len(rows[0])}"
        assert refused == expected, f"{what}: {refused}\nfor\n{expected}"
        assert (outcome["imported"], outcome["rejected"]) == (stored, len(expected)), f"{what}: {outcome}"
        assert outcome["fatal"] is None and status == (1 if expected else 0), f"{what}: {status} {outcome}"
        return kind, bool(expected)

    @contextlib.contextmanager
    def lock(self):
        """Somebody else holds the table for a third of a second."""
        if SERVER == "sqlite":
            other = sqlite3.connect(self.place.file, check_same_thread=False, isolation_level=None)
            other.execute("BEGIN IMMEDIATE")
            end = lambda: (other.execute("ROLLBACK"), other.close())
        else:
            other = Driver(self.place.connect)
            if SERVER == "postgres":
                other.run("BEGIN; LOCK TABLE target IN EXCLUSIVE MODE")
                end = lambda: (other.run("ROLLBACK"), other.close())
            else:
                other.run("LOCK TABLES target READ")
                end = lambda: (other.run("UNLOCK TABLES"), other.close())
        timer = threading.Timer(0.3, end)
        timer.start()
        yield
        timer.join()


def main():
    place = Place()
    os.environ.update(place.environment)  # for the driver manager in this process
    try:
        if place.why_not or not ctypes.util.find_library("odbc"):
            print(f"skipped: not here: {place.why_not or 'libodbc'}", file=sys.stderr)
            return SKIPPED
        compared = Compared(place)
        first, runs = (int(os.environ.get(name, default)) for name, default in
                       (("KELVORIN_FIRST_RUN", 1), ("KELVORIN_RANDOM_RUNS", 40)))
        with_errors, differences = 0, 0
        for seed in range(first, first + runs):
            try:
                with_errors += compared.run(seed)[1]
            except AssertionError as error:
                differences += 1
                print(str(error)[:3000], file=sys.stderr)
        print(f"{runs} runs, {with_errors} with refused records, {differences} with differences")
        return 1 if differences or with_errors * 4 < runs else 0
    finally:
        place.close()


sys.exit(main())
