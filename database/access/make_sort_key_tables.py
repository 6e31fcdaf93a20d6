#!/usr/bin/env python3
"""Writes database/access/sort_key_tables.cpp from a table of text-key weights:
    python3 database/access/make_sort_key_tables.py weights.tsv
The input has a line for each run of code units: order (97, L, G), first and last unit
(hexadecimal), kind, primary weight (hexadecimal), its step per unit, secondary weight, flag.
The output is one byte stream per order; sort_keys.cpp tells how it is read.
"""
import pathlib
import sys

HERE = pathlib.Path(__file__).parent
KINDS = {"P": 0, "PS": 1, "W": 2, "M": 3, "K": 4, "G": 5, "=": 6}
ORDERS = [("97", "kGeneral97Weights"), ("L", "kGeneralLegacyWeights"), ("G", "kGeneralWeights")]


def varint(value):
    out = bytearray()
    while value >= 0x80:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    out.append(value)
    return out


def stream(lines):
    out = bytearray()
    behind = 0
    for first, last, kind, primary, step, secondary, flag in lines:
        count = last - first + 1
        # kind, whether units are passed over, whether it is a run, length of the primary weight
        head = KINDS[kind] | (first != behind) << 3 | (count > 1) << 4 | min(len(primary) // 2, 7) << 5
        out.append(head)
        if head >> 5 == 7:
            out.append(len(primary) // 2)
        if first != behind:
            out += varint(first - behind)
        if count > 1:
            out += varint(count)
            out.append(step)
        out += bytes.fromhex(primary)
        if kind not in ("P", "G", "="):
            # one byte is the usual secondary weight; others begin with 0 and their length
            weight = bytes.fromhex(secondary)
            out += weight if len(weight) == 1 and weight[0] else bytes([0, len(weight)]) + weight
        if kind == "K":
            out.append(int(flag))
        behind = last + 1
    return out


tables = {name: [] for name, _ in ORDERS}
for line in open(sys.argv[1], encoding="ascii"):
    if line.startswith("#"):
        continue
    order, first, last, kind, primary, step, secondary, flag = line.rstrip("\n").split("\t")
    if kind != "-":
        tables[order].append(
            (int(first, 16), int(last, 16), kind, primary, int(step or 0), secondary, flag))

text = """// Made by make_sort_key_tables.py; edit that instead.

#include "database/access/sort_key_tables.h"

namespace kelvorin::database::access {

// clang-format off
"""
for order, constant in ORDERS:
    data = stream(sorted(tables[order]))
    text += f"const unsigned char {constant}[] = {{\n"
    row = ""
    for byte in data:
        if len(row) + len(str(byte)) + 1 > 100:
            text += row + "\n"
            row = ""
        row += f"{byte},"
    text += row + "\n};\n" + f"const std::size_t {constant}Bytes = {len(data)};\n\n"
text += "// clang-format on\n\n}  // namespace kelvorin::database::access\n"
(HERE / "sort_key_tables.cpp").write_text(text, encoding="ascii")
