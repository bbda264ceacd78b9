// The time record: construction, the current time, getters, ordering, the
// day of the week and POSIX seconds.
#include <climits>
#include <ctime>

#include "TEVRA_Time_Internal.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

constexpr int kNewUtcLine = 124;
const TEVRA_Time kEpoch{1970, 1, 1, 0, 0, 0, 0, 1, 0, kUtcZoneId};

} // namespace

extern "C" {

TEVRA_API TEVRA_Time *tevra_time_newutctime(int year, int month, int day, int hour, int minute,
                                            int second, unsigned long nanoseconds) {
    TEVRA_Time t;
    if (!make_utc(t, year, month, day, hour, minute, second, nanoseconds))
        return nullptr;
    return new_record(t, kNewUtcLine);
}

TEVRA_API TEVRA_Time *tevra_time_nowutctime(void) {
    time_t now = time(nullptr);
    struct tm parts;
    if (now == static_cast<time_t>(-1) || gmtime_r(&now, &parts) == nullptr)
        return nullptr;
    return tevra_time_newutctime(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                                 parts.tm_hour, parts.tm_min, parts.tm_sec, 0);
}

TEVRA_API TEVRA_Time *tevra_time_nowlocaltime(void) {
    int id = tevra_time_gettimezoneid();
    if (id == -1)
        return nullptr;
    TEVRA_Time *utc = tevra_time_nowutctime();
    TEVRA_Time *local = tevra_time_utc2localbyid(utc, id);
    tevra_time_free(utc);
    return local;
}

TEVRA_API TEVRA_Time *tevra_time_newlocaltime(int year, int month, int day, int hour, int minute,
                                              int second, unsigned long nanoseconds, int dst) {
    int id = tevra_time_gettimezoneid();
    if (id == -1)
        return nullptr;
    return tevra_time_newlocaltimebyid(id, year, month, day, hour, minute, second, nanoseconds,
                                       dst);
}

TEVRA_API int tevra_time_getyear(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->year;
}
TEVRA_API int tevra_time_getmonth(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->month;
}
TEVRA_API int tevra_time_getday(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->day;
}
TEVRA_API int tevra_time_gethour(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->hour;
}
TEVRA_API int tevra_time_getminute(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->minute;
}
TEVRA_API int tevra_time_getsecond(const TEVRA_Time *time) {
    return time == nullptr ? -1 : time->second;
}
TEVRA_API long tevra_time_getns(const TEVRA_Time *time) {
    return time == nullptr ? -1 : static_cast<long>(time->nanoseconds);
}

TEVRA_API int tevra_time_isutctime(const TEVRA_Time *time) {
    return time != nullptr && time->utc == 1 ? 1 : 0;
}

TEVRA_API int tevra_time_isdst(const TEVRA_Time *time) {
    return time != nullptr && time->utc == 0 && time->dst != 0 ? 1 : 0;
}

TEVRA_API int tevra_time_isleapyear(const TEVRA_Time *time) {
    return time != nullptr && is_leap_year(time->year) ? 1 : 0;
}

TEVRA_API int tevra_time_cmp(const TEVRA_Time *a, const TEVRA_Time *b) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    TEVRA_Time ua, ub;
    if (!to_utc(*a, ua))
        return -1;
    if (!to_utc(*b, ub))
        return 1;
    return cmp_fields(ua, ub);
}

// Truncating remainder on purpose: days before 1969-12-28 give -6..-1 except
// on Sundays, which callers rely on.
TEVRA_API int tevra_time_getdayofweek(const TEVRA_Time *time) {
    int d = tevra_time_diffdays(time, &kEpoch);
    if (d == INT_MAX || d == INT_MIN)
        return -1;
    int r = (d + 4) % 7;
    return r == 0 ? 7 : r;
}

// The difference counts the leap seconds crossed; a positive count has those
// at or before the time removed again.
TEVRA_API long tevra_time_gettime_t(const TEVRA_Time *time) {
    long s = tevra_time_diffseconds(time, &kEpoch);
    TEVRA_Time utc;
    if (s <= 0 || !to_utc(*time, utc))
        return s;
    for (const TEVRA_Time &leap : g_leapseconds)
        if (cmp_fields(utc, leap) >= 0)
            --s;
    return s;
}

TEVRA_API TEVRA_Time *tevra_time_dup(const TEVRA_Time *time) {
    return time == nullptr ? nullptr : new_record(*time, __LINE__);
}

TEVRA_API void tevra_time_free(TEVRA_Time *time) {
    tevra_free(time);
}

} // extern "C"
