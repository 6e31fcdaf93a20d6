"""What the tests from outside share: the program, its surroundings, a folder for each test."""

import csv
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

KELVORIN = sys.argv[1]
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850"}
NO_ODBC = "KELVORIN_NO_ODBC" in os.environ or not shutil.which("sqlite3")


def run(*words, check=0, **options):
    """A program's status, output and errors; `check` is the status that it must have, None any. Line ends stay."""
    done = subprocess.run([*map(str, words)], **{"env": ENVIRONMENT, "capture_output": True, "timeout": 300, **options})
    done.stdout, done.stderr = done.stdout.decode(), done.stderr.decode(errors="replace")
    if check is not None and done.returncode != check:
        raise AssertionError(f"{words}: status {done.returncode}, expected {check}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done


def kelvorin(*words, **options):
    return run(KELVORIN, *words, **options)


def import_json(*words, **options):
    return json.loads(kelvorin("import", *words, "--json", **options).stdout)


def rows_of(text):
    return list(csv.reader(io.StringIO(text, newline="")))


def dump(database, table, *more, **options):
    """A table's rows without their heading; a blank line is a row whose only cell is empty."""
    return [row or [""] for row in rows_of(kelvorin("dump", database, table, *more, **options).stdout)[1:]]


class Road(unittest.TestCase):
    MEMORY = None  # where the test's folder is made

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-road-", dir=self.MEMORY))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def write(self, name, text):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def write_csv(self, name, rows, **options):
        text = io.StringIO(newline="")
        csv.writer(text, **options).writerows(rows)
        return self.write(name, text.getvalue())

    def files(self, folder=None):
        """Every file below with its bytes."""
        return {str(path): path.read_bytes() for path in sorted((folder or self.folder).rglob("*")) if path.is_file()}


def main(words):
    """Runs the tests; the first `words` arguments are the program's own."""
    unittest.main(module="__main__", argv=[sys.argv[0], *sys.argv[1 + words:]], warnings="ignore")
