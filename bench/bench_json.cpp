// JSON decoding and encoding throughput (bytes/s of JSON text) on a realistic
// API-style document and on the extreme shapes (deep nesting, a long array, a
// wide object, a long string), each at two sizes so that linear growth shows.
// cJSON and RapidJSON run the same inputs as yardsticks when they are available.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <string_view>

#include "TEVRA_JSON.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_HAVE_CJSON
#include <cjson/cJSON.h>
#endif

#ifdef TEVRA_HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

namespace {

const char *const kWords[] = {
    "alpha",       "Straße",           "日本語のテキスト", "Ελληνικά",
    "русский",     "emoji 😀🎉",         "line\nbreak",      "tab\tand \"quotes\"",
    "back\\slash", "plain words here", "中文字符",         "العربية"};

void add_text(std::string &out, std::mt19937 &rng) {
    out += '"';
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(kWords[rng() % 12]); *p;
         ++p) {
        if (*p == '"' || *p == '\\') {
            out += '\\';
            out += static_cast<char>(*p);
        } else if (*p < 0x20) {
            out += *p == '\n' ? "\\n" : "\\t";
        } else {
            out += static_cast<char>(*p);
        }
    }
    out += '"';
}

// About target bytes of records as a web API returns them: nested objects and
// arrays, integers, decimals, exponents, several scripts and escapes.
std::string api_document(size_t target) {
    std::mt19937 rng(2019);
    std::string out = "{\"status\":\"ok\",\"items\":[";
    char number[64];
    for (int id = 0; out.size() < target; ++id) {
        if (id > 0)
            out += ',';
        std::snprintf(number, sizeof number, "%d", id * 7919);
        out += std::string("{\"id\":") + number + ",\"name\":";
        add_text(out, rng);
        std::snprintf(number, sizeof number, "%.2f,\"ratio\":%.6e", (rng() % 100000) / 100.0,
                      (rng() % 1000) * 1e-7);
        out += std::string(",\"price\":") + number +
               ",\"active\":" + (rng() % 2 ? "true" : "false") + ",\"owner\":null,\"tags\":[";
        for (unsigned t = 0, n = rng() % 4; t < n; ++t) {
            out += t ? "," : "";
            add_text(out, rng);
        }
        std::snprintf(number, sizeof number, "%lu,\"lon\":-%lu.%04lu}}", rng() % 90, rng() % 180,
                      rng() % 10000);
        out += std::string("],\"geo\":{\"lat\":") + number;
    }
    return out + "]}";
}

std::string nested_arrays(int depth) {
    return std::string(static_cast<size_t>(depth), '[') + "1" +
           std::string(static_cast<size_t>(depth), ']');
}

std::string long_array(int n) {
    std::string out = "[";
    for (int i = 0; i < n; ++i) {
        out += i ? "," : "";
        out += std::to_string(i);
    }
    return out + "]";
}

std::string wide_object(int n) {
    std::string out = "{";
    for (int i = 0; i < n; ++i) {
        out += i ? ",\"k" : "\"k";
        out += std::to_string(i);
        out += "\":";
        out += std::to_string(i);
    }
    return out + "}";
}

std::string long_string(size_t n) {
    std::string out = "[\"";
    for (size_t i = 0; out.size() < n; ++i)
        out += i % 64 == 63 ? "\\n" : (i % 16 == 15 ? "é" : "a");
    return out + "\"]";
}

const std::string &input(int shape, int size) {
    static std::string cache[5][2];
    std::string &text = cache[shape][size];
    if (text.empty()) {
        switch (shape) {
        case 0:
            text = api_document(size ? 2000000 : 200000);
            break;
        case 1:
            text = nested_arrays(size ? 199 : 100);
            break;
        case 2:
            text = long_array(size ? 1000000 : 100000);
            break;
        case 3:
            text = wide_object(size ? 100000 : 10000);
            break;
        default:
            text = long_string(size ? 10000000 : 1000000);
        }
    }
    return text;
}

