#!/usr/bin/env python3
"""Writes unicode_tables.inc: the Unicode 8.0.0 tables of normalization and
case folding.

Usage: gen_unicode.py --src ../shared/data --out DIR

Reads SRC/ucd-8.0.0/UnicodeData.txt, DerivedNormalizationProps.txt and
CaseFolding.txt. Output is deterministic: records sorted by key, fixed
formatting, no timestamps. The record types are declared by the source that
includes the file.
"""

import os
import sys

from tables_common import check_counts, data_fields, parse_args, parse_range, write_lines

UCD = "ucd-8.0.0"
OUTPUT = "unicode_tables.inc"

# Counts of the source release (../shared/data/README.md); a mismatch means
# the source files are not the ones the library was built against.
EXPECTED = {
    "g_CombiningClass_Table": 751,
    "g_NFD_Quick_Check_No_Table": 13232,
    "g_NFC_Quick_Check_No_Table": 1120,
    "g_NFC_Quick_Check_Maybe_Table": 110,
    "g_NFKD_Quick_Check_No_Table": 16893,
    "g_NFKC_Quick_Check_No_Table": 4793,
    "g_NFKC_Quick_Check_Maybe_Table": 110,
    "g_CanonicalDecomposition_Table": 2060,
    "g_CompatibilityDecomposition_Table": 3661,
    "g_CanonicalComposition_Table": 1025,
    "g_Full_Composition_Exclusion_Table": 1120,
    "g_FullCaseFolding_Table": 1321,
    "g_FC_NFKC_ClosureCaseFolding_Table": 633,
}

# Mapping slots per record kind.
SLOTS = {"canonical": 2, "compat": 18, "fold": 4}


def code_points(text):
    return [int(v, 16) for v in text.split()]


