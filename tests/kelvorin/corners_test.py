"""Corners of the command line where data could be lost or changed unseen, each from outside.

Run by ctest as: corners_test.py KELVORIN
"""

import json
import os
import pathlib
import resource
import struct
import subprocess
import unittest

import road
from road import ENVIRONMENT, KELVORIN, NO_ODBC, Road, main

KINDS = ["Access", "DBase3", "DBase5", "FOXPRO26", "FOXPRO30", "Paradox5"]
AS_GIVEN = ["--separators", "comma", "--map-in-order"]


def make_dbf(path, fields, rows, version=3, claims=None):
    """A table file byte by byte; a field is (name, letter, width, decimals), a row its bytes."""
    head = struct.pack("<B3BIHH", version, 120, 1, 1, len(rows) if claims is None else claims, 33 + 32 * len(fields),
                       1 + sum(f[2] for f in fields)).ljust(32, b"\0")
    for name, letter, width, decimals in fields:
        head += name.encode().ljust(11, b"\0") + letter.encode() + bytes(4) + bytes([width, decimals]) + bytes(14)
    pathlib.Path(path).write_bytes(head + b"\r" + b"".join(b" " + row for row in rows) + b"\x1a")


def columns_of(path):
    """Letter, width and decimals of each field, as they stand in the file."""
    data = next(p for p in path.parent.iterdir() if p.name.upper() == path.name.upper()).read_bytes()
    end = struct.unpack_from("<H", data, 8)[0]
    found, at = [], 32
    while at < end - 1 and data[at] != 13 and chr(data[at + 11]) != "0":  # the flags of Null
        found.append((chr(data[at + 11]), data[at + 16], data[at + 17]))
        at += 32
    return found