// Shapes: 0 API document, 1 nesting, 2 array, 3 object, 4 string; each
// small and big. Encoders also run the big API document pretty-printed.
void args(benchmark::internal::Benchmark *b) {
    b->ArgNames({"shape", "big", "pretty"});
    for (int shape = 0; shape < 5; ++shape)
        for (int size = 0; size < 2; ++size)
            b->Args({shape, size, 0});
    b->Unit(benchmark::kMillisecond);
}

void encode_args(benchmark::internal::Benchmark *b) {
    args(b);
    b->Args({0, 1, 1});
}

void BM_Decode(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        TEVRA_JSON *value = tevra_json_decode(text.data(), static_cast<int>(text.size()));
        if (value == nullptr)
            state.SkipWithError("decode failed");
        tevra_json_free(value);
    }
    state.SetBytesProcessed(static_cast<long>(state.iterations() * text.size()));
}
BENCHMARK(BM_Decode)->Apply(args);

// Encodes the decoded input; pretty output (four spaces and a tab per level)
// when the third argument is 1.
void BM_Encode(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    TEVRA_JSON *value = tevra_json_decode(text.data(), static_cast<int>(text.size()));
    int flags = state.range(2) ? static_cast<int>(0xD0000004u) : 0;
    long bytes = 0;
    for (auto _ : state) {
        char *out = nullptr;
        int length = 0;
        if (tevra_json_encode(value, flags, &out, &length) != 1)
            state.SkipWithError("encode failed");
        bytes += length;
        tevra_free(out);
    }
    tevra_json_free(value);
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_Encode)->Apply(encode_args);

#ifdef TEVRA_HAVE_CJSON
void BM_cJSON_Parse(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        cJSON *value = cJSON_ParseWithLength(text.data(), text.size());
        if (value == nullptr)
            state.SkipWithError("parse failed");
        cJSON_Delete(value);
    }
    state.SetBytesProcessed(static_cast<long>(state.iterations() * text.size()));
}
BENCHMARK(BM_cJSON_Parse)->Apply(args);

void BM_cJSON_Print(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    cJSON *value = cJSON_ParseWithLength(text.data(), text.size());
    long bytes = 0;
    for (auto _ : state) {
        char *out = state.range(2) ? cJSON_Print(value) : cJSON_PrintUnformatted(value);
        if (out == nullptr)
            state.SkipWithError("print failed");
        else
            bytes += static_cast<long>(std::string_view(out).size());
        cJSON_free(out);
    }
    cJSON_Delete(value);
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_cJSON_Print)->Apply(encode_args);
#endif

#ifdef TEVRA_HAVE_RAPIDJSON
// Parses a copy of the text with the default flags; the template argument adds
// UTF-8 validation, which our decoder always does, for a like-for-like figure.
template <unsigned Flags> void BM_RapidJSON_Parse(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        rapidjson::Document document;
        document.Parse<Flags>(text.data(), text.size());
        if (document.HasParseError())
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(document);
    }
    state.SetBytesProcessed(static_cast<long>(state.iterations() * text.size()));
}
BENCHMARK_TEMPLATE(BM_RapidJSON_Parse, rapidjson::kParseDefaultFlags)->Apply(args);
BENCHMARK_TEMPLATE(BM_RapidJSON_Parse, rapidjson::kParseValidateEncodingFlag)->Apply(args);

template <typename Writer> long rapidjson_write(const rapidjson::Document &document) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    document.Accept(writer);
    return static_cast<long>(buffer.GetSize());
}

void BM_RapidJSON_Write(benchmark::State &state) {
    const std::string &text =
        input(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    long bytes = 0;
    for (auto _ : state) {
        bytes += state.range(2)
                     ? rapidjson_write<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(document)
                     : rapidjson_write<rapidjson::Writer<rapidjson::StringBuffer>>(document);
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_RapidJSON_Write)->Apply(encode_args);
#endif

} // namespace
BENCHMARK_MAIN();
