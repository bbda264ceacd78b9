// Differential check of UTC-to-local conversion: every zone of the compiled-in
// tables against the C library's localtime_r reading zone files that the
// system's zic compiles from the same tz source release, at instants from
// 1970 to 2037 and at each transition that zic's files show in that span.
//
// The compiled-in tables read tz source text by rules of their own (an offset
// takes the sign of its hour; a zone line's until time sits one field
// early), so near the end of a zone line and under a negative offset with
// minutes the two legitimately differ. Such disagreements are counted by
// class and printed; any other one fails the test.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TEVRA_Time.h"
#include "TEVRA_Time_Zones.h"
#include "test_support.h"

using namespace tevra::detail;
namespace fs = std::filesystem;

namespace {

// Sanitized builds check every fourth zone, sampled four times more thinly.
#ifdef TEVRA_SANITIZED
constexpr long kThinning = 4;
#else
constexpr long kThinning = 1;
#endif

constexpr const char *kSources[] = {"africa",   "antarctica",   "asia",         "australasia",
                                    "europe",   "northamerica", "southamerica", "etcetera",
                                    "backward", "pacificnew"};
constexpr long kDay = 86400;
constexpr long kFirst = 0;        // 1970-01-01 00:00:00 UTC
constexpr long kEnd = 2145916800; // 2038-01-01 00:00:00 UTC
// About a week with an odd remainder, so the samples walk through the hours.
constexpr long kStride = 7 * kDay + 3 * 3600 + 7 * 60 + 11;

// Seconds since 1970 of a UTC date and time; out-of-range fields carry over.
long utc_seconds(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    struct tm tm {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return timegm(&tm);
}

// A wall-clock reading: how far it runs ahead of UTC, and its DST flag.
struct Reading {
    long offset;
    bool dst;
    bool operator==(const Reading &o) const = default;
};

// The system's reading, from the zone file TZ points at.
Reading system_reading(long t) {
    time_t value = t;
    struct tm tm {};
    localtime_r(&value, &tm);
    return {tm.tm_gmtoff, tm.tm_isdst > 0};
}

// A new UTC time of the library at POSIX time t.
TEVRA_Time *utc_time(long t) {
    time_t value = t;
    struct tm utc {};
    gmtime_r(&value, &utc);
    return tevra_time_newutctime(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                                 utc.tm_min, utc.tm_sec, 0);
}

// The library's reading, or nothing when the conversion fails.
std::optional<Reading> library_reading(int id, long t) {
    TEVRA_Time *u = utc_time(t);
    TEVRA_Time *local = tevra_time_utc2localbyid(u, id);
    tevra_time_free(u);
    if (local == nullptr)
        return std::nullopt;
    Reading r{utc_seconds(tevra_time_getyear(local), tevra_time_getmonth(local),
                          tevra_time_getday(local), tevra_time_gethour(local),
                          tevra_time_getminute(local), tevra_time_getsecond(local)) -
                  t,
              tevra_time_isdst(local) == 1};
    tevra_time_free(local);
    return r;
}

// The disagreements that the tables' own reading of the source explains.
constexpr const char *kLineEnd = "near the end of a zone line (until read one field early)";
constexpr const char *kSkippedLine =
    "while a zone line is in force whose until is no valid time (minutes >= 25 land in the "
    "hour field), so the line is passed over";
constexpr const char *kSignRule = "negative offset with minutes (sign taken from the hour alone)";
constexpr const char *kSignMovesTransition =
    "transition instants moved by an offset that the sign rule changed";
constexpr const char *kLeapSecond =
    "one second off while a leap second lies between the UTC and the wall-clock reading";

struct Span {
    long from, to;
    const char *why;
};

// Spans around each zone line's end in which the readings may differ: a day
// or two for a fixed day, a week more when the end is on a weekday rule
// (whose stored weekday is really the hour). A line whose until cannot be
// built is passed over for its whole life.
std::vector<Span> line_end_spans(const TzZone &zone) {
    std::vector<Span> spans;
    long previous_end = 0;
    for (int i = 0; i + 1 < zone.line_count; ++i) {
        const TzZoneLine &l = zone.lines[i];
        // Day 0 of the next month is the last day of this one.
        long end = l.until_day_kind == kTzLastWeekday
                       ? utc_seconds(l.until_year, l.until_month + 1, 0)
                       : utc_seconds(l.until_year, l.until_month, l.until_day);
        long margin = (l.until_day_kind == kTzFixedDay ? 2 : 9) * kDay;
        if (l.until_hour > 24 || (l.until_hour == 24 && l.until_minute > 0))
            spans.push_back({previous_end - margin, end + margin, kSkippedLine});
        else
            spans.push_back({end - margin, end + margin, kLineEnd});
        previous_end = end;
    }
    return spans;
}

// Offset differences that the sign rule explains: a negative offset h:mm:ss
// stored as -h + mm:ss runs 2 * mm:ss ahead of the source.
std::set<long> sign_rule_differences(const TzZone &zone) {
    std::set<long> diffs;
    for (int i = 0; i < zone.line_count; ++i) {
        long offset = zone.lines[i].std_offset;
        long rest = ((offset % 3600) + 3600) % 3600;
        if (rest != 0 && offset < 3600)
            diffs.insert(2 * rest);
    }
    return diffs;
}

struct Tally {
    long agreed = 0;
    std::map<std::string, long> excused;
    std::vector<std::string> faults;
};

class ZoneCheck {
  public:
    ZoneCheck(int id, Tally &tally)
        : id_(id), zone_(g_timezone_table[id]), spans_(line_end_spans(zone_)),
          sign_diffs_(sign_rule_differences(zone_)), tally_(tally) {}

    void run(long stride) {
        Reading before = system_reading(kFirst);
        compare(kFirst, before);
        for (long t = kFirst + stride; t < kEnd; t += stride) {
            Reading now = system_reading(t);
            compare(t, now);
            if (!(now == before))
                compare_transition(t - stride, t, now);
            before = now;
        }
    }

  private:
    // The first second of (a, b] that reads like b, and the one before it.
    void compare_transition(long a, long b, const Reading &after) {
        while (b - a > 1) {
            long mid = a + (b - a) / 2;
            if (system_reading(mid) == after)
                b = mid;
            else
                a = mid;
        }
        compare(a, system_reading(a));
        compare(b, system_reading(b));
    }

    void compare(long t, const Reading &expected) {
        std::optional<Reading> got = library_reading(id_, t);
        if (got && *got == expected) {
            ++tally_.agreed;
            return;
        }
        const char *why = got ? excuse(t, *got, expected) : span_excuse(t);
        if (why != nullptr) {
            ++tally_.excused[why];
        } else if (tally_.faults.size() < 40) {
            char text[200];
            std::snprintf(text, sizeof text, "%s at %ld: library %ld dst %d, system %ld dst %d",
                          zone_.name, t, got ? got->offset : 0L, got ? got->dst : -1,
                          expected.offset, expected.dst);
            tally_.faults.push_back(text);
        } else {
            tally_.faults.back() = "... and more";
        }
    }

    const char *excuse(long t, const Reading &got, const Reading &expected) const {
        if (const char *why = span_excuse(t))
            return why;
        long diff = got.offset - expected.offset;
        if (got.dst == expected.dst && sign_diffs_.count(diff))
            return kSignRule;
        for (long sign_diff : sign_diffs_)
            if (moved_transition(t, expected, diff - sign_diff, sign_diff))
                return kSignMovesTransition;
        bool one_off =
            diff == 1 || diff == -1 || sign_diffs_.count(diff - 1) || sign_diffs_.count(diff + 1);
        if (got.dst == expected.dst && one_off && leap_between(t, got.offset))
            return kLeapSecond;
        return nullptr;
    }

    // A saving taken or dropped within `shift` of a transition of the system's reading.
    bool moved_transition(long t, const Reading &expected, long save, long shift) const {
        if (save % 1800 != 0 || save < -7200 || save > 7200)
            return false;
        return !(system_reading(t - shift) == expected && system_reading(t + shift) == expected);
    }

    const char *span_excuse(long t) const {
        for (const Span &span : spans_)
            if (t >= span.from && t <= span.to)
                return span.why;
        return nullptr;
    }

    // Whether the library counts a leap second between t and t + offset, give or take one.
    static bool leap_between(long t, long offset) {
        long low = std::min(t, t + offset) - 1, high = std::max(t, t + offset) + 1;
        TEVRA_Time *a = utc_time(low), *b = utc_time(high);
        long elapsed = tevra_time_diffseconds(b, a);
        tevra_time_free(a);
        tevra_time_free(b);
        return elapsed != high - low;
    }

    int id_;
    const TzZone &zone_;
    std::vector<Span> spans_;
    std::set<long> sign_diffs_;
    Tally &tally_;
};

// Zone files compiled by the system's zic into a temporary folder.
class ZicOutput {
  public:
    bool compile(const std::string &zic, const std::string &source) {
        char pattern[] = "/tmp/tevra_zic_XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            return false;
        dir_ = pattern;
        std::string command = zic + " -d " + dir_;
        for (const char *name : kSources)
            command += " " + source + "/" + name;
        command += " 2>/dev/null";
        int status = std::system(command.c_str());
        return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    ~ZicOutput() {
        if (!dir_.empty())
            fs::remove_all(dir_);
    }
    const std::string &dir() const { return dir_; }

  private:
    std::string dir_;
};

} // namespace

TEST(TzDifferential, AgreesWithZicAwayFromLineEnds) {
    const std::string source = TEVRA_TZ_SOURCE, zic = TEVRA_ZIC;
    if (!fs::is_directory(source) || zic.empty() || !fs::exists(zic))
        GTEST_SKIP() << "needs " << source << " and zic";
    ZicOutput compiled;
    ASSERT_TRUE(compiled.compile(zic, source));
    const char *saved = std::getenv("TZ");
    std::string saved_tz = saved != nullptr ? saved : "";

    Tally tally;
    std::set<const TzZoneLine *> seen;
    int checked = 0;
    for (int id = 0; id < kTzZoneCount; ++id) {
        if (!seen.insert(g_timezone_table[id].lines).second ||
            static_cast<long>(seen.size()) % kThinning != 0)
            continue;
        ++checked;
        std::string path = compiled.dir() + "/" + g_timezone_table[id].name;
        ASSERT_TRUE(fs::exists(path)) << path;
        setenv("TZ", path.c_str(), 1);
        tzset();
        ZoneCheck(id, tally).run(kStride * kThinning);
    }
    if (saved != nullptr)
        setenv("TZ", saved_tz.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();

    std::printf("%d of %zu zones: %ld readings agree\n", checked, seen.size(), tally.agreed);
    for (const auto &[why, count] : tally.excused)
        std::printf("excused: %ld readings %s\n", count, why.c_str());
    for (const std::string &fault : tally.faults)
        ADD_FAILURE() << fault;
    EXPECT_GT(tally.agreed, 0);
}
