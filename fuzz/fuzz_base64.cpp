// Base64 decoding: the one-shot decoder, and the filter read with request
// sizes taken from the input. The first byte picks the flags and the second
// the read-size seed; the rest is the text. Whatever the encoder writes, the
// one-shot decoder must give back.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"

namespace {

void decode_one_shot(unsigned int flags, const uint8_t *text, size_t n) {
    unsigned char *out = nullptr;
    long length = 0;
    if (tevra_base64decode(flags, text, static_cast<long>(n), &out, &length) == 1)
        tevra_free(out);
}

void decode_through_filter(unsigned int flags, uint8_t seed, const uint8_t *text, size_t n) {
    TEVRA_Stream *src = tevra_stream_new_romem(text, static_cast<long>(n), 0, nullptr);
    TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, flags, nullptr);
    if (src == nullptr || b64 == nullptr || tevra_stream_push(b64, src) != 1) {
        tevra_stream_free(b64);
        tevra_stream_free(src);
        return;
    }
    static unsigned char buffer[4096];
    size_t i = 0;
    for (int rounds = 0; rounds < 10000; ++rounds) {
        // Request sizes from 1 to 2048, drawn from the text itself.
        long want = 1 + ((seed ^ (i < n ? text[i] : 0)) * 37 + rounds * 11) % 2048;
        ++i;
        long count = 0;
        if (tevra_stream_read(b64, buffer, want, &count, nullptr) != 1)
            break;
        if (count < 0 || count > want)
            abort();
        if (count == 0 && tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr) != 0)
            break;
        if (count == 0 && rounds > 2 * static_cast<int>(n) + 4)
            break;
    }
    TEVRA_DataBlob *rest = nullptr;
    if (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, nullptr) == 1)
        tevra_data_blob_free(rest);
    tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr);
    tevra_stream_freeall(b64);
}

void round_trip(unsigned int flags, const uint8_t *data, size_t n) {
    unsigned int encode_flags = 1 + flags % 4;
    encode_flags |= flags & (TEVRA_BASE64_NO_PADDING | TEVRA_BASE64_URL_SAFE);
    unsigned char *text = nullptr;
    long text_length = 0;
    if (tevra_base64encode(encode_flags, data, static_cast<long>(n), &text, &text_length) != 1)
        abort();
    unsigned int decode_flags = 3 | (encode_flags & 0x180);
    unsigned char *back = nullptr;
    long back_length = 0;
    if (tevra_base64decode(decode_flags, text, text_length, &back, &back_length) != 1 ||
        back_length != static_cast<long>(n) || std::memcmp(back, data, n) != 0)
        abort();
    tevra_free(back);
    tevra_free(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return 0;
    unsigned int flags = (1 + data[0] % 3) | (data[0] & 0x80 ? TEVRA_BASE64_NO_PADDING : 0) |
                         (data[0] & 0x40 ? TEVRA_BASE64_URL_SAFE : 0);
    const uint8_t *text = data + 2;
    size_t n = size - 2;
    if (n > 0) {
        decode_one_shot(flags, text, n);
        round_trip(data[0], text, n);
    }
    decode_through_filter(flags, data[1], text, n);
    return 0;
}
