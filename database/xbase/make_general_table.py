#!/usr/bin/env python3
"""Writes database/xbase/general_table.cpp from the GENERAL keys of single characters:
    python3 database/xbase/make_general_table.py general1252.csv
The input has a heading and a line for each character of code page 1252 from the blank on: its code
and its key, both hexadecimal. A key is one or two primary weights and, of a letter with an accent, the
weight of that accent, which is below 0x10. A blank alone has no key.
"""
import csv
import pathlib
import sys

BLANK = 0x11
CONTROL = 0x10
FIRST_PRIMARY = 0x10
ACCENTED = {0x60, 0x62, 0x66, 0x6A, 0x70, 0x72, 0x76, 0x78, 0x7D}  # a c e i n o s u y


def main():
    keys = {}
    with open(sys.argv[1], newline="") as lines:
        for row in csv.DictReader(lines):
            keys[int(row["code"], 16)] = bytes.fromhex(row["key"])
    cells = []
    for code in range(256):
        key = keys.get(code) or bytes([BLANK if code == 0x20 else CONTROL])
        primary = [weight for weight in key if weight >= FIRST_PRIMARY]
        accent = [weight for weight in key if weight < FIRST_PRIMARY]
        assert 1 <= len(primary) <= 2 and len(accent) <= 1, hex(code)
        bears = [weight in ACCENTED for weight in primary]
        if accent:
            bears[0] = True
        cells.append("{{%d, %d}, %d, %d}" % (primary[0], primary[1] if len(primary) > 1 else 0,
                                             sum(bears), accent[0] if accent else 0))
    out = ["// Written by make_general_table.py; not edited by hand.", "",
           '#include "database/xbase/collation.h"', "", "namespace kelvorin::database::xbase {", "",
           "// clang-format off", "const GeneralWeight kGeneralWeights[256] = {"]
    for at in range(0, 256, 6):
        out.append("  " + ", ".join(cells[at:at + 6]) + ",")
    out += ["};", "// clang-format on", "", "}  // namespace kelvorin::database::xbase", ""]
    (pathlib.Path(__file__).parent / "general_table.cpp").write_text("\n".join(out))


main()
