// One-shot Base64 and hex coding of 16 MB, with libcrypto's EVP_EncodeBlock
// and EVP_DecodeBlock as the yardstick when it is available.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_BENCH_OPENSSL
#include <openssl/evp.h>
#endif

namespace {

constexpr long kSize = 16L << 20;

const std::string &random_data() {
    static const std::string data = [] {
        std::mt19937 gen(42);
        std::string s(static_cast<size_t>(kSize), '\0');
        for (char &c : s)
            c = static_cast<char>(gen());
        return s;
    }();
    return data;
}

const unsigned char *bytes(const std::string &s) {
    return reinterpret_cast<const unsigned char *>(s.data());
}

// Base64 text of the data in the given encode flags.
std::string encoded(unsigned int flags) {
    unsigned char *text = nullptr;
    long length = 0;
    tevra_base64encode(flags, bytes(random_data()), kSize, &text, &length);
    std::string s(reinterpret_cast<char *>(text), static_cast<size_t>(length));
    tevra_free(text);
    return s;
}

void BM_Base64Encode(benchmark::State &state) {
    const unsigned int flags = static_cast<unsigned int>(state.range(0));
    const std::string &data = random_data();
    for (auto _ : state) {
        unsigned char *text = nullptr;
        long length = 0;
        if (tevra_base64encode(flags, bytes(data), kSize, &text, &length) != 1)
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(text);
        tevra_free(text);
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}
// Mode 4 writes no line breaks, like EVP_EncodeBlock; mode 2 breaks lines
// with CR LF every 64 characters.
BENCHMARK(BM_Base64Encode)
    ->Arg(TEVRA_BASE64_NO_LINES)
    ->Arg(TEVRA_BASE64_CRLF)
    ->Unit(benchmark::kMillisecond);

void BM_Base64Decode(benchmark::State &state) {
    const unsigned int encode_flags = static_cast<unsigned int>(state.range(0));
    const std::string text = encoded(encode_flags);
    for (auto _ : state) {
        unsigned char *data = nullptr;
        long length = 0;
        if (tevra_base64decode(TEVRA_BASE64_CRLF, bytes(text), static_cast<long>(text.size()),
                               &data, &length) != 1 ||
            length != kSize)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(data);
        tevra_free(data);
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}
BENCHMARK(BM_Base64Decode)
    ->Arg(TEVRA_BASE64_NO_LINES)
    ->Arg(TEVRA_BASE64_CRLF)
    ->Unit(benchmark::kMillisecond);

#ifdef TEVRA_BENCH_OPENSSL
void BM_OpenSSLEncodeBlock(benchmark::State &state) {
    const std::string &data = random_data();
    std::string out(static_cast<size_t>(kSize / 3 * 4 + 5), '\0');
    for (auto _ : state) {
        int n = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(out.data()), bytes(data),
                                static_cast<int>(kSize));
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}
BENCHMARK(BM_OpenSSLEncodeBlock)->Unit(benchmark::kMillisecond);

void BM_OpenSSLDecodeBlock(benchmark::State &state) {
    const std::string text = encoded(TEVRA_BASE64_NO_LINES);
    std::string out(text.size() / 4 * 3 + 3, '\0');
    for (auto _ : state) {
        int n = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(out.data()), bytes(text),
                                static_cast<int>(text.size()));
        if (n < kSize)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}
BENCHMARK(BM_OpenSSLDecodeBlock)->Unit(benchmark::kMillisecond);
#endif

void BM_HexEncode(benchmark::State &state) {
    const std::string &data = random_data();
    for (auto _ : state) {
        unsigned char *text = nullptr;
        long length = 0;
        if (tevra_hexencode(0, bytes(data), kSize, &text, &length) != 1)
            state.SkipWithError("encode failed");
        benchmark::DoNotOptimize(text);
        tevra_free(text);
    }
    state.SetBytesProcessed(state.iterations() * kSize);
}
BENCHMARK(BM_HexEncode)->Unit(benchmark::kMillisecond);

void BM_HexDecode(benchmark::State &state) {
    unsigned char *hex = nullptr;
    long hex_length = 0;
    tevra_hexencode(1, bytes(random_data()), kSize, &hex, &hex_length);
    for (auto _ : state) {
        unsigned char *data = nullptr;
        long length = 0;
        if (tevra_hexdecode(hex, hex_length, &data, &length) != 1)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(data);
        tevra_free(data);
    }
    tevra_free(hex);
    state.SetBytesProcessed(state.iterations() * kSize);
}
BENCHMARK(BM_HexDecode)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
