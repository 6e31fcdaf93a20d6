"""Paradox tables from outside: every kind of source into them and they into every kind, the sample tables in every
write mode; an independent checker reads what was written.

Run by ctest as: paradox_road_test.py KELVORIN SOURCE_FOLDER SAMPLES
"""

import contextlib
import csv
import decimal
import io
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

KELVORIN, ROOT, SAMPLES = sys.argv[1:4]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "437"}
CHECKER = pathlib.Path(SAMPLES).parent / "tools/pxoracle.py"
if CHECKER.exists():
    sys.path.insert(0, str(CHECKER.parent))
    sys.dont_write_bytecode = True
    import pxoracle
else:
    print("left out: the independent checker is not there", file=sys.stderr)
FIELDS = ["ID:Long", "NAME:Text:40", "AMT:Currency", "RATIO:Double", "DAY:Date", "OK:Boolean", "NOTE:Memo"]
TEXT_LAYOUT = ["--format", "delimited", "--separators", "comma", "--delimiter", "double", "--record-separator", "crlf",
               "--quoted-line-ends", "yes"]


def run(*words, check=0, password=""):
    done = subprocess.run([str(w) for w in words], capture_output=True, timeout=300, check=False,
                          env={**ENVIRONMENT, "KELVORIN_PASSWORD": password, "KELVORIN_SOURCE_PASSWORD": password})
    if done.returncode != check:
        raise AssertionError(f"{words}: status {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout.decode()


def rows_of(text):
    return list(csv.reader(io.StringIO(text, newline="")))


def checker(*words, password=""):
    """Runs the independent checker where it is there."""
    if not CHECKER.exists():
        return
    said = io.StringIO()
    with contextlib.redirect_stdout(said):
        status = pxoracle.main([*map(str, words), *(["-p", password] if password else [])])
    if status:
        raise AssertionError(f"{words}: {said.getvalue()[-2000:]}")


def dump(database, table, password=""):
    # A blank line is a row whose only cell is empty.
    return [row or [""] for row in rows_of(run(KELVORIN, "dump", database, table, password=password))[1:]]


def table_file(folder, table):
    return next(p for p in folder.iterdir() if p.name.lower() == f"{table}.db".lower())


def by_value(rows):
    """Numbers by value; truth values, which the server writes in its own way, by their word."""
    def cell(text, field):
        if field == 5:
            return {"t": "True", "1": "True", "f": "False", "0": "False"}.get(text, text)
        try:
            return decimal.Decimal(text)
        except decimal.InvalidOperation:
            return text
    return [[cell(text, field) for field, text in enumerate(row)] for row in rows]


class ParadoxRoad(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-paradox-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.random = random.Random(12)

    def write_csv(self, name, rows):
        path = self.folder / name
        text = io.StringIO()
        csv.writer(text).writerows(rows)
        path.write_text(text.getvalue(), encoding="utf-8", newline="")
        return path

    def put(self, source, into, table, *more, imported=None, password=""):
        told = json.loads(run(KELVORIN, "import", *source, "--into", into, "--table", table, *more, "--json",
                              password=password))
        self.assertEqual(told["rejected"], 0)
        if imported is not None:
            self.assertEqual(told["imported"], imported)
        return told

    def assert_sound(self, folder, table, password=""):
        run(KELVORIN, "check", f"Paradox5:{folder}", table, password=password)
        checker("check", "-s", table_file(folder, table), password=password)

    def records(self, first, count, memo=3000):
        """Ascending keys; each tenth record has nothing but its key."""
        rows = []
        for number in range(first, first + count):
            if number % 10 == 0:
                rows.append([str(number)] + [""] * 6)
                continue
            note = "né " * self.random.randrange(1, memo // 3)
            rows.append([str(number), f"Name \"{number}\", é", f"{self.random.randrange(-10**7, 10**7) / 100:g}",
                         f"{self.random.randrange(-10**6, 10**6) / 8}", f"19{number % 90 + 10}-02-{number % 28 + 1:02d}",
                         ["True", "False"][number % 2], note.strip()])
        return rows

    # --- Sources into Paradox, and back. A source is its words for `import`.

    def text_source(self, rows):
        return [self.write_csv("src.csv", rows), *TEXT_LAYOUT]

    def table_source(self, kind, where, *more):
        def source(rows):
            run(KELVORIN, "create", f"{kind}:{where}", "SRC", *FIELDS, *more)
            self.put(self.text_source(rows), f"{kind}:{where}", "SRC", "--map-in-order")
            return [f"{kind}:{where}", "--source-table", "SRC"]
        return source

    server = ()

    def postgres(self):
        """A private server's connect text and a function that runs SQL on it, or nothing."""
        if ParadoxRoad.server == ():
            ParadoxRoad.server = self.start_postgres()
        return ParadoxRoad.server

    def start_postgres(self):
        if "KELVORIN_NO_ODBC" in os.environ:
            return None
        folder = pathlib.Path(tempfile.mkdtemp(prefix="kv-pg-"))
        self.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        script = pathlib.Path(ROOT) / "tests/servers/postgres.sh"
        started = subprocess.run(["bash", script, "start", folder / "pg"], capture_output=True, text=True, check=False)
        if started.returncode != 0:
            print(f"left out: {started.stderr.strip()}", file=sys.stderr)
            return None
        self.addClassCleanup(subprocess.run, ["bash", script, "stop", folder / "pg"], capture_output=True)
        port = started.stdout.split()[-1]
        psql = ["psql", "-h", "127.0.0.1", "-p", port, "-U", "kv", "-d", "imp", "-qAt", "--csv", "-c"]
        connect = f"ODBC:DRIVER=PostgreSQL Unicode;Servername=127.0.0.1;Port={port};Database=imp;UID=kv"
        return connect, lambda sql: rows_of(run(*psql, sql))

    SERVER_TABLE = ("(id integer, name varchar(40), amt numeric(10,2), ratio double precision, day date, ok boolean, "
                    "note text)")

    def postgres_source(self, rows):
        connect, sql = self.postgres()
        sql(f"drop table if exists src; create table src {self.SERVER_TABLE}")
        path = self.write_csv("pg.csv", rows)
        path.chmod(0o644)
        self.folder.chmod(0o755)
        sql(f"copy src from '{path}' csv")
        return [connect, "--source-table", "src"]

    def test_every_source_lands_in_every_version(self):
        sources = {"text": self.text_source, "Access": self.table_source("Access", self.folder / "src.mdb"),
                   "FoxPro": self.table_source("FOXPRO26", self.folder / "fox")}
        if self.postgres():
            sources["PostgreSQL"] = self.postgres_source
        rows = self.records(1, 120, memo=240)  # version 3 holds memos as texts
        for name, source_of in sources.items():
            source = source_of(rows)
            # Access and FoxPro know no unknown truth, and FoxPro no number without value.
            expected = dump(source[0], "SRC") if name in ("Access", "FoxPro") else rows
            for version in (3, 4, 5):
                with self.subTest(f"{name} into Paradox {version}"):
                    where = f"Paradox{version}:{self.folder}/{name}{version}"
                    run(KELVORIN, "create", where, "T", *FIELDS, "--primary", "ID")
                    self.put(source, where, "T", "--map-in-order", imported=120)
                    self.put(source, where, "N", "--create", imported=120)
                    for table in "TN":
                        self.assert_sound(self.folder / f"{name}{version}", table)
                        stored = dump(where, table)
                        self.assertEqual(by_value(stored), by_value(expected))

    def test_a_table_with_memos_lands_in_every_kind(self):
        rows = self.records(1, 150)
        self.random.shuffle(rows)  # the primary key puts them in order again
        folder = self.folder / "from"
        run(KELVORIN, "create", f"Paradox5:{folder}", "T", *FIELDS, "--primary", "ID")
        self.put(self.text_source(rows), f"Paradox5:{folder}", "T", "--map-in-order", imported=150)
        rows.sort(key=lambda row: int(row[0]))
        source = [f"Paradox5:{folder}", "--source-table", "T"]
        out = self.folder / "out"
        targets = {f"{kind}:{out}/{kind}{end}": None for kind, end in
                   (("Access", ".mdb"), ("DBase4", ""), ("FOXPRO26", ""), ("FOXPRO30", ""), ("Paradox4", ""))}
        out.mkdir()
        if self.postgres():
            targets[self.postgres()[0]] = "select * from copied order by 1"
            self.postgres()[1](f"drop table if exists copied; create table copied {self.SERVER_TABLE}")
        for target, sql in targets.items():
            with self.subTest(target):
                self.put(source, target, "copied", "--map-in-order" if sql else "--create", imported=150)
                stored = self.postgres()[1](sql) if sql else dump(target, "copied")
                expected = rows
                if target.startswith(("Access", "DBase", "FOXPRO")):  # of which some know no unknown truth
                    expected = [[*row[:5], row[5] or kept[5], row[6]] for row, kept in zip(rows, stored)]
                    self.assertLessEqual({row[5] for row in stored}, {"True", "False", ""})
                self.assertEqual(by_value(stored), by_value(expected))
                if target.startswith("Paradox"):
                    self.assert_sound(out / "Paradox4", "copied")
                    self.assertIn("primary", run(KELVORIN, "fields", target, "copied"))

    def test_a_copy_keeps_types_and_indexes(self):
        folder = self.folder / "kept"
        fields = ["N:Numeric:12:3", "D:Date", "T:Time", "TXT:Text:17", "S:Integer", "L:Long", "M:Memo", "OK:Boolean",
                  "CUR:Currency"]
        run(KELVORIN, "create", f"Paradox5:{folder}", "A", *fields, "--primary", "TXT,S", "--index", "BYDAY=D,L")
        self.put([f"Paradox5:{folder}", "--source-table", "A"], f"Paradox5:{folder}", "B", "--create")
        heads = [json.loads(run(KELVORIN, "fields", f"Paradox5:{folder}", table, "--json")) for table in "AB"]
        for key in ("fields", "indexes"):
            self.assertEqual(heads[0][key], heads[1][key])
        types = [table_file(folder, table).read_bytes()[0x78:0x78 + 2 * len(fields)] for table in "AB"]
        self.assertEqual(*types)
        self.assert_sound(folder, "B")

    # --- Beside others, in batch, and what a value loses

    def test_a_second_process(self):
        """One writes alone, many read; lock files that somebody left never stand in the way."""
        folder = self.folder / "shared"
        where = f"Paradox5:{folder}"
        run(KELVORIN, "create", where, "T", "ID:Long", "NAME:Text:40", "--primary", "ID", "--index", "NAME=NAME")
        for name, size in (("PARADOX.LCK", 110), ("PDOXUSRS.LCK", 1024), ("PDOXUSRS.NET", 13030), ("T.LCK", 0)):
            (folder / name).write_bytes(b"\x23" * size)
        words = ["--into", where, "--table", "T", "--map-in-order", *TEXT_LAYOUT]
        one = self.write_csv("one.csv", [["900", "other"]])

        def others(*words):
            done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True, env=ENVIRONMENT,
                                  timeout=60, check=False)
            return done.returncode, done.stdout + done.stderr

        def wait_until(holds):
            deadline = time.monotonic() + 60
            while not holds():
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.01)

        many = self.write_csv("many.csv", [[n * 7919 % 20000, f"name {n}"] for n in range(20000)])
        writer = subprocess.Popen([KELVORIN, "import", many, *words], stdout=subprocess.PIPE, env=ENVIRONMENT)
        self.addCleanup(writer.kill)
        wait_until((folder / "T.DB-journal").exists)  # a look at the table would shut it out
        writer.send_signal(signal.SIGSTOP)
        for held in (["dump", where, "T"], ["import", one, *words], ["reindex", where, "T"]):
            status, said = others(*held)
            self.assertEqual((status, "in use elsewhere" in said), (3, True), (held, said))
        writer.send_signal(signal.SIGCONT)
        self.assertIn(b"20000 imported", writer.communicate(timeout=120)[0])
        self.assertEqual(writer.returncode, 0)

        # A reader that is held up by its pipe: others read, nobody writes.
        reader = subprocess.Popen([KELVORIN, "dump", where, "T"], stdout=subprocess.PIPE, env=ENVIRONMENT)
        self.assertTrue(reader.stdout.readline().startswith(b"ID,NAME"))
        self.assertEqual(others("dump", where, "T")[0], 0)
        status, said = others("import", one, *words)
        self.assertEqual((status, "in use elsewhere" in said), (3, True), said)
        self.assertEqual(len(reader.stdout.readlines()), 20000)
        self.assertEqual(others("import", one, *words)[1].split(",")[1], " 0 imported")  # its key is there
        self.put([self.write_csv("new.csv", [["20000", "new"]])], *words[1::2][:2], *words[4:], imported=1)
        self.assert_sound(folder, "T")
        self.assertEqual(dump(where, "T")[-2:], [["19999", "name %d" % next(n for n in range(20000) if n * 7919 % 20000 == 19999)], ["20000", "new"]])
        self.assertEqual((folder / "PDOXUSRS.LCK").read_bytes(), b"\x23" * 1024)

    def test_batch(self):
        """A saved job, run as a host does, into a table under a password; what it refuses is told."""
        folder = self.folder / "b"
        where = f"Paradox5:{folder}"
        run(KELVORIN, "create", where, "T", *FIELDS, "--primary", "ID", password="geheim")
        rows = self.records(1, 60)
        self.put(self.text_source(rows[:40]), where, "T", "--map-in-order", "--save-as", "Job", "--ini",
                 self.folder / "j.ini", imported=40, password="geheim")
        batch = ["batch", "Job", f"IniFile={self.folder / 'j.ini'}", f"DataBaseName={folder}", "ConnectString=Paradox5",
                 "TableName=T", f"ImportTable={self.write_csv('all.csv', rows)}", "--json"]
        told = json.loads(run(KELVORIN, *batch, "Password=geheim", check=1))
        self.assertEqual((told["imported"], told["rejected"]), (20, 40))
        self.assertEqual(by_value(dump(where, "T", "geheim")), by_value(rows))
        self.assert_sound(folder, "T", "geheim")
        told = json.loads(run(KELVORIN, *batch, "Password=Geheim", check=3))
        self.assertIn("password", told["fatal"])

    def test_what_a_value_loses_is_told(self):
        """Counted with the first case, or under --exact an error of the record alone."""
        fields = ["ID:Integer", "D:Date", "C:Currency", "T:Text:4", "B:Boolean", "Y:Binary:4"]
        lossless = ["1", "2001-02-03", "1.25", "ab", "True", ""]
        cases = {3: {"D": "2001-02-03 04:05:06", "T": "abcde", "C": "0.12345678901234567891"},
                 5: {"D": "2001-02-03 04:05:06.0007", "T": "a\u4e2d", "B": "0.5", "C": "0.12345678901234567891"}}
        refused = {"ID": "-32768", "D": "2001-02-30", "C": "much"}
        for version, losing in cases.items():
            where = f"Paradox{version}:{self.folder}/x{version}"
            names = [field.split(":")[0] for field in (fields if version == 5 else fields[:-1])]
            rows = [lossless[:len(names)]]
            for name, value in [*losing.items(), *refused.items()]:
                rows.append([value if at == name else cell for at, cell in zip(names, lossless)])
            for exact in (False, True):
                table = f"E{int(exact)}"
                run(KELVORIN, "create", where, table, *fields[:len(names)])
                told = json.loads(run(KELVORIN, "import", *self.text_source(rows), "--into", where, "--table", table,
                                      "--map-in-order", "--json", *["--exact"] * exact, check=1))
                with self.subTest(version=version, exact=exact):
                    self.assertEqual(told["imported"], 1 if exact else 1 + len(losing), told)
                    self.assertEqual(told["rejected"], len(rows) - told["imported"])
                    self.assertEqual(told.get("changed_values", 0), 0 if exact else len(losing), told)
                    if not exact:
                        self.assertEqual(told["first_changed"], {"line": 2, "field": "D", "was": losing["D"],
                                                                 "is": losing["D"][:19 if version == 5 else 10]})
                    self.assertEqual(len(dump(where, table)), told["imported"])

    # --- The sample tables in every write mode

    PASSWORDS = {"encrypted": "123", "encrypted35": "123", "V4ENC": "geheim"}

    def test_samples_in_every_write_mode(self):
        tables = sorted(p for p in pathlib.Path(SAMPLES, "paradox").glob("*/*") if p.suffix.lower() == ".db")
        if not tables:
            self.skipTest("no sample tables")
        for path in tables:
            with self.subTest(path.stem):
                self.write_modes(path)

    def made_up(self, kind, number):
        return {"Text": f"T{number:03}", "Memo": "m" * 40 * number, "Date": f"2001-02-{number % 28 + 1:02}",
                "Boolean": "True"}.get(kind, str(number))

    def own_copy(self, path, folder, where, keyed, fields, password):
        """From the sample itself, so that values are not texts in between; it holds the same again each time."""
        source = [f"Paradox5:{path.parent}", "--source-table", path.stem]
        if any(f["auto_increment"] or "Binary" in f["type"] for f in fields):  # neither can be imported
            return
        for options in (["--empty-target"], ["--update"], ["--index", "PrimaryKey", "--key-lookup"] if keyed else
                        ["--update", "--append-if-eof"]):
            told = self.put(source, where, path.stem, "--map-by-name", *options, password=password)
            self.assertEqual(told.get("changed_values", 0), 0)
            self.assert_sound(folder, path.stem, password)
            checker("diff", path, table_file(folder, path.stem), password=password)

    def write_modes(self, path):
        name, password = path.stem, self.PASSWORDS.get(path.stem, "")
        folder = self.folder / name
        folder.mkdir()
        for file in path.parent.iterdir():
            if file.stem.lower() == name.lower() and file.suffix != ".csv":
                shutil.copy(file, folder)
        where = f"Paradox5:{folder}"
        described = json.loads(run(KELVORIN, "fields", where, name, "--json", password=password))
        self.assertEqual(described["updatable"], True)
        fields = described["fields"]
        keys = [part[1:] for index in described["indexes"] if index["primary"] for part in index["fields"].split(";")]
        given = [i for i, f in enumerate(fields) if not f["auto_increment"] and "Binary" not in f["type"]]
        whole = dump(where, name, password) or [[self.made_up(f["type"], n) for f in fields] for n in range(1, 30)]
        # Line ends within texts are a matter of the text source.
        given = [i for i in given if not any("\n" in row[i] for row in whole)]
        others = [i for i in given if fields[i]["name"] not in keys]

        def put(rows, columns, *options):
            names = [fields[i]["name"] for i in columns]
            source = self.write_csv("rows.csv", [names] + [[row[i] for i in columns] for row in rows])
            told = self.put([source, *TEXT_LAYOUT, "--start-line", "2"], where, name, "--map-by-name", *options,
                            imported=len(rows), password=password)
            self.assert_sound(folder, name, password)
            return told

        def expect(rows):
            stored = dump(where, name, password)
            self.assertEqual([[row[i] for i in given] for row in stored], [[row[i] for i in given] for row in rows])

        self.own_copy(path, folder, where, bool(keys), fields, password)
        if not given:
            return
        half = whole[:(len(whole) + 1) // 2]
        put(half, given, "--empty-target")
        expect(half)
        put(whole[len(half):], given)
        expect(whole)
        if others:
            turned = whole[1:] + whole[:1]
            mixed = [[turned[n][i] if i in others else cell for i, cell in enumerate(row)]
                     for n, row in enumerate(whole)]
            put(mixed, others, "--update")
            expect(mixed)
            if keys and set(keys) <= {fields[i]["name"] for i in given}:
                shuffled = self.random.sample(whole, len(whole))
                put(shuffled, given, "--index", "PrimaryKey", "--key-lookup")
                expect(whole)
        put(half, given, "--empty-target")
        put(whole, given, "--update", "--append-if-eof")
        expect(whole)
        texts = [i for i in others if fields[i]["type"] in ("Text", "Memo")]
        if texts:
            put([["+"] * len(fields) for _ in whole], texts[:1], "--update", "--append-fields")
            size = fields[texts[0]]["size"] or 10**9
            expect([[(c + "+")[:size] if i == texts[0] else c for i, c in enumerate(row)] for row in whole])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]], warnings="ignore")
