#!/usr/bin/env python3
"""Writes stringprep_tables.inc: the Unicode 5.0 and stringprep tables used by
IDN name preparation and LDAP string preparation.

Usage: gen_stringprep.py --src ../shared/data --out DIR

Reads SRC/ucd-5.0.0/UnicodeData.txt and the small tables in SRC/stringprep/.
Output is deterministic: sorted records, fixed formatting, no timestamps.
"""

import os
import sys

from tables_common import check_counts, data_fields, parse_args, parse_range, write_lines

UCD = "ucd-5.0.0"
OUTPUT = "stringprep_tables.inc"

# Counts of the source release (../shared/data/README.md); a mismatch means
# the source files are not the ones the library was built against.
EXPECTED = {
    "g_CommonMaptoNothing_Table": 27,
    "g_NonASCIISpace_Table": 17,
    "g_NonASCIIControl_Table": 62,
    "g_ChangeDisplay_Table": 15,
    "g_BidiChar_Table": 1270,
    "g_NonL_Table": 5733,
    "g_unassignedCodePoint_Table": 9055,
    "g_LDHASCII_Table": 65,
    "g_ldapstringprepmap_Table": 239,
    "g_CombiningMarks_Table": 1065,
}

# Unassigned code points in these ranges are found by range test at run time,
# so the table leaves them out.
UNASSIGNED_BY_RANGE = [
    (0x10A59, 0x11FFF),
    (0x12474, 0x1CFFF),
    (0x1D800, 0x1FFFD),
    (0x2A6D7, 0x2F7FF),
    (0x30000, 0xDFFFD),
    (0xE01F0, 0xEFFFD),
]
NON_L_LAST = 0xE01EF


def read_unicode_data(path):
    """Maps every listed code point (First/Last ranges expanded) to its fields."""
    rows = {}
    first = None
    with open(path, encoding="utf-8") as f:
        for line in f:
            fields = line.rstrip("\n").split(";")
            cp = int(fields[0], 16)
            if fields[1].endswith(", First>"):
                first = cp
                continue
            start = cp
            if fields[1].endswith(", Last>"):
                start = first
            for c in range(start, cp + 1):
                rows[c] = fields
    return rows


def read_code_point_list(path):
    points = []
    for fields in data_fields(path):
        points.extend(parse_range(fields[0]))
    return sorted(set(points))


def read_mapping(path):
    mapping = {}
    for fields in data_fields(path):
        value = fields[1] if len(fields) > 1 else ""
        for cp in parse_range(fields[0]):
            if cp in mapping:
                sys.exit(f"{path}: {cp:04X} listed twice")
            mapping[cp] = int(value, 16) if value else 0
    return sorted(mapping.items())


def unassigned(rows):
    def skipped(c):
        return (0xD800 <= c <= 0xDFFF or 0xE000 <= c <= 0xF8FF or 0xFDD0 <= c <= 0xFDEF
                or (c & 0xFFFE) == 0xFFFE
                or any(lo <= c <= hi for lo, hi in UNASSIGNED_BY_RANGE))
    return [c for c in range(0xF0000) if c not in rows and not skipped(c)]


def ldh_excluded():
    def ldh(c):
        return chr(c).isascii() and (chr(c).isalnum() or c == 0x2D)
    return [c for c in range(0x80) if not ldh(c)]


def build_tables(src):
    rows = read_unicode_data(os.path.join(src, UCD, "UnicodeData.txt"))
    prep = os.path.join(src, "stringprep")
    bidi = sorted(c for c, f in rows.items() if f[4] in ("R", "AL"))
    non_l = sorted(c for c, f in rows.items() if f[4] != "L" and c <= NON_L_LAST)
    marks = sorted(c for c, f in rows.items() if f[2] in ("Mn", "Mc", "Me"))
    return [
        ("g_CommonMaptoNothing_Table", "code", read_code_point_list(os.path.join(prep, "rfc3454-B.1.txt"))),
        ("g_NonASCIISpace_Table", "code", read_code_point_list(os.path.join(prep, "rfc3454-C.1.2.txt"))),
        ("g_NonASCIIControl_Table", "code", read_code_point_list(os.path.join(prep, "rfc3454-C.2.2.txt"))),
        ("g_ChangeDisplay_Table", "code", read_code_point_list(os.path.join(prep, "rfc3454-C.8.txt"))),
        ("g_BidiChar_Table", "code", bidi),
        ("g_NonL_Table", "code", non_l),
        ("g_unassignedCodePoint_Table", "code", unassigned(rows)),
        ("g_LDHASCII_Table", "unit", ldh_excluded()),
        ("g_ldapstringprepmap_Table", "map", read_mapping(os.path.join(prep, "rfc4518-map.txt"))),
        ("g_CombiningMarks_Table", "code", marks),
    ]


def format_values(values, per_line, width):
    lines = []
    for i in range(0, len(values), per_line):
        chunk = values[i:i + per_line]
        lines.append("    " + " ".join(f"0x{v:0{width}X}," for v in chunk))
    return lines


def format_table(name, kind, records):
    if kind == "code":
        head = f"constexpr unsigned long {name}[{len(records)}] = {{"
        body = format_values(records, 8, 5)
    elif kind == "unit":
        head = f"constexpr unsigned short {name}[{len(records)}] = {{"
        body = format_values(records, 10, 4)
    else:
        head = f"constexpr StringprepMapping {name}[{len(records)}] = {{"
        body = [f"    {{0x{cp:05X}, 0x{to:04X}}}," for cp, to in records]
    return [head] + body + ["};", ""]


def main():
    args = parse_args(__doc__, UCD + "/ and stringprep")
    tables = build_tables(args.src)
    check_counts(tables, EXPECTED)

    out = [
        "// Generated by data/gen_stringprep.py from Unicode 5.0.0 (UnicodeData.txt) and the",
        "// stringprep tables B.1, C.1.2, C.2.2, C.8 and the LDAP mapping. Do not edit.",
        "// Every table is sorted ascending by code point.",
        "",
    ]
    for name, kind, records in tables:
        out.extend(format_table(name, kind, records))
    write_lines(args.out, OUTPUT, out)


if __name__ == "__main__":
    main()
