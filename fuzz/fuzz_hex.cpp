// Hex decoding through the hex filter, with request sizes taken from the
// input (first byte), and the one-shot decoder on the same text; whatever
// the one-shot decoder accepts, the filter must decode identically when read
// in one request.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"

namespace {

// Reads the filter over text to its end; the bytes in out (capacity cap).
// False when a read failed.
bool read_all(const uint8_t *text, size_t n, uint8_t seed, unsigned char *out, long cap,
              long *got) {
    *got = 0;
    TEVRA_Stream *src = tevra_stream_new_romem(text, static_cast<long>(n), 0, nullptr);
    TEVRA_Stream *hex = tevra_stream_new_hex(seed & 1, nullptr);
    if (src == nullptr || hex == nullptr || tevra_stream_push(hex, src) != 1) {
        tevra_stream_free(hex);
        tevra_stream_free(src);
        return false;
    }
    bool ok = true;
    for (int round = 0;; ++round) {
        long want = seed == 0 ? cap - *got : 1 + (seed * 7 + round * 13) % 1500;
        if (want > cap - *got)
            want = cap - *got;
        if (want <= 0)
            want = 1;
        unsigned char scratch[1];
        unsigned char *target = *got < cap ? out + *got : scratch;
        long count = 0;
        if (tevra_stream_read(hex, target, want, &count, nullptr) != 1) {
            ok = false;
            break;
        }
        if (count < 0 || count > want)
            abort();
        *got += count;
        if (count == 0 && (tevra_stream_ctrl(hex, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) == 1 ||
                           round > static_cast<int>(n) + 4))
            break;
    }
    tevra_stream_freeall(hex);
    return ok;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    const uint8_t *text = data + 1;
    size_t n = size - 1;
    long cap = static_cast<long>(n / 2 + 1);
    auto *out = static_cast<unsigned char *>(std::malloc(static_cast<size_t>(cap)));
    long got = 0;
    read_all(text, n, data[0], out, cap, &got);

    unsigned char *decoded = nullptr;
    long length = 0;
    if (n > 0 && tevra_hexdecode(text, static_cast<long>(n), &decoded, &length) == 1) {
        if (!read_all(text, n, 0, out, cap, &got) || got != length ||
            std::memcmp(out, decoded, static_cast<size_t>(length)) != 0)
            abort();
        tevra_free(decoded);
    }
    std::free(out);
    return 0;
}
