"""Programs that die while they write, and what other programs do to their files before the next start.

Run by ctest as: crash_test.py KELVORIN SAMPLES
By hand, with a release build: KELVORIN_KILLS=200 crash_test.py KELVORIN SAMPLES Kills
kills each scenario so often (2 without the variable), at instants that KELVORIN_SEED chooses.
"""

import csv
import io
import json
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

KELVORIN, SAMPLES = sys.argv[1:3]
TOOLS = pathlib.Path(SAMPLES).parent / "tools"
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850"}
KILLS = int(os.environ.get("KELVORIN_KILLS", "2"))
OLD = 40
SEALED = 1


def kelvorin(*words, check=None):
    done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True,
                          env=ENVIRONMENT, timeout=240)
    if check is not None and done.returncode != check:
        raise AssertionError(f"{words}: status {done.returncode}, expected {check}\n"
                             f"{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done


def rows_of(database, table):
    text = kelvorin("dump", database, table, check=0).stdout
    return list(csv.reader(io.StringIO(text, newline="")))[1:]


def row(number, version=""):
    return [str(number), f"name {number}{version}", f"note {number}{version} " + "x" * 120]


def write_rows(path, numbers, version=""):
    with open(path, "w", newline="") as file:
        file.writelines(",".join(row(n, version)) + "\r\n" for n in numbers)
    return path


def start(*words):
    return subprocess.Popen([KELVORIN, *map(str, words)], stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, env=ENVIRONMENT)


class Base(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-crash-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def tree(self):
        """Every file with its bytes."""
        return {str(path): path.read_bytes() for path in sorted(self.folder.rglob("*"))
                if path.is_file()}

    def make(self, kind, folder="t", keys=()):
        """A table of old records; what names it, and its main file."""
        home = self.folder / folder
        home.mkdir()
        name = {"Access": "S.mdb", "Paradox5": "BIG.DB"}.get(kind, "BIG.DBF")
        target = f"{kind}:{home / 'S.mdb' if kind == 'Access' else home}"
        kelvorin("create", target, "BIG", "ID:Long", "NAME:Text:40", "NOTE:Memo", *keys, check=0)
        kelvorin("import", write_rows(self.folder / "old.csv", range(OLD)), "--into", target, "--table",
                 "BIG", "--map-in-order", "--save-as", "J", "--ini", self.folder / "jobs.ini", check=0)
        return target, home / name


class Kills(Base):
    def check_sound(self, target, main):
        kelvorin("check", target, check=0)
        self.assertFalse(pathlib.Path(f"{main}-journal").exists())
        if not TOOLS.exists():
            return
        if main.suffix == ".mdb":
            words = [["jetcheck.py", "check", main]]
        elif main.suffix == ".DB":
            words = [["pxoracle.py", "check", "-s", main]]
        else:
            index = main.with_suffix(".CDX")
            words = [["xbcheck.py", "csv", main]]
            if index.exists():
                words.append(["xbcheck.py", "index", main, index])
        for tool, *rest in words:
            done = subprocess.run([sys.executable, TOOLS / tool, *rest], capture_output=True,
                                  check=False)
            self.assertEqual(done.returncode, 0, done.stdout[-2000:] + done.stderr[-2000:])

    def campaign(self, make, words, judge, table="BIG"):
        """Kills `import NEW words` after random times; `judge(rows)` says whether what is left can be."""
        numbers = random.Random(os.environ.get("KELVORIN_SEED", "7"))
        took = None
        died = sealed = 0
        for kill in range(-1, KILLS):
            for path in self.folder.iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
            target, main = make()
            new = write_rows(self.folder / "new.csv", self.numbers, self.version)
            journal = pathlib.Path(f"{main}-journal")
            began = time.monotonic()
            process = start("import", new, "--into", target, "--map-in-order", *words)
            if kill < 0:  # how long it takes undisturbed
                self.assertEqual(process.wait(timeout=240), 0)
                took = time.monotonic() - began
            else:
                self.die(process, journal, took, numbers, kill)
                died += process.returncode == -signal.SIGKILL
                sealed += is_sealed(journal)
            before = self.tree()
            seen = kelvorin("dump", target, table)
            self.assertEqual(self.tree(), before, "reading changed a file")
            # The next writing puts things right; it has nothing to add.
            empty = self.folder / "none.csv"
            empty.write_text("")
            if seen.returncode == 0:
                kelvorin("import", empty, "--into", target, "--table", table, "--map-in-order",
                         "--separators", ",", check=0)
                rows = rows_of(target, table)
                self.assertEqual(rows, list(csv.reader(io.StringIO(seen.stdout, newline="")))[1:])
            else:
                self.assertNotEqual(table, "BIG", seen.stderr)  # a table that was not made yet
                kelvorin("import", empty, "--into", target, "--table", "BIG", "--map-in-order",
                         "--separators", ",")
                rows = None
            with self.subTest(kill=kill):
                judge(rows)
                self.check_sound(target, main)
        if "KELVORIN_KILLS" in os.environ:
            print(f"{self.id().split('.')[-1]}: {died} of {KILLS} killed at work, {sealed} with a "
                  f"sealed journal, {took:.2f} s a run", flush=True)

    @staticmethod
    def die(process, journal, took, numbers, kill):
        """Every second one dies while the files are written, or soon after."""
        if kill % 2 == 0:
            time.sleep(numbers.uniform(0, took))
        else:
            while process.poll() is None and not is_sealed(journal):
                pass
            time.sleep(numbers.choice([0, 0.0005, 0.002]))
        process.kill()
        process.wait(timeout=60)

    numbers = range(OLD, 4040)
    version = ""

    def prefix(self, first, rows):
        self.assertEqual(rows, [row(first + i) for i in range(len(rows))])

    def test_append_with_memo(self):
        def judge(rows):
            self.assertGreaterEqual(len(rows), OLD)
            self.prefix(0, rows)
        self.campaign(lambda: self.make("FOXPRO26"), ["--table", "BIG"], judge)

    def test_update_by_key(self):
        def make():
            made = self.make("Access", keys=["--primary", "ID"])
            kelvorin("import", write_rows(self.folder / "more.csv", range(OLD, 3000)), "--into", made[0],
                     "--table", "BIG", "--map-in-order", check=0)
            return made

        self.numbers, self.version = range(3000), " new"
        self.campaign(make, ["--table", "BIG", "--index", "PrimaryKey", "--key-lookup"], self.judge_update)

    def judge_update(self, rows):
        new = sum(r[1].endswith(" new") for r in rows)
        self.assertEqual(rows, [row(i, " new" if i < new else "") for i in range(3000)])

    def test_empty(self):
        def judge(rows):
            old = [r for r in rows if int(r[0]) < OLD]
            if old:  # nothing new before all old ones are gone
                self.assertEqual(old, rows)
                self.prefix(OLD - len(old), rows)
            else:
                self.prefix(OLD, rows)
        self.campaign(lambda: self.make("FOXPRO26"), ["--table", "BIG", "--empty-target"], judge)

    def test_create(self):
        def judge(rows):
            if rows is not None:
                self.prefix(OLD, [r[-3:] for r in rows])
            self.assertEqual(rows_of(f"Access:{self.folder}/t/S.mdb", "BIG"),
                             [row(i) for i in range(OLD)])
        self.campaign(lambda: self.make("Access"), ["--table", "MADE", "--create"], judge, table="MADE")

    def test_bulk_append_with_two_indexes(self):
        def judge(rows):
            self.assertGreaterEqual(len(rows), OLD)
            self.prefix(0, rows)
        keys = ["--primary", "ID", "--index", "BYNAME=NAME"]
        self.campaign(lambda: self.make("Access", keys=keys), ["--table", "BIG"], judge)


    PARADOX_KEYS = ["--primary", "ID", "--index", "BYNAME=NAME"]

    def test_paradox_append_in_no_order(self):
        """Records reach the table in the order of the file, whatever their keys are."""
        mixed = random.Random(3).sample(range(OLD, 4040), 4000)

        def judge(rows):
            came = sorted(mixed[:len(rows) - OLD])
            self.assertEqual(rows, [row(n) for n in [*range(OLD), *came]])
        self.numbers = mixed
        self.campaign(lambda: self.make("Paradox5", keys=self.PARADOX_KEYS), ["--table", "BIG"], judge)

    def test_paradox_update_by_key(self):
        def make():
            made = self.make("Paradox5", keys=self.PARADOX_KEYS)
            kelvorin("import", write_rows(self.folder / "more.csv", range(OLD, 3000)), "--into", made[0],
                     "--table", "BIG", "--map-in-order", check=0)
            return made

        self.numbers, self.version = range(3000), " new"
        self.campaign(make, ["--table", "BIG", "--index", "PrimaryKey", "--key-lookup"], self.judge_update)


def is_sealed(journal):
    try:
        with open(journal, "rb") as file:
            return struct.unpack("<8sI", file.read(12)) == (b"KvJrnal2", SEALED)
    except (OSError, struct.error):
        return False


class ForeignWork(Base):
    """A table torn by a crash, and then other hands. Whatever they did stays."""

    KINDS = ["FOXPRO26", "Access", "Paradox5"]

    def tear(self, kind, folder="t"):
        target, main = self.make(kind, folder)
        self.before = {path.name: path.read_bytes() for path in main.parent.iterdir()}
        new = write_rows(self.folder / "new.csv", range(OLD, 4000))
        journal = pathlib.Path(f"{main}-journal")
        for attempt in range(100):
            process = start("import", new, "--into", target, "--table", "BIG", "--map-in-order")
            while process.poll() is None and not is_sealed(journal):
                pass
            time.sleep(attempt % 10 * 0.0003)
            process.kill()
            process.wait(timeout=60)
            if is_sealed(journal) and self.make_torn(target, main, journal):
                return target, main, journal
            for path in main.parent.iterdir():
                if path.name in self.before:
                    path.write_bytes(self.before[path.name])  # the same file, as it was
                else:
                    path.unlink()
        self.fail("never killed in the middle of a group")

    def make_torn(self, target, main, journal):
        """Puts the first old bytes back, as if they had not been written; whether that is half a change."""
        text = journal.read_bytes()
        entries, = struct.unpack_from("<I", text, 12)
        at = 1024 + 64 * entries
        kind, entry, offset, size = struct.unpack_from("<IIQQ", text, at)
        pieces = (offset + size - 1) // 512 - offset // 512 + 1
        old_at = at + 32 + 8 * pieces
        with open(main, "r+b") as file:
            file.seek(offset)
            file.write(text[old_at:old_at + size])
        shown = kelvorin("recover", target, "BIG", check=0).stdout
        self.torn_at = offset
        return (kind, entry) == (1, 0) and "next writing puts the file right" in shown

    def append(self, target, check):
        one = write_rows(self.folder / "one.csv", [9999])
        return kelvorin("import", one, "--into", target, "--table", "BIG", "--map-in-order", "--json",
                        "--separators", ",", "--log", self.folder / "log.txt", check=check)

    def test_nobody_came(self):
        for kind in self.KINDS:
            with self.subTest(kind):
                target, main, journal = self.tear(kind, kind)
                left = self.tree()
                seen = kelvorin("dump", target, "BIG", check=0)
                self.assertIn("was interrupted; it is read as it was before", seen.stderr)
                self.assertEqual(rows_of(target, "BIG"), [row(i) for i in range(OLD)])
                shown = kelvorin("recover", target, "BIG", check=0).stdout
                self.assertIn("pieces compared", shown)
                self.assertEqual(self.tree(), left)
                # Killed while it puts things right, it does so the next time.
                for delay in (0, 0.003, 0.01):
                    process = start("recover", target, "BIG", "--apply")
                    time.sleep(delay)
                    process.kill()
                    process.wait(timeout=60)
                kelvorin("recover", target, "BIG", "--apply", check=0)
                self.assertEqual({p.name: p.read_bytes() for p in main.parent.iterdir()}, self.before)

    def test_the_next_writing_says_so(self):
        target, _, journal = self.tear("FOXPRO26")
        outcome = json.loads(self.append(target, check=0).stdout)
        self.assertIn("is undone", " ".join(outcome["notices"]))
        self.assertIn("is undone", (self.folder / "log.txt").read_text(errors="replace"))
        self.assertEqual(rows_of(target, "BIG"), [row(i) for i in [*range(OLD), 9999]])
        self.assertFalse(journal.exists())

    def test_foreign_work_stays(self):
        def edit(main):
            with open(main, "r+b") as file:
                file.seek(self.torn_at + 1)
                was = file.read(1)
                file.seek(self.torn_at + 1)
                file.write(bytes([was[0] ^ 1]))

        def append(main):
            with open(main, "ab") as file:
                file.write(b" a record of another program" * 40)

        def shorter(main):  # packed in place, or a copy that is older still
            main.write_bytes(self.before[main.name][:-176])

        def other_file(main, name, text):
            (main.parent / name).write_bytes(text)
            os.replace(main.parent / name, main)

        works = {
            "edit": edit, "append": append, "pack": shorter,
            "truncation": lambda main: os.truncate(main, 600),
            "copy from before": lambda main: main.write_bytes(self.before[main.name]),
            "copy of the torn file": lambda main: other_file(main, "copy", main.read_bytes()),
            "second name": lambda main: os.link(main, main.parent / "SECOND"),
        }
        for kind in ("FOXPRO26", "Access"):
            for name, work in works.items():
                with self.subTest(kind=kind, work=name):
                    shutil.rmtree(self.folder / "t", ignore_errors=True)
                    target, main, journal = self.tear(kind)
                    work(main)
                    left = self.tree()
                    kelvorin("dump", target, "BIG")
                    kelvorin("recover", target, "BIG")
                    self.assertEqual(self.tree(), left)
                    done = self.append(target, check=None)
                    (self.folder / "log.txt").unlink(missing_ok=True)
                    (self.folder / "one.csv").unlink()
                    if name == "copy from before":  # what the journal would have made of it
                        self.assertEqual(done.returncode, 0, done.stderr)
                        self.assertEqual(rows_of(target, "BIG"), [row(i) for i in [*range(OLD), 9999]])
                        continue
                    self.assertEqual(done.returncode, 3, done.stdout)
                    self.assertIn("is not played back, nothing was changed",
                                  json.loads(done.stdout)["fatal"])
                    self.assertEqual(self.tree(), left)
                    # A host reads it in `LastError`, which is the fatal text here.
                    host = kelvorin("batch", "J", f"IniFile={self.folder / 'jobs.ini'}", "MultiTable=1",
                                    f"DataBaseName={main if kind == 'Access' else main.parent}",
                                    f"ConnectString={kind}", "TableName=BIG", "--json",
                                    f"ImportTable={self.folder / 'new.csv'}", check=3)
                    self.assertIn("is not played back, nothing was changed",
                                  json.loads(host.stdout)["fatal"])
                    self.assertEqual(self.tree(), left)
                    if name in ("copy of the torn file", "second name"):
                        kelvorin("recover", target, "BIG", "--apply", check=0)
                        self.assertEqual(main.read_bytes(), self.before[main.name])
                        continue
                    self.assertEqual(kelvorin("recover", target, "BIG", "--apply").returncode, 3)
                    self.assertEqual(self.tree(), left)
                    kelvorin("recover", target, "BIG", "--set-aside", check=0)
                    left[f"{journal}.kept"] = left.pop(str(journal))
                    self.assertEqual(self.tree(), left)

    def test_links(self):
        target, main, _ = self.tear("FOXPRO26")
        links = self.folder / "links"
        links.mkdir()
        (links / "CUR.DBF").symlink_to(main)
        (links / "CUR.FPT").symlink_to(main.with_suffix(".FPT"))
        left = self.tree()
        linked = f"FOXPRO26:{links}"
        self.assertEqual(rows_of(linked, "CUR"), [row(i) for i in range(OLD)])
        self.assertEqual(self.tree(), left)
        one = write_rows(self.folder / "one.csv", [9999])
        kelvorin("import", one, "--into", linked, "--table", "CUR", "--map-in-order", "--separators",
                 ",", check=0)
        self.assertEqual(rows_of(target, "BIG"), [row(i) for i in [*range(OLD), 9999]])
        self.assertEqual(sorted(path.name for path in links.iterdir()), ["CUR.DBF", "CUR.FPT"])

    def test_the_longest_name(self):
        name = "n" * 247
        target = f"FOXPRO26:{self.folder}"
        kelvorin("create", target, name, "ID:Long", "NAME:Text:40", "NOTE:Memo", check=0)
        kelvorin("import", write_rows(self.folder / "new.csv", range(OLD)), "--into", target, "--table",
                 name, "--map-in-order", check=0)
        self.assertEqual(rows_of(target, name), [row(i) for i in range(OLD)])
        self.assertEqual(sorted(path.suffix.lower() for path in self.folder.iterdir()),
                         [".csv", ".dbf", ".fpt"])

    def test_what_lies_at_the_journals_name(self):
        target, main = self.make("FOXPRO26")
        journal = pathlib.Path(f"{main}-journal")
        with open(journal, "wb") as file:
            file.truncate(64 << 30)
        self.assertEqual(rows_of(target, "BIG"), [row(i) for i in range(OLD)])
        kelvorin("recover", target, "BIG", check=0)
        self.append(target, check=0)
        self.assertEqual(os.stat(f"{journal}.kept").st_size, 64 << 30)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
