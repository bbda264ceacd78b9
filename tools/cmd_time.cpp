// tevra time: the current time, UTC/local conversion, arithmetic and
// differences, and the names of the compiled-in zones.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "TEVRA_Time.h"
#include "cli.h"

// The library exports no way to list its zones, so the tool carries its own
// copy of the generated table for the names.
#include "TEVRA_Time_Zones.h"
#include "tz_tables.inc"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra time now [--zone NAME]\n"
    "       tevra time convert --zone NAME [UTC-TIME...]\n"
    "       tevra time utc --zone NAME [--dst] [LOCAL-TIME...]\n"
    "       tevra time add [--years N] [--months N] [--days N] [--hours N] [--minutes N]\n"
    "                      [--seconds N] [--zone NAME] [TIME...]\n"
    "       tevra time diff [--zone NAME] A B\n"
    "       tevra time zones\n"
    "\n"
    "Times are written YYYY-MM-DD, YYYY-MM-DDTHH:MM:SS or 'YYYY-MM-DD HH:MM:SS', with an\n"
    "optional fraction of a second and, for UTC times, an optional Z. Without time\n"
    "operands, convert, utc and add read one time per line from standard input.\n"
    "\n"
    "  now      the current time, in UTC or in the zone NAME\n"
    "  convert  UTC times in the zone NAME\n"
    "  utc      wall-clock times of the zone NAME in UTC; --dst reads a repeated\n"
    "           hour as its first (daylight-saving) occurrence\n"
    "  add      UTC times (or times of --zone) moved by the given amounts, applied\n"
    "           from years down to seconds; local results come back in the\n"
    "           machine's zone\n"
    "  diff     A - B in seconds (leap seconds counted) and in calendar days\n"
    "  zones    the names of every zone, one per line\n";

constexpr size_t kMaxLine = 256;

struct Parsed {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    unsigned long ns = 0;
    bool zulu = false;
};

using TimeHolder = std::unique_ptr<TEVRA_Time, void (*)(TEVRA_Time *)>;

TimeHolder hold(TEVRA_Time *t) {
    return TimeHolder(t, tevra_time_free);
}

// Reads exactly n digits at p.
bool digits(const char *&p, int n, int &value) {
    value = 0;
    for (int i = 0; i < n; ++i, ++p) {
        if (*p < '0' || *p > '9')
            return false;
        value = value * 10 + (*p - '0');
    }
    return true;
}

bool expect(const char *&p, char c) {
    return *p == c ? (++p, true) : false;
}

bool parse_clock(const char *&p, Parsed &out) {
    if (!digits(p, 2, out.hour) || !expect(p, ':') || !digits(p, 2, out.minute) ||
        !expect(p, ':') || !digits(p, 2, out.second))
        return false;
    if (!expect(p, '.'))
        return true;
    int places = 0;
    for (; *p >= '0' && *p <= '9'; ++p, ++places) {
        if (places == 9)
            return false;
        out.ns = out.ns * 10 + static_cast<unsigned long>(*p - '0');
    }
    for (int i = places; i < 9; ++i)
        out.ns *= 10;
    return places > 0;
}

bool parse_time(const std::string &text, Parsed &out) {
    const char *p = text.c_str();
    if (!digits(p, 4, out.year) || !expect(p, '-') || !digits(p, 2, out.month) || !expect(p, '-') ||
        !digits(p, 2, out.day))
        return false;
    if ((expect(p, 'T') || expect(p, ' ')) && !parse_clock(p, out))
        return false;
    out.zulu = expect(p, 'Z');
    return *p == '\0';
}

std::string format(const TEVRA_Time *t) {
    char buf[96];
    int n = std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d", t->year, t->month,
                          t->day, t->hour, t->minute, t->second);
    if (t->nanoseconds != 0)
        n += std::snprintf(buf + n, sizeof buf - static_cast<size_t>(n), ".%09lu", t->nanoseconds);
    std::string text(buf);
    if (t->utc != 0)
        return text + "Z";
    text += ' ';
    text += t->zone >= 0 && t->zone < tevra::detail::kTzZoneCount
                ? tevra::detail::g_timezone_table[t->zone].name
                : "?";
    return tevra_time_isdst(t) ? text + " DST" : text;
}

