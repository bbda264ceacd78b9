// Walking a zone's lines and rule sets: which zone line and which
// daylight-saving rule are in force at a UTC instant or a wall-clock time.
#include <cstddef>
#include <cstdint>

#include "TEVRA_Time_Rules.h"

namespace tevra::detail {

namespace {

constexpr int kNeverYear = -2147483647 - 1;

bool earlier(const TEVRA_Time &a, const TEVRA_Time &b) {
    return cmp_fields(a, b) < 0;
}

bool moved(const TEVRA_Time &t, long seconds, TEVRA_Time &out) {
    out = t;
    return add_save(out, seconds);
}

bool until_instant(const TzZoneLine &line, TEVRA_Time &until) {
    int day = getday(line.until_day_kind, line.until_year, line.until_month, line.until_day,
                     line.until_weekday);
    return day != -1 && make_utc(until, line.until_year, line.until_month, day, line.until_hour,
                                 line.until_minute, line.until_second, 0);
}

// A line ending more than two years before t cannot contain it, whatever
// offset is applied; this spares building its until instant.
bool ended_long_before(const TzZoneLine &line, const TEVRA_Time &t) {
    return line.until_year < t.year - 2;
}

// The rule's transition in a year, its AT fields taken as they stand.
bool build_transition(const TzRule &rule, int year, TEVRA_Time &at) {
    int day = getday(rule.day_kind, year, rule.month, rule.day, rule.weekday);
    return day != -1 &&
           make_utc(at, year, rule.month, day, rule.at_hour, rule.at_minute, rule.at_second, 0);
}

// Transitions are pure functions of rule and year, and every conversion asks
// for the same few again, so each thread remembers the latest ones.
struct TransitionSlot {
    const TzRule *rule = nullptr;
    int year = 0;
    bool ok = false;
    TEVRA_Time at{};
};
constexpr std::size_t kTransitionSlots = 64;
thread_local TransitionSlot t_transitions[kTransitionSlots];

bool transition(const TzRule &rule, int year, TEVRA_Time &at) {
    auto index = reinterpret_cast<std::uintptr_t>(&rule) / sizeof(TzRule) * 7 +
                 static_cast<std::uintptr_t>(year);
    TransitionSlot &slot = t_transitions[index % kTransitionSlots];
    if (slot.rule != &rule || slot.year != year) {
        slot.ok = build_transition(rule, year, slot.at);
        slot.rule = &rule;
        slot.year = year;
    }
    at = slot.at;
    return slot.ok;
}

// Keeps the latest candidate transition; on a tie the item that comes first
// in the rule set stays, whatever the order in which they are offered.
struct Latest {
    const TzRule *item = nullptr;
    TEVRA_Time at{};  // the candidate as compared
    TEVRA_Time raw{}; // the transition as built from the rule

