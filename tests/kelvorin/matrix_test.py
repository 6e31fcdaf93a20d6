"""Every field type's extremes of every kind of table into every kind by --create, read back: each value is equal, or
counted as changed, or refused with its record. No cell is silent.

Run by ctest as: matrix_test.py KELVORIN
"""

import csv
import io
import json
import pathlib
import shutil
import sys
import tempfile
from decimal import Decimal, InvalidOperation

import road
from road import ENVIRONMENT, NO_ODBC, dump

FOLDER = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-matrix-"))
ENVIRONMENT.update(ODBCINI=str(FOLDER / "odbc.ini"), ODBCSYSINI=str(FOLDER))

WHOLE = {"Byte": ["0", "255"], "Integer": ["-32768", "32767"], "Long": ["-2147483648", "2147483647"],
         "BigInt": ["-9223372036854775808", "9223372036854775807"]}
EXTREMES = {
    **WHOLE, "Boolean": ["True", "False"], "Currency": ["-922337203685477.5808", "922337203685477.5807", "0.0001"],
    "Single": ["-3.4028235e38", "1.1754944e-38", "0.1"],
    "Double": ["1.7976931348623157e308", "0.1", "0.30000000000000004", "123456789012345.67"],
    "Decimal:18:4": ["-99999999999999.9999", "0.0001"], "Double:8:2": ["-9999.99", "99999.99"],
    "Numeric:19:0": ["-999999999999999999", "9999999999999999999"], "Numeric:4:0": ["-999", "9999"],
    "Date": ["0100-01-01", "9999-12-31", "2024-02-29 23:59:59"], "Text:20": ["x" * 20, "Dvořák é 漢"],
    "Memo": ["m" * 3000, "first\nsecond"], "GUID": ["{00112233-4455-6677-8899-AABBCCDDEEFF}"]}
COMMON = ["Boolean", "Byte", "Integer", "Long", "Double", "Date", "Text:20", "Memo"]
KINDS = {"Access": [*COMMON, "Currency", "Single", "Decimal:18:4", "GUID"],
         "DBase3": [*COMMON, "Double:8:2", "Numeric:19:0", "Numeric:4:0"], "DBase5": [*COMMON, "Numeric:19:0"],
         "FOXPRO30": [*COMMON, "Currency", "Numeric:19:0"], "Paradox5": [*COMMON, "Currency"],
         "SQLite": [*COMMON, "BigInt", "Currency", "Decimal:18:4"]}


def run(*words):
    done = road.kelvorin(*words, check=None)
    if done.returncode not in (0, 1):
        raise AssertionError(f"{words}: {done}")
    return done.stdout


def place(kind, name):
    if kind != "SQLite":
        return f"{kind}:{FOLDER}/{name}" + (".mdb" if kind == "Access" else "")
    with open(FOLDER / "odbc.ini", "a", encoding="utf-8") as ini:
        ini.write(f"[{name}]\nDriver=SQLite\nDatabase={FOLDER}/{name}.db\n")
    (FOLDER / f"{name}.db").touch()
    return f"ODBC:{name}"


def same(a, b):
    if a == b or a.replace("1899-12-30 ", "") == b:
        return True
    try:
        return Decimal(a) == Decimal(b)
    except InvalidOperation:
        return False


def make_source(kind):
    """A table with one row for each extreme; its other fields are empty."""
    where, types = place(kind, f"from-{kind}"), KINDS[kind]
    rows = [["" if j != i else text for j in range(len(types))] for i, t in enumerate(types) for text in EXTREMES[t]]
    text = io.StringIO()
    csv.writer(text).writerows([[number, *row] for number, row in enumerate(rows)])
    (FOLDER / "in.csv").write_text(text.getvalue(), encoding="utf-8")
    run("create", where, "T", "ID:Long", *[f"F{i}:{t}" for i, t in enumerate(types)])
    run("import", FOLDER / "in.csv", "--into", where, "--table", "T", "--format", "delimited", "--separators", "comma",
        "--delimiter", "double", "--record-separator", "crlf", "--quoted-line-ends", "yes", "--map-in-order")
    return where


def check(source, held, target):
    where = place(target, f"{source}-{target}")
    begun = place(source, f"from-{source}") if source != "SQLite" else "ODBC:from-SQLite"
    outcome = json.loads(run("import", begun, "--source-table", "T", "--into", where, "--table", "T", "--create",
                             "--reject", FOLDER / "rejected", "--json"))
    reasons = road.rows_of((FOLDER / "rejected.reasons").read_text())[1:]
    refused = {int(row[0]) for row in reasons}
    kept = [row for number, row in enumerate(held, 1) if number not in refused]
    stored = dump(where, "T")
    faults = []
    if outcome["imported"] != len(kept) or len(stored) != len(kept) or outcome["rejected"] != len(refused):
        faults.append(f"{outcome}, {len(stored)} stored")
    differing = [(a, b) for before, after in zip(kept, stored) for a, b in zip(before, after) if not same(a, b)]
    if target == "SQLite":  # it reads the digits of the largest numbers inexactly by itself
        differing = [pair for pair in differing if not pair[0].endswith("E308")]
    if len(differing) != outcome.get("changed_values", 0):
        faults.append(f"changed_values {outcome.get('changed_values', 0)}, but {len(differing)} differ: {differing[:9]}")
    # Line ends of memos become blanks, and the largest numbers lose a digit in SQLite: both were counted above.
    if source == target and (refused or [d for d in differing if "\n" not in d[0] and "e+308" not in d[0]]):
        faults.append(f"its own kind does not hold it: {reasons} {differing}")
    return faults


def main():
    (FOLDER / "odbcinst.ini").write_text("[SQLite]\nDriver=libsqlite3odbc.so\n")
    kinds = [kind for kind in KINDS if kind != "SQLite" or not NO_ODBC]
    failures = 0
    try:
        for source in kinds:
            where = make_source(source)
            held = dump(where, "T")
            for target in kinds:
                for fault in check(source, held, target):
                    failures += 1
                    print(f"{source} into {target}: {fault}")
    finally:
        shutil.rmtree(FOLDER)
    print(f"{len(kinds) ** 2} pairs of kinds, {failures} faults")
    return 1 if failures else 0


sys.exit(main())
