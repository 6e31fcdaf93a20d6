"""Compares FOLDER/T.DBF, as dbfread and dbf read it, with FOLDER/expected (fields end in "|").

Known faults of these readers are allowed for: dbfread takes the length of a dBASE IV memo without
its head and shows 8 bytes too many; dbf does not know dBASE IV memos.
"""
import sys

import dbf
import dbfread


def text(value):
    if value is None or isinstance(value, dbf.NullType):
        return ""
    if isinstance(value, (bool, str)):
        return str(value).rstrip()
    return value.isoformat()[:10] if hasattr(value, "isoformat") else "%g" % value


folder = sys.argv[1]
path = folder + "/T.DBF"
with open(path, "rb") as file:
    version = file.read(1)[0]
page = "cp1252" if version == 0x30 else "cp850"
with open(folder + "/expected", encoding="utf-8") as file:
    expected = [line.split("|")[:-1] for line in file.read().split("\n")[:-1]]
readings = {"dbfread": [[text(v) for k, v in record.items() if k != "_NullFlags"]
                        for record in dbfread.DBF(path, encoding=page)]}
if version == 0x8B:
    for row, right in zip(readings["dbfread"], expected):
        row[-1] = row[-1][:len(right[-1])] if right[-1] else row[-1]
else:
    with dbf.Table(path, codepage=page) as table:
        readings["dbf"] = [[text(v) for v in list(record)[:len(expected[0])]]
                           for record in table if not dbf.is_deleted(record)]
for reader, rows in readings.items():
    if rows != expected:
        sys.exit("%s reads\n%s\ninstead of\n%s" % (reader, rows, expected))
