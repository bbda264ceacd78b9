#!/usr/bin/env python3
"""Writes the compiled-in time-zone tables (tz_tables.inc) from tz source files.

Usage: gen_tz.py --src DIR --out DIR, where --src holds tzdata-2015f/.

The output defines, inside namespace tevra::detail, one rule-item array
g_rule_<Name> and header g_rules_<Name> per rule set, one zone-line array
g_zone_<Area>_<City> per zone, and g_timezone_table: every zone and link name
in byte order, links pointing at their target's lines. The record layouts are
those of src/TEVRA_Time_Zones.h.

Two translations are part of the tables' definition and are kept on purpose:
an offset h:mm:ss takes the sign of its hour alone (-4:56:02 gives -11038,
-0:01:15 gives 75), and a zone line's until time is written one field early
(hour in the weekday field, minute in the hour field, second in the minute
field, 0 in the second field).
"""

import os
import re
import sys

from tables_common import parse_args

RELEASE = "tzdata-2015f"
SOURCE_FILES = ["africa", "antarctica", "asia", "australasia", "europe", "northamerica",
                "southamerica", "etcetera", "backward", "pacificnew"]
OUTPUT = "tz_tables.inc"

# Counts checked against the release (../shared/data/README.md).
EXPECTED_NAMES = 582
EXPECTED_ZONES = 377
EXPECTED_RULE_SETS = 135
EXPECTED_IDS = {"Etc/UTC": 414, "Asia/Shanghai": 303, "Zulu": 581}

TZ_MAX = 2147483647
MONTHS = ["jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec"]
WEEKDAYS = ["mon", "tue", "wed", "thu", "fri", "sat", "sun"]  # 1 = Monday
TIME_KINDS = {"w": 0, "s": 1, "u": 2, "g": 2, "z": 2}
FIXED_DAY, LAST_WEEKDAY, ON_OR_AFTER, ON_OR_BEFORE = 0, 1, 2, 3


class TzError(Exception):
    pass


def match_word(word, names, what):
    """Index of the one name that `word` abbreviates (at least 3 letters)."""
    low = word.lower()
    hits = [i for i, name in enumerate(names) if name.startswith(low[:3]) and
            (name.startswith(low) or low.startswith(name))]
    if len(hits) != 1:
        raise TzError("unknown %s %r" % (what, word))
    return hits[0]


def month_number(word):
    return match_word(word, MONTHS, "month") + 1


def weekday_number(word):
    return match_word(word, WEEKDAYS, "weekday") + 1


def split_time(text):
    """(h, m, s, kind) of a clock time such as 2:00, 1:00u, 24:00 or -."""
    kind = 0
    if text and text[-1].lower() in TIME_KINDS:
        kind = TIME_KINDS[text[-1].lower()]
        text = text[:-1]
    if text in ("", "-"):
        return 0, 0, 0, kind
    parts = text.split(":")
    if len(parts) > 3 or not re.fullmatch(r"-?\d+", parts[0]) or \
            not all(re.fullmatch(r"\d+", p) for p in parts[1:]):
        raise TzError("bad time %r" % text)
    values = [int(p) for p in parts] + [0] * (3 - len(parts))
    return values[0], values[1], values[2], kind


def offset_seconds(text):
    """Seconds of an offset or save; the hour alone carries the sign."""
    if text == "-":
        return 0
    hours, minutes, seconds, _ = split_time(text)
    return hours * 3600 + minutes * 60 + seconds


def parse_day(text):
    """(day kind, day of month, weekday) of an ON or until day column."""
    if re.fullmatch(r"\d+", text):
        return FIXED_DAY, int(text), -1
    if text.lower().startswith("last"):
        return LAST_WEEKDAY, -1, weekday_number(text[4:])
    for sign, kind in ((">=", ON_OR_AFTER), ("<=", ON_OR_BEFORE)):
        if sign in text:
            name, day = text.split(sign)
            return kind, int(day), weekday_number(name)
    raise TzError("bad day %r" % text)


def parse_rule(fields):
    """One rule item from the fields after the rule name."""
    from_text, to_text, _type, month, on, at, save = fields[:7]
    first = int(from_text)
    if to_text.lower().startswith("o"):  # only
        last = first
    elif to_text.lower().startswith("ma"):  # max
        last = TZ_MAX
    else:
        last = int(to_text)
    day_kind, day, weekday = parse_day(on)
    hour, minute, second, at_kind = split_time(at)
    return [first, last, day_kind, month_number(month), day, weekday, at_kind, hour, minute,
            second, offset_seconds(save)]


def parse_until(fields):
    """The until columns of a zone line, stored one field early."""
    if not fields:
        return [0, 0, TZ_MAX, 0, 0, 0, 0, 0, 0]
    year = int(fields[0])
    month = month_number(fields[1]) if len(fields) > 1 else 1
    day_kind, day, _weekday = parse_day(fields[2]) if len(fields) > 2 else (FIXED_DAY, 1, -1)
    hour, minute, second, kind = split_time(fields[3]) if len(fields) > 3 else (0, 0, 0, 0)
    return [kind, day_kind, year, month, day, hour, minute, second, 0]


def parse_zone_line(fields):
    """(offset, rules column, until fields) of the fields from GMTOFF on."""
    if len(fields) < 3:
        raise TzError("short zone line")
    return offset_seconds(fields[0]), fields[1], parse_until(fields[3:])


