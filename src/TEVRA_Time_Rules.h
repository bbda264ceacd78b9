// The zone-line and rule-set walks shared by the conversions.
#ifndef TEVRA_TIME_RULES_H
#define TEVRA_TIME_RULES_H

#include "TEVRA_Time_Internal.h"
#include "TEVRA_Time_Zones.h"

namespace tevra::detail {

// The rule in force at a wall-clock time, with the selected transition as
// the wall clock shows it before the change, and the wall time at which the
// clock resumes after it.
struct LocalRule {
    const TzRule *item = nullptr;
    TEVRA_Time transition{};
    TEVRA_Time resume{};
};

// The zone of an id when it has lines, else NULL.
const TzZone *zone_of(int id);

// The rule in force at the UTC instant t, or NULL.
const TzRule *utc_rule_in_force(const TzRuleSet &set, const TEVRA_Time &t, int offset);
// The rule in force at the wall time t (whose DST flag settles a repeated
// hour); false only when the times of a found rule cannot be built.
bool local_rule_in_force(const TzRuleSet &set, const TEVRA_Time &t, int offset, LocalRule &found);

// The zone line in force at the UTC instant t: the first whose end lies after it.
const TzZoneLine *utc_line(const TzZone &zone, const TEVRA_Time &t);
// 1 when the wall time t lies before the line's end, 0 if not, -1 on failure.
int localbefore(const TEVRA_Time &t, const TzZoneLine &line, int id);

// The UTC instant t on the wall clock of a zone line, as a local value of zone id.
bool utc2localclock(const TzZoneLine &line, const TEVRA_Time &t, int id, TEVRA_Time &out);
// The wall time t of a zone line as a UTC value.
bool localclock2utc(const TzZoneLine &line, const TEVRA_Time &t, TEVRA_Time &out);

} // namespace tevra::detail

#endif