def read_unicode_data(path):
    """Combining classes and decompositions of the listed code points.
    Range rows (First/Last) have class 0 and no decomposition."""
    classes, canonical, compat = {}, {}, {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            fields = line.rstrip("\n").split(";")
            cp = int(fields[0], 16)
            if int(fields[3]) != 0:
                classes[cp] = int(fields[3])
            decomposition = fields[5].strip()
            if not decomposition:
                continue
            if decomposition.startswith("<"):
                compat[cp] = code_points(decomposition.split(">", 1)[1])
            else:
                canonical[cp] = code_points(decomposition)
    return classes, canonical, compat


def read_properties(path):
    """Property name -> {code point: value} for DerivedNormalizationProps."""
    props = {}
    for fields in data_fields(path):
        value = fields[2] if len(fields) > 2 else "Y"
        table = props.setdefault(fields[1], {})
        for cp in parse_range(fields[0]):
            table[cp] = value
    return props


def read_case_folding(path):
    folds = {}
    for fields in data_fields(path):
        if fields[1] in ("C", "F"):
            folds[int(fields[0], 16)] = code_points(fields[2])
    return folds


def having(prop, value):
    return sorted(cp for cp, v in prop.items() if v == value)


def build_tables(src):
    ucd = os.path.join(src, UCD)
    classes, canonical, compat = read_unicode_data(os.path.join(ucd, "UnicodeData.txt"))
    props = read_properties(os.path.join(ucd, "DerivedNormalizationProps.txt"))
    folds = read_case_folding(os.path.join(ucd, "CaseFolding.txt"))
    closure = {cp: code_points(v) for cp, v in props["FC_NFKC"].items()}
    pairs = sorted((m[0], m[1], cp) for cp, m in canonical.items() if len(m) == 2)
    return [
        ("g_CombiningClass_Table", "class", sorted(classes.items())),
        ("g_NFD_Quick_Check_No_Table", "code", having(props["NFD_QC"], "N")),
        ("g_NFC_Quick_Check_No_Table", "code", having(props["NFC_QC"], "N")),
        ("g_NFC_Quick_Check_Maybe_Table", "code", having(props["NFC_QC"], "M")),
        ("g_NFKD_Quick_Check_No_Table", "code", having(props["NFKD_QC"], "N")),
        ("g_NFKC_Quick_Check_No_Table", "code", having(props["NFKC_QC"], "N")),
        ("g_NFKC_Quick_Check_Maybe_Table", "code", having(props["NFKC_QC"], "M")),
        ("g_CanonicalDecomposition_Table", "canonical", sorted(canonical.items())),
        ("g_CompatibilityDecomposition_Table", "compat", sorted(compat.items())),
        ("g_CanonicalComposition_Table", "pair", pairs),
        ("g_Full_Composition_Exclusion_Table", "code",
         sorted(props["Full_Composition_Exclusion"])),
        ("g_FullCaseFolding_Table", "fold", sorted(folds.items())),
        ("g_FC_NFKC_ClosureCaseFolding_Table", "fold", sorted(closure.items())),
    ]


def bitmap(code_points):
    """One bit per BMP code point, set for those listed; bit k of byte i is
    code point 8 * i + k."""
    bits = [0] * 8192
    for cp in code_points:
        bits[cp >> 3] |= 1 << (cp & 7)
    return bits


def inert_bitmaps(tables):
    """BMP code points the algorithms pass over unchanged: for normalization
    those with class 0 that every quick check answers yes for; then those of
    class 0, those without a decomposition mapping, and for case folding
    those no folding table lists."""
    by_name = {name: records for name, _, records in tables}
    busy = {cp for cp, _ in by_name["g_CombiningClass_Table"]}
    busy.update(range(0xD800, 0xE000))  # a lone surrogate ends the quick check
    for name in by_name:
        if "Quick_Check" in name:
            busy.update(by_name[name])
    folded = {cp for cp, _ in by_name["g_FullCaseFolding_Table"]}
    folded.update(cp for cp, _ in by_name["g_FC_NFKC_ClosureCaseFolding_Table"])
    classed = {cp for cp, _ in by_name["g_CombiningClass_Table"]}
    mapped = {cp for cp, _ in by_name["g_CanonicalDecomposition_Table"]}
    mapped.update(cp for cp, _ in by_name["g_CompatibilityDecomposition_Table"])
    return [
        ("g_NormalizationInert_Bitmap", "bits", bitmap(c for c in range(0x10000) if c not in busy)),
        ("g_ClassZero_Bitmap", "bits", bitmap(c for c in range(0x10000) if c not in classed)),
        ("g_Undecomposable_Bitmap", "bits", bitmap(c for c in range(0x10000) if c not in mapped)),
        ("g_CaseFoldingInert_Bitmap", "bits", bitmap(c for c in range(0x10000) if c not in folded)),
    ]


def hexes(values):
    return ", ".join(f"0x{v:04X}" for v in values)


def format_records(kind, records):
    if kind == "code":
        return ["    " + " ".join(f"0x{v:05X}," for v in records[i:i + 8])
                for i in range(0, len(records), 8)]
    if kind == "bits":
        return ["    " + " ".join(f"0x{v:02X}," for v in records[i:i + 16])
                for i in range(0, len(records), 16)]
    if kind == "class":
        return [f"    {{0x{cp:05X}, {cls}}}," for cp, cls in records]
    if kind == "pair":
        return [f"    {{{hexes(r)}}}," for r in records]
    slots = SLOTS[kind]
    lines = []
    for cp, mapping in records:
        if not 1 <= len(mapping) <= slots:
            sys.exit(f"{cp:04X}: {len(mapping)} mapped code points, room for {slots}")
        lines.append(f"    {{0x{cp:04X}, {{{hexes(mapping)}}}, {len(mapping)}}},")
    return lines


RECORD_TYPES = {
    "code": "unsigned long",
    "bits": "unsigned char",
    "class": "CombiningClassRecord",
    "canonical": "CanonicalDecompositionRecord",
    "compat": "CompatibilityDecompositionRecord",
    "pair": "CompositionRecord",
    "fold": "CaseFoldingRecord",
}


def main():
    args = parse_args(__doc__, UCD)
    tables = build_tables(args.src)
    check_counts(tables, EXPECTED)

    tables += inert_bitmaps(tables)
    out = [
        "// Generated by data/gen_unicode.py from Unicode 8.0.0 (UnicodeData.txt,",
        "// DerivedNormalizationProps.txt, CaseFolding.txt). Do not edit.",
        "// Every table is sorted ascending by its key; unused mapping slots are 0.",
        "",
    ]
    for name, kind, records in tables:
        out.append(f"static const {RECORD_TYPES[kind]} {name}[{len(records)}] = {{")
        out.extend(format_records(kind, records))
        out.extend(["};", ""])
    write_lines(args.out, OUTPUT, out)


if __name__ == "__main__":
    main()