class Database:
    def __init__(self):
        self.rules = {}  # name -> list of items, in source order
        self.zones = {}  # name -> list of zone lines, in source order
        self.links = {}  # link name -> target name

    def read(self, path):
        zone = None
        with open(path, encoding="utf-8") as source:
            for number, line in enumerate(source, 1):
                try:
                    zone = self.read_line(line.split("#", 1)[0].split(), zone)
                except (TzError, ValueError, IndexError) as error:
                    raise TzError("%s:%d: %s" % (path, number, error))

    def read_line(self, fields, zone):
        """Takes one line; returns the zone that a continuation line would extend."""
        if not fields:
            return zone
        if zone is not None and fields[0] not in ("Rule", "Zone", "Link"):
            self.zones[zone].append(parse_zone_line(fields))
            return self.open_zone(zone)
        if fields[0] == "Rule":
            self.rules.setdefault(fields[1], []).append(parse_rule(fields[2:]))
        elif fields[0] == "Zone":
            if fields[1] in self.zones:
                raise TzError("zone %s defined twice" % fields[1])
            self.zones[fields[1]] = [parse_zone_line(fields[2:])]
            return self.open_zone(fields[1])
        elif fields[0] == "Link":
            self.links[fields[2]] = fields[1]
        else:
            raise TzError("unexpected line %r" % " ".join(fields))
        return None

    def open_zone(self, zone):
        """The zone if its last line has an until time (more lines follow), else None."""
        until_year = self.zones[zone][-1][2][2]
        return zone if until_year != TZ_MAX else None

    def names(self):
        names = sorted(list(self.zones) + list(self.links), key=lambda n: n.encode())
        if len(set(names)) != len(names):
            raise TzError("a link shares a zone's name")
        return names

    def target(self, name):
        """The zone whose lines a zone or link name uses."""
        seen = set()
        while name in self.links:
            if name in seen:
                raise TzError("link loop at %s" % name)
            seen.add(name)
            name = self.links[name]
        if name not in self.zones:
            raise TzError("link to unknown zone %s" % name)
        return name


def identifier(name):
    """C identifier suffix of a zone or rule name: / and - become _, + vanishes."""
    ident = name.replace("/", "_").replace("-", "_").replace("+", "")
    if not re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*", ident):
        raise TzError("name %r makes no identifier" % name)
    return ident


def unique_identifiers(names):
    idents = {name: identifier(name) for name in names}
    if len(set(idents.values())) != len(idents):
        raise TzError("two names share an identifier")
    return idents


def row(values):
    return "{" + ", ".join(str(v) for v in values) + "}"


def check_counts(db, names):
    got = (len(names), len(db.zones), len(db.rules))
    want = (EXPECTED_NAMES, EXPECTED_ZONES, EXPECTED_RULE_SETS)
    if got != want:
        raise TzError("names, zones, rule sets: %s, expected %s" % (got, want))
    for name, index in EXPECTED_IDS.items():
        if names.index(name) != index:
            raise TzError("%s has id %d, expected %d" % (name, names.index(name), index))
    for zone, lines in db.zones.items():
        for _offset, rules, _until in lines:
            if rules != "-" and not re.fullmatch(r"-?\d.*", rules) and rules not in db.rules:
                raise TzError("zone %s uses unknown rules %s" % (zone, rules))


def rule_set_text(name, ident, items):
    out = ["static const TzRule g_rule_%s[] = {" % ident]
    out += ["    %s," % row(item) for item in items]
    out.append("};")
    out.append('static const TzRuleSet g_rules_%s = {"%s", %d, 0, g_rule_%s};'
               % (ident, name, len(items), ident))
    return out


def zone_line_text(line, rule_idents):
    offset, rules, until = line
    if rules == "-" or re.fullmatch(r"-?\d.*", rules):
        rule_part = [1, "nullptr", offset_seconds(rules)]
    else:
        rule_part = [0, "&g_rules_" + rule_idents[rules], 0]
    return "    %s," % row([offset] + rule_part + until)


def render(db, names):
    rule_idents = unique_identifiers(db.rules)
    zone_idents = unique_identifiers(db.zones)
    out = ["// Generated by data/gen_tz.py from the tz database release %s" % RELEASE[7:],
           "// (%s). Do not edit: change the generator and run it again." % ", ".join(SOURCE_FILES),
           "// Layouts: src/TEVRA_Time_Zones.h.", "",
           "namespace tevra::detail {", "",
           "// Rule items: FROM, TO, day kind, month, day, weekday, AT kind, AT h, m, s, SAVE."]
    for name, items in db.rules.items():
        out += rule_set_text(name, rule_idents[name], items)
    out += ["", "// Zone lines: offset, rule kind, rule set, fixed save, until kind, until day kind,",
            "// until year, month, day, then hour, minute, second one field early, and 0."]
    for name, lines in db.zones.items():
        out.append("static const TzZoneLine g_zone_%s[] = {" % zone_idents[name])
        out += [zone_line_text(line, rule_idents) for line in lines]
        out.append("};")
    out += ["", "const TzZone g_timezone_table[kTzZoneCount] = {"]
    for index, name in enumerate(names):
        target = db.target(name)
        out.append('    {"%s", %d, 0, g_zone_%s}, // %d'
                   % (name, len(db.zones[target]), zone_idents[target], index))
    out += ["};", "", "} // namespace tevra::detail", ""]
    return "\n".join(out)


def main():
    args = parse_args(__doc__, RELEASE)
    db = Database()
    try:
        for name in SOURCE_FILES:
            db.read(os.path.join(args.src, RELEASE, name))
        names = db.names()
        check_counts(db, names)
        text = render(db, names)
    except (OSError, TzError) as error:
        sys.exit("gen_tz.py: %s" % error)
    with open(os.path.join(args.out, OUTPUT), "w", encoding="utf-8", newline="\n") as out:
        out.write(text)


if __name__ == "__main__":
    main()
