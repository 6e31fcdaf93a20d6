#!/usr/bin/env python3
"""Writes base/code_page_tables.cpp and base/case_tables.cpp from the mappings that Python knows and
from Unicode's own data file (package unicode-data). Run by hand when a page is added:
    python3 base/make_tables.py [/usr/share/unicode/UnicodeData.txt]
"""
import pathlib
import subprocess
import sys
import unicodedata

HERE = pathlib.Path(__file__).parent
DATA = sys.argv[1] if len(sys.argv) > 1 else "/usr/share/unicode/UnicodeData.txt"

# number, Python's codec, name
PAGES = [
    (437, "cp437", "DOS United States"), (720, "cp720", "DOS Arabic"), (737, "cp737", "DOS Greek"),
    (775, "cp775", "DOS Baltic"), (850, "cp850", "DOS Western European"),
    (852, "cp852", "DOS Central European"), (857, "cp857", "DOS Turkish"),
    (860, "cp860", "DOS Portuguese"), (861, "cp861", "DOS Icelandic"),
    (862, "cp862", "DOS Hebrew"), (863, "cp863", "DOS French Canadian"),
    (865, "cp865", "DOS Nordic"), (866, "cp866", "DOS Cyrillic"), (874, "cp874", "Thai"),
    (1250, "cp1250", "Central European"), (1251, "cp1251", "Cyrillic"),
    (1252, "cp1252", "Western European"), (1253, "cp1253", "Greek"), (1254, "cp1254", "Turkish"),
    (1255, "cp1255", "Hebrew"), (1256, "cp1256", "Arabic"), (1257, "cp1257", "Baltic"),
    (1258, "cp1258", "Vietnamese"), (10000, "mac_roman", "Macintosh Roman"),
    (10006, "mac_greek", "Macintosh Greek"), (10007, "mac_cyrillic", "Macintosh Cyrillic"),
    (10029, "mac_latin2", "Macintosh Central European"), (20866, "koi8_r", "KOI8-R"),
    (21866, "koi8_u", "KOI8-U"), (28591, "iso8859_1", "ISO 8859-1"), (28592, "iso8859_2", "ISO 8859-2"),
    (28595, "iso8859_5", "ISO 8859-5"), (28597, "iso8859_7", "ISO 8859-7"),
    (28599, "iso8859_9", "ISO 8859-9"), (28605, "iso8859_15", "ISO 8859-15"),
]

# Two pages without a codec: page 437 with these letters from the given bytes on.
VARIANTS = [
    (620, "DOS Mazovia (Polish)", {
        0x86: "\u0105", 0x8D: "\u0107", 0x8F: "\u0104\u0118\u0119\u0142", 0x95: "\u0106",
        0x98: "\u015a", 0x9C: "\u0141", 0x9E: "\u015b",
        0xA0: "\u0179\u017b\u00f3\u00d3\u0144\u0143\u017a\u017c"}),
    (895, "DOS Kamenicky (Czech)", {
        0x80: "\u010c", 0x83: "\u010f", 0x85: "\u010e\u0164\u010d\u011b\u011a\u0139\u00cd\u013e"
        "\u013a\u00c4\u00c1\u00c9\u017e\u017d\u00f4\u00f6\u00d3\u016f\u00da\u00fd\u00d6\u00dc\u0160"
        "\u013d\u00dd\u0158\u0165\u00e1\u00ed\u00f3\u00fa\u0148\u0147\u016e\u00d4\u0161\u0159\u0155"
        "\u0154\u00bc\u00a7"}),
]

# Similar characters beyond "the letter without its mark"; tried one after the other.
SIMILAR = {
    "\u00a0": " ", "\u00a6": "|", "\u00a9": "c", "\u00ab": "<", "\u00ad": "-", "\u00ae": "r",
    "\u00b4": "'", "\u00b7": ".", "\u00b8": ",", "\u00bb": ">", "\u00c6": "A", "\u00d0": "D",
    "\u00d7": "x", "\u00d8": "O", "\u00de": "T", "\u00e6": "a", "\u00f0": "d", "\u00f8": "o",
    "\u00fe": "t", "\u0110": "D", "\u0111": "d", "\u0126": "H", "\u0127": "h", "\u0131": "i",
    "\u0141": "L", "\u0142": "l", "\u0152": "O", "\u0153": "o", "\u0166": "T", "\u0167": "t",
    "\u0192": "f", "\u0218": "\u015e", "\u0219": "\u015f", "\u021a": "\u0162", "\u021b": "\u0163",
    "\u02c6": "^", "\u02dc": "~", "\u0393": "G", "\u0398": "T", "\u03a3": "S", "\u03a6": "F",
    "\u03a9": "O", "\u03b1": "a", "\u03b4": "d", "\u03b5": "e", "\u03c0": "p", "\u03c3": "s",
    "\u03c4": "t", "\u03c6": "f", "\u03bc": "\u00b5", "\u2010": "-", "\u2011": "-", "\u2012": "-",
    "\u2013": "-", "\u2014": "-", "\u2015": "-", "\u2018": "'", "\u2019": "'", "\u201a": "'",
    "\u201b": "'", "\u201c": '"', "\u201d": '"', "\u201e": '"', "\u201f": '"', "\u2020": "+",
    "\u2022": "\u00b7", "\u2026": ".", "\u2032": "'", "\u2033": '"', "\u2039": "<", "\u203a": ">",
    "\u2044": "/", "\u20a7": "P", "\u2212": "-", "\u2215": "/", "\u2219": "\u00b7", "\u221e": "8",
    "\u2229": "n", "\u2248": "~", "\u2261": "=", "\u2264": "<", "\u2265": ">", "\u2580": "\u00af",
    "\u2584": "_", "\u2588": "\u00a6", "\u258c": "\u00a6", "\u2590": "\u00a6", "\u2591": "\u00a6",
    "\u2592": "\u00a6", "\u2593": "\u00a6", "\u25a0": "\u00a6",
}
for code in range(0x2500, 0x256D):  # box drawing: by whether a name speaks of corners or lines
    name = unicodedata.name(chr(code))
    if " AND " in name:
        SIMILAR[chr(code)] = "+"
    elif "VERTICAL" in name:
        SIMILAR[chr(code)] = "\u00a6"
    elif "HORIZONTAL" in name:
        SIMILAR[chr(code)] = "=" if "DOUBLE" in name else "-"

