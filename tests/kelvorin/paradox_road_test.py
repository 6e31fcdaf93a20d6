"""Paradox tables from outside: sources into them in every version, beside others and in batch; an independent
checker reads what was written.

Run by ctest as: paradox_road_test.py KELVORIN SAMPLES
"""

import contextlib
import decimal
import io
import json
import pathlib
import random
import signal
import subprocess
import sys
import time

import road
from road import ENVIRONMENT, KELVORIN, Road, main

SAMPLES = sys.argv[2]
ENVIRONMENT["KELVORIN_OEM_CP"] = "437"
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


def run(*words, password="", **options):
    return road.run(*words, **options, env={**ENVIRONMENT, "KELVORIN_PASSWORD": password,
                                            "KELVORIN_SOURCE_PASSWORD": password}).stdout


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
    return road.dump(database, table, env={**ENVIRONMENT, "KELVORIN_PASSWORD": password})


def table_file(folder, table):
    return next(p for p in folder.iterdir() if p.name.lower() == f"{table}.db".lower())


def by_value(rows):
    def cell(text):
        try:
            return decimal.Decimal(text)
        except decimal.InvalidOperation:
            return text
    return [[cell(text) for text in row] for row in rows]


class ParadoxRoad(Road):
    def setUp(self):
        super().setUp()
        self.random = random.Random(12)

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

    def table_source(self, rows):
        where = f"Access:{self.folder}/src.mdb"
        run(KELVORIN, "create", where, "SRC", *FIELDS)
        self.put(self.text_source(rows), where, "SRC", "--map-in-order")
        return [where, "--source-table", "SRC"]

    def test_sources_land_in_every_version(self):
        rows = self.records(1, 120, memo=240)  # version 3 holds memos as texts
        for name, source in (("text", self.text_source(rows)), ("Access", self.table_source(rows))):
            expected = rows if name == "text" else dump(source[0], "SRC")  # Access knows no unknown truth
            for version in (3, 4, 5):
                with self.subTest(f"{name} into Paradox {version}"):
                    where = f"Paradox{version}:{self.folder}/{name}{version}"
                    run(KELVORIN, "create", where, "T", *FIELDS, "--primary", "ID")
                    self.put(source, where, "T", "--map-in-order", imported=120)
                    self.put(source, where, "N", "--create", imported=120)
                    for table in "TN":
                        self.assert_sound(self.folder / f"{name}{version}", table)
                        self.assertEqual(by_value(dump(where, table)), by_value(expected))

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
            done = road.kelvorin(*words, check=None)
            return done.returncode, done.stdout + done.stderr

        def wait_until(holds):
            deadline = time.monotonic() + 60
            while not holds():
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.01)

        names = {n * 7919 % 20000: f"name {n}" for n in range(20000)}
        many = self.write_csv("many.csv", names.items())
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
        self.assertEqual(dump(where, "T")[-2:], [["19999", names[19999]], ["20000", "new"]])
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


if __name__ == "__main__":
    main(2)
