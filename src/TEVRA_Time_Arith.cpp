// Time arithmetic: adding calendar units and seconds, leap seconds, and the
// differences of two times. All of it is done on UTC values; local times are
// converted first and the result goes to the machine's local zone.
#include <climits>

#include "TEVRA_Time_Internal.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

// Changes a UTC value in place; false when the result is not a valid time.
using Worker = bool (*)(TEVRA_Time &t, int n);

// A 60th second survives a change of date only at a listed leap second.
int second_after_move(const TEVRA_Time &t) {
    return t.second == 60 && !is_leap_minute(t) ? 59 : t.second;
}

bool rebuild(TEVRA_Time &t, long year, int month, int day, int second) {
    if (!year_in_range(year))
        return false;
    return make_utc(t, static_cast<int>(year), month, day, t.hour, t.minute, second, t.nanoseconds);
}

bool add_years(TEVRA_Time &t, int n) {
    long year = static_cast<long>(t.year) + n;
    int month = t.month, day = t.day;
    // 29 February of a year without one rolls on to 1 March.
    if (month == 2 && day == 29 && !is_leap_year(year)) {
        month = 3;
        day = 1;
    }
    return rebuild(t, year, month, day, second_after_move(t));
}

bool add_months(TEVRA_Time &t, int n) {
    long year = static_cast<long>(t.year) + n / 12;
    int month = t.month + n % 12;
    if (month > 12) {
        month -= 12;
        ++year;
    } else if (month < 1) {
        month += 12;
        --year;
    }
    if (!year_in_range(year))
        return false;
    int day = t.day;
    int last = days_in_month(year, month);
    return rebuild(t, year, month, day > last ? last : day, second_after_move(t));
}

bool add_days(TEVRA_Time &t, int n) {
    if (!step_days(t, n))
        return false;
    t.second = second_after_move(t);
    return true;
}

bool add_hours(TEVRA_Time &t, int n) {
    return step_hours(t, n);
}
bool add_minutes(TEVRA_Time &t, int n) {
    return step_minutes(t, n);
}
bool add_seconds(TEVRA_Time &t, int n) {
    return step_seconds(t, n);
}

TEVRA_Time *run_worker(const TEVRA_Time *time, int n, Worker worker) {
    if (time == nullptr)
        return nullptr;
    TEVRA_Time t = *time;
    return worker(t, n) ? new_record(t, __LINE__) : nullptr;
}

// Local times are worked in UTC; the result is given in the zone detected
// now, not in the argument's zone.
TEVRA_Time *run_front_end(const TEVRA_Time *time, int n, Worker worker) {
    if (time == nullptr || time->utc != 0)
        return run_worker(time, n, worker);
    TEVRA_Time utc, local;
    if (!to_utc(*time, utc) || !worker(utc, n))
        return nullptr;
    if (!utc_to_local(utc, tevra_time_gettimezoneid(), local))
        return nullptr;
    return new_record(local, __LINE__);
}

// Leap seconds L with earlier <= L <= later.
long leap_seconds_between(const TEVRA_Time &earlier, const TEVRA_Time &later) {
    long n = 0;
    for (const TEVRA_Time &leap : g_leapseconds)
        n += cmp_fields(earlier, leap) <= 0 && cmp_fields(leap, later) <= 0 ? 1 : 0;
    return n;
}

long clock_seconds(const TEVRA_Time &t) {
    return t.hour * 3600L + t.minute * 60L + t.second;
}

// Orders a and b as UTC values. Returns false (and leaves sign alone) when a
// local operand cannot be converted.
bool utc_pair(const TEVRA_Time &a, const TEVRA_Time &b, TEVRA_Time &later, TEVRA_Time &earlier,
              int &sign) {
    TEVRA_Time ua, ub;
    if (!to_utc(a, ua) || !to_utc(b, ub))
        return false;
    sign = cmp_fields(ua, ub);
    later = sign >= 0 ? ua : ub;
    earlier = sign >= 0 ? ub : ua;
    return true;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_Time *tevra_utc_time_addyear(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_years);
}
TEVRA_API TEVRA_Time *tevra_utc_time_addmonth(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_months);
}
TEVRA_API TEVRA_Time *tevra_utc_time_addday(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_days);
}
TEVRA_API TEVRA_Time *tevra_utc_time_addhour(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_hours);
}
TEVRA_API TEVRA_Time *tevra_utc_time_addminute(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_minutes);
}
TEVRA_API TEVRA_Time *tevra_utc_time_addsecond(const TEVRA_Time *time, int n) {
    return run_worker(time, n, add_seconds);
}

