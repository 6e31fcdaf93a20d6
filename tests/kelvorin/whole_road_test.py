"""The command line host from outside: imports real files, and other programs read them back.

Run by ctest as: whole_road_test.py KELVORIN BATCH_HOST SOURCE_FOLDER SAMPLES
"""

import json
import pathlib
import signal
import subprocess
import sys
import time
import unittest

from road import ENVIRONMENT, KELVORIN, Road, dump, import_json, kelvorin, main, rows_of, run

BATCH_HOST, ROOT, SAMPLES = sys.argv[2:5]
OUI = pathlib.Path("/usr/share/ieee-data/oui.csv")
UNICODE_DATA = pathlib.Path("/usr/share/unicode/UnicodeData.txt")
KINDS = ["DBase3", "DBase4", "DBase5", "FOXPRO20", "FOXPRO25", "FOXPRO26", "FOXPRO30"]


class WholeRoad(Road):
    def test_customers_into_every_kind(self):
        source = pathlib.Path(ROOT) / "examples/data/customers.csv"
        rows = rows_of(source.read_text(encoding="utf-8"))
        for kind in KINDS:
            with self.subTest(kind):
                target = f"{kind}:{self.folder}/{kind}"
                outcome = import_json(source, "--into", target, "--table", "CUST", "--create", "--start-line", 2)
                # Code page 850 has no r with caron; 1252 of FoxPro 3.0 neither.
                self.assertEqual([outcome[k] for k in ("read", "imported", "replaced_characters")], [8, 8, 1])
                expected = [[cell.replace("ř", "r") for cell in row] for row in rows[1:]]
                self.assertEqual(rows_of(kelvorin("dump", target, "cust").stdout), [[n.upper() for n in rows[0]], *expected])

    def test_line_ends_in_quotes_come_through_and_can_be_refused(self):
        rows = [["a", "two\r\nlines; and \"quotes\""], ["b", ""]]
        source = self.write_csv("q.csv", [["name", "note"], *rows], delimiter=";")
        target = f"Access:{self.folder}/q.mdb"
        import_json(source, "--into", target, "--table", "Q", "--create", "--start-line", 2, "--save-as", "Q", "--ini",
                    self.folder / "q.ini")
        self.assertEqual(dump(target, "Q"), rows)
        kelvorin("batch", "Q", f"IniFile={self.folder}/q.ini", f"DataBaseName={self.folder}/q.mdb",
                 "ConnectString=Access", "MultiTable=1", "tableName=Q")
        self.assertEqual(dump(target, "Q"), rows * 2)
        outcome = import_json(source, "--into", target, "--table", "P", "--create", "--start-line", 2, "--separators",
                              ";", "--quoted-line-ends", "no")
        self.assertEqual(outcome["read"], 3)

    def test_typed_fields_and_rejected_records(self):
        target = f"DBase3:{self.folder}"
        kelvorin("create", target, "AMOUNTS", "ID:Long", "AMT:Double:12:2", "DAY:Date", "OK:Boolean", "NAME:Text:5")
        source = self.write("a.csv", "1,12.345,2020-02-29,yes,abc\r\n"
                                     "2,oops,2020-03-01,no,def\r\n"
                                     "3,1,2020-02-30,no,ghi\r\n"
                                     "4,,,,toolong\r\n")
        reject = self.folder / "bad.csv"
        outcome = import_json(source, "--into", target, "--table", "AMOUNTS", "--map-in-order", "--reject", reject,
                              check=1)
        self.assertEqual([outcome[k] for k in ("read", "imported", "rejected", "skipped", "fatal")],
                         [4, 2, 2, 0, None])
        self.assertEqual(outcome["truncated_values"], 1)
        self.assertEqual(dump(target, "AMOUNTS"),
                         [["1", "12.35", "2020-02-29", "True", "abc"], ["4", "", "", "", "toolo"]])
        self.assertEqual(reject.read_bytes(), b"2,oops,2020-03-01,no,def\r\n3,1,2020-02-30,no,ghi\r\n")
        reasons = pathlib.Path(f"{reject}.reasons").read_text()
        for part in ("AMT", "oops", "DAY", "2020-02-30"):
            self.assertIn(part, reasons)
        # The reject file is a text file like the first one.
        again = import_json(reject, "--into", target, "--table", "AMOUNTS", "--map", "ID=0,NAME=4")
        self.assertEqual(again["imported"], 2)

    def test_exit_statuses(self):
        target = f"DBase3:{self.folder}"
        source = self.write("a.txt", "x\r\ny\r\n")
        for words in ([], ["import"], ["import", source, "--into", "nonsense", "--table", "T"],
                      ["import", source, "--into", target, "--table", "T", "--format", "xml"],
                      ["import", source, "--into", target, "--table", "T", "--breaks", "a"],
                      ["batch", "JOB", "NoSuchProperty=1"], ["create", target, "T", "A:Nothing"]):
            kelvorin(*words, check=2)
        for name, said in (("none.txt", "none.txt"), (source, "Error in opening Table T")):
            done = kelvorin("import", self.folder / name, "--into", target, "--table", "T", check=3)
            self.assertIn(said, done.stderr)

    def test_settings_and_batch(self):
        ini = self.folder / "jobs.ini"
        target = f"FOXPRO26:{self.folder}"
        source = self.write("a.txt", "one;1\r\ntwo;2\r\n")
        import_json(source, "--into", target, "--table", "T", "--create", "--save-as", "Weekly", "--ini", ini)
        self.assertEqual(kelvorin("settings", "list", "--ini", ini).stdout, "Weekly\n")
        shown = kelvorin("settings", "show", "weekly", "--ini", ini).stdout.splitlines()
        self.assertEqual(shown[:5], ["TypeFormat=0", "Delimiter=0", "Separator1=1",
                                     "nbSeparators=1", "RecSeparator=0"])
        for line in ("Field0=0", "Field1=1", f"SourceDBName={source}"):
            self.assertIn(line, shown)
        done = kelvorin("batch", "Weekly", f"IniFile={ini}", "ConnectString=FOXPRO26", f"DataBaseName={self.folder}",
                        "TableName=T", "--json")
        self.assertEqual(json.loads(done.stdout)["imported"], 2)
        self.assertEqual(len(dump(target, "T")), 4)
        kelvorin("settings", "delete", "Weekly", "--ini", ini)
        self.assertEqual(kelvorin("settings", "list", "--ini", ini).stdout, "")
        failed = kelvorin("batch", "Weekly", f"IniFile={ini}", "ConnectString=FOXPRO26",
                          "DataBaseName=/nonexistent/folder", "TableName=T", check=3)
        self.assertIn("Error in opening DataBase /nonexistent/folder", failed.stderr)

    def test_example_host(self):
        ini = self.folder / "jobs.ini"
        source = pathlib.Path(ROOT) / "examples/data/customers.csv"
        target = f"FOXPRO26:{self.folder}"
        import_json(source, "--into", target, "--table", "CUST", "--create", "--start-line", 2, "--save-as",
                    "Customers", "--ini", ini)
        ini.write_text(ini.read_text().replace("EmptyTarget=0", "EmptyTarget=1"))
        done = run(BATCH_HOST, ini, "Customers", source, self.folder, "CUST")
        self.assertIn("imported 6, skipped 1", done.stdout)
        rows = dump(target, "CUST")
        self.assertEqual([row[0] for row in rows], ["10001", "10002", "10004", "10005", "10006", "10007"])
        self.assertEqual(rows[0][3], "UK")
        self.assertTrue(all(row[7] == "" for row in rows))

    def test_detect(self):
        source = self.write("f.txt", "AB  CD\nEF  GH\nIJ  KL\n")
        found = json.loads(kelvorin("detect", source, "--json").stdout)
        self.assertEqual([found[k] for k in ("TypeFormat", "RecSeparator", "separators", "breaks")],
                         [1, 2, "", [4, 32767]])
        self.assertEqual(found["lines"], ["AB  CD", "EF  GH", "IJ  KL"])

    def test_memo_table_from_dbase_to_foxpro_and_back(self):
        table = pathlib.Path(SAMPLES) / "xbase/db3.dbf"
        if not table.exists():
            self.skipTest(f"no sample files at {SAMPLES}")
        fox, back = f"FOXPRO26:{self.folder}/fox", f"DBase3:{self.folder}/back"
        for source, into in ((f"DBase3:{table.parent}", fox), (fox, back)):
            outcome = import_json(source, "--source-table", "db3", "--into", into, "--table", "DB3", "--create")
            self.assertEqual(outcome["imported"], 1500)
        original = dump(f"DBase3:{table.parent}", "db3")
        # Line ends of texts become blanks when a table is the source.
        flat = [[c.replace("\r", " ").replace("\n", " ").rstrip(" ") for c in row] for row in original]
        for copy in (dump(fox, "DB3"), dump(back, "DB3")):
            self.assertEqual([[c.rstrip(" ") for c in row] for row in copy], flat)

    @unittest.skipUnless(OUI.exists() and UNICODE_DATA.exists(), "ieee-data or unicode-data is missing")
    def test_real_files_read_back_by_another_program(self):
        import dbfread
        oui = rows_of(OUI.read_text(encoding="utf-8"))[1:]
        characters = [line.split(";") for line in UNICODE_DATA.read_text().splitlines()]
        for kind, path, rows, encoding in (("DBase3", OUI, oui, "cp850"), ("FOXPRO26", UNICODE_DATA, characters, "cp850"),
                                           ("FOXPRO30", OUI, oui, "cp1252")):
            with self.subTest(kind):
                target = f"{kind}:{self.folder}/{kind}"
                if kind == "FOXPRO26":  # with a memo
                    kelvorin("create", target, "T", *[f"F{i}:Text:250" for i in range(len(rows[0]) - 1)], "LAST:Memo")
                outcome = import_json(path, "--into", target, "--table", "T", "--create", "--map-in-order",
                                      "--start-line", 2 if path == OUI else 1)
                self.assertEqual(outcome["imported"], len(rows))
                stored = [["" if v is None else str(v) for v in record.values()] for record in
                          dbfread.DBF(f"{self.folder}/{kind}/T.DBF", encoding=encoding, ignore_missing_memofile=False)]
                self.assertEqual(len(stored), len(rows))
                replaced = 0
                for got, wanted in zip(stored, rows):
                    for one, other in zip(got, wanted):
                        lost = sum(1 for c in other if not c.encode(encoding, "ignore"))
                        replaced += lost
                        if not lost and one.rstrip(" ") != other.rstrip(" "):
                            self.fail(f"{other!r} became {one!r}")
                self.assertEqual(outcome.get("replaced_characters", 0), replaced)

    def test_options_mean_what_they_say(self):
        target = f"Access:{self.folder}/o.mdb"
        source = self.write("o.txt", "1|NULL|x\r\n2|null|NULL\r\n3|y|NULLx\r\n")
        import_json(source, "--into", target, "--table", "T", "--create", "--map-in-order", "--separators", "\\x7C",
                    "--null", "NULL")
        self.assertEqual([row[1:] for row in dump(target, "T")], [["", "x"], ["null", ""], ["y", "NULLx"]])
        for words in (["--separators", "\\x9"], ["--separators", "\\xZZ"], ["--decimal", ",,"],
                      ["--date-order", "ydm"], ["--limit-errors", "many"]):
            with self.subTest(words):
                self.assertIn(words[0], kelvorin("import", source, "--into", target, "--table", "T", *words, check=2).stderr)
        protected = pathlib.Path(SAMPLES) / "access/j4-password.mdb"
        if not protected.exists():
            return
        words = ["import", f"Access:{protected}", "--source-table", "Table1", "--into", target, "--table", "P", "--create"]
        kelvorin(*words, check=3)
        kelvorin(*words, "--source-password", "password")
        self.assertEqual(dump(target, "P"), dump(f"Access:{protected}", "Table1", "--password", "password"))

    def test_interrupt_leaves_the_target_whole(self):
        target = f"FOXPRO26:{self.folder}/big"
        source = self.write("big.csv", "".join(f"{i},name {i},{i}.25,some text for record {i}\r\n" for i in range(400_000)))
        kelvorin("create", target, "BIG", "ID:Long", "NAME:Text:20", "AMT:Double:14:2", "NOTE:Memo")
        process = subprocess.Popen([KELVORIN, "import", source, "--into", target, "--table", "BIG", "--map-in-order", "--json"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=ENVIRONMENT)
        # Once the run has written to its table it listens to signals.
        table = self.folder / "big" / "BIG.DBF"
        empty = table.stat().st_size
        while process.poll() is None and table.stat().st_size == empty:
            time.sleep(0.002)
        self.assertIsNone(process.poll(), "the import ended before it wrote a record")
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1, errors)
        outcome, rows = json.loads(output), dump(target, "BIG")
        self.assertIsNone(outcome["fatal"])
        self.assertEqual([[row[0], row[3]] for row in rows],
                         [[str(i), f"some text for record {i}"] for i in range(outcome["imported"])])


if __name__ == "__main__":
    main(4)
