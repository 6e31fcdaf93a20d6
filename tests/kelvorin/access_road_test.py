"""Access databases from outside: every kind of source into them in every write mode, they into every
other kind, and two programs that are not ours read each file as we do.

Run by ctest as: access_road_test.py KELVORIN ACCESS_TEST SOURCE_FOLDER SAMPLES BUILD_FOLDER
"""

import csv
import datetime
import decimal
import io
import json
import os
import pathlib
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest

KELVORIN, ACCESS_TEST, ROOT, SAMPLES, BUILD = sys.argv[1:6]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850"}
NO_ODBC = "KELVORIN_NO_ODBC" in os.environ
if NO_ODBC:
    print("left out: data sources, this build has no ODBC", file=sys.stderr)
CHECKER = pathlib.Path(SAMPLES).parent / "tools/jetcheck.py"
KEY_TABLE = pathlib.Path(SAMPLES).parent / "formats/jet-text-keys.tsv"
MDB_READER = "mdb-reader@3.2.0"
READER_FOLDER = pathlib.Path(BUILD) / "mdb-reader"
READER_SCRIPT = """
import fs from "node:fs";
import MDBReader from "mdb-reader";
const value = (v) => v instanceof Date ? v.toISOString() : v instanceof Uint8Array
  ? Buffer.from(v).toString("hex") : typeof v === "bigint" ? String(v) : v;
const reader = new MDBReader(fs.readFileSync(process.argv[2]),
                             process.argv[3] ? { password: process.argv[3] } : undefined);
const tables = {};
for (const name of reader.getTableNames()) {
  const table = reader.getTable(name);
  const names = table.getColumnNames();
  tables[name] = table.getData().map((row) => names.map((n) => value(row[n])));
}
process.stdout.write(JSON.stringify(tables));
"""
FIELDS = ["ID:Long", "NAME:Text:60", "AMT:Currency", "RATIO:Double", "DAY:Date", "OK:Boolean", "NOTE:Memo"]
COLUMNS = [text.split(":")[0] for text in FIELDS]


