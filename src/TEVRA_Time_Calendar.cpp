// Gregorian calendar arithmetic, validation and the leap-second line.
#include <algorithm>
#include <array>
#include <cstddef>

#include "TEVRA_Time_Internal.h"
#include "TEVRA_Util.h"

namespace tevra::detail {

const int g_mdays[2][12] = {{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                            {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};

#define TEVRA_LEAP(y, m, d)                                                                        \
    { y, m, d, 23, 59, 60, 0, 1, 0, 0 }
const TEVRA_Time g_leapseconds[kLeapSecondCount] = {
    TEVRA_LEAP(1972, 6, 30),  TEVRA_LEAP(1972, 12, 31), TEVRA_LEAP(1973, 12, 31),
    TEVRA_LEAP(1974, 12, 31), TEVRA_LEAP(1975, 12, 31), TEVRA_LEAP(1976, 12, 31),
    TEVRA_LEAP(1977, 12, 31), TEVRA_LEAP(1978, 12, 31), TEVRA_LEAP(1979, 12, 31),
    TEVRA_LEAP(1981, 6, 30),  TEVRA_LEAP(1982, 6, 30),  TEVRA_LEAP(1983, 6, 30),
    TEVRA_LEAP(1985, 6, 30),  TEVRA_LEAP(1987, 12, 31), TEVRA_LEAP(1989, 12, 31),
    TEVRA_LEAP(1990, 12, 31), TEVRA_LEAP(1992, 6, 30),  TEVRA_LEAP(1993, 6, 30),
    TEVRA_LEAP(1994, 6, 30),  TEVRA_LEAP(1995, 12, 31), TEVRA_LEAP(1997, 6, 30),
    TEVRA_LEAP(1998, 12, 31), TEVRA_LEAP(2005, 12, 31), TEVRA_LEAP(2008, 12, 31),
    TEVRA_LEAP(2012, 6, 30),  TEVRA_LEAP(2015, 6, 30),  TEVRA_LEAP(2016, 12, 31)};
#undef TEVRA_LEAP

namespace {

constexpr long kSecondsPerDay = 86400;
constexpr long kDaysPer400Years = 146097;
constexpr long kEpochShift = 719468; // days from 0000-03-01 to 1970-01-01

constexpr long floor_div(long a, long b) {
    return a / b - ((a % b != 0 && (a < 0) != (b < 0)) ? 1 : 0);
}

// Counts from a year starting on 1 March, so that leap days end the year.
constexpr long civil_days(long year, int month, int day) {
    long y = year - (month <= 2 ? 1 : 0);
    long era = floor_div(y, 400);
    long yoe = y - era * 400;
    long mp = (month + 9) % 12;
    long doy = (153 * mp + 2) / 5 + day - 1;
    long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * kDaysPer400Years + doe - kEpochShift;
}

// Fields packed so that integer order is field order (nanoseconds aside).
constexpr long field_key(const TEVRA_Time &t) {
    return (((((long)t.year * 16 + t.month) * 32 + t.day) * 32 + t.hour) * 64 + t.minute) * 64 +
           t.second;
}

struct LeapIndex {
    std::array<long, kLeapSecondCount> key{};
    std::array<long, kLeapSecondCount> day{};
};

constexpr LeapIndex make_leap_index() {
    const int dates[kLeapSecondCount][3] = {
        {1972, 6, 30},  {1972, 12, 31}, {1973, 12, 31}, {1974, 12, 31}, {1975, 12, 31},
        {1976, 12, 31}, {1977, 12, 31}, {1978, 12, 31}, {1979, 12, 31}, {1981, 6, 30},
        {1982, 6, 30},  {1983, 6, 30},  {1985, 6, 30},  {1987, 12, 31}, {1989, 12, 31},
        {1990, 12, 31}, {1992, 6, 30},  {1993, 6, 30},  {1994, 6, 30},  {1995, 12, 31},
        {1997, 6, 30},  {1998, 12, 31}, {2005, 12, 31}, {2008, 12, 31}, {2012, 6, 30},
        {2015, 6, 30},  {2016, 12, 31}};
    LeapIndex index;
    for (int i = 0; i < kLeapSecondCount; ++i) {
        TEVRA_Time row{dates[i][0], dates[i][1], dates[i][2], 23, 59, 60, 0, 1, 0, 0};
        index.key[static_cast<std::size_t>(i)] = field_key(row);
        index.day[static_cast<std::size_t>(i)] = civil_days(dates[i][0], dates[i][1], dates[i][2]);
    }
    return index;
}

constexpr LeapIndex kLeap = make_leap_index();

// Leap seconds whose date lies before the given day.
long leaps_before_day(long day) {
    return std::lower_bound(kLeap.day.begin(), kLeap.day.end(), day) - kLeap.day.begin();
}

// Leap seconds at or before the packed fields key.
long leaps_up_to(long key) {
    return std::upper_bound(kLeap.key.begin(), kLeap.key.end(), key) - kLeap.key.begin();
}

long seconds_of_day(const TEVRA_Time &t) {
    return t.hour * 3600L + t.minute * 60L + t.second;
}

void set_clock(TEVRA_Time &t, long seconds) {
    t.hour = static_cast<int>(seconds / 3600);
    t.minute = static_cast<int>(seconds / 60 % 60);
    t.second = static_cast<int>(seconds % 60);
}

bool date_is_valid(int year, int month, int day) {
    static const int common[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < kMinYear || year > kMaxYear || month < 1 || month > 12 || day < 1)
        return false;
    if (month == 2)
        return day <= (is_leap_year(year) ? 29 : 28);
    return day <= common[month - 1];
}

// Hour 24 (already checked to be 24:00:00) becomes 00:00 of the next day;
// the year may pass 9999 here.
void normalise_end_of_day(TEVRA_Time &t) {
    t.hour = 0;
    if (++t.day <= days_in_month(t.year, t.month))
        return;
    t.day = 1;
    if (++t.month > 12) {
        t.month = 1;
        ++t.year;
    }
}

} // namespace

long days_from_civil(long year, int month, int day) {
    return civil_days(year, month, day);
}

void civil_from_days(long days, TEVRA_Time &t) {
    long z = days + kEpochShift;
    long era = floor_div(z, kDaysPer400Years);
    long doe = z - era * kDaysPer400Years;
    long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long mp = (5 * doy + 2) / 153;
    int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    t.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    t.month = month;
    t.year = static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0));
}

int cmp_fields(const TEVRA_Time &a, const TEVRA_Time &b) {
    if (a.year != b.year)
        return a.year < b.year ? -1 : 1;
    if (a.month != b.month)
        return a.month < b.month ? -1 : 1;
    if (a.day != b.day)
        return a.day < b.day ? -1 : 1;
    if (a.hour != b.hour)
        return a.hour < b.hour ? -1 : 1;
    if (a.minute != b.minute)
        return a.minute < b.minute ? -1 : 1;
    if (a.second != b.second)
        return a.second < b.second ? -1 : 1;
    long na = static_cast<long>(a.nanoseconds), nb = static_cast<long>(b.nanoseconds);
    return na == nb ? 0 : (na < nb ? -1 : 1);
}

bool is_leap_minute(const TEVRA_Time &t) {
    TEVRA_Time probe = t;
    probe.second = 60;
    return std::binary_search(kLeap.key.begin(), kLeap.key.end(), field_key(probe));
}

int leap_seconds_within(const TEVRA_Time &lo, const TEVRA_Time &hi) {
    if (lo.year > g_leapseconds[kLeapSecondCount - 1].year || hi.year < g_leapseconds[0].year)
        return 0;
    long n = leaps_up_to(field_key(hi)) - leaps_up_to(field_key(lo));
    return n > 0 ? static_cast<int>(n) : 0;
}

bool make_fields(TEVRA_Time &out, int year, int month, int day, int hour, int minute, int second,
                 unsigned long ns) {
    if (!date_is_valid(year, month, day))
        return false;
    if (ns > 999999999UL || static_cast<unsigned>(second) > 60 ||
        static_cast<unsigned>(minute) > 59 || static_cast<unsigned>(hour) > 24)
        return false;
    out = TEVRA_Time{year, month, day, hour, minute, second, ns, 1, 0, kUtcZoneId};
    if (hour == 24) {
        if (minute != 0 || second != 0)
            return false;
        normalise_end_of_day(out);
    }
    return true;
}

bool make_utc(TEVRA_Time &out, int year, int month, int day, int hour, int minute, int second,
              unsigned long ns) {
    return make_fields(out, year, month, day, hour, minute, second, ns) &&
           (second != 60 || is_leap_minute(out));
}

TEVRA_Time *new_record(const TEVRA_Time &value, int line) {
    auto *t = static_cast<TEVRA_Time *>(tevra_malloc(sizeof(TEVRA_Time), kTimeFile, line));
    if (t != nullptr)
        *t = value;
    return t;
}

bool step_days(TEVRA_Time &t, long n) {
    // Most steps stay within the month and need no calendar conversion.
    if (n != 0 && (t.month < 1 || t.month > 12 || t.day + n < 1 ||
                   t.day + n > days_in_month(t.year, t.month)))
        civil_from_days(days_from_civil(t.year, t.month, t.day) + n, t);
    else
        t.day += static_cast<int>(n);
    return year_in_range(t.year);
}

bool step_hours(TEVRA_Time &t, long n) {
    long hours = t.hour + n;
    t.hour = static_cast<int>(hours - floor_div(hours, 24) * 24);
    return step_days(t, floor_div(hours, 24));
}

bool step_minutes(TEVRA_Time &t, long n) {
    long minutes = t.hour * 60L + t.minute + n;
    long days = floor_div(minutes, 1440);
    minutes -= days * 1440;
    t.hour = static_cast<int>(minutes / 60);
    t.minute = static_cast<int>(minutes % 60);
    return step_days(t, days);
}

// Positions on the leap-second line: each listed leap second takes one
// position of its own between 23:59:59 and the next day's 00:00:00.
bool step_seconds(TEVRA_Time &t, long n) {
    if (n == 0)
        return true;
    long day = days_from_civil(t.year, t.month, t.day);
    long pos = day * kSecondsPerDay + seconds_of_day(t) + leaps_before_day(day) + n;
    long passed = 0;
    for (long i = 0; i < kLeapSecondCount; ++i) {
        long leap_pos = (kLeap.day[static_cast<std::size_t>(i)] + 1) * kSecondsPerDay + i;
        if (leap_pos == pos) {
            civil_from_days(kLeap.day[static_cast<std::size_t>(i)], t);
            set_clock(t, kSecondsPerDay - 60);
            t.minute = 59;
            t.second = 60;
            return year_in_range(t.year);
        }
        passed += leap_pos < pos ? 1 : 0;
    }
    long naive = pos - passed;
    long new_day = floor_div(naive, kSecondsPerDay);
    civil_from_days(new_day, t);
    set_clock(t, naive - new_day * kSecondsPerDay);
    return year_in_range(t.year);
}

bool add_save(TEVRA_Time &t, long seconds) {
    if (seconds == 0)
        return true;
    return step_seconds(t, seconds % 60) && step_minutes(t, seconds / 60);
}

long day_difference(const TEVRA_Time &later, const TEVRA_Time &earlier) {
    return days_from_civil(later.year, later.month, later.day) -
           days_from_civil(earlier.year, earlier.month, earlier.day);
}

int getday(int kind, int year, int month, int day, int weekday) {
    if (kind == 0)
        return day;
    if (kind < 1 || kind > 3 || !year_in_range(year) || month < 1 || month > 12)
        return -1;
    int n = days_in_month(year, month);
    // 1970-01-01 was a Thursday; weekdays run 1 = Monday .. 7 = Sunday.
    long days = days_from_civil(year, month, n);
    long last_weekday = days + 3 - floor_div(days + 3, 7) * 7 + 1;
    long back = ((last_weekday - weekday) % 7 + 7) % 7;
    int last = n - static_cast<int>(back);
    if (kind == 1)
        return last;
    if (kind == 2)
        return last < day ? -1 : last - (last - day) / 7 * 7;
    if (last <= day)
        return last;
    int found = last - (last - day + 6) / 7 * 7;
    return found < 1 ? -1 : found;
}

} // namespace tevra::detail
