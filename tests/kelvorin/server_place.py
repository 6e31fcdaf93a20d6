"""A server of its own for each test program, in a folder that goes with it."""

import contextlib
import csv
import io
import json
import os
import pathlib
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile

KELVORIN, ROOT, SERVER = sys.argv[1:4]
DRIVERS = {"sqlite": "libsqlite3odbc.so", "postgres": "psqlodbcw.so", "mariadb": "libmaodbc.so"}
SKIPPED = 77


def output(*words, check=True, **options):
    done = subprocess.run([*map(str, words)], capture_output=True, timeout=300, **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{words}: status {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout.decode()


class Place:
    """The server under test, in a folder of its own."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvs"))
        self.folder.chmod(0o755)
        (self.folder / "odbcinst.ini").write_text(f"[Driver]\nDriver={DRIVERS[SERVER]}\n")
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8", "KELVORIN_OEM_CP": "850",
                            "ODBCSYSINI": str(self.folder), "ODBCINI": str(self.folder / "none")}
        self.script = f"{ROOT}/tests/servers/{SERVER}.sh"
        self.why_not = ""
        if SERVER == "sqlite":
            self.file = self.folder / "t.sqlite"
            self.file.touch()
            self.port = ""
            self.connect = f"DRIVER=Driver;Database={self.file}"
            return
        started = subprocess.run(["bash", self.script, "start", self.folder / "s"], capture_output=True,
                                 text=True, check=False)
        if started.returncode != 0:
            self.why_not = started.stderr.strip() or "no reason given"
            return
        self.port = started.stdout.split()[-1]
        user = "kv" if SERVER == "postgres" else "root"
        self.connect = (f"DRIVER=Driver;Servername=127.0.0.1;Server=127.0.0.1;Port={self.port};"
                        f"Database=imp;UID={user}")

    def close(self):
        if SERVER != "sqlite":
            subprocess.run(["bash", self.script, "stop", self.folder / "s"], check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    def sql(self, text):
        words = {"sqlite": ["sqlite3", "-json", "-cmd", ".timeout 20000", getattr(self, "file", "")],
                 "postgres": ["psql", "-h", "127.0.0.1", "-U", "kv", "-d", "imp", "-qAt", "-v", "ON_ERROR_STOP=1"],
                 "mariadb": ["mariadb", "--no-defaults", "--batch", "--skip-column-names", "-h", "127.0.0.1",
                             "-u", "root", "--default-character-set=utf8mb4", "imp"]}[SERVER]
        port = {"postgres": ["-p"], "mariadb": ["-P"]}.get(SERVER, [])
        return output(*words, *port, *[self.port] * len(port), input=text.encode())

    def rows(self, table):
        """All rows; Null is None. SQLite and MariaDB hand them out in the order in which they were stored."""
        if SERVER == "sqlite":
            text = self.sql(f'SELECT * FROM "{table}" ORDER BY rowid')
            return [[None if v is None else str(v) for v in row.values()] for row in json.loads(text or "[]")]
        if SERVER == "postgres":
            text = self.sql(f'COPY "{table}" TO STDOUT (FORMAT csv, NULL \'<null>\')')
            return [[None if cell == "<null>" else cell for cell in row]
                    for row in csv.reader(io.StringIO(text, newline=""))]
        columns = [line.split("\t")[0] for line in self.sql(f"SHOW COLUMNS FROM `{table}`").splitlines()]
        cells = ",".join(f"IFNULL(HEX(CONCAT(`{c}`)),'-')" for c in columns)
        return [[None if cell == "-" else bytes.fromhex(cell).decode(errors="surrogateescape") for cell in line.split("\t")]
                for line in self.sql(f"SELECT {cells} FROM `{table}`").split("\n")[:-1]]

    def kelvorin_import(self, *words):
        return json.loads(output(KELVORIN, "import", *words, "--json", env=self.environment))

    @contextlib.contextmanager
    def locked(self, table):
        """Somebody else keeps everybody from writing to the table."""
        if SERVER == "sqlite":
            other = sqlite3.connect(self.file, isolation_level=None)
            other.execute("BEGIN IMMEDIATE")
            yield
            other.close()
            return
        words = {"postgres": ["psql", "-h", "127.0.0.1", "-p", self.port, "-U", "kv", "-d", "imp", "-qAt"],
                 "mariadb": ["mariadb", "--no-defaults", "-h", "127.0.0.1", "-P", self.port, "-u", "root", "-N", "-n", "imp"]}
        lock = {"postgres": f"BEGIN; LOCK TABLE {table} IN EXCLUSIVE MODE;", "mariadb": f"LOCK TABLES {table} READ;"}[SERVER]
        with subprocess.Popen(words[SERVER], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as other:
            other.stdin.write(f"{lock} SELECT 1;\n".encode())
            other.stdin.flush()
            other.stdout.readline()
            yield
            other.stdin.close()

    def processes(self):
        pid = (self.folder / "s" / ("data/postmaster.pid" if SERVER == "postgres" else "pid")).read_text().split()[0]
        children = subprocess.run(["pgrep", "-P", pid], capture_output=True, text=True, check=False).stdout.split()
        return [int(p) for p in [pid, *children]]

    @contextlib.contextmanager
    def frozen(self):
        for pid in self.processes():
            os.kill(pid, signal.SIGSTOP)
        try:
            yield
        finally:
            for pid in self.processes():
                os.kill(pid, signal.SIGCONT)

    def restart(self):
        """The server dies and comes back on its port."""
        if SERVER == "mariadb":
            os.kill(self.processes()[0], signal.SIGKILL)
        subprocess.run(["bash", self.script, "stop", self.folder / "s"], check=False, env={**os.environ, "MODE": "immediate"})
        output("bash", self.script, "start", self.folder / "s", env={**os.environ, "PORT": self.port})
