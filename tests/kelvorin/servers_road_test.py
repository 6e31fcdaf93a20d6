"""The command line against real servers: what it imports, the servers' own programs read back equal.

Run by ctest once for each server as: servers_road_test.py KELVORIN SOURCE_FOLDER SERVER
Answers 77 when the server, a driver or a file to import is missing.
"""

import contextlib
import csv
import datetime
import decimal
import fcntl
import json
import os
import pathlib
import pty
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

from server_place import KELVORIN, ROOT, SERVER, SKIPPED, Place

OUI = pathlib.Path("/usr/share/ieee-data/oui.csv")
UNICODE_DATA = pathlib.Path("/usr/share/unicode/UnicodeData.txt")


class ServersRoad(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-servers-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.target = f"ODBC:{place.connect}"

    def assert_rows(self, stored, expected):
        self.assertEqual(len(stored), len(expected))
        if SERVER == "postgres":  # later rows fill gaps in earlier pages
            stored, expected = (sorted(rows, key=str) for rows in (stored, expected))
        for got, wanted in zip(stored, expected):
            if got != wanted:
                self.fail(f"{wanted!r} became {got!r}")

    def kelvorin(self, *words, status=0, **environment):
        done = subprocess.run([KELVORIN, *map(str, words)], capture_output=True, text=True, timeout=120, check=False,
                              env={**place.environment, **environment})
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def typed(self, answer, *words):
        """Runs the program on a terminal of its own: status, all it shows, whether its echo was off and is on again."""
        outside, inside = pty.openpty()
        echo = lambda: bool(termios.tcgetattr(inside)[3] & termios.ECHO)
        run = subprocess.Popen([KELVORIN, *map(str, words)], stdin=inside, stdout=inside, stderr=inside, start_new_session=True,
                               env=place.environment, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        said = b""
        while b"Password" not in said:
            said += os.read(outside, 1000)
        deadline = time.monotonic() + 20
        while echo() and time.monotonic() < deadline:
            time.sleep(0.02)
        silent = not echo()
        os.write(outside, answer.encode())
        status = run.wait(60)
        after = echo()
        os.close(inside)
        with contextlib.suppress(OSError):  # the end of a terminal
            while piece := os.read(outside, 10000):
                said += piece
        os.close(outside)
        return status, said.decode(), silent, after

    def test_a_table_is_not_imported_into_itself(self):
        place.sql("CREATE TABLE itself (id INTEGER PRIMARY KEY, t VARCHAR(20))")
        place.sql("INSERT INTO itself VALUES (1,'a'),(2,'b')")
        place.sql("CREATE TABLE another (id INTEGER, t VARCHAR(20))")
        place.sql("INSERT INTO another VALUES (7,'x')")
        place.sql("CREATE VIEW inner_view AS SELECT id + 100 AS id, t FROM itself")
        place.sql("CREATE VIEW outer_view AS SELECT v.id, a.t FROM another a, inner_view v")
        name = self.folder / "ini" / "odbc.ini"
        name.parent.mkdir()
        # the drivers have names of their own for the user in a data source
        keys = place.connect.replace("DRIVER=", "Driver=").replace("UID=", "Username=", SERVER == "postgres")
        keys = keys.replace(";", "\n")
        name.write_text(f"[Other]\n{keys}\n")
        for source in (self.target, "ODBC:Other"):
            said = self.kelvorin("import", source, "--source-table", "itself", "--into", self.target, "--table",
                                 "itself", "--empty-target", status=3, ODBCINI=str(name))
            self.assertIn("same table", said)
        for view, empty in (("inner_view", []), ("outer_view", ["--empty-target"])):
            self.assertIn("same table", self.kelvorin("import", "ODBC:Other", "--source-table", view, "--into",
                                                      self.target, "--table", "itself", *empty, status=3,
                                                      ODBCINI=str(name)))
        self.assertEqual(len(place.rows("itself")), 2)
        self.kelvorin("import", self.target, "--source-table", "outer_view", "--into", self.target, "--table",
                      "third", "--create", status=0)
        self.assertEqual(sorted(row[0] for row in place.rows("third")), ["101", "102"])

    def test_the_error_limit_wins_over_what_comes_behind_it(self):
        """Records go in groups: what the server refuses late ends the run where it would have ended one by one."""
        place.sql("CREATE TABLE lim (id INTEGER PRIMARY KEY, t VARCHAR(3))")
        source = self.folder / "lim.csv"
        source.write_text("1,abcdef\r\n1,abcdef\r\n2,abcdef\r\n" + ",".join("x" * 300) + "\r\n")
        words = ["import", source, "--into", self.target, "--table", "lim", "--separators", "comma", "--map-in-order",
                 "--empty-target", "--json"]
        for limit, status, expected in ((1, 1, [2, 1, 1, 1, 1]), (2, 3, [4, 2, 1, 2, 2])):
            said = self.kelvorin(*words, "--limit-errors", limit, status=status)
            outcome = json.loads(said[said.index("{"):said.index("}\n") + 1])
            self.assertEqual([*(outcome[k] for k in ("read", "imported", "rejected", "truncated_values")),
                              len(place.rows("lim"))], expected, said)
            self.assertEqual("251" in (outcome["fatal"] or ""), limit == 2)

    def test_passwords_stay_off_the_command_line(self):
        if SERVER != "mariadb":
            self.skipTest("the other servers ask for none here")
        place.sql("CREATE USER guarded@'%' IDENTIFIED BY 's;e}c r%'; GRANT ALL ON imp.* TO guarded@'%'")
        target = self.target.replace("UID=root", "UID=guarded")
        (self.folder / "secret").write_text("s;e}c r%\n")
        (self.folder / "wrong").write_text("another\n")
        self.kelvorin("tables", target, status=3)
        self.kelvorin("tables", target, "--password-file", self.folder / "wrong", status=3)
        self.kelvorin("tables", target, "--password-file", self.folder / "secret")
        self.kelvorin("tables", target, KELVORIN_PASSWORD="s;e}c r%")
        for typed, status, words in (("s;e}c r%\n", 0, "guarded2"), ("another\n", 3, "Access denied"), ("\3", -signal.SIGINT, "")):
            place.sql("CREATE TABLE IF NOT EXISTS guarded2 (id INTEGER)")
            got, said, silent, echo_after = self.typed(typed, "tables", target, "--ask-password")
            self.assertEqual((got, silent, echo_after), (status, True, True), said)
            self.assertIn(words, said)
            self.assertNotIn(typed.strip(), said)
        place.sql("CREATE TABLE guarded (id INTEGER)")
        (self.folder / "one.csv").write_text("id\n1\n")
        ini = self.folder / "jobs.ini"
        self.kelvorin("import", target, "--source-table", "guarded", "--source-password-file",
                      self.folder / "secret", "--into", f"DBase3:{self.folder}", "--table", "copy", "--create",
                      "--save-as", "Job", "--ini", ini)
        shown = self.kelvorin("settings", "show", "Job", "--ini", ini)
        self.assertIn("UID=guarded", shown)
        self.assertNotIn("PWD", ini.read_text())
        batch = ["batch", "Job", f"IniFile={ini}", f"DataBaseName={self.folder}", "TableName=copy", "ConnectString=DBase3"]
        self.kelvorin(*batch, status=3)
        self.kelvorin(*batch, KELVORIN_SOURCE_PASSWORD="s;e}c r%")
        self.kelvorin("import", target, "--source-table", "guarded", "--source-password-file", self.folder / "secret",
                      "--into", f"DBase3:{self.folder}", "--table", "copy", "--save-as", "Job", "--ini", ini, "--save-passwords")
        self.assertIn("s;e", ini.read_text())
        self.assertNotIn("s;e", self.kelvorin("settings", "show", "Job", "--ini", ini))

    # Texts of one row a type: an ordinary one, one at the limit, and Null in the third row.
    TYPES = {
        "sqlite": [("INTEGER", "-5", "9223372036854775807"), ("REAL", "0.1", "-2.5e+30"),
                   ("NUMERIC", "12.5", "-0.000001"), ("DECIMAL(38,10)", "1.5", "123456789.25"),
                   ("TEXT", "'ä''€'", "'" + "x" * 2000 + "'"), ("VARCHAR(10)", "''", "'0123456789'"),
                   ("DATE", "'2024-02-29'", "'9999-12-31'"), ("TIMESTAMP", "'2024-02-29 12:30:01'",
                                                              "'2024-02-29 12:30:01.123'"),
                   ("TIME", "'12:30:01'", "'23:59:59'"), ("BOOLEAN", "1", "0")],
        "postgres": [("smallint", "'-5'", "'32767'"), ("integer", "'7'", "'-2147483648'"),
                     ("bigint", "'7'", "'9223372036854775807'"), ("real", "'0.1'", "'3.4028235e38'"),
                     ("double precision", "'0.1'", "'-Infinity'"), ("numeric", "'1e-20'", "'NaN'"),
                     ("numeric(20,4)", "'12.5'", "'-9999999999999999.9999'"), ("money", "'12.5'", "'-92233720368547758.08'"),
                     ("char(5)", "'ab'", "'äöü€x'"), ("varchar(10)", "''", "'0123456789'"), ("varchar", "'a'", "repeat('x',4000)"),
                     ("text", "'it''s \\ \"'", "'NULL'"), ("name", "'n'", "'m'"), ("boolean", "true", "false"),
                     ("uuid", "'123e4567-e89b-12d3-a456-426614174000'", "'ffffffff-ffff-ffff-ffff-ffffffffffff'"),
                     ("date", "'2024-02-29'", "'0044-03-15 BC'"), ("time", "'12:30:01.000001'", "'24:00:00'"),
                     ("timetz", "'12:30:01+02'", "'00:00:00-11:30'"), ("timestamp", "'2024-02-29 12:30:01.123456'", "'infinity'"),
                     ("timestamp(3)", "'2024-02-29 12:30:01.123'", "'0001-01-01 BC'"), ("timestamptz", "'2024-03-31 01:30:00.5Z'", "'-infinity'"),
                     ("interval", "'-1 year 2 days 03:04:05.6'", "'0'"), ("json", "'{\"a\": [1,\"x\"]}'", "'null'"),
                     ("jsonb", "'{\"a\": 1}'", "'[]'"), ("integer[]", "'{1,NULL,3}'", "'{{1,2},{3,4}}'"),
                     ("text[]", "'{\"a,b\",\"c\\\"d\"}'", "'{}'"), ("bit(5)", "'10101'", "'00000'"), ("varbit", "'1'", "''"),
                     ("inet", "'10.0.0.1/8'", "'::1'"), ("cidr", "'10.0.0.0/8'", "'::/0'"), ("macaddr", "'08:00:2b:01:02:03'", "'00:00:00:00:00:00'"),
                     ("point", "'(1.5,-2)'", "'(0,0)'"), ("int4range", "'[1,5)'", "'empty'"), ("tsvector", "'a fat cat'", "''"),
                     ("xml", "'<a>ä</a>'", "'<b/>'"), ("mood", "'sad'", "'happy'"), ("small", "'3'", "'9'")],
        "mariadb": [("TINYINT", "-5", "127"), ("TINYINT UNSIGNED", "5", "255"), ("BOOLEAN", "TRUE", "100"), ("SMALLINT", "5", "-32768"),
                    ("MEDIUMINT", "5", "-8388608"), ("INT", "5", "2147483647"), ("INT UNSIGNED", "5", "4294967295"),
                    ("BIGINT", "5", "-9223372036854775808"), ("BIGINT UNSIGNED", "5", "18446744073709551615"),
                    ("DECIMAL(30,10)", "1.5", "-99999999999999999999.9999999999"), ("FLOAT", "0.1", "3.40282e38"),
                    ("DOUBLE", "0.1", "1.7976931348623157e308"), ("BIT(1)", "1", "0"), ("BIT(8)", "5", "255"), ("BIT(64)", "5", "~0"),
                    ("YEAR", "2024", "2155"), ("DATE", "'2024-02-29'", "'9999-12-31'"), ("TIME(6)", "'12:30:01.000001'", "'-838:59:59'"),
                    ("DATETIME(6)", "'2024-02-29 12:30:01.123456'", "'9999-12-31 23:59:59.999999'"),
                    ("TIMESTAMP(6) NULL", "'2024-03-31 02:30:00.5'", "'2038-01-19 03:14:07'"), ("CHAR(5)", "'ab'", "'äöü€x'"),
                    ("VARCHAR(10)", "''", "'0123456789'"), ("TEXT", "'it''s \\ \"'", "'😀'"), ("LONGTEXT", "'a'", "repeat('x',70000)"),
                    ("ENUM('a','b')", "'a'", "'b'"), ("SET('a','b')", "'a,b'", "''"), ("JSON", "'{\"a\": 1}'", "'null'"),
                    ("UUID", "'123e4567-e89b-12d3-a456-426614174000'", "'ffffffff-ffff-ffff-ffff-ffffffffffff'"),
                    ("INET6", "'::1'", "'::ffff:10.0.0.1'"), ("INET4", "'10.0.0.1'", "'255.255.255.255'")]}

    def test_every_type_into_an_identical_table(self):
        types = self.TYPES[SERVER]
        if SERVER == "postgres":
            place.sql("CREATE TYPE mood AS ENUM ('sad', 'happy'); CREATE DOMAIN small AS integer CHECK (VALUE < 10)")
        for table in ("every", "same"):
            place.sql(f"CREATE TABLE {table} (id INTEGER PRIMARY KEY, "
                      + ",".join(f"c{i} {kind}" for i, (kind, _, _) in enumerate(types)) + ")")
        place.sql(("SET time_zone='+00:00';" if SERVER == "mariadb" else "") + "INSERT INTO every VALUES "
                  + ",".join(f"({n + 1}," + ",".join(("NULL" if n == 2 else row[1 + n]) for row in types) + ")" for n in range(3)))
        outcome = place.kelvorin_import(self.target, "--source-table", "every", "--into", self.target, "--table", "same")
        self.assertEqual(outcome["imported"], 3, outcome)
        for number, (wanted, got) in enumerate(zip(place.rows("every"), place.rows("same"))):
            for (kind, *_), a, b in zip([("id",), *types], wanted, got):
                self.assertEqual(a, b, f"{kind}, row {number + 1}")

    def test_queries_are_read_and_nothing_else(self):
        place.sql("CREATE TABLE asked (id INTEGER PRIMARY KEY, t VARCHAR(20)); INSERT INTO asked VALUES (1,'b'),(2,'a'),(3,'a;(')")
        query = "SELECT id * 10 AS ten, t AS word -- the words\nFROM asked WHERE t <> ');' ORDER BY t DESC, id;"
        if SERVER != "mariadb":  # which orders what stands in parentheses as it likes
            self.assertEqual(self.kelvorin("dump", self.target, query), "ten,word\n10,b\n30,a;(\n20,a\n")
        self.assertIn("word", self.kelvorin("fields", self.target, query))
        place.sql("CREATE TABLE answer (ten INTEGER, word VARCHAR(20))")
        outcome = place.kelvorin_import(self.target, "--query", query, "--into", self.target, "--table", "answer")
        self.assertEqual(outcome["imported"], 3)
        for wrong, words in (("SELECT 1 AS a, 2 AS A", "(?i)'a'|Duplicate column"), ("SELECT 1 AS a; DELETE FROM asked", "more than one statement"),
                             ("SELECT 1) AS x, (SELECT 2", "closes a parenthesis"), ("SELECT 1 AS a FROM nowhere", "nowhere"),
                             ("DELETE FROM asked", "no table 'DELETE"), ("WITH d AS (DELETE FROM asked RETURNING *) SELECT * FROM d", "."))[SERVER == "sqlite":]:
            said = self.kelvorin("dump", self.target, wrong, status=3)
            self.assertRegex(said, words)
        said = self.kelvorin("import", "DBase3:.", "--query", "SELECT 1", "--into", self.target, "--table", "answer", status=2)
        self.assertIn("--query", said)
        self.assertEqual(len(place.rows("asked")), 3)

    def test_truth_values_into_numbers(self):
        import dbf
        table = dbf.Table(str(self.folder / "truth.dbf"), "a L; b L; c C(5)", dbf_type="db3")
        table.open(dbf.READ_WRITE)
        table.append((True, False, "False"))
        table.close()
        place.sql("CREATE TABLE truth (a INTEGER, b DECIMAL(5,2), c VARCHAR(5))")
        words = [f"DBase3:{self.folder}", "--source-table", "truth", "--into", self.target, "--table", "truth"]
        place.kelvorin_import(*words)
        self.assertEqual([[float(c) if c != "False" else c for c in row] for row in place.rows("truth")], [[1, 0, "False"]])
        self.kelvorin("import", *words, "--map", "a=c", status=1)  # a text is no truth value
        if SERVER == "mariadb":
            place.sql("CREATE TABLE words (a BOOLEAN, b TINYINT, c BIT(6))")
            (self.folder / "w.csv").write_text("a,b,c\ntrue,3,5\nNo,4,63\n7,5,0\n2,true,1\n1,1,64\n")
            self.kelvorin("import", self.folder / "w.csv", "--start-line", "2", "--into", self.target, "--table", "words", status=1)
            self.assertEqual(place.sql("SELECT a, b, c+0 FROM words"), "1\t3\t5\n0\t4\t63\n7\t5\t0\n")
            place.sql("CREATE TABLE lists (a ENUM('b 1','c'), s SET('x','y'))")  # where a word that is cut is another one
            (self.folder / "w.csv").write_text("a;s\nb 10;x\nc;x,y,x\nb 1;\n")
            self.kelvorin("import", self.folder / "w.csv", "--start-line", "2", "--separators", ";", "--into", self.target, "--table", "lists",
                          status=1)
            self.assertEqual(place.sql("SELECT * FROM lists"), "c\tx,y\nb 1\t\n")

    @unittest.skipIf(SERVER == "sqlite", "its dates keep what they are given")
    def test_a_second_that_is_cut_is_not_rounded(self):
        place.sql(f"CREATE TABLE seconds (id INTEGER, d {'TIMESTAMP' if SERVER == 'postgres' else 'DATETIME'}(0))")
        (self.folder / "one.csv").write_text("id,d\n1,2024-12-31 23:59:59.999\n")
        outcome = place.kelvorin_import(self.folder / "one.csv", "--start-line", 2, "--into", self.target, "--table", "seconds")
        self.assertEqual(outcome["first_changed"]["is"], "2024-12-31 23:59:59", outcome)
        self.assertEqual(place.rows("seconds"), [["1", "2024-12-31 23:59:59"]])

    def test_names_that_differ_in_case(self):
        if SERVER == "sqlite":
            self.skipTest("they are one to it")
        quote = "`" if SERVER == "mariadb" else '"'
        place.sql("CREATE TABLE {0}Case{0} (id INTEGER); CREATE TABLE {0}case{0} (id INTEGER)".format(quote))
        (self.folder / "one.csv").write_text("id\n1\n")
        job = ["import", self.folder / "one.csv", "--start-line", 2, "--into", self.target, "--table"]
        self.assertIn("may be the table", self.kelvorin(*job, "CASE", status=3))
        self.kelvorin(*job, "case")
        self.assertEqual((len(place.rows("Case")), len(place.rows("case"))), (0, 1))
        if SERVER == "postgres":
            place.sql('CREATE TABLE twins ("A" INTEGER, a INTEGER)')
            (self.folder / "one.csv").write_text("x,y\n1,2\n")
            self.kelvorin(*job, "twins", "--map-in-order")
            self.assertEqual(place.rows("twins"), [["1", "2"]])

    @unittest.skipIf(SERVER == "sqlite", "it has no session to set up")
    def test_what_a_data_source_sets_changes_no_value(self):
        place.sql("CREATE TABLE settled (id INTEGER, t VARCHAR(20))")
        (self.folder / "one.csv").write_text("id,t\n1,äö€\n")
        words = ["import", self.folder / "one.csv", "--start-line", 2, "--into", "ODBC:DSN=Other", "--table", "settled"]
        keys = [k for k in place.connect.split(";") if not k.startswith(("DRIVER=", "UID="))] + ["Username=kv", "User=root", "Driver=Driver"]
        set_otherwise = {"postgres": "ConnSettings=SET client_encoding TO latin1", "mariadb": "INITSTMT=SET NAMES latin1"}[SERVER]
        ini = self.folder / "odbc.ini"
        ini.write_text("\n".join(["[Other]", *keys, set_otherwise]))
        environment = {"ODBCINI": str(ini), "ASAN_OPTIONS": "detect_leaks=0"}  # psqlodbc forgets what it was set to
        self.kelvorin(*words, **environment)
        if SERVER == "postgres":
            ini.write_text("\n".join(["[Other]", *keys, "ReadOnly=1"]))
            self.assertIn("read-only", self.kelvorin(*words, "--empty-target", status=3, **environment))
        self.assertEqual(place.rows("settled"), [["1", "äö€"]])
        self.assertEqual(self.kelvorin("dump", "ODBC:DSN=Other", "settled", **environment), "id,t\n1,äö€\n")

    def test_table_names_of_any_kind(self):
        (self.folder / "one.csv").write_text("id,t\n1,a\n2,b\n")
        place.sql("CREATE TABLE xa (other INTEGER); CREATE TABLE axb (other INTEGER)")
        for name in ("%", "%a", "a_b", "[x]", "'q'\"`", " lead", "123", "a.b", "se;lect?"):
            quote = "`" if SERVER == "mariadb" else '"'
            quoted = quote + name.replace(quote, 2 * quote) + quote
            place.sql(f"CREATE TABLE {quoted} (id INTEGER PRIMARY KEY, t VARCHAR(9))")
            self.kelvorin("import", self.folder / "one.csv", "--start-line", 2, "--into", self.target, "--table", name)
            self.assertEqual(self.kelvorin("dump", self.target, name), "id,t\n1,a\n2,b\n")
            self.assertIn("primary", self.kelvorin("fields", self.target, name))
            self.assertIn(name, self.kelvorin("tables", self.target))
        if SERVER == "postgres":  # which would cut it in silence
            said = self.kelvorin("import", self.folder / "one.csv", "--start-line", 2, "--into", self.target, "--table", "x" * 64,
                                 "--create", status=3)
            self.assertIn("63", said)
            self.assertNotIn("x" * 63, self.kelvorin("tables", self.target))

    def test_cancelled_while_a_statement_waits(self):
        place.sql("CREATE TABLE waits (id INTEGER)")
        (self.folder / "many.csv").write_text("id\n" + "".join(f"{i}\n" for i in range(5000)))
        words = [KELVORIN, "import", self.folder / "many.csv", "--start-line", 2, "--into", self.target, "--table", "waits"]
        doubtful = self.folder / "bad.csv.doubtful"
        words += ["--reject", self.folder / "bad.csv"]
        for frozen in (False, True)[:1 if SERVER == "sqlite" else 2]:
            self.assertFalse(doubtful.exists())
            with place.locked("waits"):
                run = subprocess.Popen([*map(str, words)], env=place.environment, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
                time.sleep(2)
                self.assertIsNone(run.poll())
                with place.frozen() if frozen else contextlib.nullcontext():
                    began = time.monotonic()
                    run.send_signal(signal.SIGINT)
                    self.assertEqual(run.wait(20), 1)
                    self.assertLess(time.monotonic() - began, 5)
            # A server that stood still may store afterwards what had been sent.
            sent = doubtful.read_text().split() if frozen else []
            self.assertEqual(bool(sent), frozen)
            self.assertLessEqual({row[0] for row in place.rows("waits")}, set(sent))

    def test_records_that_may_be_stored_have_a_file(self):
        if SERVER == "sqlite":
            self.skipTest("no server that could go")
        place.sql("CREATE TABLE gone (id INTEGER)")
        (self.folder / "many.csv").write_text("id\n" + "".join(f"{i}\n" for i in range(5000)))
        words = [KELVORIN, "import", self.folder / "many.csv", "--start-line", 2, "--into", self.target, "--table", "gone",
                 "--reject", self.folder / "bad.csv", "--log", self.folder / "log", "--json"]
        with contextlib.suppress(Exception), place.locked("gone"):
            run = subprocess.Popen([*map(str, words)], env=place.environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, text=True)
            time.sleep(2)
            place.restart()
        outcome = json.loads(run.communicate(timeout=60)[0])
        doubtful = (self.folder / "bad.csv.doubtful").read_text().splitlines()[1:]
        rows = [row[0] for row in place.rows("gone")]
        self.assertGreater(len(doubtful), 0)
        self.assertEqual((outcome["imported"] + outcome["rejected"], outcome["rejected"]), (5000, len(doubtful)))
        self.assertEqual((self.folder / "bad.csv").read_text(), "")
        self.assertIn("the record may be stored", (self.folder / "bad.csv.doubtful.reasons").read_text())
        self.assertIn("may be stored", (self.folder / "log").read_text())
        self.assertEqual(len(rows), len(set(rows)))
        self.assertLessEqual({str(i) for i in range(5000)} - set(rows), set(doubtful))
        said = self.kelvorin("import", self.folder / "bad.csv.doubtful", "--into", self.target, "--table", "gone",
                             "--reject", self.folder / "bad.csv", status=3)
        self.assertIn("name another file", said)

    def started(self, table, records, singly=False):
        """A run that has stored some of its records and goes on."""
        place.sql(f"CREATE TABLE {table} (id INTEGER, t VARCHAR(30), n INTEGER {'UNIQUE ON CONFLICT IGNORE' if singly and SERVER == 'sqlite' else ''})"
                  + (" ENGINE=MyISAM" if singly and SERVER == "mariadb" else ""))
        if singly and SERVER == "postgres":
            place.sql(f"CREATE RULE r AS ON INSERT TO {table} WHERE new.id < 0 DO INSTEAD NOTHING")
        (self.folder / "many.csv").write_text("id,t\n" + "".join(f"{i},text {i}\n" for i in range(records)))
        run = subprocess.Popen([*map(str, [KELVORIN, "import", self.folder / "many.csv", "--start-line", 2, "--into", self.target, "--table", table,
                                           "--reject", self.folder / "bad.csv", "--json"])],
                               env=place.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        deadline = time.monotonic() + 20
        while not int(place.sql(f"SELECT count(*) AS n FROM {table}").strip('[{"n:}]\n')) and time.monotonic() < deadline:
            time.sleep(0.01)
        return run

    def test_a_table_that_goes_away_ends_the_run_once(self):
        for what, kept, singly in (("ALTER TABLE away RENAME TO kept", "kept", False), ("DROP TABLE away", "", False),
                                   ("ALTER TABLE away DROP COLUMN t", "away", False), ("ALTER TABLE away RENAME TO kept", "kept", True)):
            run = self.started("away", 400000, singly)
            place.sql(what)
            outcome = json.loads(run.communicate(timeout=60)[0])
            told = f"No record can be stored in table 'away' \\({outcome['imported']} records are imported, " \
                   f"{400000 - outcome['imported']} were not tried, the first of them in line {outcome['imported'] + 2}\\): "
            self.assertRegex(outcome["fatal"], told)
            self.assertEqual((run.returncode, outcome["rejected"], outcome["read"]), (3, 0, outcome["imported"]), outcome)
            self.assertEqual((self.folder / "bad.csv").read_text(), "")
            if kept:
                self.assertEqual(sorted(int(row[0]) for row in place.rows(kept)), list(range(outcome["imported"])))
                place.sql(f"DROP TABLE {kept}")

    @unittest.skipIf(SERVER == "sqlite", "no server that could go")
    def test_a_connection_lost_between_groups_costs_no_record(self):
        """The table has no key: a record that might be stored already could not be sent again."""
        run = self.started("pause", 150000)
        run.send_signal(signal.SIGSTOP)
        time.sleep(0.5)  # what was sent is done by now
        if SERVER == "postgres":
            place.sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND datname = 'imp'")
        else:
            for number in place.sql("SELECT id FROM information_schema.processlist WHERE db = 'imp' AND id <> connection_id()").split():
                place.sql(f"KILL {number}")
        time.sleep(0.3)
        run.send_signal(signal.SIGCONT)
        outcome = json.loads(run.communicate(timeout=60)[0])
        self.assertEqual((run.returncode, outcome["imported"], outcome["rejected"]), (0, 150000, 0), outcome)
        self.assertEqual(place.sql("SELECT count(*) - 150000, count(DISTINCT id) - 150000 FROM pause").strip().replace("|", "\t"), "0\t0")

    def reading(self, table):
        """A run that has read some of 300,000 rows and is at work."""
        rows = {"postgres": "SELECT i AS id, repeat('x', 200) AS t FROM generate_series(1,300000) i",
                "mariadb": "SELECT seq AS id, repeat('x', 200) AS t FROM seq_1_to_300000"}[SERVER]
        place.sql(f"CREATE TABLE {table} (id INTEGER PRIMARY KEY, t VARCHAR(200)); INSERT INTO {table} " + rows)
        run = subprocess.Popen([KELVORIN, "import", self.target, "--source-table", table, "--into", f"DBase3:{self.folder}",
                                "--table", "COPY", "--create", "--json"], env=place.environment, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True)
        size = lambda: sum(p.stat().st_size for p in self.folder.glob("*.[dD][bB][fF]"))
        deadline = time.monotonic() + 20
        while size() < 500000 and time.monotonic() < deadline:
            time.sleep(0.01)
        return run

    @unittest.skipIf(SERVER == "sqlite", "no server that could go")
    def test_a_source_that_goes_away_leaves_no_record_untold(self):
        run = self.reading("leaves")
        place.restart()
        outcome = json.loads(run.communicate(timeout=60)[0])
        self.assertEqual(run.returncode, 3)
        self.assertRegex(outcome["fatal"], "cannot read table 'leaves'.*(closed|lost|gone|Lost|Broken|terminat)")
        self.assertLessEqual(outcome["rejected"], 1)
        self.assertEqual(outcome["rejected"] + outcome["imported"], outcome["read"], outcome)
        import dbfread
        stored = [row["ID"] for row in dbfread.DBF(str(next(self.folder.glob("*.[dD][bB][fF]"))))]
        self.assertEqual(stored, list(range(1, outcome["imported"] + 1)))

    @unittest.skipIf(SERVER == "sqlite", "no server that could stand still")
    def test_cancelled_while_the_source_stands_still(self):
        run = self.reading("stands")
        with place.frozen():
            time.sleep(0.5)
            began = time.monotonic()
            run.send_signal(signal.SIGINT)
            outcome = json.loads(run.communicate(timeout=20)[0])
            self.assertLess(time.monotonic() - began, 5)
        self.assertEqual((run.returncode, outcome["stopped"], outcome["fatal"]), (1, True, None), outcome)
        self.assertLessEqual(outcome["rejected"], 1)
        self.assertEqual(outcome["rejected"] + outcome["imported"], outcome["read"], outcome)

    def test_errors_in_the_log_have_lines_and_are_told_once(self):
        place.sql("CREATE TABLE logged (id INTEGER PRIMARY KEY)")
        (self.folder / "two.csv").write_text("id\n1\n1\n")
        self.kelvorin("import", self.folder / "two.csv", "--start-line", 2, "--into", self.target, "--table", "logged",
                      "--log", self.folder / "log", status=1)
        log = (self.folder / "log").read_text()
        self.assertIn("Error in updating record in destination table at line 3", log)
        words = {"sqlite": "UNIQUE constraint", "postgres": "duplicate key value", "mariadb": "Duplicate entry"}[SERVER]
        self.assertEqual(log.count(words), 1)
        self.assertNotIn("Error while executing", log)
        self.assertNotRegex(log, r"\((\d+)\) \(\1\)")

    def test_the_lines_of_the_readme(self):
        if SERVER == "mariadb":
            place.sql("CREATE USER ann@'%' IDENTIFIED BY 'secret'; GRANT ALL ON imp.* TO ann@'%'")
        elif SERVER == "postgres":
            place.sql("CREATE ROLE ann SUPERUSER LOGIN PASSWORD 'secret'")
        keys = [k for k in place.connect.split(";") if not k.startswith(("DRIVER=", "UID="))]
        (self.folder / "odbc.ini").write_text("\n".join(["[Sales]", "Driver=Driver", "Username=ann", "User=ann", "Password=secret", *keys]))
        (self.folder / "examples").symlink_to(pathlib.Path(ROOT) / "examples")
        text = (pathlib.Path(ROOT) / "README.md").read_text().split("## An ODBC import in three lines")[1]
        lines = text.split("```")[1].split("\n")[1:-1]
        self.assertEqual(len(lines), 3)
        for line in lines:
            done = subprocess.run(["bash", "-c", line.replace("./run", KELVORIN, 1)], capture_output=True, text=True, cwd=self.folder,
                                  env={**place.environment, "ODBCINI": str(self.folder / "odbc.ini"),
                                       "ASAN_OPTIONS": "detect_leaks=0"},  # psqlodbc forgets a password that was given twice
                                  timeout=60, check=False)
            self.assertEqual(done.returncode, 0, line + done.stdout + done.stderr)
        self.assertEqual(len(place.rows("customers")), 8)

    def test_what_takes_no_records_is_said_before_any_is_read(self):
        if SERVER != "postgres":
            self.skipTest("only PostgreSQL has materialized views")
        place.sql("CREATE TABLE seven AS SELECT 7 AS id; CREATE MATERIALIZED VIEW frozen AS SELECT id FROM seven")
        (self.folder / "one.csv").write_text("id\n1\n")
        for words in ([], ["--empty-target"], ["--dry-run"]):
            said = self.kelvorin("import", self.folder / "one.csv", "--into", self.target, "--table", "frozen", "--start-line", 2,
                                 "--reject", self.folder / "bad", *words, status=3)
            self.assertIn("'frozen' takes no records: the server keeps 'frozen' by itself", said)
            self.assertEqual((self.folder / "bad").read_text() if not words else "", "")
        self.assertEqual(place.rows("seven"), [["7"]])

    def test_registered_makers(self):
        with open(OUI, newline="", encoding="utf-8") as file:
            rows = list(csv.reader(file))
        outcome = place.kelvorin_import(OUI, "--into", self.target, "--table", "OUI", "--create",
                                        "--start-line", 2)
        self.assertEqual(outcome["imported"], len(rows) - 1)
        self.assert_rows(place.rows("OUI"), rows[1:])

    def test_characters_of_unicode(self):
        rows = [line.split(";") for line in UNICODE_DATA.read_text().splitlines()]
        outcome = place.kelvorin_import(UNICODE_DATA, "--into", self.target, "--table", "uni code's",
                                        "--create", "--map-in-order")
        self.assertEqual(outcome["imported"], len(rows))
        self.assert_rows(place.rows("uni code's"), rows)

    def test_dbase_table_with_memos(self):
        import dbf
        table = dbf.Table(str(self.folder / "people.dbf"),
                          "name C(20); born D; paid N(12,2); ok L; note M", dbf_type="db3", codepage="cp850")
        table.open(dbf.READ_WRITE)
        expected = []
        for i in range(500):
            note = f"note {i}: it's \\ long, {'ä€'[0] * (i % 70)}" + "x" * (i * 7 % 3000)
            born = datetime.date(1950, 1, 1) + datetime.timedelta(days=i * 37)
            paid = decimal.Decimal(i * 7919 % 100000) / 100
            table.append((f"Ørn {i}", born, paid, i % 2 == 0, note) if i % 10 else
                         (f"Null {i}", None, None, None, ""))
            yes, no = {"postgres": ("t", "f"), "mariadb": ("\x01", "\0")}.get(SERVER, ("1", "0"))
            expected.append([f"Ørn {i}", born.isoformat(), paid, yes if i % 2 == 0 else no, note] if i % 10
                            else [f"Null {i}", None, None, None, None])
        table.close()
        outcome = place.kelvorin_import(f"DBase3:{self.folder}", "--source-table", "people", "--into",
                                        self.target, "--table", "people", "--create")
        self.assertEqual(outcome["imported"], 500)
        stored = place.rows("people")
        for row in stored:
            row[0] = row[0].rstrip(" ")
            row[1] = row[1] and row[1].removesuffix(".000").removesuffix(" 00:00:00")
            row[2] = row[2] and decimal.Decimal(row[2])
            row[4] = row[4] or None
        self.assert_rows(stored, expected)

    def test_table_into_foxpro(self):
        import dbfread
        place.sql("CREATE TABLE source (id INTEGER PRIMARY KEY, name VARCHAR(30), paid NUMERIC(10,2), "
                  "born DATE, note TEXT)")
        expected = []
        values = []
        for i in range(1, 400):
            row = [i, f"Zoë {i}", decimal.Decimal(i * 12345 % 9999999) / 100,
                   datetime.date(1960, 1, 1) + datetime.timedelta(days=i * 31), "naïve " * (i % 200) or None]
            if i % 9 == 0:
                row[2:] = [None, None, None]
            expected.append(row)
            values.append("(" + ",".join("NULL" if v is None else str(v) if i in (0, 2) else f"'{v}'"
                                         for i, v in enumerate(row)) + ")")
        place.sql("INSERT INTO source VALUES " + ",".join(values))
        outcome = place.kelvorin_import(self.target, "--source-table", "source", "--into",
                                        f"FOXPRO26:{self.folder}", "--table", "COPY", "--create")
        self.assertEqual(outcome["imported"], len(expected))
        path = next(p for p in self.folder.iterdir() if p.name.upper() == "COPY.DBF")
        stored = [list(record.values()) for record in dbfread.DBF(str(path), encoding="cp850")]
        for row in stored:
            row[1] = row[1].rstrip(" ")
            row[2] = None if row[2] is None else decimal.Decimal(str(row[2]))
            row[4] = row[4] or None
        self.assert_rows(stored, expected)


place = Place()
try:
    missing = [str(p) for p in (OUI, UNICODE_DATA) if not p.exists()]
    reader = {"sqlite": "sqlite3", "postgres": "psql", "mariadb": "mariadb"}[SERVER]
    missing += [] if shutil.which(reader) else [reader]
    missing += [place.why_not] if place.why_not else []
    if missing:
        print("skipped: not here: " + ", ".join(missing), file=sys.stderr)
        sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
finally:
    place.close()
