"""Compares FOLDER/T.DBF, read by dbfread and dbf, with FOLDER/expected (fields end in 0x1F).

Known faults of these readers are allowed for: dbfread takes the length of a dBASE IV memo without
its head and shows 8 bytes too many; dbf does not know dBASE IV memos.
"""
import datetime
import sys

import dbf
import dbfread

TRUTH = {True: "True", False: "False", None: ""}


def text(value):
    if value is None or isinstance(value, dbf.NullType):
        return ""
    if isinstance(value, bool):
        return TRUTH[value]
    if isinstance(value, datetime.datetime):
        value = value.date()
    if isinstance(value, datetime.date):
        return value.isoformat()
    if isinstance(value, str):
        return value.rstrip()
    return "%g" % value


def main(folder):
    path = folder + "/T.DBF"
    with open(path, "rb") as file:
        version = file.read(1)[0]
    page = "cp1252" if version == 0x30 else "cp850"
    with open(folder + "/expected", encoding="utf-8") as file:
        expected = [line.split("\x1f")[:-1] for line in file.read().split("\n")[:-1]]
    readings = {"dbfread": [[text(v) for k, v in r.items() if k != "_NullFlags"]
                            for r in dbfread.DBF(path, encoding=page)]}
    if version != 0x8B:
        table = dbf.Table(path, codepage=page)
        table.open()
        readings["dbf"] = [[text(r[i]) for i in range(len(expected[0]))]
                           for r in table if not dbf.is_deleted(r)]
        table.close()
    faults = 0
    for reader, rows in readings.items():
        if len(rows) != len(expected):
            print(reader, "reads", len(rows), "records instead of", len(expected))
            faults += 1
        for number, (row, right) in enumerate(zip(rows, expected)):
            if version == 0x8B and right[-1]:
                row[-1] = row[-1][:len(right[-1])]
            if row != right:
                print(reader, number, row, right)
                faults += 1
    return min(faults, 1)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
