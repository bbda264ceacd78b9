// Time values: validation, calendar arithmetic with leap seconds, and the
// conversions between UTC and the zones of the compiled-in database.
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "TEVRA_Time.h"
#include "TEVRA_Time_Internal.h"
#include "test_support.h"

using tevra_test::LeakCheck;
using tevra_test::until_allocations_suffice;

namespace {

struct Fields {
    int y, mo, d, h, mi, s;
};

struct TimeDeleter {
    void operator()(TEVRA_Time *t) const { tevra_time_free(t); }
};
using TimePtr = std::unique_ptr<TEVRA_Time, TimeDeleter>;

TimePtr utc(Fields f, unsigned long ns = 0) {
    return TimePtr(tevra_time_newutctime(f.y, f.mo, f.d, f.h, f.mi, f.s, ns));
}

TimePtr local(const char *zone, Fields f, int dst = 0) {
    return TimePtr(tevra_time_newlocaltimebyzone(zone, f.y, f.mo, f.d, f.h, f.mi, f.s, 0, dst));
}

std::string text(const TEVRA_Time *t) {
    if (t == nullptr)
        return "NULL";
    char buf[64];
    snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d%s%s", t->year, t->month, t->day,
             t->hour, t->minute, t->second, t->utc ? " UTC" : "", t->dst ? " DST" : "");
    return buf;
}

} // namespace

// Callers lay the record out themselves.
static_assert(sizeof(TEVRA_Time) == 48 && offsetof(TEVRA_Time, second) == 20 &&
              offsetof(TEVRA_Time, nanoseconds) == 24 && offsetof(TEVRA_Time, utc) == 32 &&
              offsetof(TEVRA_Time, dst) == 36 && offsetof(TEVRA_Time, zone) == 40);

class Time : public LeakCheck {};

