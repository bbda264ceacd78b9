// Conversion between UTC and local times, and local times built from fields.
#include "TEVRA_Time_Rules.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

constexpr int kNewLocalLine = 3061;

// The zone line in force at a wall time: the first whose end lies after it.
const TzZoneLine *local_line(const TzZone &zone, const TEVRA_Time &t, int id) {
    for (int i = 0; i < zone.line_count; ++i)
        if (localbefore(t, zone.lines[i], id) == 1)
            return &zone.lines[i];
    return nullptr;
}

void take_clock(TEVRA_Time &t, const TEVRA_Time &from) {
    t.year = from.year;
    t.month = from.month;
    t.day = from.day;
    t.hour = from.hour;
    t.minute = from.minute;
    t.second = from.second;
    t.nanoseconds = from.nanoseconds;
}

// Sets the DST flag of a new wall time from the rule in force. A time at the
// clock's resume point (or, for a falling save that stays daylight time, in
// the skipped span) is replaced by the transition as the old clock shows it.
void settle_dst(const TzZone &zone, TEVRA_Time &t, bool wants_dst) {
    const TzZoneLine *line = local_line(zone, t, t.zone);
    if (line == nullptr)
        return;
    if (line->rule_kind == kTzFixedSave) {
        t.dst = line->fixed_save != 0 ? 1 : 0;
        return;
    }
    LocalRule found;
    if (line->rules == nullptr || line->rules->count == 0 ||
        !local_rule_in_force(*line->rules, t, line->std_offset, found) || found.item == nullptr) {
        t.dst = 0;
        return;
    }
    int at_resume = cmp_fields(t, found.resume);
    if (found.item->save != 0) {
        t.dst = 1;
        if (at_resume == 0 || (at_resume > 0 && cmp_fields(t, found.transition) <= 0))
            take_clock(t, found.transition);
    } else {
        t.dst = 0;
        if (at_resume == 0 && wants_dst)
            take_clock(t, found.transition);
    }
}

// A local 60th second stays only where the UTC second after its 59th is a
// listed leap second.
bool settle_leap_second(TEVRA_Time &t) {
    t.second = 59;
    TEVRA_Time utc;
    if (!to_utc(t, utc) || !step_seconds(utc, 1))
        return false;
    if (utc.second == 60 && is_leap_minute(utc))
        t.second = 60;
    return true;
}

} // namespace

namespace tevra::detail {

bool to_utc(const TEVRA_Time &t, TEVRA_Time &out) {
    if (t.utc != 0) {
        out = t;
        return true;
    }
    const TzZone *zone = zone_of(t.zone);
    if (zone == nullptr)
        return false;
    const TzZoneLine *line = local_line(*zone, t, t.zone);
    return line != nullptr && localclock2utc(*line, t, out);
}

bool utc_to_local(const TEVRA_Time &utc, int id, TEVRA_Time &out) {
    if (id < 0)
        return false;
    if (id == kTzUtcId) {
        out = utc;
        return true;
    }
    const TzZone *zone = zone_of(id);
    if (zone == nullptr)
        return false;
    const TzZoneLine *line = utc_line(*zone, utc);
    return line != nullptr && utc2localclock(*line, utc, id, out);
}

} // namespace tevra::detail

extern "C" {

TEVRA_API TEVRA_Time *tevra_time_utc2localbyid(const TEVRA_Time *time, int id) {
    TEVRA_Time local;
    if (time == nullptr || time->utc == 0 || !utc_to_local(*time, id, local))
        return nullptr;
    return new_record(local, __LINE__);
}

TEVRA_API TEVRA_Time *tevra_time_utc2localbyzone(const char *zone, const TEVRA_Time *time) {
    if (zone == nullptr)
        return nullptr;
    int id = tevra_time_gettimezoneidbyname(zone);
    return id == -1 ? nullptr : tevra_time_utc2localbyid(time, id);
}

TEVRA_API TEVRA_Time *tevra_time_utc2local(const TEVRA_Time *time) {
    return tevra_time_utc2localbyid(time, tevra_time_gettimezoneid());
}

TEVRA_API TEVRA_Time *tevra_time_local2utc(const TEVRA_Time *time) {
    TEVRA_Time utc;
    if (time == nullptr || time->utc != 0 || !to_utc(*time, utc))
        return nullptr;
    return new_record(utc, __LINE__);
}

TEVRA_API TEVRA_Time *tevra_time_newlocaltimebyid(int id, int year, int month, int day, int hour,
                                                  int minute, int second, unsigned long nanoseconds,
                                                  int dst) {
    if (id == kTzUtcId)
        return tevra_time_newutctime(year, month, day, hour, minute, second, nanoseconds);
    TEVRA_Time t;
    if (id == -1 || !make_fields(t, year, month, day, hour, minute, second, nanoseconds))
        return nullptr;
    t.utc = 0;
    t.dst = static_cast<unsigned int>(dst);
    t.zone = id;
    // An unknown id keeps the fields and the caller's flag.
    const TzZone *zone = zone_of(id);
    if (zone != nullptr)
        settle_dst(*zone, t, dst != 0);
    if (t.second == 60 && !settle_leap_second(t))
        return nullptr;
    return new_record(t, kNewLocalLine);
}

TEVRA_API TEVRA_Time *tevra_time_newlocaltimebyzone(const char *zone, int year, int month, int day,
                                                    int hour, int minute, int second,
                                                    unsigned long nanoseconds, int dst) {
    if (zone == nullptr)
        return nullptr;
    int id = tevra_time_gettimezoneidbyname(zone);
    if (id == -1)
        return nullptr;
    return tevra_time_newlocaltimebyid(id, year, month, day, hour, minute, second, nanoseconds,
                                       dst);
}

} // extern "C"