TEVRA_API TEVRA_Time *tevra_time_addyear(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_years);
}
TEVRA_API TEVRA_Time *tevra_time_addmonth(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_months);
}
TEVRA_API TEVRA_Time *tevra_time_addday(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_days);
}
TEVRA_API TEVRA_Time *tevra_time_addhour(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_hours);
}
TEVRA_API TEVRA_Time *tevra_time_addminute(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_minutes);
}
TEVRA_API TEVRA_Time *tevra_time_addsecond(const TEVRA_Time *time, int n) {
    return run_front_end(time, n, add_seconds);
}

TEVRA_API int tevra_utc_time_iadd_day(TEVRA_Time *time, int n) {
    if (time == nullptr)
        return 0;
    return step_days(*time, n < 1 ? 0 : n) ? 1 : 0;
}
TEVRA_API int tevra_utc_time_isub_day(TEVRA_Time *time, int n) {
    if (time == nullptr)
        return 0;
    return step_days(*time, n < 1 ? 0 : -static_cast<long>(n)) ? 1 : 0;
}
TEVRA_API int tevra_utc_time_iaddhour(TEVRA_Time *time, int n) {
    return time != nullptr && step_hours(*time, n) ? 1 : 0;
}
TEVRA_API int tevra_utc_time_iaddminute(TEVRA_Time *time, int n) {
    return time != nullptr && step_minutes(*time, n) ? 1 : 0;
}

// A UTC value moves by its own arithmetic; a local time goes through the
// local front ends like any other caller's.
TEVRA_API TEVRA_Time *tevra_time_addsave(const TEVRA_Time *time, int seconds) {
    if (time == nullptr)
        return nullptr;
    if (time->utc != 0 || seconds == 0) {
        TEVRA_Time t = *time;
        return add_save(t, seconds) ? new_record(t, __LINE__) : nullptr;
    }
    TEVRA_Time *moved = tevra_time_addsecond(time, seconds % 60);
    TEVRA_Time *result = moved == nullptr ? nullptr : tevra_time_addminute(moved, seconds / 60);
    tevra_time_free(moved);
    return result;
}

TEVRA_API int tevra_time_isleapsecond(const TEVRA_Time *time) {
    if (time == nullptr || time->second != 60)
        return 0;
    TEVRA_Time utc;
    if (!to_utc(*time, utc))
        return 0;
    return utc.second == 60 && is_leap_minute(utc) ? 1 : 0;
}

TEVRA_API long tevra_time_diffseconds(const TEVRA_Time *a, const TEVRA_Time *b) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? LONG_MIN : LONG_MAX);
    TEVRA_Time later, earlier;
    int sign = 0;
    if (!utc_pair(*a, *b, later, earlier, sign))
        return LONG_MAX;
    if (sign == 0)
        return 0;
    long seconds = day_difference(later, earlier) * 86400L + clock_seconds(later) -
                   clock_seconds(earlier) + leap_seconds_between(earlier, later);
    return sign * seconds;
}

TEVRA_API int tevra_time_diffdays(const TEVRA_Time *a, const TEVRA_Time *b) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? INT_MIN : INT_MAX);
    TEVRA_Time later, earlier;
    int sign = 0;
    if (!utc_pair(*a, *b, later, earlier, sign))
        return INT_MAX;
    return sign * static_cast<int>(day_difference(later, earlier));
}

TEVRA_API int tevra_time_idiffdays(const TEVRA_Time *later, const TEVRA_Time *earlier) {
    if (later == nullptr || earlier == nullptr)
        return -1;
    return static_cast<int>(day_difference(*later, *earlier));
}

} // extern "C"