TEST_F(Time, ConstructionValidatesRangesLeapDaysAndLeapSeconds) {
    struct Case {
        Fields in;
        unsigned long ns;
        const char *expect;
    } cases[] = {
        {{1582, 1, 1, 0, 0, 0}, 0, "1582-01-01 00:00:00 UTC"},
        {{1581, 12, 31, 23, 59, 59}, 0, "NULL"},
        {{10000, 1, 1, 0, 0, 0}, 0, "NULL"},
        {{2000, 2, 29, 0, 0, 0}, 0, "2000-02-29 00:00:00 UTC"},
        {{2400, 2, 29, 0, 0, 0}, 0, "2400-02-29 00:00:00 UTC"},
        {{1900, 2, 29, 0, 0, 0}, 0, "NULL"},
        {{2100, 2, 29, 0, 0, 0}, 0, "NULL"},
        {{2019, 4, 31, 0, 0, 0}, 0, "NULL"},
        {{2019, 13, 1, 0, 0, 0}, 0, "NULL"},
        {{2019, 1, 0, 0, 0, 0}, 0, "NULL"},
        {{2016, 12, 31, 23, 59, 60}, 0, "2016-12-31 23:59:60 UTC"},
        {{2016, 12, 31, 23, 59, 60}, 500000000, "2016-12-31 23:59:60 UTC"},
        {{2017, 12, 31, 23, 59, 60}, 0, "NULL"},
        {{2016, 12, 31, 23, 58, 60}, 0, "NULL"},
        {{2016, 12, 31, 24, 0, 0}, 0, "2017-01-01 00:00:00 UTC"},
        {{2016, 12, 31, 24, 0, 1}, 0, "NULL"},
        {{2016, 12, 31, 24, 1, 0}, 0, "NULL"},
        {{2016, 2, 28, 24, 0, 0}, 0, "2016-02-29 00:00:00 UTC"},
        {{2016, 2, 28, 24, 0, 0}, 5, "2016-02-29 00:00:00 UTC"},
        {{9999, 12, 31, 24, 0, 0}, 0, "10000-01-01 00:00:00 UTC"},
        {{2019, 1, 1, -1, 0, 0}, 0, "NULL"},
        {{2019, 1, 1, 0, -1, 0}, 0, "NULL"},
        {{2019, 1, 1, 0, 0, -1}, 0, "NULL"},
        {{2019, 1, 1, 0, 0, 61}, 0, "NULL"},
        {{2019, 1, 1, 0, 0, 0}, 1000000000, "NULL"},
    };
    for (const Case &c : cases) {
        TimePtr t = utc(c.in, c.ns);
        EXPECT_EQ(text(t.get()), c.expect) << c.in.y << "-" << c.in.mo << "-" << c.in.d;
        if (t) {
            EXPECT_EQ(tevra_time_getns(t.get()), static_cast<long>(c.ns));
        }
    }
    EXPECT_EQ(tevra_time_getyear(nullptr), -1);
    EXPECT_EQ(tevra_time_getns(nullptr), -1);
    EXPECT_EQ(tevra_time_isleapyear(utc({2000, 1, 1, 0, 0, 0}).get()), 1);
    EXPECT_EQ(tevra_time_isleapyear(utc({1900, 1, 1, 0, 0, 0}).get()), 0);

    TimePtr t = utc({2019, 7, 1, 12, 0, 0}, 7);
    t->dst = 1;
    EXPECT_EQ(tevra_time_isdst(t.get()), 0);
    EXPECT_EQ(tevra_time_isutctime(t.get()), 1);
    TimePtr copy(tevra_time_dup(t.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(memcmp(copy.get(), t.get(), sizeof(TEVRA_Time)), 0);
    EXPECT_EQ(tevra_time_dup(nullptr), nullptr);
    EXPECT_EQ(tevra_time_isdst(nullptr), 0);
    EXPECT_EQ(tevra_time_isutctime(nullptr), 0);
}

TEST_F(Time, CmpOrdersInstantsAcrossZonesAndNulls) {
    TimePtr a = utc({2019, 7, 1, 12, 0, 0}, 1), b = utc({2019, 7, 1, 12, 0, 0}, 2);
    TimePtr paris = local("Europe/Paris", {2019, 7, 1, 14, 0, 0});
    EXPECT_EQ(tevra_time_cmp(nullptr, nullptr), 0);
    EXPECT_EQ(tevra_time_cmp(nullptr, a.get()), -1);
    EXPECT_EQ(tevra_time_cmp(a.get(), nullptr), 1);
    EXPECT_EQ(tevra_time_cmp(a.get(), b.get()), -1);
    EXPECT_EQ(tevra_time_cmp(b.get(), a.get()), 1);
    TimePtr whole = utc({2019, 7, 1, 12, 0, 0});
    EXPECT_EQ(tevra_time_cmp(whole.get(), paris.get()), 0);
    EXPECT_EQ(tevra_time_cmp(paris.get(), a.get()), -1);
    TEVRA_Time lost = *paris;
    lost.zone = 600;
    EXPECT_EQ(tevra_time_cmp(&lost, a.get()), -1);
    EXPECT_EQ(tevra_time_cmp(a.get(), &lost), 1);
}

TEST_F(Time, DayOfWeekKeepsItsNegativeQuirkAndTimeTDropsLeapSeconds) {
    struct Case {
        Fields in;
        int weekday;
        long time_t_value;
    } cases[] = {
        {{1970, 1, 1, 0, 0, 0}, 4, 0},
        {{2000, 1, 1, 0, 0, 0}, 6, 946684800},
        {{1969, 12, 28, 0, 0, 0}, 7, -345600},
        {{1969, 12, 27, 0, 0, 0}, -1, -432000},
        {{1969, 12, 21, 0, 0, 0}, 7, -950400},
        {{1972, 7, 1, 0, 0, 0}, 6, 78796800},
        {{2016, 12, 31, 23, 59, 60}, 6, 1483228800},
        {{2017, 1, 1, 0, 0, 0}, 7, 1483228800},
    };
    for (const Case &c : cases) {
        TimePtr t = utc(c.in);
        EXPECT_EQ(tevra_time_getdayofweek(t.get()), c.weekday) << text(t.get());
        EXPECT_EQ(tevra_time_gettime_t(t.get()), c.time_t_value) << text(t.get());
    }
    EXPECT_EQ(tevra_time_getdayofweek(nullptr), -1);
    EXPECT_EQ(tevra_time_gettime_t(nullptr), LONG_MIN);
}

TEST_F(Time, UtcWorkersRollClampAndStepThroughLeapSeconds) {
    using Op = TEVRA_Time *(*)(const TEVRA_Time *, int);
    struct Case {
        Op op;
        Fields in;
        int n;
        const char *expect;
    } cases[] = {
        {tevra_time_addyear, {2016, 2, 29, 0, 0, 0}, 1, "2017-03-01 00:00:00 UTC"},
        {tevra_time_addyear, {2016, 2, 29, 0, 0, 0}, 4, "2020-02-29 00:00:00 UTC"},
        {tevra_time_addyear, {2016, 12, 31, 23, 59, 60}, 1, "NULL"},
        {tevra_time_addyear, {9999, 1, 1, 0, 0, 0}, 1, "NULL"},
        {tevra_time_addmonth, {2016, 1, 31, 0, 0, 0}, 1, "2016-02-29 00:00:00 UTC"},
        {tevra_time_addmonth, {2015, 1, 31, 0, 0, 0}, 1, "2015-02-28 00:00:00 UTC"},
        {tevra_time_addmonth, {2015, 1, 31, 0, 0, 0}, -1, "2014-12-31 00:00:00 UTC"},
        {tevra_time_addmonth, {2015, 11, 15, 0, 0, 0}, 14, "2017-01-15 00:00:00 UTC"},
        {tevra_time_addmonth, {2015, 3, 15, 0, 0, 0}, -27, "2012-12-15 00:00:00 UTC"},
        {tevra_time_addmonth, {1582, 1, 15, 0, 0, 0}, -1, "NULL"},
        {tevra_time_addday, {9999, 12, 31, 0, 0, 0}, 1, "NULL"},
        {tevra_time_addday, {1582, 1, 1, 0, 0, 0}, -1, "NULL"},
        {tevra_time_addday, {2016, 2, 28, 5, 0, 0}, 366, "2017-02-28 05:00:00 UTC"},
        {tevra_time_addday, {2016, 12, 31, 23, 59, 60}, 1, "2017-01-01 23:59:59 UTC"},
        {tevra_time_addday, {2015, 6, 30, 23, 59, 60}, 550, "2016-12-31 23:59:60 UTC"},
        {tevra_time_addhour, {2019, 1, 1, 5, 0, 0}, -30, "2018-12-30 23:00:00 UTC"},
        {tevra_time_addhour, {2016, 12, 31, 23, 59, 60}, 1, "2017-01-01 00:59:60 UTC"},
        {tevra_time_addminute, {2019, 12, 31, 23, 30, 0}, 45, "2020-01-01 00:15:00 UTC"},
        {tevra_time_addminute, {2019, 1, 1, 0, 0, 0}, -1, "2018-12-31 23:59:00 UTC"},
        {tevra_time_addsecond, {2016, 12, 31, 23, 59, 60}, 1, "2017-01-01 00:00:00 UTC"},
        {tevra_time_addsecond, {2016, 12, 31, 23, 59, 59}, 1, "2016-12-31 23:59:60 UTC"},
        {tevra_time_addsecond, {2017, 1, 1, 0, 0, 0}, -1, "2016-12-31 23:59:60 UTC"},
        {tevra_time_addsecond, {2017, 1, 1, 0, 0, 0}, -2, "2016-12-31 23:59:59 UTC"},
        {tevra_time_addsecond, {2016, 12, 31, 23, 0, 0}, 7200, "2017-01-01 00:59:59 UTC"},
        {tevra_time_addsecond, {1972, 1, 1, 0, 0, 0}, 31622400, "1972-12-31 23:59:59 UTC"},
        {tevra_time_addsecond, {2019, 5, 5, 5, 5, 5}, 0, "2019-05-05 05:05:05 UTC"},
        {tevra_time_addsecond, {9999, 12, 31, 23, 59, 59}, 1, "NULL"},
        {tevra_time_addsave, {2016, 12, 31, 23, 0, 0}, 3600, "2017-01-01 00:00:00 UTC"},
        {tevra_time_addsave, {2016, 12, 31, 23, 59, 59}, 61, "2017-01-01 00:00:60 UTC"},
    };
    for (const Case &c : cases) {
        TimePtr in = utc(c.in);
        ASSERT_NE(in, nullptr);
        TimePtr out(c.op(in.get(), c.n));
        EXPECT_EQ(text(out.get()), c.expect) << text(in.get()) << " by " << c.n;
    }
}

TEST_F(Time, InPlaceSteppersReportTheYearRange) {
    TimePtr t = utc({9999, 12, 30, 22, 0, 0});
    EXPECT_EQ(tevra_utc_time_iaddhour(t.get(), 25), 1);
    EXPECT_EQ(text(t.get()), "9999-12-31 23:00:00 UTC");
    EXPECT_EQ(tevra_utc_time_iaddminute(t.get(), 60), 0);
    EXPECT_EQ(tevra_utc_time_isub_day(t.get(), 1), 1);
    EXPECT_EQ(text(t.get()), "9999-12-31 00:00:00 UTC");
    EXPECT_EQ(tevra_utc_time_iadd_day(t.get(), 0), 1);
    EXPECT_EQ(tevra_utc_time_iadd_day(nullptr, 1), 0);
    EXPECT_EQ(tevra_utc_time_isub_day(t.get(), 3652058), 0);
}

TEST_F(Time, DifferencesCountLeapSecondsAndCalendarDays) {
    TimePtr a = utc({2017, 1, 1, 0, 0, 0}), b = utc({2016, 12, 31, 23, 59, 59});
    EXPECT_EQ(tevra_time_diffseconds(a.get(), b.get()), 2);
    EXPECT_EQ(tevra_time_diffseconds(b.get(), a.get()), -2);
    TimePtr c = utc({2019, 3, 2, 0, 0, 1}), d = utc({2019, 3, 1, 23, 59, 59});
    EXPECT_EQ(tevra_time_diffdays(c.get(), d.get()), 1);
    EXPECT_EQ(tevra_time_diffdays(d.get(), c.get()), -1);
    EXPECT_EQ(tevra_time_diffseconds(c.get(), d.get()), 2);
    TimePtr e = utc({1972, 1, 1, 0, 0, 0}), f = utc({2017, 1, 1, 0, 0, 0});
    EXPECT_EQ(tevra_time_diffseconds(f.get(), e.get()), 1420156800L + 27);
    EXPECT_EQ(tevra_time_idiffdays(f.get(), e.get()), 16437);
    EXPECT_EQ(tevra_time_diffseconds(nullptr, nullptr), 0);
    EXPECT_EQ(tevra_time_diffseconds(nullptr, a.get()), LONG_MIN);
    EXPECT_EQ(tevra_time_diffseconds(a.get(), nullptr), LONG_MAX);
    EXPECT_EQ(tevra_time_diffdays(nullptr, a.get()), INT_MIN);
    EXPECT_EQ(tevra_time_diffdays(a.get(), nullptr), INT_MAX);
    TimePtr ny = local("America/New_York", {2016, 12, 31, 19, 0, 0});
    EXPECT_EQ(tevra_time_diffseconds(a.get(), ny.get()), 0);
    EXPECT_EQ(tevra_time_isleapsecond(utc({2016, 12, 31, 23, 59, 60}).get()), 1);
    EXPECT_EQ(tevra_time_isleapsecond(b.get()), 0);
}

TEST_F(Time, RuleDaysResolveLastAndOnOrAfterWeekdays) {
    using tevra::detail::getday;
    EXPECT_EQ(getday(1, 2019, 3, -1, 7), 31);
    EXPECT_EQ(getday(2, 2019, 3, 8, 7), 10);
    EXPECT_EQ(getday(2, 2019, 2, 25, 7), -1); // last Sunday is the 24th
    EXPECT_EQ(getday(2, 2015, 2, 22, 7), 22);
    EXPECT_EQ(getday(3, 2019, 3, 25, 7), 24);
    EXPECT_EQ(getday(3, 2019, 3, 2, 7), -1);
    EXPECT_EQ(getday(0, 1000, 20, 45, 9), 45);
    EXPECT_EQ(getday(4, 2019, 3, 1, 7), -1);
    EXPECT_EQ(getday(1, 1581, 3, 1, 7), -1);
    EXPECT_EQ(getday(1, 1900, 2, -1, 3), 28); // Wednesday 28 February 1900
}

TEST_F(Time, UtcToLocalFollowsZoneLinesRulesAndLeapSeconds) {
    struct Case {
        const char *zone;
        Fields in;
        const char *expect;
    } cases[] = {
        {"Europe/London", {2019, 7, 1, 12, 0, 0}, "2019-07-01 13:00:00 DST"},
        {"Europe/London", {2019, 1, 1, 12, 0, 0}, "2019-01-01 12:00:00"},
        {"America/New_York", {2019, 3, 10, 7, 0, 0}, "2019-03-10 03:00:00 DST"},
        {"America/New_York", {2019, 3, 10, 6, 59, 59}, "2019-03-10 01:59:59"},
        {"America/New_York", {2019, 11, 3, 5, 59, 59}, "2019-11-03 01:59:59 DST"},
        {"America/New_York", {2019, 11, 3, 6, 0, 0}, "2019-11-03 01:00:00"},
        {"Asia/Shanghai", {2019, 7, 1, 12, 0, 0}, "2019-07-01 20:00:00"},
        {"PRC", {1988, 7, 1, 12, 0, 0}, "1988-07-01 21:00:00 DST"},
        {"Europe/Paris", {2019, 3, 31, 0, 59, 59}, "2019-03-31 01:59:59"},
        {"Europe/Paris", {2019, 3, 31, 1, 0, 0}, "2019-03-31 03:00:00 DST"},
        {"Europe/Paris", {2016, 12, 31, 23, 59, 60}, "2017-01-01 00:59:60"},
        {"Europe/Paris", {2016, 12, 31, 23, 0, 0}, "2017-01-01 00:00:01"},
        {"America/New_York", {2017, 1, 1, 0, 0, 0}, "2016-12-31 19:00:01"},
        {"America/New_York", {2017, 1, 1, 4, 59, 59}, "2016-12-31 23:59:59"},
        {"America/New_York", {2017, 1, 1, 5, 0, 0}, "2017-01-01 00:00:00"},
        {"America/Mazatlan", {1970, 1, 1, 0, 0, 0}, "1969-12-31 17:00:00"},
        {"Europe/London", {1971, 10, 30, 23, 30, 0}, "1971-10-31 00:30:00"},
        {"Etc/GMT-8", {2019, 7, 1, 12, 0, 0}, "2019-07-01 20:00:00"},
        {"UTC", {2019, 7, 1, 12, 0, 0}, "2019-07-01 12:00:00 UTC"},
        {"Asia/Shanghai ", {2019, 7, 1, 12, 0, 0}, "NULL"},
        {"asia/shanghai", {2019, 7, 1, 12, 0, 0}, "NULL"},
    };
    for (const Case &c : cases) {
        TimePtr in = utc(c.in);
        TimePtr out(tevra_time_utc2localbyzone(c.zone, in.get()));
        EXPECT_EQ(text(out.get()), c.expect) << c.zone << " " << text(in.get());
        if (out && !out->utc) {
            EXPECT_EQ(out->zone, tevra_time_gettimezoneidbyname(c.zone));
        }
    }
    TimePtr paris = local("Europe/Paris", {2019, 7, 1, 14, 0, 0});
    EXPECT_EQ(tevra_time_utc2localbyid(paris.get(), 451), nullptr);
    EXPECT_EQ(tevra_time_utc2localbyid(utc({2019, 1, 1, 0, 0, 0}).get(), 582), nullptr);
    EXPECT_EQ(tevra_time_utc2localbyzone(nullptr, paris.get()), nullptr);
    EXPECT_EQ(tevra_time_local2utc(utc({2019, 1, 1, 0, 0, 0}).get()), nullptr);
    EXPECT_EQ(tevra_time_local2utc(nullptr), nullptr);
}

TEST_F(Time, LocalTimesSettleDstInGapsAndRepeatedHours) {
    struct Case {
        const char *zone;
        Fields in;
        int dst;
        const char *local;
        const char *as_utc;
    } cases[] = {
        {"America/New_York",
         {2019, 11, 3, 1, 30, 0},
         1,
         "2019-11-03 01:30:00 DST",
         "2019-11-03 05:30:00 UTC"},
        {"America/New_York",
         {2019, 11, 3, 1, 30, 0},
         0,
         "2019-11-03 01:30:00",
         "2019-11-03 06:30:00 UTC"},
        {"America/New_York",
         {2019, 3, 10, 2, 30, 0},
         0,
         "2019-03-10 02:30:00 DST",
         "2019-03-10 06:30:00 UTC"},
        {"Asia/Shanghai",
         {2019, 1, 1, 3, 0, 0},
         0,
         "2019-01-01 03:00:00",
         "2018-12-31 19:00:00 UTC"},
        {"Asia/Shanghai",
         {2035, 7, 1, 3, 0, 0},
         1,
         "2035-07-01 03:00:00",
         "2035-06-30 19:00:00 UTC"},
        {"Europe/Paris",
         {2017, 1, 1, 0, 59, 60},
         0,
         "2017-01-01 00:59:60",
         "2016-12-31 23:59:60 UTC"},
        {"Europe/Paris",
         {2017, 1, 2, 0, 59, 60},
         0,
         "2017-01-02 00:59:59",
         "2017-01-01 23:59:59 UTC"},
        {"Europe/London",
         {1847, 11, 30, 23, 0, 0},
         0,
         "1847-11-30 23:00:00",
         "1847-11-30 22:58:45 UTC"},
        {"UTC", {2019, 1, 1, 0, 0, 0}, 0, "2019-01-01 00:00:00 UTC", "2019-01-01 00:00:00 UTC"},
        {"Europe/Paris", {2019, 2, 30, 0, 0, 0}, 0, "NULL", "NULL"},
        {"Nowhere/City", {2019, 1, 1, 0, 0, 0}, 0, "NULL", "NULL"},
    };
    for (const Case &c : cases) {
        TimePtr t = local(c.zone, c.in, c.dst);
        EXPECT_EQ(text(t.get()), c.local) << c.zone;
        TimePtr back(t && t->utc ? tevra_time_dup(t.get()) : tevra_time_local2utc(t.get()));
        EXPECT_EQ(text(back.get()), c.as_utc) << c.zone << " " << text(t.get());
    }
    EXPECT_EQ(tevra_time_newlocaltimebyid(-1, 2019, 1, 1, 0, 0, 0, 0, 0), nullptr);
}

TEST_F(Time, LocalArithmeticAnswersInTheDetectedZone) {
    TimePtr tokyo = local("Asia/Tokyo", {2019, 6, 1, 9, 0, 0});
    TimePtr later(tevra_time_addhour(tokyo.get(), 1));
    ASSERT_NE(later, nullptr);
    int here = tevra_time_gettimezoneid();
    EXPECT_EQ(later->zone, here);
    TimePtr expect(tevra_time_utc2localbyid(utc({2019, 6, 1, 1, 0, 0}).get(), here));
    EXPECT_EQ(tevra_time_cmp(later.get(), expect.get()), 0);
    EXPECT_EQ(tevra_time_isleapsecond(local("Europe/Paris", {2017, 1, 1, 0, 59, 60}).get()), 1);
    TEVRA_Time lost = *tokyo;
    lost.zone = -3;
    EXPECT_EQ(tevra_time_addday(&lost, 1), nullptr);
    EXPECT_EQ(tevra_time_addday(nullptr, 1), nullptr);
}

TEST_F(Time, FailedAllocationsLeaveNothingBehind) {
    TimePtr in = utc({2019, 7, 1, 12, 0, 0});
    TimePtr tokyo = local("Asia/Tokyo", {2019, 6, 1, 9, 0, 0});
    const TEVRA_Time *u = in.get(), *l = tokyo.get();
    auto check = [](auto make) {
        until_allocations_suffice([&] {
            TEVRA_Time *t = make();
            tevra_time_free(t);
            return t != nullptr;
        });
    };
    check([] { return tevra_time_newutctime(2019, 1, 1, 0, 0, 0, 0); });
    check([u] { return tevra_time_utc2localbyzone("Europe/Paris", u); });
    check([l] { return tevra_time_local2utc(l); });
    check([u] { return tevra_time_addmonth(u, 3); });
    check([l] { return tevra_time_addsave(l, 90); });
    check([] { return tevra_time_nowlocaltime(); });
    check(
        [] { return tevra_time_newlocaltimebyzone("Europe/Paris", 2017, 1, 1, 0, 59, 60, 0, 0); });
}