def run(*words, check=0, **more):
    done = subprocess.run([str(w) for w in words], capture_output=True, env=ENVIRONMENT, timeout=300, **more)
    if done.returncode != check:
        raise AssertionError(f"{words}: status {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout.decode()


def kelvorin(*words, check=0):
    return run(KELVORIN, *words, check=check)


def rows_of(text):
    return list(csv.reader(io.StringIO(text, newline="")))


def dump(database, table, *more):
    return rows_of(kelvorin("dump", database, table, *more))


def prepare_mdb_reader():
    """Installs the reader once per build folder; returns why it is not there, or nothing."""
    script = READER_FOLDER / "dump.mjs"
    if not (READER_FOLDER / "node_modules/mdb-reader").exists():
        if not (shutil.which("npm") and shutil.which("node")):
            return "mdb-reader: no npm or no node here"
        READER_FOLDER.mkdir(parents=True, exist_ok=True)
        (READER_FOLDER / "package.json").write_text("{}")
        try:
            done = subprocess.run(["npm", "install", "--prefix", READER_FOLDER, "--no-audit", "--no-fund",
                                   "--ignore-scripts", MDB_READER], capture_output=True, text=True, timeout=120)
        except subprocess.TimeoutExpired:
            return "mdb-reader: npm install took more than two minutes"
        if done.returncode != 0:
            return f"mdb-reader: {done.stderr[-300:]}"
    script.write_text(READER_SCRIPT)
    return ""


def plain(value, kind):
    """One value, the same for all readers. Null and the empty text are one."""
    if value is None or value == "":
        return ""
    if kind == "Boolean":
        return str(value) in ("1", "True", "TRUE", "true", "t")
    if kind in ("Byte", "Integer", "Long", "BigInt"):
        return int(value)
    if kind in ("Currency", "Decimal"):
        return decimal.Decimal(str(value)).normalize()
    if kind == "Single":
        return struct.unpack("<f", struct.pack("<f", float(value)))[0]
    if kind == "Double":
        return float(f"{float(value):.14g}")
    if kind == "Date":
        text = str(value).replace("T", " ").rstrip("Z")
        if len(text) == 10:
            text += " 00:00:00"
        whole, _, parts = text.partition(".")
        try:
            at = datetime.datetime.strptime(whole.zfill(19), "%Y-%m-%d %H:%M:%S")
        except ValueError:
            return text
        if parts and int(parts[:3].ljust(3, "0")) >= 500:
            at += datetime.timedelta(seconds=1)
        return str(at)
    if kind == "GUID":
        text = str(value) if len(str(value)) < 60 else bytes.fromhex(value).decode()  # mdb-export -b hex
        return text.replace("-", "").strip("{}").upper()
    if kind in ("Binary", "LongBinary"):
        return str(value).upper()
    return str(value)


def question_marks(text):
    return "".join("??" if ord(c) > 0xFFFF else "?" if 0x80 <= ord(c) < 0xA0 else c for c in text)


def ends_at_zero(got, own):
    return own.startswith(got) and own[len(got):len(got) + 2] == "00"


# Faults of the readers, each seen to be theirs: (reader, types, whether this is it, what it is).
KNOWN_FAULTS = [
    ("mdb-export", "Text Memo", lambda got, own: got == question_marks(own),
     "no characters beyond U+FFFF (it converts from UCS-2), none of the five holes of code page 1252"),
    ("mdb-reader", "Text Memo", lambda got, own: got == question_marks(own).replace("?", "\ufffd"),
     "none of the five holes of code page 1252"),
    ("mdb-export", "Date", lambda got, own: own < "1900", "dates before 1900-01-01 become day 0 of 1900"),
    ("mdb-reader", "Date", lambda got, own: own < "1899-12-30 00:00:00" and not own.endswith("00:00:00"),
     "times of day before 1899-12-30 are counted backwards"),
    ("mdb-reader", "Memo LongBinary", lambda got, own: len(own) > 2000 and own.startswith(got),
     "it takes a row behind a deleted one for too long, and a value whose chain ends in such a row is cut"),
    ("mdb-export", "Binary", ends_at_zero, "a Binary value ends at its first zero byte"),
]


def is_known_fault(reader, kind, got, own):
    return any(reader == who and kind in kinds.split() and same(got, own) for who, kinds, same, _ in KNOWN_FAULTS)


class Readers:
    """The readers that are here. Each gives a table's rows as plain values."""

    def __init__(self):
        self.missing = []
        if not shutil.which("mdb-export"):
            self.missing.append("mdbtools (Debian: mdbtools)")
        self.no_mdb_reader = prepare_mdb_reader()
        if self.no_mdb_reader:
            self.missing.append(self.no_mdb_reader)
        for text in self.missing:
            print(f"left out: {text}", file=sys.stderr)
        self.has_mdbtools = shutil.which("mdb-export") is not None

    def mdb_export(self, path, table):
        text = run("mdb-export", "-b", "hex", "-T", "%Y-%m-%d %H:%M:%S", "-D", "%Y-%m-%d", path, table)
        return rows_of(text)[1:]

    def mdb_reader(self, path, password=""):
        return json.loads(run("node", READER_FOLDER / "dump.mjs", path, password))


class AccessRoad(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.readers = Readers()
        # As the system registers PostgreSQL's driver, it leaves a log file for every process in /tmp.
        registered = pathlib.Path("/etc/odbcinst.ini")
        if registered.exists():
            folder = tempfile.mkdtemp(prefix="kv-drivers-")
            cls.addClassCleanup(shutil.rmtree, folder)
            (pathlib.Path(folder) / "odbcinst.ini").write_text("\n".join(
                line for line in registered.read_text().splitlines() if not line.startswith("CommLog")))
            ENVIRONMENT["ODBCSYSINI"] = folder

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kv-access-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    # --- What is true of every file

    def assert_sound(self, path, password=""):
        more = ["--password", password] if password else []
        self.assertEqual(kelvorin("check", f"Access:{path}", *more), "no fault found\n")
        if CHECKER.exists():
            run(sys.executable, CHECKER, "check", path, "--keys", KEY_TABLE)

    def assert_read_alike(self, path, expected=None, password=""):
        """Both readers and we find the same in every table; `expected` are the rows of tables by name."""
        database, more = f"Access:{path}", ["--password", password] if password else []
        tables = [t["name"] for t in json.loads(kelvorin("tables", database, "--json", *more))
                  if t["attributes"] == 0]
        seen = {} if self.readers.no_mdb_reader else self.readers.mdb_reader(path, password)
        if self.readers.has_mdbtools:
            self.assertEqual(sorted(run("mdb-tables", "-1", path).split("\n")[:-1]), sorted(tables))
            schema = run("mdb-schema", "-N", "x", path)
            for table in tables:
                self.assertIn(f"CREATE TABLE [x_{table}]", schema)
        differences = []
        for table in tables:
            fields = json.loads(kelvorin("fields", database, table, "--json", *more))["fields"]
            kinds = [field["type"] for field in fields]
            ours = [[plain(v, k) for v, k in zip(row, kinds)] for row in dump(database, table, *more)[1:]]
            theirs = {}
            if self.readers.has_mdbtools:
                theirs["mdb-export"] = self.readers.mdb_export(path, table)
            if seen:
                theirs["mdb-reader"] = seen[table]
            if expected and table in expected:
                self.assertEqual(sorted(map(repr, ours)),
                                 sorted(repr([plain(v, k) for v, k in zip(row, kinds)])
                                        for row in expected[table]))
            for reader, rows in theirs.items():
                self.assertEqual(len(rows), len(ours), f"{reader} {path} {table}")
                rows = [[plain(value, kind) for value, kind in zip(row, kinds)] for row in rows]
                # A reader may come to the rows in another order; they are matched by what no fault changes.
                def order(row):
                    return [question_marks(repr(v))[:20] for v, k in zip(row, kinds) if k != "Date"]
                for number, (row, own) in enumerate(zip(sorted(rows, key=order), sorted(ours, key=order))):
                    for field, kind, got, wanted in zip(fields, kinds, row, own):
                        if got != wanted and not is_known_fault(reader, kind, got, wanted):
                            differences.append(f"{reader}: {path.name} {table} row {number} {field['name']} "
                                               f"({kind}): {str(got)[:200]!r}, we read {str(wanted)[:200]!r}")
        self.assertEqual(differences[:5], [], f"{len(differences)} differences")

    # --- Sources of the same records

    def new_records(self, first, count):
        """Records whose texts every kind of source can hold."""
        return [[str(i), f"Zoë no. {i}", f"{i}.25", f"{i}.5", f"2020-01-{i % 28 + 1:02d}",
                 "True" if i % 2 else "False", f"note {i} " + "n" * (i * 37 % 240)]
                for i in range(first, first + count)]

    def write_csv(self, name, records):
        path = self.folder / name
        with open(path, "w", newline="", encoding="utf-8") as file:
            csv.writer(file).writerows(records)
        return path

    def text_source(self, records):
        return [self.write_csv("source.csv", records)]

    def foxpro_source(self, records):
        folder = self.folder / "fox"
        kelvorin("create", f"FOXPRO26:{folder}", "SRC", "ID:Long", "NAME:Text:60", "AMT:Double:14:2",
                 "RATIO:Double:14:2", "DAY:Date", "OK:Boolean", "NOTE:Memo")
        kelvorin("import", self.write_csv("fox.csv", records), "--into", f"FOXPRO26:{folder}", "--table", "SRC",
                 "--map-in-order")
        return [f"FOXPRO26:{folder}", "--source-table", "SRC"]

    server = ()

    def postgres(self):
        """A private server's connect text and a function that runs SQL on it, or nothing."""
        if AccessRoad.server == ():
            AccessRoad.server = self.start_postgres()
        return AccessRoad.server

    def start_postgres(self):
        if NO_ODBC:
            return None
        folder = pathlib.Path(tempfile.mkdtemp(prefix="kv-pg-"))
        self.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        script = pathlib.Path(ROOT) / "tests/servers/postgres.sh"
        started = subprocess.run([script, "start", folder / "pg"], capture_output=True, text=True)
        if started.returncode != 0:
            print(f"left out: {started.stderr.strip()}", file=sys.stderr)
            return None
        self.addClassCleanup(subprocess.run, [script, "stop", folder / "pg"], capture_output=True)
        port = started.stdout.strip().split("\n")[-1]
        psql = ["psql", "-h", "127.0.0.1", "-p", port, "-U", "kv", "-d", "imp", "-qAt", "--csv", "-c"]
        connect = f"ODBC:DRIVER=PostgreSQL Unicode;Servername=127.0.0.1;Port={port};Database=imp;UID=kv"
        return connect, lambda sql: rows_of(run(*psql, sql))

    def fill_postgres(self, sql, records):
        sql("drop table if exists src; create table src(id integer, name varchar(60), amt numeric(10,2), "
            "ratio double precision, day date, ok boolean, note text)")
        path = self.write_csv("pg.csv", records)
        path.chmod(0o644)
        self.folder.chmod(0o755)
        sql(f"copy src from '{path}' csv")

    # --- The write modes

    MODES = {
        "append": [],
        "key lookup": ["--index", "PK", "--key-lookup"],
        "table order": ["--update"],
        "append at the end": ["--update", "--append-if-eof"],
        "append to fields": ["--update", "--append-fields", "--map", "NOTE=6"],
        "empty first": ["--empty-target"],
    }

    def after(self, mode, old, new):
        """What the target holds afterwards."""
        if mode == "append":
            return old + new
        if mode == "key lookup":
            by_key = {row[0]: row for row in new}
            return [by_key.get(row[0], row) for row in old]
        if mode == "table order":
            return new[:len(old)] + old[len(new):]
        if mode == "append at the end":
            return new + old[len(new):]
        if mode == "append to fields":
            return [row[:6] + [row[6] + new[i][6]] if i < len(new) else row for i, row in enumerate(old)]
        return new

    def land_everywhere(self, name, source_of):
        versions = {"j4": [], "j3": ["--access97"]}
        for mode, options in self.MODES.items():
            old = self.new_records(100, 30)
            first = 115 if mode == "key lookup" else 500  # half of the keys are there already, or none
            new = self.new_records(first, 40 if mode in ("key lookup", "append at the end") else 25)
            source = source_of(new)
            for version, more in versions.items():
                with self.subTest(f"{name}, {mode}, {version}"):
                    path = self.folder / f"{mode.replace(' ', '_')}_{version}.mdb"
                    path.unlink(missing_ok=True)
                    kelvorin("create", f"Access:{path}", "T", *FIELDS, "--index", "PK=ID", "--unique", *more)
                    kelvorin("create", f"Access:{path}", "Other", "A:Text:20")
                    into = ["--into", f"Access:{path}", "--table", "T"]
                    kelvorin("import", self.write_csv("old.csv", old), *into, "--map-in-order")
                    mapping = [] if "--map" in options else ["--map-in-order"]
                    told = json.loads(kelvorin("import", *source, *into, *mapping, *options, "--json"))
                    self.assertEqual(told["rejected"], 0)
                    self.assert_sound(path)
                    self.assert_read_alike(path, {"T": self.after(mode, old, new)})

    def test_text_lands_in_every_mode(self):
        self.land_everywhere("text", self.text_source)

    def test_foxpro_lands_in_every_mode(self):
        def source(records):
            shutil.rmtree(self.folder / "fox", ignore_errors=True)
            return self.foxpro_source(records)
        self.land_everywhere("FoxPro", source)

    def test_postgres_lands_in_every_mode(self):
        server = self.postgres()
        if server is None:
            self.skipTest("no PostgreSQL server can be started here")
        connect, sql = server

        def source(records):
            self.fill_postgres(sql, records)
            return [connect, "--source-table", "src"]
        self.land_everywhere("PostgreSQL", source)

    # --- Out of Access

    def test_access_lands_in_the_others(self):
        records = self.new_records(1, 200)
        for version in ([], ["--access97"]):
            path = self.folder / f"from{len(version)}.mdb"
            kelvorin("create", f"Access:{path}", "T", *FIELDS, *version)
            kelvorin("import", self.write_csv("r.csv", records), "--into", f"Access:{path}", "--table", "T",
                     "--map-in-order")
            source = [f"Access:{path}", "--source-table", "T"]
            for target, read in self.targets(path, len(version)):
                with self.subTest(f"{path.name} into {target}"):
                    told = json.loads(kelvorin("import", *source, "--into", target, "--table", "COPY", "--json",
                                               "--map-in-order" if target.startswith("ODBC") else "--create"))
                    self.assertEqual([told["imported"], told["rejected"]], [200, 0])
                    kinds = ["Long", "Text", "Currency", "Double", "Date", "Boolean", "Memo"]
                    stored = [[plain(v, k) for v, k in zip(row, kinds)] for row in read()]
                    self.assertEqual(stored, [[plain(v, k) for v, k in zip(row, kinds)] for row in records])

    # On a server the table is there already, so that its types are not ours.
    COPY_TABLE = ('create table "COPY"(id integer, name varchar(60), amt numeric(10,2), ratio double precision, '
                  "day date, ok boolean, note text)")

    def targets(self, path, number):
        import dbfread

        def dbf(folder):
            file = next(p for p in folder.iterdir() if p.suffix.lower() == ".dbf")
            # dbfread takes a dBASE IV memo's length, which counts its own 8 bytes, for that of the text.
            return [["" if v is None else str(v).rstrip("\0 ") for v in record.values()]
                    for record in dbfread.DBF(str(file), encoding="cp850")]
        for kind in ("DBase4", "FOXPRO26"):
            folder = self.folder / f"{kind}{number}"
            yield f"{kind}:{folder}", lambda folder=folder: dbf(folder)

        for copy in (path, self.folder / f"other{number}.mdb"):  # the same file, and another one
            def access(copy=copy):
                self.assert_sound(copy)
                self.assert_read_alike(copy)
                return dump(f"Access:{copy}", "COPY")[1:]
            yield f"Access:{copy}", access

        drivers = subprocess.run(["odbcinst", "-q", "-d"], capture_output=True, text=True).stdout
        if "SQLite3" in drivers and not NO_ODBC:
            lite = self.folder / f"lite{number}.db"
            with sqlite3.connect(lite) as connection:
                connection.execute(self.COPY_TABLE)
            yield (f"ODBC:DRIVER=SQLite3;Database={lite}",
                   lambda: sqlite3.connect(lite).execute('select * from "COPY"').fetchall())
        server = self.postgres()
        if server is not None:
            server[1]('drop table if exists "COPY"; ' + self.COPY_TABLE)
            yield server[0], lambda: server[1]('select * from "COPY" order by 1')

    def test_a_table_is_not_appended_to_itself(self):
        path = self.folder / "self.mdb"
        kelvorin("create", f"Access:{path}", "T", "A:Text:5")
        kelvorin("import", self.write_csv("s.csv", [["x"], ["y"]]), "--into", f"Access:{path}", "--table", "T",
                 "--map-in-order")
        link = self.folder / "link.mdb"
        link.symlink_to(path)
        for other in (path, f"{self.folder}/../{self.folder.name}/self.mdb", link):
            kelvorin("import", f"Access:{other}", "--source-table", "t", "--into", f"Access:{path}", "--table", "T",
                     "--map-in-order", check=3)
            self.assertEqual(len(dump(f"Access:{path}", "T")), 3)
        if not pathlib.Path(SAMPLES, "access").exists():
            self.skipTest("no samples with a linked table")
        for name in ("ace12-linked.accdb", "linkeeTest.accdb"):
            os.chmod(shutil.copy(pathlib.Path(SAMPLES, "access", name), self.folder), 0o644)
        home, linking = f"Access:{self.folder}/linkeeTest.accdb", f"Access:{self.folder}/ace12-linked.accdb"
        rows = dump(home, "Table1")
        for source, table, into, target in ((linking, "Table2", home, "Table1"), (home, "Table1", linking, "Table2")):
            kelvorin("import", source, "--source-table", table, "--into", into, "--table", target, "--map-in-order",
                     check=3)
            self.assertEqual(dump(home, "Table1"), rows)

    def schema_lines(self, table):
        """A table as the expected files write it, as far as the interface shows it."""
        def flag(on):
            return "true" if on else "false"
        for field in table["fields"]:
            decimal = field["type"] == "Decimal"
            size = 17 if decimal else field["size"]
            yield "\t".join(["field", field["name"], str(16 if decimal else field["code"]), str(size),
                             f"auto={flag(field['auto_increment'])}", f"zerolen={flag(field['allow_zero_length'])}",
                             f"required={flag(field['required'])}", f"scale={field['decimals']}"])
        for index in table["indexes"]:
            yield "\t".join(["index", index["name"], index["fields"], f"unique={flag(index['unique'])}",
                             f"primary={flag(index['primary'])}", f"ignorenull={flag(index['ignore_nulls'])}",
                             f"required={flag(index['required'])}"])

    def expected_schemas(self, path, wide):
        schemas = {}
        for line in path.read_text(encoding="utf-8").replace("=none", "=false").splitlines():
            words = [word for word in line.split("\t") if not word.startswith(("prec=", "foreign="))]
            if words[0] == "table":
                lines = schemas[words[1]] = [words[2]]
            elif not words[1].startswith("."):  # the far side of a relation
                if words[0] == "field" and words[2] == "10" and wide:
                    words[3] = str(int(words[3]) // 2)
                lines.append("\t".join(words))
        return schemas

    def test_samples_have_their_expected_tables_and_fields(self):
        samples = pathlib.Path(SAMPLES, "access")
        if not samples.exists():
            self.skipTest("no samples")
        for path in sorted(samples.glob("*.*db")):
            with self.subTest(path.name):
                more = ["--password", "password"] if path.stem == "j4-password" else []
                expected = samples / "expected" / path.stem
                tables = json.loads(kelvorin("tables", f"Access:{path}", "--json", *more))
                listed = [line.split("\t")[:2] for line in
                          (expected / "tables.tsv").read_text(encoding="utf-8").splitlines()[1:]]
                self.assertEqual(sorted([t["name"], f"{t['attributes'] & ~1:08x}"] for t in tables), listed)
                for name, lines in self.expected_schemas(expected / "schema.txt", path.stem[:2] != "j3").items():
                    table = json.loads(kelvorin("fields", f"Access:{path}", name, "--json", *more))
                    rows = len(dump(f"Access:{path}", name, *more)) - 1
                    self.assertEqual([str(rows), *self.schema_lines(table)], lines)

    @unittest.skipIf(os.geteuid() == 0 and not shutil.which("setpriv"), "no setpriv to become another account")
    def test_a_source_that_may_only_be_read(self):
        path = self.folder / "read.mdb"
        kelvorin("create", f"Access:{path}", "T", "A:Text:5")
        kelvorin("import", self.write_csv("s.csv", [["x"], ["y"]]), "--into", f"Access:{path}", "--table", "T",
                 "--map-in-order")
        path.chmod(0o444)
        self.folder.chmod(0o755)
        (self.folder / "out").mkdir(mode=0o777)
        (self.folder / "out").chmod(0o777)
        other = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] if os.geteuid() == 0 else []
        target = f"DBase4:{self.folder}/out"
        run(*other, KELVORIN, "import", f"Access:{path}", "--source-table", "T", "--into", target, "--table", "T",
            "--create")
        self.assertEqual(dump(target, "T")[1:], [["x"], ["y"]])

    # --- Files after long random work, and other programs' files that we wrote to

    def test_readers_agree_on_files_after_random_work(self):
        kept = self.folder / "kept"
        kept.mkdir()
        environment = {"KELVORIN_MODEL_STEPS": "300", **ENVIRONMENT, "KELVORIN_KEEP_FILES": str(kept)}
        subprocess.run([ACCESS_TEST, "-tc=random work*"], env=environment, check=True, capture_output=True)
        files = sorted(kept.iterdir())
        self.assertGreaterEqual(len(files), 2)
        for path in files:
            with self.subTest(path.name):
                password = "password" if "password" in path.name else ""
                self.assert_sound(path, password)
                self.assert_read_alike(path, password=password)


if __name__ == "__main__":
    AccessRoad.maxDiff = 2000
    unittest.main(argv=[sys.argv[0], *sys.argv[6:]])
