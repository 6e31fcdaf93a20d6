"""The command line against real servers: what it imports, the servers' own programs read back equal.

Run by ctest once for each server as: servers_road_test.py KELVORIN SOURCE_FOLDER SERVER
Answers 77 when the server, a driver or a file to import is missing.
"""

import csv
import datetime
import decimal
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

KELVORIN, ROOT, SERVER = sys.argv[1:4]
OUI = pathlib.Path("/usr/share/ieee-data/oui.csv")
UNICODE_DATA = pathlib.Path("/usr/share/unicode/UnicodeData.txt")
DRIVERS = {"sqlite": "libsqlite3odbc.so", "postgres": "psqlodbcw.so", "mariadb": "libmaodbc.so"}
SKIPPED = 77


def output(*words, check=True, **options):
    done = subprocess.run([*map(str, words)], capture_output=True, timeout=300, **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{words}: status {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout.decode()


class Place:
    """The server under test, in a folder of its own."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvs"))
        self.folder.chmod(0o755)
        (self.folder / "odbcinst.ini").write_text(f"[Driver]\nDriver={DRIVERS[SERVER]}\n")
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850",
                            "ODBCSYSINI": str(self.folder), "ODBCINI": str(self.folder / "none")}
        self.script = f"{ROOT}/tests/servers/{SERVER}.sh"
        self.why_not = ""
        if SERVER == "sqlite":
            self.file = self.folder / "t.sqlite"
            self.file.touch()
            self.port = ""
            self.connect = f"DRIVER=Driver;Database={self.file}"
            return
        started = subprocess.run(["bash", self.script, "start", self.folder / "s"], capture_output=True,
                                 text=True, check=False)
        if started.returncode != 0:
            self.why_not = started.stderr.strip() or "no reason given"
            return
        self.port = started.stdout.split()[-1]
        user = "kv" if SERVER == "postgres" else "root"
        self.connect = (f"DRIVER=Driver;Servername=127.0.0.1;Server=127.0.0.1;Port={self.port};"
                        f"Database=imp;UID={user}")

    def close(self):
        if SERVER != "sqlite":
            subprocess.run(["bash", self.script, "stop", self.folder / "s"], check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    def sql(self, text):
        words = {"sqlite": ["sqlite3", "-json", getattr(self, "file", "")],
                 "postgres": ["psql", "-h", "127.0.0.1", "-U", "kv", "-d", "imp", "-qAt", "-v", "ON_ERROR_STOP=1"],
                 "mariadb": ["mariadb", "--no-defaults", "--batch", "--skip-column-names", "-h", "127.0.0.1",
                             "-u", "root", "--default-character-set=utf8mb4", "imp"]}[SERVER]
        port = {"postgres": ["-p"], "mariadb": ["-P"]}.get(SERVER, [])
        return output(*words, *port, *[self.port] * len(port), input=text.encode())

    def rows(self, table):
        """All rows; Null is None. SQLite and MariaDB hand them out in the order in which they were stored."""
        if SERVER == "sqlite":
            text = self.sql(f'SELECT * FROM "{table}" ORDER BY rowid')
            return [[None if v is None else str(v) for v in row.values()] for row in json.loads(text)]
        if SERVER == "postgres":
            text = self.sql(f'COPY "{table}" TO STDOUT (FORMAT csv, NULL \'<null>\')')
            return [[None if cell == "<null>" else cell for cell in row]
                    for row in csv.reader(io.StringIO(text, newline=""))]
        columns = [line.split("\t")[0] for line in self.sql(f"SHOW COLUMNS FROM `{table}`").splitlines()]
        cells = ",".join(f"IFNULL(HEX(CONCAT(`{c}`)),'-')" for c in columns)
        return [[None if cell == "-" else bytes.fromhex(cell).decode() for cell in line.split("\t")]
                for line in self.sql(f"SELECT {cells} FROM `{table}`").split("\n")[:-1]]

    def kelvorin_import(self, *words):
        return json.loads(output(KELVORIN, "import", *words, "--json", env=self.environment))


class ServersRoad(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-servers-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.target = f"ODBC:{place.connect}"

    def assert_rows(self, stored, expected):
        self.assertEqual(len(stored), len(expected))
        if SERVER == "postgres":  # later rows fill gaps in earlier pages
            stored, expected = (sorted(rows, key=str) for rows in (stored, expected))
        for got, wanted in zip(stored, expected):
            if got != wanted:
                self.fail(f"{wanted!r} became {got!r}")

    def kelvorin(self, *words, status=0, **environment):
        done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True, timeout=120, check=False,
                              env={**place.environment, **environment})
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def test_a_table_is_not_imported_into_itself(self):
        place.sql("CREATE TABLE itself (id INTEGER PRIMARY KEY, t VARCHAR(20))")
        place.sql("INSERT INTO itself VALUES (1,'a'),(2,'b')")
        place.sql("CREATE TABLE another (id INTEGER, t VARCHAR(20))")
        place.sql("INSERT INTO another VALUES (7,'x')")
        place.sql("CREATE VIEW inner_view AS SELECT id + 100 AS id, t FROM itself")
        place.sql("CREATE VIEW outer_view AS SELECT v.id, a.t FROM another a, inner_view v")
        name = self.folder / "ini" / "odbc.ini"
        name.parent.mkdir()
        # the drivers have names of their own for the user in a data source
        keys = place.connect.replace("DRIVER=", "Driver=").replace("UID=", "Username=", SERVER == "postgres")
        keys = keys.replace(";", "\n")
        name.write_text(f"[Other]\n{keys}\n")
        for source in (self.target, "ODBC:Other"):
            said = self.kelvorin("import", source, "--source-table", "itself", "--into", self.target, "--table",
                                 "itself", "--empty-target", status=3, ODBCINI=str(name))
            self.assertIn("same table", said)
        for view, empty in (("inner_view", []), ("outer_view", ["--empty-target"])):
            self.assertIn("same table", self.kelvorin("import", "ODBC:Other", "--source-table", view, "--into",
                                                      self.target, "--table", "itself", *empty, status=3,
                                                      ODBCINI=str(name)))
        self.assertEqual(len(place.rows("itself")), 2)
        self.kelvorin("import", self.target, "--source-table", "outer_view", "--into", self.target, "--table",
                      "third", "--create", status=0)
        self.assertEqual(sorted(row[0] for row in place.rows("third")), ["101", "102"])

    def test_passwords_stay_off_the_command_line(self):
        if SERVER != "mariadb":
            self.skipTest("the other servers ask for none here")
        place.sql("CREATE USER guarded@'%' IDENTIFIED BY 's;e}c r%'; GRANT ALL ON imp.* TO guarded@'%'")
        target = self.target.replace("UID=root", "UID=guarded")
        (self.folder / "secret").write_text("s;e}c r%\n")
        (self.folder / "wrong").write_text("another\n")
        self.kelvorin("tables", target, status=3)
        self.kelvorin("tables", target, "--password-file", self.folder / "wrong", status=3)
        self.kelvorin("tables", target, "--password-file", self.folder / "secret")
        self.kelvorin("tables", target, KELVORIN_PASSWORD="s;e}c r%")
        place.sql("CREATE TABLE guarded (id INTEGER)")
        (self.folder / "one.csv").write_text("id\n1\n")
        ini = self.folder / "jobs.ini"
        self.kelvorin("import", target, "--source-table", "guarded", "--source-password-file",
                      self.folder / "secret", "--into", f"DBase3:{self.folder}", "--table", "copy", "--create",
                      "--save-as", "Job", "--ini", ini)
        shown = self.kelvorin("settings", "show", "Job", "--ini", ini)
        self.assertIn("UID=guarded", shown)
        self.assertNotIn("s;e", shown)

    def test_registered_makers(self):
        with open(OUI, newline="", encoding="utf-8") as file:
            rows = list(csv.reader(file))
        outcome = place.kelvorin_import(OUI, "--into", self.target, "--table", "OUI", "--create",
                                        "--start-line", 2)
        self.assertEqual(outcome["imported"], len(rows) - 1)
        self.assert_rows(place.rows("OUI"), rows[1:])

    def test_characters_of_unicode(self):
        rows = [line.split(";") for line in UNICODE_DATA.read_text().splitlines()]
        outcome = place.kelvorin_import(UNICODE_DATA, "--into", self.target, "--table", "uni code's",
                                        "--create", "--map-in-order")
        self.assertEqual(outcome["imported"], len(rows))
        self.assert_rows(place.rows("uni code's"), rows)

    def test_dbase_table_with_memos(self):
        import dbf
        table = dbf.Table(str(self.folder / "people.dbf"),
                          "name C(20); born D; paid N(12,2); ok L; note M", dbf_type="db3", codepage="cp850")
        table.open(dbf.READ_WRITE)
        expected = []
        for i in range(500):
            note = f"note {i}: it's \\ long, {'ä€'[0] * (i % 70)}" + "x" * (i * 7 % 3000)
            born = datetime.date(1950, 1, 1) + datetime.timedelta(days=i * 37)
            paid = decimal.Decimal(i * 7919 % 100000) / 100
            table.append((f"Ørn {i}", born, paid, i % 2 == 0, note) if i % 10 else
                         (f"Null {i}", None, None, None, ""))
            yes, no = {"postgres": ("t", "f"), "mariadb": ("\x01", "\0")}.get(SERVER, ("1", "0"))
            expected.append([f"Ørn {i}", born.isoformat(), paid, yes if i % 2 == 0 else no, note] if i % 10
                            else [f"Null {i}", None, None, None, None])
        table.close()
        outcome = place.kelvorin_import(f"DBase3:{self.folder}", "--source-table", "people", "--into",
                                        self.target, "--table", "people", "--create")
        self.assertEqual(outcome["imported"], 500)
        stored = place.rows("people")
        for row in stored:
            row[0] = row[0].rstrip(" ")
            row[1] = row[1] and row[1].removesuffix(".000").removesuffix(" 00:00:00")
            row[2] = row[2] and decimal.Decimal(row[2])
            row[4] = row[4] or None
        self.assert_rows(stored, expected)

    def test_table_into_foxpro(self):
        import dbfread
        place.sql("CREATE TABLE source (id INTEGER PRIMARY KEY, name VARCHAR(30), paid NUMERIC(10,2), "
                  "born DATE, note TEXT)")
        expected = []
        values = []
        for i in range(1, 400):
            row = [i, f"Zoë {i}", decimal.Decimal(i * 12345 % 9999999) / 100,
                   datetime.date(1960, 1, 1) + datetime.timedelta(days=i * 31), "naïve " * (i % 200) or None]
            if i % 9 == 0:
                row[2:] = [None, None, None]
            expected.append(row)
            values.append("(" + ",".join("NULL" if v is None else str(v) if i in (0, 2) else f"'{v}'"
                                         for i, v in enumerate(row)) + ")")
        place.sql("INSERT INTO source VALUES " + ",".join(values))
        outcome = place.kelvorin_import(self.target, "--source-table", "source", "--into",
                                        f"FOXPRO26:{self.folder}", "--table", "COPY", "--create")
        self.assertEqual(outcome["imported"], len(expected))
        path = next(p for p in self.folder.iterdir() if p.name.upper() == "COPY.DBF")
        stored = [list(record.values()) for record in dbfread.DBF(str(path), encoding="cp850")]
        for row in stored:
            row[1] = row[1].rstrip(" ")
            row[2] = None if row[2] is None else decimal.Decimal(str(row[2]))
            row[4] = row[4] or None
        self.assert_rows(stored, expected)


place = Place()
try:
    missing = [str(p) for p in (OUI, UNICODE_DATA) if not p.exists()]
    reader = {"sqlite": "sqlite3", "postgres": "psql", "mariadb": "mariadb"}[SERVER]
    missing += [] if shutil.which(reader) else [reader]
    missing += [place.why_not] if place.why_not else []
    if missing:
        print("skipped: not here: " + ", ".join(missing), file=sys.stderr)
        sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
finally:
    place.close()
