// UTC-to-local and local-to-UTC conversion and second arithmetic, beside the
// C library's localtime_r and, when installed, the date/tz library.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <vector>

#include "TEVRA_Time.h"

#ifdef TEVRA_BENCH_DATE_TZ
#include <date/tz.h>
#endif

namespace {

constexpr long kFirst = 820454400L; // 1996-01-01 00:00:00 UTC
constexpr long kLast = 2082758400L; // 2036-01-01 00:00:00 UTC
constexpr size_t kSamples = 4096;
const char *const kZones[] = {"Europe/Paris", "America/New_York", "Asia/Shanghai"};

// Instants spread over 1996..2035 at odd offsets, so that every time of day,
// season and rule year is visited.
const std::vector<time_t> &instants() {
    static const std::vector<time_t> values = [] {
        std::vector<time_t> v;
        long step = (kLast - kFirst) / static_cast<long>(kSamples);
        for (size_t i = 0; i < kSamples; ++i)
            v.push_back(
                static_cast<time_t>(kFirst + static_cast<long>(i) * step + 7919 * (i % 97)));
        return v;
    }();
    return values;
}

const std::vector<TEVRA_Time> &utc_times() {
    static const std::vector<TEVRA_Time> values = [] {
        std::vector<TEVRA_Time> v;
        for (time_t s : instants()) {
            struct tm tm;
            gmtime_r(&s, &tm);
            TEVRA_Time *t = tevra_time_newutctime(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                                                  tm.tm_hour, tm.tm_min, tm.tm_sec, 0);
            v.push_back(*t);
            tevra_time_free(t);
        }
        return v;
    }();
    return values;
}

std::vector<TEVRA_Time> local_times(int id) {
    std::vector<TEVRA_Time> v;
    for (const TEVRA_Time &u : utc_times()) {
        TEVRA_Time *t = tevra_time_utc2localbyid(&u, id);
        v.push_back(*t);
        tevra_time_free(t);
    }
    return v;
}

void BM_TevraUtcToLocal(benchmark::State &state) {
    const char *zone = kZones[state.range(0)];
    int id = tevra_time_gettimezoneidbyname(zone);
    const std::vector<TEVRA_Time> &in = utc_times();
    size_t i = 0;
    for (auto _ : state) {
        TEVRA_Time *t = tevra_time_utc2localbyid(&in[i++ % kSamples], id);
        benchmark::DoNotOptimize(t->hour);
        tevra_time_free(t);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(zone);
}
BENCHMARK(BM_TevraUtcToLocal)->DenseRange(0, 2);

void BM_TevraLocalToUtc(benchmark::State &state) {
    const char *zone = kZones[state.range(0)];
    std::vector<TEVRA_Time> in = local_times(tevra_time_gettimezoneidbyname(zone));
    size_t i = 0;
    for (auto _ : state) {
        TEVRA_Time *t = tevra_time_local2utc(&in[i++ % kSamples]);
        benchmark::DoNotOptimize(t->hour);
        tevra_time_free(t);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(zone);
}
BENCHMARK(BM_TevraLocalToUtc)->DenseRange(0, 2);

void BM_TevraAddSecond(benchmark::State &state) {
    const std::vector<TEVRA_Time> &in = utc_times();
    size_t i = 0;
    for (auto _ : state) {
        TEVRA_Time *t = tevra_time_addsecond(&in[i++ % kSamples], 86399);
        benchmark::DoNotOptimize(t->hour);
        tevra_time_free(t);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TevraAddSecond);

void BM_LocaltimeR(benchmark::State &state) {
    setenv("TZ", "Europe/Paris", 1);
    tzset();
    const std::vector<time_t> &in = instants();
    size_t i = 0;
    struct tm tm;
    for (auto _ : state) {
        localtime_r(&in[i++ % kSamples], &tm);
        benchmark::DoNotOptimize(tm.tm_hour);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel("TZ=Europe/Paris");
}
BENCHMARK(BM_LocaltimeR);

void BM_MktimeLocalToUtc(benchmark::State &state) {
    setenv("TZ", "Europe/Paris", 1);
    tzset();
    std::vector<struct tm> in;
    for (time_t s : instants()) {
        struct tm tm;
        localtime_r(&s, &tm);
        in.push_back(tm);
    }
    size_t i = 0;
    for (auto _ : state) {
        struct tm tm = in[i++ % kSamples];
        benchmark::DoNotOptimize(mktime(&tm));
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel("TZ=Europe/Paris");
}
BENCHMARK(BM_MktimeLocalToUtc);

#ifdef TEVRA_BENCH_DATE_TZ
// The date/tz library reads the system's compiled zone files; the result is
// broken down into fields as the other contenders' are.
void BM_DateTzUtcToLocal(benchmark::State &state) {
    const char *zone = kZones[state.range(0)];
    const date::time_zone *tz = date::locate_zone(zone);
    std::vector<date::sys_seconds> in;
    for (time_t s : instants())
        in.push_back(date::sys_seconds{std::chrono::seconds{s}});
    size_t i = 0;
    for (auto _ : state) {
        auto local = tz->to_local(in[i++ % kSamples]);
        auto day = date::floor<date::days>(local);
        date::year_month_day ymd{day};
        date::hh_mm_ss<std::chrono::seconds> clock{local - day};
        benchmark::DoNotOptimize(ymd);
        benchmark::DoNotOptimize(clock);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(zone);
}
BENCHMARK(BM_DateTzUtcToLocal)->DenseRange(0, 2);

void BM_DateTzLocalToUtc(benchmark::State &state) {
    const char *zone = kZones[state.range(0)];
    const date::time_zone *tz = date::locate_zone(zone);
    std::vector<date::local_seconds> in;
    for (time_t s : instants())
        in.push_back(tz->to_local(date::sys_seconds{std::chrono::seconds{s}}));
    size_t i = 0;
    for (auto _ : state) {
        auto utc = tz->to_sys(in[i++ % kSamples], date::choose::earliest);
        benchmark::DoNotOptimize(utc);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(zone);
}
BENCHMARK(BM_DateTzLocalToUtc)->DenseRange(0, 2);
#endif

} // namespace

BENCHMARK_MAIN();
