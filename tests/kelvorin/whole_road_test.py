"""The command line host from outside: imports real files, and other programs read them back.

Run by ctest as: whole_road_test.py KELVORIN BATCH_HOST SOURCE_FOLDER SAMPLES
"""

import csv
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

KELVORIN, BATCH_HOST, ROOT, SAMPLES = sys.argv[1:5]
OUI = pathlib.Path("/usr/share/ieee-data/oui.csv")
UNICODE_DATA = pathlib.Path("/usr/share/unicode/UnicodeData.txt")
KINDS = ["DBase3", "DBase4", "DBase5", "FOXPRO20", "FOXPRO25", "FOXPRO26", "FOXPRO30"]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850"}


def kelvorin(*words, check=None, cwd=None):
    done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True,
                          env=ENVIRONMENT, timeout=240, cwd=cwd)
    if check is not None and done.returncode != check:
        raise AssertionError(f"{words}: status {done.returncode}, expected {check}\n"
                             f"{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done


def dump(database, table):
    text = kelvorin("dump", database, table, check=0).stdout
    return list(csv.reader(io.StringIO(text, newline="")))


class WholeRoad(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-road-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def write(self, name, text):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def run_json(self, *words, check=0):
        return json.loads(kelvorin("import", *words, "--json", check=check).stdout)

    def test_customers_into_every_kind(self):
        source = pathlib.Path(ROOT) / "examples/data/customers.csv"
        with open(source, newline="", encoding="utf-8") as file:
            rows = list(csv.reader(file))
        for kind in KINDS:
            with self.subTest(kind):
                target = f"{kind}:{self.folder}/{kind}"
                outcome = self.run_json(source, "--into", target, "--table", "CUST", "--create",
                                        "--start-line", 2)
                self.assertEqual(outcome["read"], 8)
                self.assertEqual(outcome["imported"], 8)
                # Code page 850 has no r with caron; 1252 of FoxPro 3.0 neither.
                self.assertEqual(outcome.get("replaced_characters"), 1)
                stored = dump(target, "cust")
                expected = [[cell.replace("ř", "r") for cell in row] for row in rows[1:]]
                self.assertEqual(stored[1:], expected)
                self.assertEqual(stored[0], [name.upper() for name in rows[0]])

    def test_line_ends_in_quotes_come_through_and_can_be_refused(self):
        rows = [["name", "note"], ["a", "two\nlines; and \"quotes\""], ["b", ""]]
        text = io.StringIO(newline="")
        csv.writer(text, delimiter=";").writerows(rows)
        source = self.write("q.csv", text.getvalue().replace("two\n", "two\r\n"))
        target = f"Access:{self.folder}/q.mdb"
        self.run_json(source, "--into", target, "--table", "Q", "--create", "--start-line", 2,
                      "--save-as", "Q", "--ini", self.folder / "q.ini")
        self.assertEqual(dump(target, "Q"), rows)
        kelvorin("batch", "Q", f"IniFile={self.folder}/q.ini", f"DataBaseName={self.folder}/q.mdb",
                 "ConnectString=Access", "MultiTable=1", "tableName=Q", check=0)
        self.assertEqual(dump(target, "Q"), rows + rows[1:])
        outcome = self.run_json(source, "--into", target, "--table", "P", "--create",
                                "--start-line", 2, "--separators", ";", "--quoted-line-ends", "no")
        self.assertEqual(outcome["read"], 3)

    def test_typed_fields_and_rejected_records(self):
        target = f"DBase3:{self.folder}"
        kelvorin("create", target, "AMOUNTS", "ID:Long", "AMT:Double:12:2", "DAY:Date", "OK:Boolean",
                 "NAME:Text:5", check=0)
        source = self.write("a.csv", "1,12.345,2020-02-29,yes,abc\r\n"
                                     "2,oops,2020-03-01,no,def\r\n"
                                     "3,1,2020-02-30,no,ghi\r\n"
                                     "4,,,,toolong\r\n")
        reject = self.folder / "bad.csv"
        outcome = self.run_json(source, "--into", target, "--table", "AMOUNTS", "--map-in-order",
                                "--reject", reject, check=1)
        self.assertEqual([outcome[k] for k in ("read", "imported", "rejected", "skipped", "fatal")],
                         [4, 2, 2, 0, None])
        self.assertEqual(outcome["truncated_values"], 1)
        self.assertEqual(dump(target, "AMOUNTS")[1:],
                         [["1", "12.35", "2020-02-29", "True", "abc"], ["4", "", "", "", "toolo"]])
        self.assertEqual(reject.read_bytes(), b"2,oops,2020-03-01,no,def\r\n3,1,2020-02-30,no,ghi\r\n")
        reasons = pathlib.Path(f"{reject}.reasons").read_text()
        for part in ("AMT", "oops", "DAY", "2020-02-30"):
            self.assertIn(part, reasons)
        # The reject file is a text file like the first one.
        again = self.run_json(reject, "--into", target, "--table", "AMOUNTS", "--map", "ID=0,NAME=4")
        self.assertEqual(again["imported"], 2)

    def test_dry_run_changes_nothing(self):
        target = f"DBase3:{self.folder}"
        kelvorin("create", target, "T", "A:Text:5", check=0)
        before = (self.folder / "T.dbf").read_bytes() if (self.folder / "T.dbf").exists() \
            else (self.folder / "T.DBF").read_bytes()
        source = self.write("a.txt", "x\r\ny\r\n")
        outcome = self.run_json(source, "--into", target, "--table", "T", "--map-in-order",
                                "--dry-run", "--empty-target")
        self.assertEqual(outcome["imported"], 2)
        after = next(p for p in self.folder.iterdir() if p.name.upper() == "T.DBF").read_bytes()
        self.assertEqual(before, after)

    def test_exit_statuses(self):
        target = f"DBase3:{self.folder}"
        source = self.write("a.txt", "x\r\ny\r\n")
        for words in ([], ["import"], ["import", source, "--into", "nonsense", "--table", "T"],
                      ["import", source, "--into", target, "--table", "T", "--format", "xml"],
                      ["import", source, "--into", target, "--table", "T", "--breaks", "a"],
                      ["batch", "JOB", "NoSuchProperty=1"], ["create", target, "T", "A:Nothing"]):
            self.assertEqual(kelvorin(*words).returncode, 2, words)
        missing = kelvorin("import", self.folder / "none.txt", "--into", target, "--table", "T")
        self.assertEqual(missing.returncode, 3)
        self.assertIn("none.txt", missing.stderr)
        no_table = kelvorin("import", source, "--into", target, "--table", "T")
        self.assertEqual(no_table.returncode, 3)
        self.assertIn("Error in opening Table T", no_table.stderr)

    def test_settings_and_batch(self):
        ini = self.folder / "jobs.ini"
        target = f"FOXPRO26:{self.folder}"
        source = self.write("a.txt", "one;1\r\ntwo;2\r\n")
        self.run_json(source, "--into", target, "--table", "T", "--create", "--save-as", "Weekly",
                      "--ini", ini)
        self.assertEqual(kelvorin("settings", "list", "--ini", ini, check=0).stdout, "Weekly\n")
        shown = kelvorin("settings", "show", "weekly", "--ini", ini, check=0).stdout.splitlines()
        self.assertEqual(shown[:5], ["TypeFormat=0", "Delimiter=0", "Separator1=1",
                                     "nbSeparators=1", "RecSeparator=0"])
        for line in ("Field0=0", "Field1=1", f"SourceDBName={source}"):
            self.assertIn(line, shown)
        done = kelvorin("batch", "Weekly", f"IniFile={ini}", "ConnectString=FOXPRO26",
                        f"DataBaseName={self.folder}", "TableName=T", "--json", check=0)
        self.assertEqual(json.loads(done.stdout)["imported"], 2)
        self.assertEqual(len(dump(target, "T")), 5)
        kelvorin("settings", "delete", "Weekly", "--ini", ini, check=0)
        self.assertEqual(kelvorin("settings", "list", "--ini", ini, check=0).stdout, "")
        failed = kelvorin("batch", "Weekly", f"IniFile={ini}", "ConnectString=FOXPRO26",
                          "DataBaseName=/nonexistent/folder", "TableName=T")
        self.assertEqual(failed.returncode, 3)
        self.assertIn("Error in opening DataBase /nonexistent/folder", failed.stderr)

    def test_example_host(self):
        ini = self.folder / "jobs.ini"
        source = pathlib.Path(ROOT) / "examples/data/customers.csv"
        target = f"FOXPRO26:{self.folder}"
        self.run_json(source, "--into", target, "--table", "CUST", "--create", "--start-line", 2,
                      "--save-as", "Customers", "--ini", ini)
        ini.write_text(ini.read_text().replace("EmptyTarget=0", "EmptyTarget=1"))
        done = subprocess.run([BATCH_HOST, ini, "Customers", source, self.folder, "CUST"],
                              capture_output=True, text=True, env=ENVIRONMENT, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("imported 6, skipped 1", done.stdout)
        rows = dump(target, "CUST")[1:]
        self.assertEqual([row[0] for row in rows], ["10001", "10002", "10004", "10005", "10006", "10007"])
        self.assertEqual(rows[0][3], "UK")
        self.assertTrue(all(row[7] == "" for row in rows))

    def test_detect(self):
        source = self.write("f.txt", "AB  CD\nEF  GH\nIJ  KL\n")
        found = json.loads(kelvorin("detect", source, "--json", check=0).stdout)
        self.assertEqual([found[k] for k in ("TypeFormat", "RecSeparator", "separators", "breaks")],
                         [1, 2, "", [4, 32767]])
        self.assertEqual(found["lines"], ["AB  CD", "EF  GH", "IJ  KL"])

    def test_memo_table_from_dbase_to_foxpro_and_back(self):
        table = pathlib.Path(SAMPLES) / "xbase/db3.dbf"
        if not table.exists():
            self.skipTest(f"no sample files at {SAMPLES}")
        fox, back = f"FOXPRO26:{self.folder}/fox", f"DBase3:{self.folder}/back"
        first = self.run_json(f"DBase3:{table.parent}", "--source-table", "db3", "--into", fox,
                              "--table", "DB3", "--create")
        second = self.run_json(fox, "--source-table", "DB3", "--into", back, "--table", "DB3",
                               "--create")
        self.assertEqual(first["imported"], 1500)
        self.assertEqual(second["imported"], 1500)
        original = dump(f"DBase3:{table.parent}", "db3")
        # Line ends of texts become blanks when a table is the source.
        flat = [[c.replace("\r", " ").replace("\n", " ").rstrip(" ") for c in row] for row in original]
        for copy in (dump(fox, "DB3"), dump(back, "DB3")):
            self.assertEqual([[c.rstrip(" ") for c in row] for row in copy], flat)

    def read_with_dbfread(self, folder, table, encoding):
        import dbfread
        path = next(p for p in pathlib.Path(folder).iterdir() if p.name.upper() == f"{table}.DBF")
        return [["" if v is None else str(v) for v in record.values()]
                for record in dbfread.DBF(str(path), encoding=encoding, ignore_missing_memofile=False)]

    @unittest.skipUnless(OUI.exists() and UNICODE_DATA.exists(), "ieee-data or unicode-data is missing")
    def test_real_files_read_back_by_another_program(self):
        with open(OUI, newline="", encoding="utf-8") as file:
            oui = list(csv.reader(file))[1:]
        characters = [line.split(";") for line in UNICODE_DATA.read_text().splitlines()]
        memo = {"DBase3": False, "FOXPRO26": True, "FOXPRO30": False}
        for kind, with_memo in memo.items():
            encoding = "cp1252" if kind == "FOXPRO30" else "cp850"
            for name, path, rows in (("OUI", OUI, oui), ("UNI", UNICODE_DATA, characters)):
                with self.subTest(f"{kind} {name}"):
                    folder = self.folder / kind
                    target = f"{kind}:{folder}"
                    if with_memo:
                        fields = [f"F{i}:Text:250" for i in range(len(rows[0]) - 1)] + ["LAST:Memo"]
                        kelvorin("create", target, name, *fields, check=0)
                    outcome = self.run_json(path, "--into", target, "--table", name, "--create",
                                            "--map-in-order", "--start-line", 2 if name == "OUI" else 1)
                    self.assertEqual(outcome["imported"], len(rows))
                    stored = self.read_with_dbfread(folder, name, encoding)
                    self.assertEqual(len(stored), len(rows))
                    replaced = 0
                    for got, wanted in zip(stored, rows):
                        for one, other in zip(got, wanted):
                            lost = sum(1 for c in other if not c.encode(encoding, "ignore"))
                            replaced += lost
                            if not lost and one.rstrip(" ") != other.rstrip(" "):
                                self.fail(f"{other!r} became {one!r}")
                    self.assertEqual(outcome.get("replaced_characters", 0), replaced)

    def test_odbc_target_tells_the_same_story_as_record_by_record(self):
        if "KELVORIN_NO_ODBC" in os.environ:
            self.skipTest("this build has no ODBC")
        if not any("SQLite3" in line for line in self.odbc_drivers()):
            self.skipTest("libsqliteodbc is missing")
        import sqlite3
        path = self.folder / "t.db"
        with sqlite3.connect(path) as connection:
            connection.execute("create table t(id integer primary key, name varchar(30) not null, day date)")
        chance = random.Random(5)
        rows = [(chance.randrange(4000), f"it's {i}; --", "2020-02-30" if i % 700 == 3 else "2020-02-29")
                for i in range(3000)]
        source = self.write("in.csv", "".join(f"{i},{n},{d}\r\n" for i, n, d in rows))
        stored, rejected = {}, []
        for line, (key, name, day) in enumerate(rows, 1):
            if key in stored or day == "2020-02-30":
                rejected.append(line)
            else:
                stored[key] = name
        target = f"odbc:DRIVER=SQLite3;Database={path}"
        reject = self.folder / "bad.csv"
        outcome = self.run_json(source, "--into", target, "--table", "t", "--map-in-order",
                                "--reject", reject, check=1)
        self.assertEqual([outcome[k] for k in ("read", "imported", "rejected")],
                         [3000, len(stored), len(rejected)])
        with open(f"{reject}.reasons", newline="") as file:
            self.assertEqual([int(row[0]) for row in list(csv.reader(file))[1:]], rejected)
        self.assertEqual({int(row[0]): row[1] for row in dump(target, "t")[1:]}, stored)
        # The error limit ends the run at the very record, and nothing behind it is stored.
        with sqlite3.connect(path) as connection:
            connection.execute("delete from t")
        outcome = self.run_json(source, "--into", target, "--table", "t", "--map-in-order",
                                "--limit-errors", 3, check=1)
        self.assertEqual(outcome["read"], rejected[2])
        self.assertEqual(outcome["imported"], rejected[2] - 3)
        self.assertEqual(len(dump(target, "t")) - 1, rejected[2] - 3)

    def test_options_mean_what_they_say(self):
        target = f"Access:{self.folder}/o.mdb"
        source = self.write("o.txt", "1|NULL|x\r\n2|null|NULL\r\n3|y|NULLx\r\n")
        self.run_json(source, "--into", target, "--table", "T", "--create", "--map-in-order",
                      "--separators", "\\x7C", "--null", "NULL")
        self.assertEqual([row[1:] for row in dump(target, "T")[1:]],
                         [["", "x"], ["null", ""], ["y", "NULLx"]])
        for words in (["--separators", "\\x9"], ["--separators", "\\xZZ"], ["--decimal", ",,"],
                      ["--date-order", "ydm"], ["--limit-errors", "many"]):
            with self.subTest(words):
                done = kelvorin("import", source, "--into", target, "--table", "T", *words)
                self.assertEqual(done.returncode, 2, done.stderr)
                self.assertIn(words[0], done.stderr)
        protected = pathlib.Path(SAMPLES) / "access/j4-password.mdb"
        if not protected.exists():
            return
        words = ["import", f"Access:{protected}", "--source-table", "Table1", "--into", target,
                 "--table", "P", "--create"]
        kelvorin(*words, check=3)
        kelvorin(*words, "--source-password", "password", check=0)
        self.assertEqual(dump(target, "P"),
                         list(csv.reader(io.StringIO(kelvorin(
                             "dump", f"Access:{protected}", "Table1", "--password", "password",
                             check=0).stdout))))

    def odbc_drivers(self):
        try:
            return subprocess.run(["odbcinst", "-q", "-d"], capture_output=True, text=True,
                                  check=False).stdout.splitlines()
        except FileNotFoundError:
            return []

    def big_file(self, records):
        path = self.folder / "big.csv"
        with open(path, "w", newline="") as file:
            for i in range(records):
                file.write(f"{i},name {i},{i}.25,2020-01-{i % 28 + 1:02d},some text for record {i}\r\n")
        return path

    def start_big_import(self, source):
        target = f"FOXPRO26:{self.folder}/big"
        kelvorin("create", target, "BIG", "ID:Long", "NAME:Text:20", "AMT:Double:14:2", "DAY:Date",
                 "NOTE:Memo", check=0)
        return target, subprocess.Popen(
            [KELVORIN, "import", source, "--into", target, "--table", "BIG", "--map-in-order", "--json"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=ENVIRONMENT)

    def wait_for_records(self, process):
        """Until the run has written to its table: from then on it listens to signals."""
        table = self.folder / "big" / "BIG.DBF"
        empty = table.stat().st_size
        while process.poll() is None and table.stat().st_size == empty:
            time.sleep(0.002)
        self.assertIsNone(process.poll(), "the import ended before it wrote a record")

    def assert_prefix(self, target):
        rows = dump(target, "BIG")[1:]
        for i, row in enumerate(rows):
            self.assertEqual(row[0], str(i))
            self.assertEqual(row[4], f"some text for record {i}")
        return len(rows)

    def test_interrupt_leaves_the_target_whole(self):
        target, process = self.start_big_import(self.big_file(400_000))
        self.wait_for_records(process)
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1, errors)
        outcome = json.loads(output)
        self.assertIsNone(outcome["fatal"])
        self.assertEqual(self.assert_prefix(target), outcome["imported"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
