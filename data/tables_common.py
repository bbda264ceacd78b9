"""Shared by the table generators: the command line, reading the semicolon-
separated source files, the count check and writing the output file."""

import argparse
import os
import sys


def parse_args(doc, source):
    """--src (the folder holding SOURCE/) and --out (where the file goes)."""
    parser = argparse.ArgumentParser(description=doc.splitlines()[0])
    parser.add_argument("--src", required=True, help="folder holding %s/" % source)
    parser.add_argument("--out", required=True, help="folder to write the generated file into")
    return parser.parse_args()


def parse_range(text):
    """The code points of "XXXX" or "XXXX..YYYY"."""
    lo, _, hi = text.strip().partition("..")
    lo = int(lo, 16)
    return range(lo, (int(hi, 16) if hi else lo) + 1)


def data_fields(path):
    """The stripped ;-separated fields of each line, comments and blank lines left out."""
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.split("#")[0].strip()
            if line:
                yield [x.strip() for x in line.split(";")]


def check_counts(tables, expected):
    """Stops when a table's record count is not the source release's."""
    for name, _, records in tables:
        if len(records) != expected[name]:
            sys.exit(f"{name}: {len(records)} records, expected {expected[name]}")


def write_lines(out_dir, name, lines):
    os.makedirs(out_dir, exist_ok=True)
    with open(os.path.join(out_dir, name), "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(lines))