bool print(const TEVRA_Time *t) {
    return write_out(format(t) + "\n");
}

// Resolves --zone: -1 with a message when it is missing or unknown.
int zone_option(const Options &opt, bool required, std::string &error) {
    if (!opt.has("--zone")) {
        if (required)
            error = "missing --zone NAME";
        return required ? -1 : tevra::detail::kTzUtcId;
    }
    std::string name = opt.value("--zone");
    int id = tevra_time_gettimezoneidbyname(name.c_str());
    if (id == -1)
        error = "unknown time zone '" + name + "'";
    return id;
}

// A time operand as UTC (zone -1) or as wall-clock time of zone id.
TimeHolder make_time(const std::string &text, int id, bool dst, std::string &error) {
    Parsed f;
    if (!parse_time(text, f)) {
        error = "malformed time '" + text + "' (expected YYYY-MM-DD[THH:MM:SS[.fff]][Z])";
        return hold(nullptr);
    }
    if (f.zulu && id != tevra::detail::kTzUtcId) {
        error = "a time with Z is UTC, not a time of the given zone: '" + text + "'";
        return hold(nullptr);
    }
    TimeHolder t =
        hold(id == tevra::detail::kTzUtcId
                 ? tevra_time_newutctime(f.year, f.month, f.day, f.hour, f.minute, f.second, f.ns)
                 : tevra_time_newlocaltimebyid(id, f.year, f.month, f.day, f.hour, f.minute,
                                               f.second, f.ns, dst ? 1 : 0));
    if (!t)
        error = "invalid time '" + text + "'";
    return t;
}

// Runs each on every operand, or on every line of standard input when there
// are none. each returns an empty message on success.
template <class Each> int for_each_time(const Options &opt, Each each) {
    std::string error;
    if (!opt.operands.empty()) {
        for (const std::string &text : opt.operands)
            if (!each(text, error))
                return fail_run(error);
        return 0;
    }
    char line[kMaxLine];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
        size_t n = std::strlen(line);
        if (n == sizeof line - 1 && line[n - 1] != '\n')
            return fail("input line longer than " + std::to_string(kMaxLine - 2) + " bytes");
        while (n > 0 && (line[n - 1] == '\n' || line[n - 1] == '\r'))
            line[--n] = '\0';
        if (n > 0 && !each(line, error))
            return fail_run(error);
    }
    return std::ferror(stdin) ? fail("cannot read standard input") : 0;
}

int run_now(const Options &opt) {
    std::string error;
    int id = zone_option(opt, false, error);
    if (id == -1)
        return fail(error);
    if (!opt.operands.empty())
        return fail("time now takes no operands");
    TimeHolder utc = hold(tevra_time_nowutctime());
    TimeHolder t = hold(tevra_time_utc2localbyid(utc.get(), id));
    if (!t)
        return fail("cannot read the system clock");
    return print(t.get()) ? 0 : output_failed();
}

int run_convert(const Options &opt) {
    std::string error;
    int id = zone_option(opt, true, error);
    if (id == -1)
        return fail(error);
    return for_each_time(opt, [id](const std::string &text, std::string &message) {
        TimeHolder utc = make_time(text, tevra::detail::kTzUtcId, false, message);
        if (!utc)
            return false;
        TimeHolder local = hold(tevra_time_utc2localbyid(utc.get(), id));
        if (!local)
            message = "cannot convert '" + text + "'";
        return local && print(local.get());
    });
}

int run_utc(const Options &opt) {
    std::string error;
    int id = zone_option(opt, true, error);
    if (id == -1)
        return fail(error);
    bool dst = opt.has("--dst");
    return for_each_time(opt, [id, dst](const std::string &text, std::string &message) {
        TimeHolder local = make_time(text, id, dst, message);
        if (!local)
            return false;
        TimeHolder utc =
            hold(local->utc ? tevra_time_dup(local.get()) : tevra_time_local2utc(local.get()));
        if (!utc)
            message = "cannot convert '" + text + "'";
        return utc && print(utc.get());
    });
}