HEAD = "// Made by make_tables.py; change that and run it again.\n"


def filled(characters):
    """Every byte gets a character of its own, so that none is lost on the way there and back."""
    taken = set(c for c in characters if c is not None)
    result = []
    for byte, c in enumerate(characters, 0x80):
        if c is None:
            c = byte if byte < 0xA0 else 0xF700 + byte
            assert c not in taken, (hex(byte), hex(c))
        result.append(c)
    assert len(set(result)) == 128
    return result


def half(codec):
    result = []
    for byte in range(0x80, 0x100):
        try:
            result.append(ord(bytes([byte]).decode(codec)))
        except UnicodeDecodeError:
            result.append(None)
    return filled(result)


def lines(items, per_line):
    rows = [", ".join(items[i:i + per_line]) for i in range(0, len(items), per_line)]
    return "".join(f"    {row},\n" for row in rows)


def similar_table():
    pairs = {ord(k): ord(v) for k, v in SIMILAR.items()}
    for code in list(range(0xA1, 0x250)) + list(range(0x1E00, 0x1F00)) + list(range(0x370, 0x400)):
        if code in pairs or unicodedata.category(chr(code)) == "Cn":
            continue
        decomposed = unicodedata.normalize("NFD", chr(code))
        if len(decomposed) > 1:
            # Greek with an accent falls to the bare letter, which the Greek pages have.
            pairs[code] = ord(decomposed[0])
    return sorted(pairs.items())


def write_pages():
    pages = [(number, name, half(codec)) for number, codec, name in PAGES]
    for number, name, letters in VARIANTS:
        upper = half("cp437")
        for at, text in letters.items():
            upper[at - 0x80:at - 0x80 + len(text)] = [ord(c) for c in text]
        pages.append((number, name, filled(upper)))
    pages.sort()
    out = [HEAD, '#include "base/code_page_tables.h"\n\nnamespace kelvorin::base {\n'
           "namespace {\n\n// clang-format off\n"]
    for number, _, upper in pages:
        out.append(f"constexpr char16_t kPage{number}[128] = {{\n")
        out.append(lines([f"0x{c:04x}" for c in upper], 12))
        out.append("};\n")
    out.append("\n// Sorted by number.\nconstexpr PageTable kPages[] = {\n")
    out += [f'    {{{number}, "{name}", kPage{number}}},\n' for number, name, _ in pages]
    out.append("};\n\n// Sorted by the first character.\nconstexpr SimilarPair kSimilar[] = {\n")
    out.append(lines([f"{{0x{a:04x}, 0x{b:04x}}}" for a, b in similar_table()], 5))
    out.append("};\n// clang-format on\n\n}  // namespace\n\n"
               "std::span<const PageTable> PageTables() noexcept { return kPages; }\n"
               "std::span<const SimilarPair> SimilarPairs() noexcept { return kSimilar; }\n\n"
               "}  // namespace kelvorin::base\n")
    (HERE / "code_page_tables.cpp").write_text("".join(out))


def ranges(mapping):
    """Runs of characters with one distance, every character or every second one."""
    runs = []
    for code, other in sorted(mapping.items()):
        distance = other - code
        if runs:
            first, last, step, d = runs[-1]
            if d == distance and code - last == step:
                runs[-1] = (first, code, step, d)
                continue
            if d == distance and first == last and code - last == 2:
                runs[-1] = (first, code, 2, d)
                continue
        runs.append((code, code, 1, distance))
    return runs


def write_case():
    upper, lower = {}, {}
    for line in open(DATA, encoding="ascii"):
        cells = line.rstrip("\n").split(";")
        if cells[12]:
            upper[int(cells[0], 16)] = int(cells[12], 16)
        if cells[13]:
            lower[int(cells[0], 16)] = int(cells[13], 16)
    out = [HEAD, '#include "base/case_tables.h"\n\nnamespace kelvorin::base {\nnamespace {\n\n'
           "// clang-format off\n"]
    for name, mapping in (("kUpper", upper), ("kLower", lower)):
        out.append(f"constexpr CaseRange {name}[] = {{  // {len(mapping)} characters\n")
        cells = [f"{{0x{a:04x}, 0x{b:04x}, {s}, {d}}}" for a, b, s, d in ranges(mapping)]
        out.append(lines(cells, 3))
        out.append("};\n")
    out.append("// clang-format on\n\n}  // namespace\n\n"
               "std::span<const CaseRange> UpperRanges() noexcept { return kUpper; }\n"
               "std::span<const CaseRange> LowerRanges() noexcept { return kLower; }\n\n"
               "}  // namespace kelvorin::base\n")
    (HERE / "case_tables.cpp").write_text("".join(out))


write_pages()
write_case()
for made in ("code_page_tables.cpp", "case_tables.cpp"):
    subprocess.run(["clang-format", "-i", HERE / made], check=True)
