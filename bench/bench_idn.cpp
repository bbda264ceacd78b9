// IDN ToASCII and ToUnicode of 100,000 typical host names, UTF-8 in and out,
// next to libidn's IDNA2003 conversions when libidn is available.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_HAVE_LIBIDN
#include <idna.h>
#endif

namespace {

constexpr size_t kNames = 100000;

// Host names as they turn up in practice: mostly ASCII, then Latin with
// accents, Cyrillic, CJK and Arabic labels under common top-level domains.
const std::vector<std::string> &unicode_names() {
    static const std::vector<std::string> names = [] {
        const char *const labels[] = {
            "www",
            "mail",
            "example",
            "b\u00fccher",
            "m\u00fcnchen",
            "caf\u00e9-paris",
            "stra\u00dfe",
            "\u043f\u0440\u0438\u043c\u0435\u0440",
            "\u4e2d\u6587\u7f51",
            "\u65e5\u672c\u8a9e",
            "\u0645\u062b\u0627\u0644",
            "shop-24",
        };
        const char *const tlds[] = {"com", "de", "org", "net", "\u4e2d\u56fd", "\u0440\u0444"};
        std::mt19937 random(42);
        std::vector<std::string> out;
        out.reserve(kNames);
        for (size_t i = 0; i < kNames; ++i) {
            std::string name;
            for (unsigned k = 0, n = 1 + random() % 3; k < n; ++k)
                name += std::string(labels[random() % std::size(labels)]) + ".";
            out.push_back(name + tlds[random() % std::size(tlds)]);
        }
        return out;
    }();
    return names;
}

std::string tevra_to_ascii(const std::string &name) {
    TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(name.data()),
                                             static_cast<long>(name.size()));
    char *out = nullptr;
    long n = 0;
    std::string result;
    if (tevra_ustring_idn_toascii(s, 0, 0, 0, &out, &n) == 1) {
        result.assign(out, static_cast<size_t>(n));
        tevra_free(out);
    }
    tevra_ustring_free(s);
    return result;
}

const std::vector<std::string> &ascii_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> out;
        for (const std::string &name : unicode_names())
            out.push_back(tevra_to_ascii(name));
        return out;
    }();
    return names;
}

void BM_ToAscii(benchmark::State &state) {
    const auto &names = unicode_names();
    for (auto _ : state)
        for (const std::string &name : names)
            benchmark::DoNotOptimize(tevra_to_ascii(name));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.size()));
}
BENCHMARK(BM_ToAscii)->Unit(benchmark::kMillisecond);

void BM_ToUnicode(benchmark::State &state) {
    const auto &names = ascii_names();
    for (auto _ : state)
        for (const std::string &name : names) {
            TEVRA_UString *s = tevra_ustring_newascii(name.data(), static_cast<long>(name.size()));
            TEVRA_UString *u = tevra_ustring_idn_tounicode(s, 0, 0, 0);
            unsigned char *out = nullptr;
            long n = 0;
            if (tevra_ustring_toutf8(u, &out, &n) == 1)
                tevra_free(out);
            tevra_ustring_free(u);
            tevra_ustring_free(s);
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.size()));
}
BENCHMARK(BM_ToUnicode)->Unit(benchmark::kMillisecond);

#ifdef TEVRA_HAVE_LIBIDN
void BM_ToAscii_libidn(benchmark::State &state) {
    const auto &names = unicode_names();
    for (auto _ : state)
        for (const std::string &name : names) {
            char *out = nullptr;
            if (idna_to_ascii_8z(name.c_str(), &out, 0) == IDNA_SUCCESS)
                std::free(out);
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.size()));
}
BENCHMARK(BM_ToAscii_libidn)->Unit(benchmark::kMillisecond);

void BM_ToUnicode_libidn(benchmark::State &state) {
    const auto &names = ascii_names();
    for (auto _ : state)
        for (const std::string &name : names) {
            char *out = nullptr;
            if (idna_to_unicode_8z8z(name.c_str(), &out, 0) == IDNA_SUCCESS)
                std::free(out);
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * names.size()));
}
BENCHMARK(BM_ToUnicode_libidn)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