struct Unit {
    const char *option;
    TEVRA_Time *(*add)(const TEVRA_Time *, int);
};
const Unit kUnits[] = {
    {"--years", tevra_time_addyear},     {"--months", tevra_time_addmonth},
    {"--days", tevra_time_addday},       {"--hours", tevra_time_addhour},
    {"--minutes", tevra_time_addminute}, {"--seconds", tevra_time_addsecond},
};

bool parse_amount(const std::string &text, int &value) {
    char *end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < INT_MIN || v > INT_MAX)
        return false;
    value = static_cast<int>(v);
    return true;
}

int run_add(const Options &opt) {
    std::string error;
    int id = zone_option(opt, false, error);
    if (id == -1)
        return fail(error);
    int amounts[std::size(kUnits)] = {};
    bool any = false;
    for (size_t i = 0; i < std::size(kUnits); ++i) {
        if (!opt.has(kUnits[i].option))
            continue;
        if (!parse_amount(opt.value(kUnits[i].option), amounts[i]))
            return fail(std::string("bad value for ") + kUnits[i].option + ": '" +
                        opt.value(kUnits[i].option) + "'");
        any = true;
    }
    if (!any)
        return fail("time add needs at least one of --years, --months, --days, --hours, "
                    "--minutes, --seconds");
    return for_each_time(opt, [&](const std::string &text, std::string &message) {
        TimeHolder t = make_time(text, id, false, message);
        for (size_t i = 0; t && i < std::size(kUnits); ++i)
            if (opt.has(kUnits[i].option))
                t = hold(kUnits[i].add(t.get(), amounts[i]));
        if (!t && message.empty())
            message = "'" + text + "' moves out of the years 1582..9999";
        return t && print(t.get());
    });
}

int run_diff(const Options &opt) {
    std::string error;
    int id = zone_option(opt, false, error);
    if (id == -1)
        return fail(error);
    if (opt.operands.size() != 2)
        return fail("time diff needs two times, A and B");
    TimeHolder a = make_time(opt.operands[0], id, false, error);
    TimeHolder b = a ? make_time(opt.operands[1], id, false, error) : hold(nullptr);
    if (!b)
        return fail(error);
    std::string text = "seconds: " + std::to_string(tevra_time_diffseconds(a.get(), b.get())) +
                       "\ndays: " + std::to_string(tevra_time_diffdays(a.get(), b.get())) + "\n";
    return write_out(text) ? 0 : output_failed();
}

int run_zones(const Options &opt) {
    if (!opt.operands.empty())
        return fail("time zones takes no operands");
    for (const tevra::detail::TzZone &zone : tevra::detail::g_timezone_table)
        if (!write_out(std::string(zone.name) + "\n"))
            return output_failed();
    return 0;
}

} // namespace

int cmd_time(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    Options opt;
    std::string error, operation;
    if (!opt.parse(args,
                   {{"--zone", true},
                    {"--dst", false},
                    {"--years", true},
                    {"--months", true},
                    {"--days", true},
                    {"--hours", true},
                    {"--minutes", true},
                    {"--seconds", true}},
                   error) ||
        !take_operation(opt, "time", {"now", "convert", "utc", "add", "diff", "zones"}, operation,
                        error))
        return fail(error);
    if (operation != "utc" && !opt.refuse({"--dst"}, "time " + operation, error))
        return fail(error);
    if (operation != "add" &&
        !opt.refuse({"--years", "--months", "--days", "--hours", "--minutes", "--seconds"},
                    "time " + operation, error))
        return fail(error);
    if (operation == "zones" && !opt.refuse({"--zone"}, "time zones", error))
        return fail(error);
    if (operation == "now")
        return run_now(opt);
    if (operation == "convert")
        return run_convert(opt);
    if (operation == "utc")
        return run_utc(opt);
    if (operation == "add")
        return run_add(opt);
    if (operation == "diff")
        return run_diff(opt);
    return run_zones(opt);
}

} // namespace cli
