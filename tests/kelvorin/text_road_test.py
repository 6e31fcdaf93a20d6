"""Text files as people get them, through the command line into an Access table and read back.

Run by ctest as: text_road_test.py KELVORIN SAMPLES
"""

import gzip
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from road import ENVIRONMENT, KELVORIN, Road, dump, import_json, kelvorin, main, rows_of, run

SAMPLES = sys.argv[2]


class TextRoad(Road):
    tables = 0

    def read(self, source, *words, check=0, **options):
        """Imports into a new table; its heading and rows, or None, with what was said."""
        self.tables += 1
        target = f"Access:{self.folder}/t{self.tables}.mdb"
        done = kelvorin("import", source, "--into", target, "--table", "T", "--create", *words, check=check, **options)
        return rows_of(kelvorin("dump", target, "T").stdout) if check == 0 else None, done.stderr

    def compare(self, source, expected, *words):
        kind, rows, heading = expected["kind"], expected["rows"], expected["heading"]
        if kind == "none":
            said = self.read(source, "--start-line", "auto", *words, check=3)[1]
            self.assertIn("--guess", said)
            return
        stored, said = self.read(source, "--start-line", "auto", *words)
        stored = [[cell.replace("\r\n", "\n") for cell in row] for row in stored]
        self.assertEqual(stored[1:], rows, said)
        if heading:
            self.assertEqual(stored[0], heading)

    def test_samples(self):
        folder = pathlib.Path(SAMPLES) / "text"
        if not folder.exists():
            self.skipTest(f"no sample files at {SAMPLES}")
        expected = json.loads((folder / "expected.json").read_text())
        for name, what in expected.items():
            with self.subTest(name):
                self.compare(folder / name, what, *what["advice"].split())

    def test_doors(self):
        """The same table through every door that a text can come by."""
        rows = [["name", "sum"], ["J\u00e4ger", "1,5"], ["\u00d6zt\u00fcrk", "2,5"], ["Joe", "3,5"]]
        text = "".join(";".join(row) + "\r\n" for row in rows)
        auto = ["--start-line", "auto"]
        sources = {
            "utf-8": (self.write("a.csv", text), auto),
            "mark": (self.write("b.csv", "\ufeff" + text), auto),
            "utf-16": (self.write("c.csv", text.encode("utf-16")), auto),
            "big end": (self.write("d.csv", ("\ufeff" + text).encode("utf-16-be")), auto),
            "packed": (self.write("e.csv.gz", gzip.compress(text.encode())), auto),
            "packed utf-16": (self.write("f.gz", gzip.compress(text.encode("utf-16"))), auto),
            "1252": (self.write("g.csv", text.encode("cp1252")), [*auto, "--ansi", 1252]),
            "latin 1": (self.write("h.csv", text.encode("latin-1")), [*auto, "--ansi", 28591]),
            "850": (self.write("i.csv", text.encode("cp850")), [*auto, "--ansi", 850]),
            "dos": (self.write("j.csv", text.encode("cp850") + b"\x1a"), [*auto, "--oem"]),
            "wide": (self.write("k.csv", text.replace(";", "\u00a7")),
                     ["--start-line", 2, "--separators", "\u00a7"]),
            "padded": (self.write("l.csv", text.replace(";", " ; ")),
                       [*auto, "--trim", "--skip-blank-lines"]),
        }
        for name, (source, words) in sources.items():
            with self.subTest(name):
                self.assertEqual(self.read(source, *words)[0], rows)
        with self.subTest("standard input"):
            self.assertEqual(self.read("-", *auto, input=text.encode())[0], rows)
        said = self.read(self.folder / "g.csv", check=3)[1]
        self.assertIn("--ansi 1252", said)
        self.assertEqual(self.read(self.folder / "g.csv", *auto, "--guess")[0], rows)
        self.assertIn("--start-line 2", self.read(self.folder / "a.csv")[1])  # the heading is told

    def test_records_that_are_not_lines(self):
        dump = self.write("d.bin", "ab12cd34ef56")
        self.assertEqual(self.read(dump, "--record-separator", "length:4,0", "--breaks", "2,4")[0][1:],
                         [["ab", "12"], ["cd", "34"], ["ef", "56"]])
        nails = ['4" nail' if i in (5, 50) else "n" for i in range(60)]
        stray = self.write("s.csv", "".join(f"i{i},{nails[i]},x{i}\n" for i in range(60)))
        for words in ([], ["--record-separator", "lf"]):
            stored = self.read(stray, *words)[0]
            self.assertEqual(len(stored), 61)
            self.assertEqual(stored[6], ["i5", '4" nail', "x5"])
        open_ = self.write("o.csv", 'a,b\n1,"x\n2,y\n3,z\n')
        stored, said = self.read(open_, "--separators", ",", "--start-line", 2)
        self.assertEqual(stored[1:], [["1", '"x'], ["2", "y"], ["3", "z"]])
        mixed = self.write("m.csv", "a,1\nb,2\r\nc,3\r\n")
        self.assertEqual(self.read(mixed)[0][1:], [["a", "1"], ["b", "2"], ["c", "3"]])
        wide = self.write("w.csv", ",".join(str(i) for i in range(300)) + "\n")
        self.assertIn("--ignore-extra-fields", self.read(wide, "--separators", ",", check=3)[1])
        self.assertEqual(len(self.read(wide, "--separators", ",", "--ignore-extra-fields")[0][1]), 251)
        long = self.write("l.csv", ("x" * 3000 + "\n") * 5)
        self.assertEqual(len(self.read(long, "--guess")[0]), 6)

    def test_what_is_no_record(self):
        """Lines that a person passes over, in files of several sorts."""
        rows = [[f"x{i}", f"{i},50 \u20ac"] for i in range(1, 9)]
        bars = "".join(f"| {a} | {b} |\n" for a, b in rows)
        lines = "".join(f"{a};{b}\n" for a, b in rows)
        columns = "".join(f"{a:<16}{b:>8}\n" for a, b in rows)
        right = {
            "markdown": "| id | v.a |\n|----|----:|\n" + bars,
            "comments": "# made; by; hand\n#\nid;v.a\n" + lines,
            "preamble": "Account;1;\nFrom;x;\n\nid;v.a;\n" + lines.replace("\n", ";\n"),
            "said": "sep=;\nid;v.a\n" + lines,
            "columns": "SALES\n\nid                   v.a\n--------------- --------\n" + columns,
        }
        for name, text in right.items():
            with self.subTest(name):
                stored, said = self.read(self.write("r.txt", text), "--start-line", "auto")
                self.assertEqual(stored, [["id", "v_a"], *rows], said)
                self.assertIn("'v_a'", said)
        titled = self.read(self.write("l.txt", "total 9\n" + columns), "--start-line", "auto")[0]
        self.assertEqual(titled, [["Field 1", "Field 2"], *rows])
        for text in ("+--+--+\n| id | v |\n+--+--+\n" + bars + "+--+--+\n8 rows in set\n",
                     "id;v\n" + lines + "\nSum;36\n"):
            source = self.write("f.txt", text)
            said = self.read(source, "--start-line", "auto", check=3)[1]
            self.assertIn("--guess --max-lines 8", said)
            words = ["--start-line", "auto", "--guess", "--max-lines", 8]
            self.assertEqual(self.read(source, *words)[0], [["id", "v"], *rows])

    def test_settings_keep_the_layout(self):
        source = self.write("f.txt", "".join("%4d %-9s%7.2f\n" % (i, n, i * 1.5) for i, n in
                                             enumerate(["J\u00e4ger", "New York", "Joe", "A B"])))
        target, ini = f"Access:{self.folder}/s.mdb", self.folder / "s.ini"
        outcome = import_json(source, "--into", target, "--table", "T", "--create", "--save-as", "J", "--ini", ini)
        self.assertIn("fixed width", outcome["layout"])
        utf16 = self.write("g.txt", source.read_bytes().decode().encode("utf-16"))
        kelvorin("batch", "J", f"IniFile={ini}", "ConnectString=Access", f"DataBaseName={self.folder}/s.mdb",
                 "MultiTable=1", "TableName=T", f"ImportTable={utf16}")
        rows = dump(target, "T")
        self.assertEqual(rows[:4], rows[4:])
        self.assertEqual(rows[1], ["1", "New York", "1.50"])
        for name in ("settings", "a=b", "[a", " "):
            kelvorin("import", source, "--into", target, "--table", "T", "--save-as", name, "--ini", ini, check=2)

    def test_settings_of_somebody_else(self):
        """A program with a settings file beside it that its user may read at most."""
        place = pathlib.Path(tempfile.mkdtemp(prefix="text-road-", dir=pathlib.Path(KELVORIN).parent))
        self.addCleanup(shutil.rmtree, place, ignore_errors=True)
        program, beside, home = place / "kelvorin", place / "Kelvorin.Ini", self.folder / "home"
        os.link(KELVORIN, program)
        home.mkdir()
        beside.write_text("[J]\nTypeFormat=0\n[settings]\nJ=\n")
        beside.chmod(0o444)
        place.chmod(0o555)
        self.addCleanup(place.chmod, 0o755)
        options = {"env": {**ENVIRONMENT, "XDG_CONFIG_HOME": str(home)}}
        if os.geteuid() == 0:
            options["user"] = 65534
            for path in (self.folder, home):
                os.chown(path, 65534, -1)
        source = self.write("a.csv", "a,1\nb,2\nc,3\n")

        def save(name, *words, check=0):
            return run(program, "import", source, "--into", f"Access:{self.folder}/{name}.mdb", "--table", "T",
                       "--create", "--save-as", name, *words, check=check, **options)

        def listed(*words, check=0):
            return run(program, "settings", "list", *words, check=check, **options).stdout

        self.assertEqual(listed(), "J\n")
        save("K")
        self.assertEqual(listed(), "J\nK\n")
        own = home / "Kelvorin/Kelvorin.Ini"
        own.chmod(0o444)
        for words in ([], ["--ini", beside]):
            self.assertIn("Kelvorin.Ini", save("L", *words, check=3).stderr)
        self.assertEqual(listed(), "J\nK\n")
        self.assertNotIn("K", beside.read_text())
        if os.geteuid() == 0:
            beside.chmod(0o400)
            listed("--ini", beside, check=3)

    def test_nothing_to_import_is_no_error(self):
        target = f"Access:{self.folder}/e.mdb"
        kelvorin("create", target, "T", "A:Text:5")
        for text in ("", "\n\n", " \r\n"):
            source = self.write("e.txt", text)
            for words in (["--table", "T"], ["--table", "NEW", "--create"]):
                self.assertEqual(import_json(source, "--into", target, *words)["read"], 0)


if __name__ == "__main__":
    main(2)
