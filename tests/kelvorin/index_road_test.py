"""Tables with indexes from outside: made, looked up in, kept right and taken over by the command
line, and judged after every step by a checker that is not ours.

Run by ctest as: index_road_test.py KELVORIN SAMPLES
"""

import csv
import io
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

KELVORIN, SAMPLES = sys.argv[1:3]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "1252"}
XBASE = pathlib.Path(SAMPLES) / "xbase"
CHECKER = pathlib.Path(SAMPLES).parent / "tools/xbcheck.py"
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # nothing here has to outlive the power
KINDS = {"DBase3": 4, "DBase4": 1, "DBase5": 1, "FOXPRO26": 1, "FOXPRO30": 1}  # files of four indexes


def kelvorin(*words, check=0):
    done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True,
                          env=ENVIRONMENT, timeout=240)
    if done.returncode != check and check is not None:
        raise AssertionError(f"{words}: status {done.returncode}, expected {check}\n"
                             f"{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done


class Indexes(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-index-", dir=MEMORY))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def text(self, name, rows):
        path = self.folder / name
        with open(path, "w", newline="", encoding="utf-8") as file:
            csv.writer(file, delimiter=";").writerows(rows)
        return path

    def dump(self, database, table):
        return list(csv.reader(io.StringIO(kelvorin("dump", database, table).stdout, newline="")))

    def load(self, rows, target, *more, check=0):
        """Imports rows, the first of them names, and returns what the run tells."""
        source = self.text("source.csv", rows)
        done = kelvorin("import", source, "--into", target, "--table", "T", "--map-by-name", "--start-line", 2,
                        "--separators", ";", "--ansi", 65001, "--json", *more, check=check)
        return json.loads(done.stdout)

    def sound(self, database, table, indexes=None):
        kelvorin("check", database, table)
        folder = pathlib.Path(database.split(":", 1)[1])
        files = [p for p in folder.iterdir() if p.suffix.upper() in (".NDX", ".MDX", ".IDX", ".CDX")]
        dbf = next(p for p in folder.iterdir() if p.name.upper() == table.upper() + ".DBF")
        self.assertGreaterEqual(len(files), indexes or 1)
        if CHECKER.exists():
            done = subprocess.run([sys.executable, CHECKER, "index", dbf, *files], capture_output=True, text=True)
            # Of a candidate tag the checker takes a key to be its first record's, deleted or not.
            owner = r".*'cand': True.*\n  ERROR \w+: (\d+) entries, \1 expected; missing.*\n"
            said = re.sub(owner, "", done.stdout) + done.stderr
            self.assertFalse("ERROR" in said or done.returncode not in (0, 1) or not done.stdout, said)

    def made(self, kind, *more):
        target = f"{kind}:{self.folder}/{kind}"
        kelvorin("create", target, "T", "CODE:Text:12", "AMT:Numeric:9:2", "D:Date", "ID:Long",
                 "--index", "BYCODE=CODE", "--index", "BYAMT=AMT", "--index", "BYBOTH=CODE,ID", *more)
        return target

    ROWS = [[f"K{n * 37 % 300:03}", f"{n * 7 % 50}.25", f"20{n % 30:02}-03-{1 + n % 28:02}", str(n)]
            for n in range(300)]
    NAMES = ["CODE", "AMT", "D", "ID"]

    def test_key_lookup_from_text(self):
        for kind, files in KINDS.items():
            with self.subTest(kind):
                target = self.made(kind, "--primary", "ID")
                self.assertEqual(self.load([self.NAMES, *self.ROWS], target)["imported"], 300)
                self.sound(target, "T", files)
                change = [[row[0], "-1.5", "2031-01-31"] for row in self.ROWS[::3]]
                look_up = ["--index", "bycode", "--key-lookup"]
                self.assertEqual(self.load([self.NAMES[:3], *change], target, *look_up)["imported"], 100)
                added = [["NEW1", "3.75", "2032-01-01", "401"], ["NEW2", "0", "2032-01-02", "402"]]
                told = self.load([self.NAMES, *added, ["NEW1", "3.5", "2032-01-01", "401"]], target, *look_up,
                                 "--append-if-eof")
                self.assertEqual(told["imported"], 3)
                self.sound(target, "T", files)
                expected = {row[0]: row[1:3] for row in self.ROWS}
                expected.update({row[0]: row[1:3] for row in change + added})
                expected["NEW1"][0] = "3.5"
                stored = self.dump(target, "T")[1:]
                self.assertEqual({r[0]: [float(r[1]), r[2]] for r in stored},
                                 {k: [float(v[0]), v[1]] for k, v in expected.items()})
                self.assertEqual(len(stored), 302)
                # By a number, and by a key of two fields.
                self.load([["ID", "CODE"], ["7", "SEVEN"], ["8", "EIGHT"]], target, "--index",
                          next(n for n in self.indexes(target, "T") if n.upper() not in
                               ("BYCODE", "BYAMT", "BYBOTH")), "--key-lookup")
                self.load([["CODE", "ID", "AMT"], ["EIGHT", "8", "88"]], target, "--index", "BYBOTH",
                          "--key-lookup")
                by_id = {row[3]: row for row in self.dump(target, "T")[1:]}
                self.assertEqual(by_id["7"][0], "SEVEN")
                self.assertEqual([by_id["8"][0], float(by_id["8"][1])], ["EIGHT", 88.0])
                self.load([["AMT"], ["1"], ["2"]], target, "--index", "BYCODE")  # in the index's order
                first = sorted(self.dump(target, "T")[1:])[:2]
                self.assertEqual([float(row[1]) for row in first], [1.0, 2.0])
                self.load([self.NAMES, self.ROWS[0]], target, "--empty-target")
                self.assertEqual(len(self.dump(target, "T")), 2)
                self.sound(target, "T", files)

    def indexes(self, database, table):
        listed = json.loads(kelvorin("fields", database, table, "--json").stdout)
        return [index["name"] for index in listed["indexes"]]

    def test_a_stale_index_is_rebuilt_by_a_run_and_left_by_a_trial(self):
        for kind in KINDS:
            with self.subTest(kind):
                target = self.made(kind)
                folder = self.folder / kind
                self.load([self.NAMES, *self.ROWS[:100]], target)
                old = {p: p.read_bytes() for p in folder.iterdir() if p.suffix.upper() in (".NDX", ".MDX", ".CDX")}
                self.load([self.NAMES, *self.ROWS[100:]], target)
                for path, content in old.items():
                    path.write_bytes(content)
                change = [["CODE", "AMT"], [self.ROWS[250][0], "77"]]
                look_up = ["--index", "BYCODE", "--key-lookup"]
                before = {p: p.read_bytes() for p in folder.iterdir()}
                told = self.load(change, target, "--dry-run", *look_up, check=None)
                self.assertTrue(any("lacks records" in n for n in told["notices"]), told)
                self.load([self.NAMES, self.ROWS[0]], target, "--dry-run")
                self.assertEqual(before, {p: p.read_bytes() for p in folder.iterdir()})
                told = self.load(change, target, *look_up)
                self.assertEqual(told["imported"], 1)
                self.assertEqual(sum("were rebuilt" in n for n in told["notices"]), 1, told)
                self.sound(target, "T")
                for path, content in old.items():
                    path.write_bytes(content)
                told = self.load([self.NAMES, ["LAST", "1", "2001-01-01", "999"]], target)
                self.assertEqual(sum("were rebuilt" in n for n in told["notices"]), 1, told)
                self.sound(target, "T")

    def test_links_and_a_table_put_back(self):
        for kind in KINDS:
            with self.subTest(kind):
                target = self.made(kind)
                folder = self.folder / kind
                self.load([self.NAMES, *self.ROWS[:100]], target)
                old = (folder / "T.DBF").read_bytes()
                self.load([self.NAMES, *self.ROWS[100:]], target)
                # Building anew leaves the links, and the files where they are.
                links = self.folder / f"{kind}-links"
                links.mkdir()
                for path in folder.iterdir():
                    (links / path.name).symlink_to(path)
                through = f"{kind}:{links}"
                kelvorin("reindex", through, "T")
                self.assertTrue(all(path.is_symlink() for path in links.iterdir()))
                self.load([self.NAMES, ["LAST", "1", "2001-01-01", "999"]], through)
                self.sound(target, "T")
                # What the index keeps of records that are gone must not become the next records'.
                (folder / "T.DBF").write_bytes(old)
                told = self.load([self.NAMES, ["LAST", "1", "2001-01-01", "999"]], target)
                self.assertEqual(sum("were rebuilt" in n for n in told["notices"]), 1, told)
                self.sound(target, "T")

    def test_create_takes_the_indexes_over(self):
        for kind in KINDS:
            with self.subTest(kind):
                source = self.made(kind, "--primary", "ID")
                self.load([self.NAMES, *self.ROWS], source)
                kinds = list(KINDS)
                for other in (kind, kinds[(kinds.index(kind) + 1) % len(kinds)]):
                    target = f"{other}:{self.folder}/{kind}-{other}"
                    kelvorin("import", source, "--source-table", "T", "--into", target, "--table", "T", "--create")
                    self.assertEqual(len(self.dump(target, "T")), 301)
                    self.assertGreaterEqual({n.upper() for n in self.indexes(target, "T")},
                                            {"BYCODE", "BYAMT", "BYBOTH"})
                    self.assertEqual(len(self.indexes(target, "T")), 4)
                    self.sound(target, "T", KINDS[other])

    @unittest.skipUnless(XBASE.is_dir(), f"no sample files at {SAMPLES}")
    def test_samples_through_every_way_of_writing(self):
        for sample in ("db3", "db4", "mdxnum", "fox25", "vfp30", "vfpgen", "calls", "stale_index"):
            with self.subTest(sample):
                folder = self.folder / sample
                folder.mkdir()
                for path in XBASE.iterdir():
                    if path.stem.startswith(sample) and path.suffix != ".csv":
                        shutil.copy(path, folder / path.name)
                        os.chmod(folder / path.name, 0o644)
                database = f"FOXPRO26:{folder}"
                names, *rows = self.dump(database, sample)
                listed = json.loads(kelvorin("fields", database, sample, "--json").stdout)
                look_up = [i for i in listed["indexes"] if re.fullmatch(r"[+-]\w+", i["fields"])]
                self.assertTrue(look_up)
                source = self.text("source.csv", [names, *rows[:60]])
                job = ["import", source, "--into", database, "--table", sample, "--map-by-name",
                       "--start-line", 2, "--separators", ";", "--ansi", 65001]
                for index in look_up:
                    kelvorin(*job, "--index", index["name"], "--key-lookup", check=None)
                    self.sound(database, sample)
                kelvorin(*job, "--update", check=None)
                self.sound(database, sample)
                kelvorin(*job, check=None)
                self.sound(database, sample)
                self.assertGreater(len(self.dump(database, sample)), len(rows))
                kelvorin(*job, "--empty-target", check=None)
                self.sound(database, sample)
                self.assertGreater(len(self.dump(database, sample)), 1)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
