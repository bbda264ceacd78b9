// Record layouts of the compiled-in time-zone tables (written by
// data/gen_tz.py into data/tz_tables.inc) and the zone lookups built on them.
// The layouts are fixed: callers and the generator both depend on the sizes
// and offsets pinned by the static_asserts below.
#ifndef TEVRA_TIME_ZONES_H
#define TEVRA_TIME_ZONES_H

#include <cstddef>

#include "TEVRA_Time.h"

namespace tevra::detail {

// Stands for "max" in a rule's TO year and for the open end of a zone's last line.
inline constexpr int kTzMax = 2147483647;

// How a rule's AT time or a zone line's until time is to be read.
enum TzTimeKind : int {
    kTzWallClock = 0, // local wall-clock time, saving included
    kTzStandard = 1,  // local standard time ("s")
    kTzUniversal = 2, // UTC ("u", "g", "z")
};

// How the day of a rule or of a zone line's until is given.
enum TzDayKind : int {
    kTzFixedDay = 0,    // a day of the month ("4")
    kTzLastWeekday = 1, // the last such weekday of the month ("lastSun")
    kTzOnOrAfter = 2,   // the first such weekday on or after the day ("Sun>=8")
    kTzOnOrBefore = 3,  // the last such weekday on or before the day ("Sun<=25")
};

// A zone line's RULES column: a named rule set or a fixed saving.
enum TzRuleKind : int {
    kTzNamedRules = 0,
    kTzFixedSave = 1,
};

// One Rule line of a rule set. Weekdays are 1 = Monday .. 7 = Sunday.
struct TzRule {
    int from_year;
    int to_year;  // kTzMax for "max"
    int day_kind; // TzDayKind
    int month;    // 1..12
    int day;      // -1 with kTzLastWeekday
    int weekday;  // -1 with kTzFixedDay
    int at_kind;  // TzTimeKind
    int at_hour;
    int at_minute;
    int at_second;
    int save; // seconds of daylight saving while the rule is in force
};

// A named rule set: g_rules_<Name> over the items g_rule_<Name>.
struct TzRuleSet {
    const char *name;
    int count;
    int padding;
    const TzRule *items;
};

// One zone line, oldest first within a zone. The until fields are stored one
// column early by the generator (hour in until_weekday, minute in
// until_hour, second in until_minute, until_second always 0) and are read as
// named; the conversions depend on exactly that.
struct TzZoneLine {
    int std_offset;         // seconds east of UTC
    int rule_kind;          // TzRuleKind
    const TzRuleSet *rules; // kTzNamedRules only, else null
    int fixed_save;         // kTzFixedSave only, else 0
    int until_kind;         // TzTimeKind
    int until_day_kind;     // TzDayKind
    int until_year;         // kTzMax: the line has no end
    int until_month;        // 1..12
    int until_day;          // -1 with kTzLastWeekday
    int until_weekday;
    int until_hour;
    int until_minute;
    int until_second;
};

// One entry of the zone table; links share their target's lines.
struct TzZone {
    const char *name;
    int line_count; // at least 1
    int padding;
    const TzZoneLine *lines;
};

static_assert(sizeof(TzRule) == 44 && offsetof(TzRule, save) == 40);
static_assert(offsetof(TzRule, day_kind) == 8 && offsetof(TzRule, at_kind) == 24);
static_assert(sizeof(TzRuleSet) == 24 && offsetof(TzRuleSet, count) == 8 &&
              offsetof(TzRuleSet, items) == 16);
static_assert(sizeof(TzZoneLine) == 56 && offsetof(TzZoneLine, rules) == 8 &&
              offsetof(TzZoneLine, fixed_save) == 16 && offsetof(TzZoneLine, until_year) == 28 &&
              offsetof(TzZoneLine, until_second) == 52);
static_assert(sizeof(TzZone) == 24 && offsetof(TzZone, line_count) == 8 &&
              offsetof(TzZone, lines) == 16);

// Number of entries of g_timezone_table; zone ids are 0..kTzZoneCount-1.
inline constexpr int kTzZoneCount = 582;
// Id of "Etc/UTC", the zone of every UTC time and the detection fallback.
inline constexpr int kTzUtcId = 414;

// All zone names, sorted in byte order; a zone's id is its index.
extern const TzZone g_timezone_table[kTzZoneCount];

// tevra_time_gettimezoneid with the system files looked for under root
// ("" for the machine's own); tests pass a folder of their own.
int detect_local_zone(const char *root) noexcept;

} // namespace tevra::detail

#endif
