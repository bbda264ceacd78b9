// Calendar, leap-second and conversion helpers shared by the Time sources.
// They work on TEVRA_Time values held by the caller (usually on the stack), so
// that a public call allocates only the record it returns.
#ifndef TEVRA_TIME_INTERNAL_H
#define TEVRA_TIME_INTERNAL_H

#include "TEVRA_Time.h"

namespace tevra::detail {

inline constexpr char kTimeFile[] = "TEVRA_Time";
inline constexpr int kMinYear = 1582;
inline constexpr int kMaxYear = 9999;
inline constexpr int kUtcZoneId = 414;
inline constexpr int kLeapSecondCount = 27;
inline constexpr int kOpenEnd = 2147483647;

// Days of each month, row 1 for leap years.
extern const int g_mdays[2][12];
// The listed leap seconds, all at 23:59:60 UTC, ascending.
extern const TEVRA_Time g_leapseconds[kLeapSecondCount];

constexpr bool is_leap_year(long year) {
    return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
}
inline int days_in_month(long year, int month) {
    return g_mdays[is_leap_year(year) ? 1 : 0][month - 1];
}
inline bool year_in_range(long year) {
    return year >= kMinYear && year <= kMaxYear;
}

// Days from 1970-01-01 to the given proleptic Gregorian date, and back.
long days_from_civil(long year, int month, int day);
void civil_from_days(long days, TEVRA_Time &t);

// Plain field order (year .. second, then nanoseconds): -1, 0 or 1.
int cmp_fields(const TEVRA_Time &a, const TEVRA_Time &b);
// 1 when year, month, day, hour and minute are those of a listed leap second.
bool is_leap_minute(const TEVRA_Time &t);
// Leap seconds L with lo < L <= hi, both compared as plain fields.
int leap_seconds_within(const TEVRA_Time &lo, const TEVRA_Time &hi);

// Checks the field ranges (second up to 60) and turns 24:00:00 into the next
// day; the value is marked UTC in zone 414.
bool make_fields(TEVRA_Time &out, int year, int month, int day, int hour, int minute, int second,
                 unsigned long ns);
// Builds a UTC value exactly as tevra_time_newutctime validates it.
bool make_utc(TEVRA_Time &out, int year, int month, int day, int hour, int minute, int second,
              unsigned long ns);
// A new heap copy of value, attributed to the given line; NULL without memory.
TEVRA_Time *new_record(const TEVRA_Time &value, int line);

// In-place steppers of the calendar fields; the second is left alone. They
// return whether the year is still within 1582..9999.
bool step_days(TEVRA_Time &t, long n);
bool step_hours(TEVRA_Time &t, long n);
bool step_minutes(TEVRA_Time &t, long n);
// Moves by n elapsed seconds on the UTC line that includes the leap seconds.
bool step_seconds(TEVRA_Time &t, long n);
// Seconds, then whole minutes, as tevra_time_addsave does on a UTC-flagged value.
bool add_save(TEVRA_Time &t, long seconds);
// Calendar days from earlier's date to later's date.
long day_difference(const TEVRA_Time &later, const TEVRA_Time &earlier);

// The rule-day resolver: day of month for a day kind in a year and month, or -1.
int getday(int kind, int year, int month, int day, int weekday);

// Converts any time to a UTC value (a copy when it is UTC already).
bool to_utc(const TEVRA_Time &t, TEVRA_Time &out);
// A UTC value as wall-clock time of zone id (a UTC copy for 414).
bool utc_to_local(const TEVRA_Time &utc, int id, TEVRA_Time &out);

} // namespace tevra::detail

#endif