    void offer(const TzRule &rule, const TEVRA_Time &candidate, const TEVRA_Time &built) {
        int order = item == nullptr ? 1 : cmp_fields(candidate, at);
        if (order > 0 || (order == 0 && &rule < item)) {
            item = &rule;
            at = candidate;
            raw = built;
        }
    }
    // True when no transition of the given year (shifted by up to a day)
    // could replace the kept one, so it need not be built.
    bool beats(int year) const { return item != nullptr && at.year > year + 2; }
};

// Runs the common shape of every rule search: items not yet started are
// passed over, items in their years are tested with at_or_after against this
// year's transition (falling back to last year's), finished items offer
// their final transition. to_candidate turns a built transition into the
// value that is compared. Running items go first: their recent candidates
// usually make the finished items' old transitions needless to build.
template <class AtOrAfter, class ToCandidate>
Latest search(const TzRuleSet &set, const TzRule *skip, int year, AtOrAfter at_or_after,
              ToCandidate to_candidate) {
    Latest latest;
    TEVRA_Time built, candidate;
    for (int i = 0; i < set.count; ++i) {
        const TzRule &rule = set.items[i];
        if (&rule == skip || year < rule.from_year || year > rule.to_year ||
            !transition(rule, year, built))
            continue;
        if (at_or_after(rule, built)) {
            if (to_candidate(rule, built, candidate))
                latest.offer(rule, candidate, built);
        } else if (year > rule.from_year && transition(rule, year - 1, built) &&
                   to_candidate(rule, built, candidate)) {
            latest.offer(rule, candidate, built);
        }
    }
    for (int i = 0; i < set.count; ++i) {
        const TzRule &rule = set.items[i];
        if (&rule == skip || year <= rule.to_year || latest.beats(rule.to_year))
            continue;
        if (transition(rule, rule.to_year, built) && to_candidate(rule, built, candidate))
            latest.offer(rule, candidate, built);
    }
    return latest;
}

bool as_built(const TzRule &, const TEVRA_Time &built, TEVRA_Time &candidate) {
    candidate = built;
    return true;
}

// The rule in force just before transition at of item: transitions of the
// other items, compared as plain clock fields, an equal one counting.
const TzRule *search_rule_before(const TzRuleSet &set, const TzRule &item, const TEVRA_Time &at) {
    auto not_after = [&at](const TzRule &, const TEVRA_Time &built) {
        return cmp_fields(at, built) >= 0;
    };
    return search(set, &item, at.year, not_after, as_built).item;
}

// The answer depends only on the item and its transition, and is asked for
// again on every conversion near that transition.
struct BeforeSlot {
    const TzRule *item = nullptr;
    TEVRA_Time at{};
    const TzRule *before = nullptr;
};
thread_local BeforeSlot t_before[kTransitionSlots];

const TzRule *rule_before(const TzRuleSet &set, const TzRule &item, const TEVRA_Time &at) {
    auto index = reinterpret_cast<std::uintptr_t>(&item) / sizeof(TzRule) * 7 +
                 static_cast<std::uintptr_t>(at.year) * 3 + static_cast<std::uintptr_t>(at.month);
    BeforeSlot &slot = t_before[index % kTransitionSlots];
    if (slot.item == &item && cmp_fields(slot.at, at) == 0)
        return slot.before;
    const TzRule *before = search_rule_before(set, item, at);
    slot.item = &item;
    slot.at = at;
    slot.before = before;
    return before;
}

// A transition on the wall clock: standard-time rules shift by their own
// save, UTC rules by save and standard offset.
bool wall_transition(const TzRule &rule, const TEVRA_Time &built, int offset, TEVRA_Time &wall) {
    long shift = 0;
    if (rule.at_kind == kTzStandard)
        shift = rule.save;
    else if (rule.at_kind == kTzUniversal)
        shift = static_cast<long>(rule.save) + offset;
    return moved(built, shift, wall);
}

// Where the wall clock resumes after the transition: moved by the change of save.
bool resume_time(const TzRuleSet &set, const TzRule &rule, const TEVRA_Time &built,
                 const TEVRA_Time &wall, TEVRA_Time &resume) {
    const TzRule *before = rule_before(set, rule, built);
    if (before == nullptr) {
        resume = wall;
        return true;
    }
    return moved(wall, static_cast<long>(rule.save) - before->save, resume);
}

// Is the wall time t at or after the rule's transition? In the repeated hour
// of a falling save, t without the DST flag is read under the later rule.
bool local_not_before(const TzRuleSet &set, const TzRule &rule, const TEVRA_Time &built,
                      const TEVRA_Time &t, int offset) {
    TEVRA_Time wall, resume;
    if (!wall_transition(rule, built, offset, wall))
        return false;
    if (!earlier(t, wall))
        return true;
    if (t.dst != 0 || rule_before(set, rule, built) == nullptr)
        return false;
    return resume_time(set, rule, built, wall, resume) && !earlier(t, resume);
}

// Is the UTC instant t at or after the transition, read in the rule's own
// notation (UTC, standard time, or wall time under the rule before it)?
bool utc_not_before(const TzRuleSet &set, const TzRule &rule, const TEVRA_Time &built,
                    const TEVRA_Time &t, int offset) {
    if (rule.at_kind == kTzUniversal)
        return !earlier(t, built);
    long shift = offset;
    if (rule.at_kind == kTzWallClock) {
        const TzRule *before = rule_before(set, rule, built);
        if (before != nullptr)
            shift += before->save;
    }
    TEVRA_Time local;
    return moved(t, shift, local) && !earlier(local, built);
}

bool reads_as_leap_second(const TEVRA_Time &t) {
    return t.second == 60 && is_leap_minute(t);
}

// The wall clock shows no leap seconds, so those crossed by the shift are
// taken back out of the result.
bool shift_without_leap_seconds(const TEVRA_Time &t, long total, TEVRA_Time &out) {
    out = t;
    if (total == 0)
        return true;
    if (!add_save(out, total))
        return false;
    if (total < 0) {
        int crossed = leap_seconds_within(out, t);
        if (crossed > 0) {
            if (!step_seconds(out, crossed))
                return false;
            if (reads_as_leap_second(out))
                out.second = 59;
        }
        return true;
    }
    int crossed = leap_seconds_within(t, out);
    if (crossed == 0)
        return true;
    if (!step_seconds(out, -crossed))
        return false;
    if (reads_as_leap_second(out)) {
        out.second = 1;
        return step_minutes(out, 1);
    }
    return true;
}

bool has_rules(const TzZoneLine &line) {
    return line.rule_kind != kTzFixedSave && line.rules != nullptr && line.rules->count > 0;
}

} // namespace

const TzZone *zone_of(int id) {
    if (id < 0 || id >= kTzZoneCount || g_timezone_table[id].line_count < 1)
        return nullptr;
    return &g_timezone_table[id];
}

namespace {

// The part of the UTC rule search that does not depend on the instant, for
// one rule set, standard offset and year: each running item's transition,
// the shift that puts an instant into the transition's notation and the
// fallback of the year before, and the best transition of the finished
// items. A conversion then only compares the instant with a few transitions.
struct UtcPlan {
    struct Running {
        const TzRule *rule;
        bool universal; // compared with the instant itself, else moved by shift
        bool has_fallback;
        long shift;
        TEVRA_Time at;
        TEVRA_Time fallback;
    };
    static constexpr int kCapacity = 6;