class Corners(Road):
    def setUp(self):
        super().setUp()
        (self.folder / "tmp").mkdir()
        self.environment = {**ENVIRONMENT, "TMPDIR": str(self.folder / "tmp"), "ODBCSYSINI": str(self.folder),
                            "ODBCINI": str(self.folder / "none")}
        (self.folder / "odbcinst.ini").write_text("[SQ]\nDriver=libsqlite3odbc.so\n")

    def run_it(self, *words, **options):
        return road.kelvorin(*words, **{"cwd": self.folder, "env": self.environment, "timeout": 60, **options})

    def import_it(self, *words, **options):
        return json.loads(self.run_it("import", *words, "--json", **options).stdout)

    def dump(self, where, table):
        return road.dump(where, table, cwd=self.folder, env=self.environment)

    def place(self, kind, name):
        if kind == "SQLite":
            subprocess.run(["sqlite3", self.folder / f"{name}.db", "vacuum"], check=True)
            return f"ODBC:DRIVER=SQ;Database={self.folder}/{name}.db"
        return f"{kind}:{name}.mdb" if kind == "Access" else f"{kind}:{name}{kind}"

    def test_a_table_into_itself_by_any_name(self):
        source = self.write("a.csv", "1,a\r\n2,b\r\n")
        (self.folder / "other").mkdir()
        for kind, extension in (("DBase3", "DBF"), ("FOXPRO26", "DBF"), ("Paradox5", "DB")):
            with self.subTest(kind):
                table = kind[:6].upper()
                self.run_it("create", f"{kind}:.", table, "ID:Long", "N:Text:5")
                self.import_it(source, "--into", f"{kind}:.", "--table", table, *AS_GIVEN)
                file = self.folder / f"{table}.{extension}"
                (self.folder / f"other/{table}S.{extension}").symlink_to(file)
                os.link(file, self.folder / f"other/{table}H.{extension}")
                for name in (f"{table}S", f"{table}H"):
                    for source_at, from_table, into, table_to in ((f"{kind}:other", name, f"{kind}:.", table),
                                                                  (f"{kind}:.", table, f"{kind}:other", name)):
                        for empty in ([], ["--empty-target"]):
                            said = self.run_it("import", source_at, "--source-table", from_table, "--into", into,
                                               "--table", table_to, *empty, check=3).stderr
                            self.assertIn("same table", said)
                self.assertEqual(len(self.dump(f"{kind}:.", table)), 2)

    def test_a_table_made_of_fields_or_of_a_table_has_what_was_asked(self):
        fields = ["A:Double:8:2", "B:Double:8:0", "C:Numeric:19:0", "D:Numeric:5:2", "E:Currency", "F:Date", "G:Long"]
        older = [("N", 8, 2), ("N", 8, 0), ("N", 19, 0), ("N", 5, 2), ("N", 20, 5), ("D", 8, 0), ("N", 11, 0)]
        for kind in ("DBase3", "DBase5", "FOXPRO26", "FOXPRO30"):
            self.run_it("create", f"{kind}:{kind}", "T", *fields)
            expected = list(older)
            if kind == "DBase3":
                expected[4] = ("N", 19, 5)
            if kind == "FOXPRO30":
                expected[4:] = [("Y", 8, 4), ("T", 8, 0), ("I", 4, 0)]
            self.assertEqual(columns_of(self.folder / kind / "T.DBF"), expected, kind)
            # into its own kind: the same letters, widths and decimals, and no value lost
            rows = self.write("r.csv", "99999.99,-9999999,9999999999999999999,-9.99,1.2345,2020-02-29,7\r\n")
            self.import_it(rows, "--into", f"{kind}:{kind}", "--table", "T", *AS_GIVEN)
            self.import_it(f"{kind}:{kind}", "--source-table", "T", "--into", f"{kind}:{kind}2", "--table", "T", "--create")
            self.assertEqual(columns_of(self.folder / f"{kind}2" / "T.DBF"), expected, kind)
            self.assertEqual(self.dump(f"{kind}:{kind}2", "T"), self.dump(f"{kind}:{kind}", "T"))
        day = struct.pack("<II", 2458851, 3600000)
        row = b"20200102" + struct.pack("<q", 12345) + day + struct.pack("<d", 1.5) + b"\x07\0\0\0"
        letters = [("D", "D", 8, 0), ("Y", "Y", 8, 4), ("T", "T", 8, 0), ("B", "B", 8, 3), ("I", "I", 4, 0)]
        make_dbf(self.folder / "V.DBF", letters, [row], version=0x30)
        self.import_it("V.DBF", "--into", "FOXPRO30:fox", "--table", "V", "--create")
        self.assertEqual(columns_of(self.folder / "fox/V.DBF"), [field[1:] for field in letters])
        for kind in ("Access", "Paradox5"):
            outcome = self.import_it("V.DBF", "--into", self.place(kind, "w"), "--table", "V", "--create")
            self.assertNotIn("changed_values", outcome)
            self.assertEqual(self.dump(self.place(kind, "w"), "V"),
                             [["2020-01-02", "1.2345", "2020-01-02 01:00:00", "1.5", "7"]])
        # a decimal of 16 stored bytes has the digits it was made with
        self.run_it("create", "Access:d.mdb", "T", "A:Decimal:18:4", "B:Currency")
        self.import_it(self.write("d.csv", "-99999999999999.9999,1234567890123.4567\r\n"), "--into", "Access:d.mdb",
                       "--table", "T", *AS_GIVEN)
        outcome = self.import_it("Access:d.mdb", "--source-table", "T", "--into", "DBase5:d", "--table", "T", "--create")
        self.assertEqual(columns_of(self.folder / "d/T.DBF"), [("N", 20, 4), ("N", 20, 5)])
        self.assertEqual((outcome["imported"], outcome.get("changed_values")), (1, None))

    def test_odd_tables_are_read_and_made(self):
        day = struct.pack("<II", 2458851, 3600000)
        make_dbf(self.folder / "YT.DBF", [("A", "C", 3, 0), ("Y", "Y", 8, 0), ("T", "T", 8, 0)],
                 [b"abc" + struct.pack("<q", 12345) + day])
        make_dbf(self.folder / "EQ.DBF", [("A", "C", 3, 0), ("A", "C", 3, 0)], [b"abcdef"])
        make_dbf(self.folder / "F20.DBF", [("A", "F", 20, 18)], [b"0.123456789012345678"])
        make_dbf(self.folder / "WIDE.DBF", [(f"F{i}", "C", 1, 0) for i in range(300)], [bytes([120] * 300)])
        changed = {"YT": {"DBase3": 1, "DBase5": 1, "FOXPRO26": 1}, "F20": {}}
        for kind in KINDS:
            for table, row in (("YT", ["abc", "1.2345", "2020-01-02 01:00:00"]), ("EQ", ["abc", "def"]),
                               ("F20", ["0.123456789012345678"]), ("WIDE", ["x"] * 251)):
                with self.subTest(f"{table} into {kind}"):
                    words = ["import", f"{table}.DBF", "--into", self.place(kind, "odd"), "--table", table, "--create"]
                    if kind == "DBase3" and table == "WIDE":
                        self.assertIn("128 fields", self.run_it(*words, check=3).stderr)
                        continue
                    done = self.run_it(*words, "--json")
                    outcome, stored = json.loads(done.stdout), self.dump(self.place(kind, "odd"), table)[0]
                    if table == "WIDE":
                        self.assertIn("300 fields", done.stderr)
                    differing = sum(a != b for a, b in zip(stored, row))
                    self.assertEqual((len(stored), differing), (len(row), outcome.get("changed_values", 0)))
                    self.assertLessEqual(differing, changed.get(table, {}).get(kind, table == "F20"))
        heading = self.write("eq.csv", "a,a,A\r\n1,2,3\r\n")
        for kind in KINDS:
            self.import_it(heading, "--into", self.place(kind, "eq"), "--table", "T", "--create", "--start-line", 2)
            self.assertEqual(self.dump(self.place(kind, "eq"), "T"), [["1", "2", "3"]])

    def test_what_is_no_regular_file_is_refused_at_once(self):
        source = self.write("a.csv", "x\r\n")
        for kind in KINDS:
            self.run_it("create", self.place(kind, "db"), "T", "A:Text:4", "M:Memo")
        for name in ("P.DBF", "P.DB", "p.mdb", "db.ldb"):
            os.mkfifo(self.folder / name)
        for where, table in (("DBase3:.", "P"), ("Paradox5:.", "P"), ("Access:p.mdb", "P")):
            for words in (["dump", where, table], ["check", where, table],
                          ["import", source, "--into", where, "--table", table, *AS_GIVEN]):
                self.assertNotEqual(self.run_it(*words, check=None, timeout=10).returncode, 0)
        self.assertIn("pipe", self.run_it("import", source, "--into", "Access:db.mdb", "--table", "T", *AS_GIVEN,
                                          check=3).stderr)
        for folder, memo in (("FOXPRO26", "FPT"), ("DBase3", "DBT"), ("Paradox5", "MB")):
            self.run_it("create", f"{folder}:{folder}", "T", "A:Text:4", "M:Memo")
            for name in (f"T.{memo}", "T.INF", f"T.{'DB' if memo == 'MB' else 'DBF'}-journal"):
                path = next((p for p in (self.folder / folder).iterdir() if p.name.upper() == name.upper()),
                            self.folder / folder / name)
                kept = path.read_bytes() if path.exists() else None
                path.unlink(missing_ok=True)
                os.mkfifo(path)
                words = ["import", source, "--into", f"{folder}:{folder}", "--table", "T", *AS_GIVEN]
                said = self.run_it(*words, check=None, timeout=10)
                if folder == "DBase3" or name != "T.INF":  # which means nothing to the others
                    self.assertEqual((said.returncode, name.split(".")[0] in said.stderr), (3, True), f"{name}: {said}")
                path.unlink()
                if kept is not None:
                    path.write_bytes(kept)

    def test_an_index_file_that_nobody_lists_is_told_before_writing(self):
        make_dbf(self.folder / "X.DBF", [("A", "C", 3, 0)], [b"abc"])
        self.write("X.NDX", bytes(1024))
        said = self.run_it("import", self.write("a.csv", "q\r\n"), "--into", "DBase3:.", "--table", "X", *AS_GIVEN)
        self.assertIn("X.NDX", said.stderr)
        outcome = self.import_it("a.csv", "--into", "DBase3:.", "--table", "X", *AS_GIVEN)
        self.assertTrue(any("X.NDX" in note for note in outcome["notices"]))

    def test_a_table_that_breaks_off_gives_what_is_there_and_an_error(self):
        make_dbf(self.folder / "S.DBF", [("A", "C", 3, 0)], [b"abc", b"def"], claims=10)
        for kind in KINDS:
            done = self.run_it("import", "S.DBF", "--into", self.place(kind, "short"), "--table", "S", "--create", check=3)
            self.assertIn("claims 10 records, but its file ends behind record 2: 8 are missing", done.stderr)
            self.assertEqual(self.dump(self.place(kind, "short"), "S"), [["abc"], ["def"]])

    def test_a_trial_leaves_no_trace_and_counts_duplicates(self):
        source = self.write("a.csv", "x\r\ny\r\nx\r\nlong text\r\n")
        makers = {"Access": ["--primary", "A"], "Paradox5": ["--primary", "A"], "FOXPRO30": ["--index", "A=A"]}
        expected = {"Access": 1, "Paradox5": 1, "FOXPRO30": 0}
        for kind, key in makers.items():
            self.run_it("create", self.place(kind, "t"), "T", "A:Text:4", "M:Memo", *key)
        before = self.files()
        for kind in KINDS:
            words = ["--into", self.place(kind, "new"), "--table", "T", "--create", *AS_GIVEN, "--log", "l.txt", "--reject",
                     "r.txt"]
            self.assertEqual(self.import_it(source, *words, "--dry-run")["imported"], 4)
        for kind, duplicates in expected.items():
            words = [source, "--into", self.place(kind, "t"), "--table", "T", *AS_GIVEN, "--map", "A=0", "--empty-target",
                     "--log", "l.txt", "--reject", "r.txt"]
            outcome = self.import_it(*words, "--dry-run", "--delete-import-file", check=min(duplicates, 1))
            self.assertEqual([outcome[k] for k in ("read", "imported", "rejected", "changed_values")],
                             [4, 4 - duplicates, duplicates, 1], kind)
            # what it would refuse, the trial refuses as well
            self.run_it("import", self.place(kind, "t"), "--source-table", "T", "--into", self.place(kind, "t"),
                        "--table", "T", "--dry-run", check=3)
        self.assertEqual(self.files(), before)
        self.run_it(*["import", source, "--into", self.place("Access", "t"), "--table", "T", *AS_GIVEN, "--map", "A=0",
                      "--dry-run", "--reject", "r.txt", "--save-as", "J", "--ini", "j.ini"], check=1)
        self.assertIn("RejectFile=", (self.folder / "j.ini").read_text())

    def test_what_must_fail_fails_before_the_first_record(self):
        source = self.write("a.csv", "x\r\n" * 50)
        self.run_it("create", "DBase3:db", "T", "A:Text:4")
        words = ["import", source, "--into", "DBase3:db", "--table", "T", *AS_GIVEN]
        nobody = {"user": 65534, "group": 65534} if os.geteuid() == 0 else {}
        self.folder.chmod(0o755)
        before = self.files()
        said = self.run_it(*words, "--max-lines", 100000, "--save-as", "J", "--ini", "j.ini", check=3).stderr
        self.assertIn("100000", said)
        (self.folder / "ro").mkdir(mode=0o555)
        self.run_it(*words, "--save-as", "J", "--ini", "ro/j.ini", check=3, **nobody)
        self.assertEqual(self.files(), before)
        for path in (self.folder / "db").iterdir():
            path.chmod(0o666)
        (self.folder / "db").chmod(0o555)
        done = self.run_it(*words, check=3, **nobody)
        self.assertEqual(done.stderr.count("can be made"), 1, done.stderr)
        (self.folder / "db").chmod(0o755)
        self.assertEqual(self.dump("DBase3:db", "T"), [])

    def test_a_limit_of_file_sizes_is_an_error(self):
        source = self.write("a.csv", "".join(f"{i},{'text' * 40}\r\n" for i in range(2000)))
        limit = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (150_000, 150_000))}
        for kind in KINDS:
            self.run_it("create", self.place(kind, "small"), "T", "ID:Long", "A:Text:200")
            done = self.run_it("import", source, "--into", self.place(kind, "small"), "--table", "T", *AS_GIVEN,
                               "--json", "--limit-errors", 5, check=None, **limit)
            outcome = json.loads(done.stdout)
            self.assertIn(done.returncode, (1, 3), f"{kind} {done}")
            rows = self.dump(self.place(kind, "small"), "T")
            self.assertEqual([row[0] for row in rows], [str(i) for i in range(outcome["imported"])], kind)

    def test_a_database_without_a_byte_is_new(self):
        source = self.write("a.csv", "x\r\n")
        for words in (["import", source, "--into", "Access:e.mdb", "--table", "T", "--create", *AS_GIVEN],
                      ["create", "Access:f.mdb", "T", "A:Text:5"]):
            (self.folder / words[1 if words[0] == "create" else 3].split(":")[1]).touch()
            self.run_it(*words)
        self.assertEqual(self.dump("Access:e.mdb", "T"), [["x"]])

    def test_json_says_what_could_not_be_opened(self):
        source = self.write("a.csv", "x\r\n")
        self.write("no.mdb", "this is no database")
        for target in ("Access:no.mdb", "Access:nowhere/no.mdb", "DBase3:a.csv"):
            outcome = self.import_it(source, "--into", target, "--table", "T", "--create", *AS_GIVEN, check=3)
            self.assertEqual((outcome["read"], bool(outcome["fatal"])), (0, True))

    def test_the_page_that_was_assumed_is_told(self):
        make_dbf(self.folder / "P.DBF", [("A", "C", 4, 0)], [b"caf\x82"])
        for words in (["check", "DBase3:.", "P"], ["fields", "DBase3:.", "P"], ["dump", "DBase3:.", "P"]):
            done = self.run_it(*words)
            self.assertIn("850", done.stdout + done.stderr, words)
        self.assertEqual(self.dump("DBase3:.", "P"), [["caf\u00e9"]])
        other = self.run_it("dump", "DBase3:.", "P", "--oem-page", 1252)
        self.assertIn("caf\u201a", other.stdout)
        self.assertIn("1252", other.stderr)
        self.assertIn("1252", self.run_it("fields", "DBase3:.", "P", "--oem-page", 1252).stderr)
        outcome = self.import_it("P.DBF", "--into", "Access:p.mdb", "--table", "P", "--create")
        self.assertTrue(any("850" in note for note in outcome["notices"]))
        said = self.run_it("import", "P.DBF", "--into", "DBase3:.", "--table", "Q", "--create").stderr
        self.assertEqual([said.count(f"{name}.DBF' names no code page") for name in "PQ"], [1, 1], said)

    def test_what_comes_late_or_is_equal_as_a_number_is_told(self):
        source = self.write("late.csv", "".join(f"{i},a\r\n" for i in range(30)) + "31,a,EXTRA\r\n32,a,,FIVE\r\n")
        for kind in KINDS:
            outcome = self.import_it(source, "--into", self.place(kind, "late"), "--table", "T", "--create", *AS_GIVEN)
            stored = self.dump(self.place(kind, "late"), "T")
            late = sum(value in ("EXTRA", "FIVE") for row in stored for value in row)
            self.assertEqual((len(stored), late + outcome.get("left_out_values", 0)), (32, 2), kind)
        zeros = self.write("zeros.csv", "0,a\r\n-0,b\r\n-0.0,c\r\n0.0,d\r\n1,e\r\n")
        for type_ in ("Double", "Single", "Currency", "Decimal:9:2"):
            name = f"Access:{type_[:4]}.mdb"
            self.run_it("create", name, "T", f"A:{type_}", "B:Text:1", "--primary", "A")
            outcome = self.import_it(zeros, "--into", name, "--table", "T", *AS_GIVEN, check=1)
            self.assertEqual((outcome["rejected"], self.dump(name, "T")), (3, [["0", "a"], ["1", "e"]]), type_)

    def test_a_text_without_line_ends_costs_little_memory(self):
        """What no record can be is refused at once; what is just below the limit is held a few times at most."""
        self.run_it("create", "DBase3:one", "T", "A:Text:20")
        peaks = []
        for size, status in ((10, 0), (8_000_000, 0), (300_000_000, 3)):
            path = self.write("one.txt", b"0123456789")
            os.truncate(path, size)
            pid = os.posix_spawn(KELVORIN, [KELVORIN, "import", str(path), "--into", f"DBase3:{self.folder}/one", "--table",
                                            "T", *AS_GIVEN], {**self.environment, "ASAN_OPTIONS": "quarantine_size_mb=1"}, file_actions=[(os.POSIX_SPAWN_OPEN, fd, os.devnull, os.O_WRONLY, 0) for fd in (1, 2)])
            _, ended, usage = os.wait4(pid, 0)
            self.assertEqual(os.waitstatus_to_exitcode(ended), status, size)
            peaks.append(usage.ru_maxrss // 1024)
        self.assertLess(max(peaks) - peaks[0], 80, f"MiB: {peaks}")

    def test_readers_share_a_source(self):
        for kind in KINDS:
            with self.subTest(kind):
                where = self.place(kind, "shared")
                self.run_it("create", where, "T", "A:Text:200")
                self.import_it(self.write("a.csv", ("x" * 200 + "\r\n") * 2000), "--into", where, "--table", "T", *AS_GIVEN)
                # the first reader waits with the table open until somebody takes its output
                first = subprocess.Popen([KELVORIN, "dump", where, "T"], stdout=subprocess.PIPE, bufsize=0,
                                         stderr=subprocess.DEVNULL, cwd=self.folder, env=self.environment)
                first.stdout.read(10)
                outcome = self.import_it(where, "--source-table", "T", "--into", f"DBase3:copy{kind}", "--table", "C", "--create")
                rest = b"".join(iter(lambda: first.stdout.read(65536), b""))
                first.stdout.close()
                self.assertEqual((outcome["imported"], rest.count(b"\n"), first.wait(60)), (2000, 2000, 0))

    def test_batch_reads_utf16(self):
        text = "k\u00e4se,1\r\n\u6f22,2\r\n"
        self.run_it("create", "Access:u.mdb", "T", "A:Text:9", "B:Long")
        self.import_it(self.write("u.csv", text), "--into", "Access:u.mdb", "--table", "T", *AS_GIVEN, "--save-as", "J",
                       "--ini", "u.ini")
        for name, code in (("le.csv", "utf-16"), ("be.csv", "utf-16-be")):
            self.write(name, ("\ufeff" * (code != "utf-16") + text).encode(code))
            self.run_it("batch", "J", "IniFile=u.ini", "ConnectString=Access", "DataBaseName=u.mdb", "TableName=T",
                        f"ImportTable={name}")
        self.assertEqual(self.dump("Access:u.mdb", "T"), [["k\u00e4se", "1"], ["\u6f22", "2"]] * 3)

    @unittest.skipIf(NO_ODBC, "this build has no ODBC")
    def test_odbc_without_a_data_source_name(self):
        target = self.place("SQLite", "s")
        source = self.write("a.csv", "x,1\r\ny,2\r\n")
        self.import_it(source, "--into", target, "--table", "T", "--create", *AS_GIVEN)
        for words in (["tables", target], ["fields", target, "T"], ["dump", target, "T"]):
            self.run_it(*words)
        self.import_it(target, "--source-table", "T", "--into", "DBase3:s", "--table", "T", "--create")
        self.assertEqual(self.dump("DBase3:s", "T"), [["x", "1"], ["y", "2"]])
        self.import_it(target, "--source-table", "T", "--into", target, "--table", "U", "--create")
        self.assertEqual(self.dump(target, "U"), [["x", "1"], ["y", "2"]])
        self.assertEqual(list((self.folder / "tmp").iterdir()), [])

    @unittest.skipIf(NO_ODBC, "this build has no ODBC")
    def test_a_server_is_emptied_by_a_source_without_records(self):
        target = self.place("SQLite", "b")
        self.import_it(self.write("a.csv", "x\r\n"), "--into", target, "--table", "T", "--create", *AS_GIVEN)
        for text in ("", "\r\n"):
            outcome = self.import_it(self.write("b.csv", text), "--into", target, "--table", "T", *AS_GIVEN)
            self.assertEqual((outcome["read"], len(self.dump(target, "T"))), (0, 1))
        self.import_it("b.csv", "--into", target, "--table", "T", *AS_GIVEN, "--empty-target")
        self.assertEqual(self.dump(target, "T"), [])
        # its file is no place for what was rejected
        self.assertIn("is a database", self.run_it("import", "a.csv", "--into", target, "--table", "T", *AS_GIVEN,
                                                   "--reject", self.folder / "b.db", check=3).stderr)

    def test_closed_streams_and_a_full_output(self):
        self.run_it("create", "DBase3:c", "T", "A:Long")
        self.write("a.csv", "".join(f"{'x' if i % 3 else ''}{i}\r\n" for i in range(300)))
        line = f"'{KELVORIN}' import a.csv --into DBase3:c --table T --separators comma --map-in-order --empty-target"
        for end, status in (("<&- >&- 2>&-", 1), ("--json > /dev/full", 3)):
            done = subprocess.run(f"{line} {end}", shell=True, cwd=self.folder, env=self.environment, timeout=60, check=False)
            self.assertEqual(done.returncode, status, end)
            self.assertEqual(self.dump("DBase3:c", "T"), [[str(i)] for i in range(0, 300, 3)])
            self.assertNotIn(b"kelvorin", (self.folder / "c/T.DBF").read_bytes())

    @unittest.skipIf(NO_ODBC, "this build has no ODBC")
    def test_the_error_limit_wins_over_what_comes_behind_it(self):
        """A refused key ends the run before the line that could not even be read, grouped or not."""
        source = self.write("a.csv", "1,abcdef\r\n1,abcdef\r\n2,abcdef\r\n" + ",".join("x" * 300) + "\r\n")
        keys = {"Access": ["--primary", "ID"], "Paradox5": ["--primary", "ID"]}
        for kind in ("Access", "Paradox5", "SQLite"):
            where = self.place(kind, "k")
            if kind == "SQLite":
                subprocess.run(["sqlite3", self.folder / "k.db",
                                "create table T(ID integer primary key, A varchar(3))"], check=True)
            else:
                self.run_it("create", where, "T", "ID:Long", "A:Text:3", *keys[kind])
            for limit, expected in ((1, [2, 1, 1, None, 1]), (2, [4, 2, 1, True, 2])):
                outcome = self.import_it(source, "--into", where, "--table", "T", *AS_GIVEN, "--limit-errors", limit,
                                         "--empty-target", check=1 if limit == 1 else 3)
                self.assertEqual([outcome["read"], outcome["imported"], outcome["rejected"],
                                  outcome["fatal"] and "251" in outcome["fatal"] or None, outcome["truncated_values"]],
                                 expected, f"{kind} {limit} {outcome}")
                self.assertEqual([row[0] for row in self.dump(where, "T")], ["1", "2"][:expected[1]])


if __name__ == "__main__":
    main(1)
