"""Text files as people get them, through the command line into an Access table and read back.

Run by ctest as: text_road_test.py KELVORIN SAMPLES
"""

import csv
import gzip
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

KELVORIN, SAMPLES = sys.argv[1:3]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850"}


def kelvorin(*words, **options):
    options = {"env": ENVIRONMENT, "timeout": 240, "capture_output": True, "text": True, **options}
    return subprocess.run([KELVORIN, *map(str, words)], **options)


class TextRoad(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-text-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.tables = 0

    def write(self, name, text):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def read(self, source, *words, check=0, **options):
        """Imports into a new table; its heading and rows, or None, with what was said."""
        self.tables += 1
        target = f"Access:{self.folder}/t{self.tables}.mdb"
        done = kelvorin("import", source, "--into", target, "--table", "T", "--create", *words,
                        **options)
        self.assertEqual(done.returncode, check, f"{source}: {done.stderr}{done.stdout}")
        if done.returncode != 0:
            return None, done.stderr
        text = kelvorin("dump", target, "T").stdout
        return list(csv.reader(io.StringIO(text, newline=""))), done.stderr

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