    const TzRuleSet *set = nullptr;
    int offset = 0;
    int year = 0;
    int count = 0;
    bool usable = false; // false when more items run than fit
    Running running[kCapacity];
    Latest finished;
};
constexpr std::size_t kPlanSlots = 8;
thread_local UtcPlan t_plans[kPlanSlots];

void make_plan(UtcPlan &plan, const TzRuleSet &set, int offset, int year) {
    plan.set = &set;
    plan.offset = offset;
    plan.year = year;
    plan.count = 0;
    plan.usable = false;
    plan.finished = Latest{};
    for (int i = 0; i < set.count; ++i) {
        const TzRule &rule = set.items[i];
        TEVRA_Time built;
        if (year < rule.from_year)
            continue;
        if (year > rule.to_year) {
            if (transition(rule, rule.to_year, built))
                plan.finished.offer(rule, built, built);
            continue;
        }
        if (!transition(rule, year, built))
            continue;
        if (plan.count == UtcPlan::kCapacity)
            return;
        UtcPlan::Running &run = plan.running[plan.count++];
        run.rule = &rule;
        run.at = built;
        run.universal = rule.at_kind == kTzUniversal;
        run.shift = offset;
        if (rule.at_kind == kTzWallClock) {
            const TzRule *before = rule_before(set, rule, built);
            run.shift += before != nullptr ? before->save : 0;
        }
        run.has_fallback = year > rule.from_year && transition(rule, year - 1, run.fallback);
    }
    plan.usable = true;
}

// Picks the latest candidate like Latest, by reference to the plan's copies.
const TzRule *run_plan(const UtcPlan &plan, const TEVRA_Time &t) {
    const TzRule *best = plan.finished.item;
    const TEVRA_Time *best_at = &plan.finished.at;
    auto offer = [&](const TzRule *rule, const TEVRA_Time &at) {
        int order = best == nullptr ? 1 : cmp_fields(at, *best_at);
        if (order > 0 || (order == 0 && rule < best)) {
            best = rule;
            best_at = &at;
        }
    };
    for (int i = 0; i < plan.count; ++i) {
        const UtcPlan::Running &run = plan.running[i];
        TEVRA_Time local;
        bool reached = run.universal ? !earlier(t, run.at)
                                     : moved(t, run.shift, local) && !earlier(local, run.at);
        if (reached)
            offer(run.rule, run.at);
        else if (run.has_fallback)
            offer(run.rule, run.fallback);
    }
    return best;
}

} // namespace

const TzRule *utc_rule_in_force(const TzRuleSet &set, const TEVRA_Time &t, int offset) {
    auto index = reinterpret_cast<std::uintptr_t>(&set) / sizeof(TzRuleSet) +
                 static_cast<std::uintptr_t>(t.year) * 5 + static_cast<std::uintptr_t>(offset);
    UtcPlan &plan = t_plans[index % kPlanSlots];
    if (plan.set != &set || plan.offset != offset || plan.year != t.year)
        make_plan(plan, set, offset, t.year);
    if (plan.usable)
        return run_plan(plan, t);
    auto not_before = [&](const TzRule &rule, const TEVRA_Time &built) {
        return utc_not_before(set, rule, built, t, offset);
    };
    return search(set, nullptr, t.year, not_before, as_built).item;
}

bool local_rule_in_force(const TzRuleSet &set, const TEVRA_Time &t, int offset, LocalRule &found) {
    auto not_before = [&](const TzRule &rule, const TEVRA_Time &built) {
        return local_not_before(set, rule, built, t, offset);
    };
    auto to_wall = [offset](const TzRule &rule, const TEVRA_Time &built, TEVRA_Time &wall) {
        return wall_transition(rule, built, offset, wall);
    };
    Latest latest = search(set, nullptr, t.year, not_before, to_wall);
    found.item = latest.item;
    if (latest.item == nullptr)
        return true;
    found.transition = latest.at;
    return resume_time(set, *latest.item, latest.raw, latest.at, found.resume);
}

bool utc2localclock(const TzZoneLine &line, const TEVRA_Time &t, int id, TEVRA_Time &out) {
    long total = line.std_offset;
    const TzRule *rule = nullptr;
    bool dst = false;
    if (line.rule_kind == kTzFixedSave) {
        total += line.fixed_save;
        dst = line.fixed_save != 0;
    } else if (has_rules(line)) {
        rule = utc_rule_in_force(*line.rules, t, line.std_offset);
    }
    if (rule != nullptr) {
        total += rule->save;
        dst = rule->save != 0;
        if (!shift_without_leap_seconds(t, total, out))
            return false;
    } else if (!moved(t, total, out)) {
        return false;
    }
    out.utc = 0;
    out.dst = dst ? 1 : 0;
    out.zone = id;
    return true;
}

namespace {

bool utc_line_applies(const TzZoneLine &line, const TEVRA_Time &t) {
    if (line.until_year == kTzMax)
        return true;
    TEVRA_Time until, shifted;
    if (!until_instant(line, until))
        return false;
    if (line.until_kind == kTzUniversal)
        return earlier(t, until);
    // A wall-clock until on a fixed line is tested against the save alone.
    long shift = line.until_kind == kTzStandard || line.rule_kind != kTzFixedSave ? line.std_offset
                                                                                  : line.fixed_save;
    return moved(t, shift, shifted) && earlier(shifted, until);
}

} // namespace

const TzZoneLine *utc_line(const TzZone &zone, const TEVRA_Time &t) {
    for (int i = 0; i < zone.line_count; ++i) {
        const TzZoneLine &line = zone.lines[i];
        if (line.until_year != kNeverYear && !ended_long_before(line, t) &&
            utc_line_applies(line, t))
            return &line;
    }
    return nullptr;
}

int localbefore(const TEVRA_Time &t, const TzZoneLine &line, int id) {
    if (line.until_year == kNeverYear || ended_long_before(line, t))
        return 0;
    if (line.until_year == kTzMax)
        return 1;
    TEVRA_Time until, end;
    if (!until_instant(line, until))
        return -1;
    if (line.until_kind == kTzWallClock)
        return earlier(t, until) ? 1 : 0;
    if (line.rule_kind == kTzFixedSave) {
        long shift = line.fixed_save + (line.until_kind == kTzUniversal ? line.std_offset : 0L);
        return moved(until, shift, end) ? (earlier(t, end) ? 1 : 0) : -1;
    }
    // Rule-set lines: the line's last UTC second, read on its own wall clock.
    long back = line.until_kind == kTzStandard ? line.std_offset : 0;
    TEVRA_Time last;
    if (!moved(until, -back, last) || !step_seconds(last, -1) ||
        !utc2localclock(line, last, id, end))
        return -1;
    return earlier(end, t) ? 0 : 1;
}

bool localclock2utc(const TzZoneLine &line, const TEVRA_Time &t, TEVRA_Time &out) {
    long amount = -static_cast<long>(line.std_offset);
    if (line.rule_kind == kTzFixedSave) {
        amount -= line.fixed_save;
    } else if (has_rules(line)) {
        LocalRule found;
        if (!local_rule_in_force(*line.rules, t, line.std_offset, found))
            return false;
        if (found.item != nullptr)
            amount -= found.item->save;
    }
    if (!moved(t, amount, out))
        return false;
    out.utc = 1;
    out.dst = 0;
    out.zone = kTzUtcId;
    return true;
}

} // namespace tevra::detail
